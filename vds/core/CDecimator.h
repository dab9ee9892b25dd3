#pragma once
#include "vds/base/CGrid.h"
#include "vds/base/ISource.h"
#include <complex>
#include <functional>

/// Takes the cycles of a source down to a lower rate without aliasing: a low-pass of linear phase over the complex
/// phasors, a windowed sinc (Hamming) of 16 periods of the lower rate, centred on the cycle that goes out. So nothing
/// is shifted in time; a cycle goes out 8 periods of the lower rate after its time.
///
/// Frequencies     flat within 0.6 % to 0.35 of the lower rate, half at 0.45, below 0.4 % from 0.55 on.
/// Missing samples a sample that is absent or invalid is left out, and the others get its weight, while these have
///                 three quarters of all; else the sample that goes out is the middle one as it came, if that is
///                 invalid, or absent. Cycles in which all are absent do not go out.
/// Threads         one.
class CDecimator
{
  public:
    /// @param p_nRate a part of the rate of the source, both above 0.
    /// @param p_veciSample places of the samples that are wanted in the source's cycles.
    CDecimator(std::int32_t p_nSourceRate, std::int32_t p_nRate, std::vector<std::size_t> p_veciSample);

    /// Takes a cycle of the source, calls p_fnOut for each one that is ready. Stamps that go back or jump begin anew.
    void Put(const SSourceCycle& p_cycle, const std::function<void(const SSourceCycle&)>& p_fnOut);

  private:
    struct SSlot
    {
        std::vector<std::complex<double>> vecValue; ///< by wanted sample
        std::vector<SSourceSample> vecSample;
    };
    SSlot& Slot(std::int64_t p_nIndex) { return m_vecSlot[static_cast<std::size_t>(p_nIndex) % m_vecSlot.size()]; }
    void Store(std::int64_t p_nIndex, const SSourceCycle* p_pCycle);
    void Emit(std::int64_t p_nCentre, const std::function<void(const SSourceCycle&)>& p_fnOut);
    SSourceSample Filtered(std::int64_t p_nCentre, std::size_t p_iWanted);

    const CGrid m_grid;
    const std::int64_t m_nEvery;
    const std::int64_t m_nHalf;
    const std::vector<std::size_t> m_veciSample;
    std::vector<double> m_vecfWeight; ///< from the middle outwards
    std::vector<SSlot> m_vecSlot;
    std::int64_t m_nLast = -1; ///< index of the newest slot; -1: none
    SSourceCycle m_out;
};
