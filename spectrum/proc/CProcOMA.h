#pragma once
#include "spectrum/data/CPeakOMA.h"
#include "spectrum/fit/CFitLmaOMA.h"
#include "spectrum/fit/CFitLsqOMA.h"
#include "spectrum/proc/CProc.h"
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <valarray>
#include <vector>

class CFFT;
class CMethodTrace;
class CWriteFile;
struct SDampBuffers;
struct SProcBuffers;

/// Evaluates one spectrum resolution of one job: from the newest samples to peaks with magnitude and damping. The raw
/// samples are transformed unchanged: the mean is not removed and no window is applied.
/// Owner    the job, one for each used band. Threads: the job's worker.
/// Errors   on a failure the peaks found so far remain in the list; Run is always true.
class CProcOMA : public CProc
{
  public:
    using VecPeak = std::vector<std::unique_ptr<CPeakOMA>>;
    CProcOMA(const CDeqMeas* p_pdeqData, const CSpec* p_pSpec, const CDOE* p_pDOE, CTraceOMA* p_pTrace);
    ~CProcOMA();

    /// @param p_fMaxFreq_Hz largest upper band limit of the job. p_wstrFileFFT, p_wstrFileTUI paths of the dumps;
    /// empty: no dump.
    /// @param p_eFit 1 least squares, 2 followed by Levenberg-Marquardt. p_eGridQual is copied into each peak.
    /// @param p_pvecpPeak receives the peaks, at most p_nMaxPeaks, in descending order of height.
    bool Run(double p_fMaxFreq_Hz, const std::wstring& p_wstrFileFFT, const std::wstring& p_wstrFileTUI, int p_eFit,
             std::int32_t p_eGridQual, VecPeak* p_pvecpPeak, unsigned p_nMaxPeaks = 4);

    /// Normalised amplitude spectrum of the last Run: a sinusoid of amplitude A has height A.
    const std::valarray<double>& GetAmpl() const;
    double GetFreqStep() const { return m_fFreqStep_Hz; }

    /// Range of channels to fit: on each side up to the first channel below half height.
    bool FindPeakLimits(const std::valarray<double>& p_vecData, double p_fThresh, unsigned p_nPeak, unsigned* p_pnLeft,
                        unsigned* p_pnRight) const;
    /// Channels for the inverse transform: from one FWHM below to one FWHM above the frequency. Always true.
    bool CalcPeakRange(double p_fFreq_Hz, double p_fFWHM_Hz, unsigned p_nChan, unsigned* p_pnLo,
                       unsigned* p_pnHi) const;
    /// Magnitude and damping ratio from the half-cycle extremes of the band's time signal.
    bool DampFromTimeData(unsigned p_nLoChan, unsigned p_nHiChan, const CFFT* p_pFFT, double p_fFreq_Hz,
                          std::valarray<double>* p_pvecTime, double* p_pfMagn, double* p_pfDamp) const;
    /// Phase step from channel to channel of p_vecDegs, degrees, divided by the largest; for diagnosis only. Intended:
    /// the signs of the 360 degree corrections differ from a phase unwrapping.
    static bool CalcPhaseSteps(const std::valarray<double>& p_vecDegs, std::valarray<double>& r_vecStep);
    /// Subtracts a fit curve from the buffer; results are at least epsilon.
    static void SubtractFit(std::valarray<double>& r_vecSearch, const std::valarray<double>& p_vecCurve);

  private:
    /// State of one Run.
    struct SRun
    {
        double fMaxFreq_Hz;
        std::int32_t eGridQual;
        VecPeak* pvecpPeak;
        SProcBuffers& buffers;
        std::unique_ptr<CWriteFile> pFileTUI{}; ///< extended peak data; null: not written
        std::optional<CFitLsqOMA> pFitLSQ{};
        std::optional<CFitLmaOMA> pFitLMA{}; ///< empty: least squares only, or a fit has failed
        unsigned nOffs = 0;                  ///< lower channels are never searched
        double fMaxAmplThresh = 0.0;
        double fMagnThresh = 0.0;
    };
    enum class ETurn
    {
        eNext,
        eEnd
    };
    // ---- steps of Run ----
    bool Transform(SRun& r_run, const std::wstring& p_wstrFileFFT, const CMethodTrace& p_trace);
    bool OpenFileTUI(SRun& r_run, const std::wstring& p_wstrFileTUI, const CMethodTrace& p_trace);
    bool PrepareSearch(SRun& r_run, const CMethodTrace& p_trace) const;
    bool IsQuiet(const SRun& p_run) const;
    void CheckSquares(const CFFT& p_fft);
    void SearchPeaks(SRun& r_run, int p_eFit, unsigned p_nMaxPeaks, const CMethodTrace& p_trace);
    bool CalcLowChannels(SRun& r_run, const CMethodTrace& p_trace) const;
    ETurn EvaluatePeak(SRun& r_run, unsigned p_nTurn, const CMethodTrace& p_trace);
    void FillFitData(SRun& r_run, unsigned p_nLeft, unsigned p_nRight) const;
    bool FindAndFit(SRun& r_run, double& r_fFreq_Hz, double& r_fFWHM_Hz, double& r_fAmpl, const CMethodTrace& p_trace);
    std::unique_ptr<CPeakOMA> CreatePeak(const SRun& p_run, double p_fFreq_Hz, double p_fFWHM_Hz, double p_fAmpl) const;
    bool RatePeak(SRun& r_run, unsigned p_nTurn, CPeakOMA& r_peak, const CMethodTrace& p_trace);
    void WritePeakToTUI(SRun& r_run, unsigned p_nTurn, const CPeakOMA& p_peak) const;

    // ---- steps of DampFromTimeData ----
    /// Finds the newest half cycles, at most p_nMax (at least 4), oldest first.
    static void FindHalfCycles(const std::valarray<double>& p_vecTime, unsigned p_nMax, SDampBuffers& r_buffers);
    bool DampFromSeries(SDampBuffers& r_buffers, double p_fFreq_Hz, double* p_pfMagn, double* p_pfDamp) const;

    mutable std::valarray<double> m_vecAmpl; ///< one value for each channel
    mutable bool m_bSquares = false;         ///< m_vecAmpl holds squares, not normalised: no roots have been needed yet
    std::valarray<double> m_vecDegs;         ///< phase, degrees; this and the next only for the extended data file
    std::valarray<double> m_vecPhaseStep;    ///< normalised phase step
    double m_fFreqStep_Hz = -1.0;            ///< Hz for each channel
};
