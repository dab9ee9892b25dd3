#include "spectrum/proc/CProcOMA.h"
#include "host/base/CMethodTrace.h"
#include "host/base/Epsilon.h"
#include "host/base/TraceFilter.h"
#include "host/shell/CShellOMA.h"
#include "offline/CWriteFile.h"
#include "spectrum/data/TPool.h"
#include "spectrum/fft/ManyNumbers.h"
#include "spectrum/proc/ProcBuffers.h"
#include <algorithm>
#include <cmath>
#include <iomanip>
#include <limits>
#include <sstream>

namespace
{
constexpr std::string_view g_strClass = "CProcOMA";
constexpr double g_fLowChanFactor = 0.04; ///< of the band's upper limit: lower channels are never searched
constexpr double g_fMagnFactor = 0.2;     ///< of the lowest magnitude limit
constexpr double g_fMaxAmplFactor = 0.2;  ///< of the largest searched amplitude
constexpr double g_fNoiseFactor = 2.0;    ///< of the mean amplitude
constexpr unsigned g_nNameField = 10;
constexpr unsigned g_nMaxPeaks = 4; ///< usual limit

/// Never destroyed, because it may be in use while the process exits.
TPool<SProcBuffers>& g_poolProc = *new TPool<SProcBuffers>;

/// Truncates to a channel number: negative values and NaN give 0, values that are too large the largest one.
unsigned ToChannel(double p_fChannel)
{
    constexpr double fMax = std::numeric_limits<unsigned>::max();
    return p_fChannel > 0.0 ? static_cast<unsigned>(std::min(p_fChannel, fMax)) : 0U;
}
} // namespace

CProcOMA::CProcOMA(const CDeqMeas* p_pdeqData, const CSpec* p_pSpec, const CDOE* p_pDOE, CTraceOMA* p_pTrace)
    : CProc(p_pdeqData, p_pSpec, p_pDOE, p_pTrace)
{
}

CProcOMA::~CProcOMA() = default;

bool CProcOMA::Run(double p_fMaxFreq_Hz, const std::wstring& p_wstrFileFFT, const std::wstring& p_wstrFileTUI,
                   int p_eFit, std::int32_t p_eGridQual, VecPeak* p_pvecpPeak, unsigned p_nMaxPeaks)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "Run");
    trace.DataNamed(IsTraceData(7), "Begin 'Run'");
    if (!m_pdeqData || !m_pSpec || !p_pvecpPeak)
    {
        trace.BadPointer(!m_pdeqData ? "m_pdeqData" : !m_pSpec ? "m_pSpec" : "p_pvecpPeak");
        return true;
    }
    const std::uint32_t nSamples = m_pSpec->GetNoOfSamples();
    const auto pBuffers = g_poolProc.Lend(nSamples);
    SRun run{p_fMaxFreq_Hz, p_eGridQual, p_pvecpPeak, *pBuffers};
    CFFT& fft = pBuffers->fft;
    fft.Restart(m_pTrace);
    bool bOk = nSamples == 0 || m_pdeqData->CopyNewest(&pBuffers->vecInput[0], nSamples);
    if (bOk)
    {
        trace.DataNamed(IsTraceData(7), "Apply FFT of length=", nSamples);
        if (!fft.FFTbyMKL(pBuffers->vecInput, m_fDeltaT_s))
            bOk = trace.Error("FFT error!");
    }
    if (bOk && Transform(run, p_wstrFileFFT, trace) && OpenFileTUI(run, p_wstrFileTUI, trace) &&
        PrepareSearch(run, trace))
    {
        trace.DataNamed(IsTraceData(7), "Before Peak Detect, fMagnThresh=", run.fMagnThresh);
        if (run.pFileTUI || !IsQuiet(run))
            SearchPeaks(run, p_eFit, p_nMaxPeaks, trace);
    }
    trace.DataNamed(IsTraceData(7), "Peak Detection Done, #PEAKS=", p_pvecpPeak->size());
    if (run.pFileTUI)
        run.pFileTUI->Close();
    return true;
}

