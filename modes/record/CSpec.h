#pragma once
#include "host/base/CTraceOMA.h"
#include <cstdint>
#include <memory>
#include <vector>

/// Resolution: position of a band after sorting by descending frequency.
enum EReso : std::int32_t
{
    LR = 0, ///< highest frequencies, coarsest resolution
    MR = 1,
    HR = 2, ///< lowest frequencies, finest resolution
    eResoInvalid = 3
};

/// Position of a band relative to the band that contains a mode's frequency.
enum ENeighb : std::int32_t
{
    eNeighbOwn = 0,  ///< the band contains the frequency
    eNeighbNext = 1, ///< adjacent to that band
    eNeighbFar = 2,
    eNeighbInvalid = 3
};

/// One frequency band of a job and the FFT length used for it. Constant after start-up.
class CSpec
{
  public:
    CSpec(bool p_bUsed, std::int32_t p_eReso, std::uint32_t p_nSamples, double p_fFreqBeg_Hz, double p_fFreqEnd_Hz,
          std::uint32_t p_nOwnerId, CTraceOMA* p_pTrace);

    /// begin <= f < end: the upper limit belongs to the next higher band.
    bool IsInRange(double p_fFreq_Hz) const;
    /// Resolution of the neighbouring band closest to f; eResoInvalid after an error line.
    std::int32_t RetrveNextNeighb(double p_fFreq_Hz) const;
    /// Same for the middle band, which is divided at its geometric middle.
    std::int32_t CalcNextNeighbMR(double p_fFreq_Hz) const;

    std::int32_t GetReso() const { return m_eReso; }
    void SetReso(std::int32_t p_eReso) { m_eReso = p_eReso; }
    std::uint32_t GetNoOfSamples() const { return m_nSamples; }
    double GetFreqBeg() const { return m_fFreqBeg_Hz; }
    double GetFreqEnd() const { return m_fFreqEnd_Hz; }
    std::uint32_t GetOwnerId() const { return m_nOwnerId; }
    bool IsUsed() const { return m_bUsed; }

  protected:
    std::int32_t m_eReso;
    std::uint32_t m_nSamples; ///< FFT length
    double m_fFreqBeg_Hz;
    double m_fFreqEnd_Hz;
    double m_fReserved = -1.0;
    std::uint32_t m_nOwnerId; ///< id of the job; of the mode in a CSpecDyn
    CTraceOMA* m_pTrace;      ///< not owned, may be null
    bool m_bUsed;             ///< -spec: an unused band has no FFT and no CSpecDyn
};

/// The three bands of a job; owned by the job.
using VecSpec = std::vector<std::unique_ptr<CSpec>>;
