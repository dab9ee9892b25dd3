#pragma once
#include "spectrum/CPeakOMA.h"
#include "spectrum/CProc.h"
#include <cstdint>
#include <memory>
#include <string>
#include <valarray>
#include <vector>

class CFFT;

/// Evaluation of one spectrum resolution of one job: from the newest samples to rated peaks. The raw samples go into
/// the transform as they are: no mean is removed, no window is applied.
/// Owner    the job, one for each used band. Threads: the job's worker.
/// Errors   a failure leaves the peaks found so far in the list; Run itself is always true.
class CProcOMA : public CProc
{
  public:
    using VecPeak = std::vector<std::unique_ptr<CPeakOMA>>;
    CProcOMA(const CDeqMeas* p_pdeqData, const CSpec* p_pSpec, const CDOE* p_pDOE, CTraceOMA* p_pTrace);
    ~CProcOMA();

    /// @param p_fMaxFreq_Hz largest band end of the job. p_wstrFileFFT, p_wstrFileTUI paths of the dumps, empty: none.
    /// @param p_eFit 1 least squares alone, 2 Levenberg-Marquardt after it. p_eGridQual copied into each peak.
    /// @param p_pvecpPeak receives the peaks, at most p_nMaxPeaks, in falling order of height.
    bool Run(double p_fMaxFreq_Hz, const std::wstring& p_wstrFileFFT, const std::wstring& p_wstrFileTUI, int p_eFit,
             std::int32_t p_eGridQual, VecPeak* p_pvecpPeak, unsigned p_nMaxPeaks = 4);

    /// Normalised amplitude spectrum of the last Run: a sinusoid of amplitude A has height A.
    const std::valarray<double>& GetAmpl() const { return m_vecAmpl; }
    double GetFreqStep() const { return m_fFreqStep_Hz; }

    /// Channels around a peak to fit: the first ones below half height on both sides.
    bool FindPeakLimits(std::valarray<double> p_vecData, double p_fThresh, unsigned p_nPeak, unsigned* p_pnLeft,
                        unsigned* p_pnRight) const;
    /// Channels handed to the inverse transform: the frequency minus and plus one FWHM.
    bool CalcPeakRange(double p_fFreq_Hz, double p_fFWHM_Hz, unsigned p_nChan, unsigned* p_pnLo, unsigned* p_pnHi) const;
    /// Magnitude and damping ratio from the half-cycle extremes of the band's time signal.
    bool DampFromTimeData(unsigned p_nLoChan, unsigned p_nHiChan, const CFFT* p_pFFT, double p_fFreq_Hz,
                          std::valarray<double>* p_pvecTime, double* p_pfMagn, double* p_pfDamp) const;

  private:
    std::valarray<double> m_vecAmpl;       ///< one value a channel
    std::valarray<double> m_vecDegs;       ///< phase, degrees
    std::valarray<double> m_vecPhaseStep;  ///< normalised phase step; for the extended data file only
    double m_fFreqStep_Hz = -1.0;          ///< Hz a channel
};