/// Spectra of the block, normalised so that a sinusoid of amplitude A has height A.
bool CProcOMA::Transform(SRun& r_run, const std::wstring& p_wstrFileFFT, const CMethodTrace& p_trace)
{
    const CFFT& fft = r_run.buffers.fft;
    if (!p_wstrFileFFT.empty() && !fft.DataToFile(p_wstrFileFFT))
        return p_trace.Error("Error writing FFT data");
    const unsigned nChan = fft.GetNoOfChannels();
    m_fFreqStep_Hz = fft.GetDeltaF();
    if (m_vecAmpl.size() != nChan)
        m_vecAmpl.resize(nChan);
    m_bSquares = fft.RetrveSquares(m_vecAmpl);
    return true;
}

const std::valarray<double>& CProcOMA::GetAmpl() const
{
    if (m_bSquares)
    {
        const double fScale = 1.0 / static_cast<double>(m_vecAmpl.size()); // exact, because the size is a power of two
        TakeRoots(std::begin(m_vecAmpl), m_vecAmpl.size(), fScale);
        m_bSquares = false;
    }
    return m_vecAmpl;
}

bool CProcOMA::CalcPhaseSteps(const std::valarray<double>& p_vecDegs, std::valarray<double>& r_vecStep)
{
    if (p_vecDegs.size() == 0 || r_vecStep.size() != p_vecDegs.size())
        return false;
    r_vecStep = 0.0;
    double fPrev = 0.0;
    for (std::size_t k = 1; k < p_vecDegs.size(); ++k)
    {
        const double fStep = p_vecDegs[k] - p_vecDegs[k - 1];
        if (fStep < -180.0)
        {
            if (fPrev > g_fEpsilon)
                r_vecStep[k] = fStep - 360.0;
        }
        else if (fStep > 180.0)
        {
            if (fPrev < -g_fEpsilon)
                r_vecStep[k] = fStep + 360.0;
        }
        else
            r_vecStep[k] = fStep;
        fPrev = fStep;
    }
    const double fMax = std::abs(r_vecStep).max();
    if (fMax > 0.0)
        r_vecStep /= fMax;
    return true;
}

/// @return false if the phases, which only this file needs, cannot be computed. An unwritable file is not fatal.
bool CProcOMA::OpenFileTUI(SRun& r_run, const std::wstring& p_wstrFileTUI, const CMethodTrace& p_trace)
{
    if (!g_pShell || !g_pShell->IsFilePSM())
        return true;
    CheckSquares(r_run.buffers.fft);
    m_vecDegs.resize(m_vecAmpl.size());
    m_vecPhaseStep.resize(m_vecAmpl.size());
    r_run.buffers.fft.RetrveDegs(m_vecDegs);
    if (!CalcPhaseSteps(m_vecDegs, m_vecPhaseStep))
        return p_trace.Error("Cannot create FFT phase angle data set");
    auto pFile = std::make_unique<CWriteFile>(p_wstrFileTUI, m_pTrace);
    if (!pFile->Open())
    {
        p_trace.Warning("Cannot open TUI input file");
        return true;
    }
    pFile->WriteValue("TimeStep", g_nNameField, m_fDeltaT_s, 6, 3);
    pFile->WriteArray("TimeData", g_nNameField, r_run.buffers.vecInput, 5, 10, 3);
    pFile->WriteValue("FreqStep", g_nNameField, m_fFreqStep_Hz, 10, 3);
    pFile->WriteArray("Magn", g_nNameField, GetAmpl(), 5, 10, 3);
    pFile->WriteArray("Degs", g_nNameField, m_vecDegs, 5, 10, 3);
    r_run.pFileTUI = std::move(pFile);
    return true;
}

/// Sets range and threshold of the search.
bool CProcOMA::PrepareSearch(SRun& r_run, const CMethodTrace& p_trace) const
{
    if (m_vecAmpl.size() == 0)
        return p_trace.Error("Invalid spec.ampl. buf.size: 0");
    if (!CalcLowChannels(r_run, p_trace))
        return false;
    if (!m_pDOE)
        return p_trace.BadPointer("m_pDOE");
    const CDOE::VecLimit* const pvecLimitMagn = m_pDOE->GetLimitMagn();
    if (!pvecLimitMagn || pvecLimitMagn->empty())
        return p_trace.BadPointer("pvecLimitMagn");
    r_run.fMagnThresh = g_fMagnFactor * pvecLimitMagn->front();
    return true;
}

