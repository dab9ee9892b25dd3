#pragma once
#include "vds/base/CGrid.h"
#include "vds/base/ISource.h"
#include <complex>
#include <functional>

/// Reduces the cycles of a source to a lower rate without aliasing: a linear-phase low-pass filter on the complex
/// phasors, a windowed sinc (Hamming) of 16 periods of the lower rate, centred on the output cycle. So there is no time
/// shift; a cycle is output 8 periods of the lower rate after its time stamp.
///
/// Frequencies     flat within 0.6 % up to 0.35 of the lower rate, half at 0.45, below 0.4 % from 0.55.
/// Missing samples absent and invalid samples are left out and the remaining weights are normalised, if these are
///                 at least three quarters of the total; otherwise the output is the unchanged middle sample if
///                 that is invalid, else absent. Cycles in which all samples are absent are not output.
/// Threads         one.
class CDecimator
{
  public:
    /// @param p_nRate a divisor of the source's rate; both above 0.
    /// @param p_veciSample indexes of the wanted samples in the source's cycles.
    CDecimator(std::int32_t p_nSourceRate, std::int32_t p_nRate, std::vector<std::size_t> p_veciSample);

    /// Takes a cycle of the source and calls p_fnOut for each cycle that is ready. Restarts if time stamps go back or
    /// jump.
    void Put(const SSourceCycle& p_cycle, const std::function<void(const SSourceCycle&)>& p_fnOut);

  private:
    struct SSlot
    {
        std::vector<std::complex<double>> vecValue; ///< per wanted sample
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
    std::int64_t m_nLast = -1; ///< index of the newest slot; -1: empty
    SSourceCycle m_out;
};