/// Whether no channel reaches the search threshold. Tests squares, which avoids thousands of square roots.
bool CProcOMA::IsQuiet(const SRun& p_run) const
{
    constexpr double fMargin = 0.999; // allows for rounding: values near the threshold are left to the search
    const double fLimit = fMargin * std::pow(p_run.fMagnThresh * static_cast<double>(m_vecAmpl.size()), 2);
    // Goes by octaves, each with the weight of its upper end.
    for (std::size_t nBeg = p_run.nOffs; nBeg < m_vecAmpl.size(); nBeg *= 2)
    {
        const std::size_t nEnd = std::min(2 * nBeg, m_vecAmpl.size());
        if (IsOneAbove(std::begin(m_vecAmpl) + nBeg, std::begin(m_vecAmpl) + nEnd, fLimit / static_cast<double>(nEnd)))
            return false;
    }
    return p_run.fMagnThresh > 0.0;
}

/// Computes the amplitudes directly if squares have overflowed or come from invalid numbers, which is rare.
void CProcOMA::CheckSquares(const CFFT& p_fft)
{
    if (SumsOf(std::begin(m_vecAmpl), std::end(m_vecAmpl)).fSum <= std::numeric_limits<double>::max())
        return;
    p_fft.RetrveAmpl(m_vecAmpl);
    m_vecAmpl /= static_cast<double>(m_vecAmpl.size());
    m_bSquares = false;
}

/// Clears the low channels of the search buffer, prepares the fits on the unmodified spectrum, and runs the peak loop.
void CProcOMA::SearchPeaks(SRun& r_run, int p_eFit, unsigned p_nMaxPeaks, const CMethodTrace& p_trace)
{
    SProcBuffers& buffers = r_run.buffers;
    CheckSquares(buffers.fft);
    buffers.vecSearch = GetAmpl();
    std::fill_n(std::begin(buffers.vecSearch), r_run.nOffs, g_fEpsilon);
    buffers.vecBeg.clear();
    buffers.vecEnd.clear();
    r_run.pFitLSQ.emplace(buffers.vecLog, m_pTrace);
    if (p_eFit == 2)
        r_run.pFitLMA.emplace(buffers.vecFit, m_pTrace);
    for (unsigned nTurn = 0; nTurn < p_nMaxPeaks; ++nTurn)
        if (EvaluatePeak(r_run, nTurn, p_trace) == ETurn::eEnd)
            break;
}

/// The mean is not removed before the transform; only this keeps it out of the search.
bool CProcOMA::CalcLowChannels(SRun& r_run, const CMethodTrace& p_trace) const
{
    const double fDeltaT_s = m_fDeltaT_s;
    if (!(fDeltaT_s >= g_fEpsilon))
        return p_trace.Error("Calc. of max.freq.value failed");
    const double fNyquist_Hz = 0.5 / fDeltaT_s;
    const double fSize = static_cast<double>(m_vecAmpl.size());
    const unsigned nLow = ToChannel(g_fLowChanFactor * m_pSpec->GetFreqEnd() / fNyquist_Hz * fSize);
    r_run.nOffs = nLow == std::numeric_limits<unsigned>::max() ? nLow : nLow + 1;
    if (m_vecAmpl.size() <= r_run.nOffs)
        return p_trace.Error("Insufficient spec.ampl. buf.size: ", r_run.nOffs);
    return true;
}

/// One iteration of the peak loop.
CProcOMA::ETurn CProcOMA::EvaluatePeak(SRun& r_run, unsigned p_nTurn, const CMethodTrace& p_trace)
{
    double fFreq_Hz = -1.0;
    double fFWHM_Hz = -1.0;
    double fAmpl = -1.0;
    if (!FindAndFit(r_run, fFreq_Hz, fFWHM_Hz, fAmpl, p_trace))
        return ETurn::eEnd;
    if (!(r_run.fMaxFreq_Hz > fFreq_Hz))
    {
        p_trace.Warning("Peak freq. [", fFreq_Hz, "Hz] above max. freq. [", r_run.fMaxFreq_Hz, "]");
        return ETurn::eNext;
    }
    std::unique_ptr<CPeakOMA> pPeak = CreatePeak(r_run, fFreq_Hz, fFWHM_Hz, fAmpl);
    if (!RatePeak(r_run, p_nTurn, *pPeak, p_trace))
        return ETurn::eEnd;
    if (r_run.pvecpPeak->empty())
        r_run.pvecpPeak->reserve(g_nMaxPeaks);
    r_run.pvecpPeak->push_back(std::move(pPeak));
    return ETurn::eNext;
}

/// Fills the fit channels with the spectrum itself; the curves of earlier peaks are not subtracted. The fit amplifies
/// rounding errors by many orders of magnitude, so unlike in the search each amplitude is computed exactly.
void CProcOMA::FillFitData(SRun& r_run, unsigned p_nLeft, unsigned p_nRight) const
{
    const CFFT::VecComplex& vecSpectrum = *r_run.buffers.fft.GetData();
    for (std::size_t nChan = p_nLeft; nChan <= p_nRight; ++nChan)
    {
        const double fAmpl = std::abs(vecSpectrum[nChan]) / static_cast<double>(vecSpectrum.size());
        r_run.buffers.vecFit[nChan] = nChan < r_run.nOffs ? g_fEpsilon : fAmpl;
        r_run.buffers.vecLog[nChan] = std::log10(r_run.buffers.vecFit[nChan]);
    }
}

/// Finds a candidate, its limits and its fit, and subtracts the fitted curve from the search buffer.
bool CProcOMA::FindAndFit(SRun& r_run, double& r_fFreq_Hz, double& r_fFWHM_Hz, double& r_fAmpl,
                          const CMethodTrace& p_trace)
{
    SProcBuffers& buffers = r_run.buffers;
    auto nPeak = static_cast<unsigned>(buffers.vecSearch.size());
    const bool bFound =
        FindNextPeakNEW(buffers.vecSearch, r_run.nOffs, buffers.vecBeg, buffers.vecEnd, r_run.fMagnThresh, &nPeak);
    if (r_run.pFileTUI)
        r_run.pFileTUI->WriteArray("SearchBuf", g_nNameField, GetAmpl() * m_vecPhaseStep, 5, 10, 3);
    if (!bFound)
        return false;
    // The first candidate has the largest amplitude.
    r_run.fMaxAmplThresh = std::max(r_run.fMaxAmplThresh, g_fMaxAmplFactor * buffers.vecSearch[nPeak]);
    double fNoiseThresh = -1.0;
    if (!CalcDataThresh(buffers.vecSearch, r_run.nOffs, g_fNoiseFactor, &fNoiseThresh))
        return p_trace.Error("Cannot calc. ampl.thresh. for peak detection");
    const double fAmplThresh = std::max(r_run.fMaxAmplThresh, fNoiseThresh);
    p_trace.DataNamed(IsTraceData(7), "Before Peak Evaluation: #fAmplThresh#=", fAmplThresh,
                      ", #fMaxAmplThresh#=", r_run.fMaxAmplThresh, ", #fNoiseThresh#=", fNoiseThresh);
    auto nLeft = static_cast<unsigned>(buffers.vecSearch.size());
    unsigned nRight = nLeft;
    if (!FindPeakLimits(buffers.vecSearch, fAmplThresh, nPeak, &nLeft, &nRight))
        return false;

    FillFitData(r_run, nLeft, nRight);
    CFit::VecCoef vecCoef;
    if (!r_run.pFitLSQ->FitPeak(&nLeft, &nRight, &vecCoef))
        return false;
    CFit::VecCoef vecCoefLMA;
    if (r_run.pFitLMA)
    {
        const bool bFit = r_run.pFitLMA->PresetCoefs({r_run.pFitLSQ->CalcPeakAmplMax(vecCoef, nLeft),
                                                      r_run.pFitLSQ->CalcPeakFreq(vecCoef, nLeft),
                                                      r_run.pFitLSQ->CalcPeakFWHM(vecCoef, nLeft)}) &&
                          r_run.pFitLMA->FitPeak(&nLeft, &nRight, &vecCoefLMA);
        // After a failed fit, the rest of this Run uses least squares only.
        if (!bFit)
            r_run.pFitLMA.reset();
    }
    if (r_run.pFitLMA)
        r_run.pFitLMA->CalcCurve(vecCoefLMA, &buffers.vecCurve);
    else
        r_run.pFitLSQ->CalcCurve(vecCoef, &buffers.vecCurve);
    SubtractFit(buffers.vecSearch, buffers.vecCurve);

    const bool bData =
        r_run.pFitLMA ? r_run.pFitLMA->CalcPeakData(vecCoefLMA, m_fFreqStep_Hz, &r_fFreq_Hz, &r_fFWHM_Hz, &r_fAmpl)
                      : r_run.pFitLSQ->CalcPeakData(vecCoef, nLeft, m_fFreqStep_Hz, &r_fFreq_Hz, &r_fFWHM_Hz, &r_fAmpl);
    if (!bData)
        p_trace.Warning(r_run.pFitLMA ? "No valid output from Lorentzian fit" : "No valid output from Gaussian fit");
    return bData;
}

void CProcOMA::SubtractFit(std::valarray<double>& r_vecSearch, const std::valarray<double>& p_vecCurve)
{
    TakeOff(std::begin(r_vecSearch), r_vecSearch.size(), std::begin(p_vecCurve), g_fEpsilon);
}

std::unique_ptr<CPeakOMA> CProcOMA::CreatePeak(const SRun& p_run, double p_fFreq_Hz, double p_fFWHM_Hz,
                                               double p_fAmpl) const
{
    auto pPeak = std::make_unique<CPeakOMA>(m_pTrace);
    pPeak->SetFreq(p_fFreq_Hz);
    pPeak->SetFWHM(p_fFWHM_Hz);
    pPeak->SetAmpl(p_fAmpl);
    pPeak->SetDampCorr(g_pShell ? g_pShell->GetDampCorr() : 1.0);
    pPeak->SetGridQual(p_run.eGridQual);
    pPeak->m_eReso = m_pSpec->GetReso();
    return pPeak;
}

/// Magnitude and damping ratio from the time domain. @return false if the search ends with this peak.
bool CProcOMA::RatePeak(SRun& r_run, unsigned p_nTurn, CPeakOMA& r_peak, const CMethodTrace& p_trace)
{
    if (r_run.pFileTUI)
        r_run.pFileTUI->WriteArray("Peak" + std::to_string(p_nTurn + 1), g_nNameField, r_run.buffers.vecCurve, 5, 10,
                                   3);
    const unsigned nChan = r_run.buffers.fft.GetNoOfChannels();
    unsigned nLo = 0;
    unsigned nHi = 0;
    if (!CalcPeakRange(r_peak.GetFreq(), r_peak.GetFWHM(), nChan, &nLo, &nHi))
        return false;
    p_trace.DataNamed(IsTraceData(3), "Peak at f[Hz]=", r_peak.GetFreq());
    double fDamp = 0.0;
    double fMagn = -1.0;
    if (!DampFromTimeData(nLo, nHi, &r_run.buffers.fft, r_peak.GetFreq(), &r_run.buffers.vecTime, &fMagn, &fDamp))
        return false;
    r_peak.SetMagn(fMagn);
    r_peak.SetDamp(fDamp);
    r_run.buffers.vecBeg.push_back(nLo);
    r_run.buffers.vecEnd.push_back(nHi);

    // Peaks are found in descending order of height, so the first one below the threshold ends the search.
    double fLimit = 0.0;
    if (!m_pDOE->IsPSmagnAboveThresh(fMagn, fLimit))
    {
        p_trace.DataNamed(IsTraceData(4), "PS magn. [", fMagn, "]", " below thresh. [", fLimit, "]");
        return false;
    }
    // Intended: written before the sign is set, so the file shows the ratio from the width without a sign.
    if (r_run.pFileTUI)
        WritePeakToTUI(r_run, p_nTurn, r_peak);
    r_peak.SetNegDamp(fDamp < 0.0 ? 1.0 : 0.0);
    double fDampFreq = -1.0;
    r_peak.CalcDamp(&fDampFreq);
    p_trace.DataNamed(IsTraceDataAll(), "Damp.ratio from TIME (applied): ", fDamp,
                      ", damp.ratio from FREQ (info only): ", fDampFreq);
    return true;
}

void CProcOMA::WritePeakToTUI(SRun& r_run, unsigned p_nTurn, const CPeakOMA& p_peak) const
{
    const std::string strTurn = std::to_string(p_nTurn + 1);
    r_run.pFileTUI->WriteArray("IFFT" + strTurn, g_nNameField, r_run.buffers.vecTime, 5, 10, 3);
    double fDampFreq = -1.0;
    p_peak.CalcDamp(&fDampFreq);
    std::ostringstream stream;
    stream << "PeakPars " << strTurn << std::fixed << std::setprecision(3);
    for (const double fValue : {p_peak.GetFreq(), p_peak.GetAmpl(), p_peak.GetFWHM(), fDampFreq})
        stream << std::setw(10) << fValue;
    r_run.pFileTUI->WriteLine(stream.str());
}

bool CProcOMA::CalcPeakRange(double p_fFreq_Hz, double p_fFWHM_Hz, unsigned p_nChan, unsigned* p_pnLo,
                             unsigned* p_pnHi) const
{
    *p_pnLo = ToChannel(std::max(0.0, (p_fFreq_Hz - 1.0 * p_fFWHM_Hz) / m_fFreqStep_Hz));
    *p_pnHi = ToChannel((p_fFreq_Hz + 1.0 * p_fFWHM_Hz) / m_fFreqStep_Hz + 1.0);
    if (*p_pnHi >= p_nChan)
        *p_pnHi = p_nChan - 1;
    return true;
}

bool CProcOMA::FindPeakLimits(const std::valarray<double>& p_vecData, double p_fThresh, unsigned p_nPeak,
                              unsigned* p_pnLeft, unsigned* p_pnRight) const
{
    const std::size_t nData = p_vecData.size();
    if (p_nPeak >= nData)
        return false;
    double fMax = p_vecData[p_nPeak];
    double fHalf = 0.5 * fMax;
    std::size_t nMax = p_nPeak;
    *p_pnLeft = p_nPeak;

    // The number of allowed steps grows with the square root of the channel number; the peak channel is the first step.
    bool bFound = false;
    unsigned nSteps = ToChannel(std::sqrt(static_cast<double>(p_nPeak))) + 3;
    for (std::size_t nChan = p_nPeak + std::size_t{1}; nChan-- > 0 && nSteps > 0; --nSteps)
    {
        if (p_vecData[nChan] < fHalf)
        {
            *p_pnLeft = static_cast<unsigned>(nChan);
            bFound = true;
            break;
        }
        if (p_vecData[nChan] > fMax)
        {
            fMax = p_vecData[nChan];
            fHalf = 0.5 * fMax;
            nMax = nChan;
        }
    }
    if (!bFound)
        return false;

    *p_pnRight = static_cast<unsigned>(nMax);
    bFound = false;
    nSteps = ToChannel(std::sqrt(static_cast<double>(nMax))) + 3;
    for (std::size_t nChan = nMax; nChan < nData && nSteps > 0; ++nChan, --nSteps)
    {
        if (p_vecData[nChan] < fHalf)
        {
            *p_pnRight = static_cast<unsigned>(nChan);
            bFound = true;
            break;
        }
        if (p_vecData[nChan] > fMax)
        {
            fMax = p_vecData[nChan];
            fHalf = 0.5 * fMax;
        }
    }
    return bFound && p_fThresh <= fMax;
}
