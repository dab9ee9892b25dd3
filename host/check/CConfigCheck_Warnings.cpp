#include "host/check/CConfigCheck.h"
#include "host/run/ObjectGraphSteps.h"
#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>

// Settings that are allowed but probably not meant.

using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr double g_fPeriodsMin = 3.0;     ///< periods of its lowest frequency that a window should hold
constexpr double g_fNoDataFirst_s = 40.0; ///< longest time without a pass at the start of a job
constexpr double g_fNoData_s = 20.0;      ///< longest time without a pass after that
constexpr double g_fEpsilon_Hz = 1e-6;    ///< limits that differ by less count as equal
constexpr double g_fPartMax = 2.0;        ///< a limit above this multiple of the nominal value is probably in percent

std::string Number(double p_fValue)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.6g", p_fValue);
    return text.data();
}

bool IsSame(double p_fA_Hz, double p_fB_Hz)
{
    return std::abs(p_fA_Hz - p_fB_Hz) < g_fEpsilon_Hz;
}
} // namespace

void CConfigCheck::WarnOfInstance(const COMA& p_oma)
{
    const auto& jobs = p_oma.GetJobs();
    const auto fnActive = [](const CJobConf& p_job) { return p_job.IsActive(); };
    if (p_oma.IsActive() && !jobs.empty() && std::none_of(jobs.begin(), jobs.end(), fnActive))
        Warn(p_oma.Line(), "OMA \"" + p_oma.Name() + '"', "active, but none of its jobs is: nothing will run");
    for (const CJobConf& job : jobs)
        if (job.IsUsingNTM() && (job.JobMode() != eJobVPAD || !p_oma.IsEnabledNTM()))
            Warn(job.Line(), "Job \"" + job.Name() + '"',
                 std::string("IsUsingNTM has no effect: ") + (job.JobMode() != eJobVPAD
                                                                  ? "only vpad jobs react to network splits"
                                                                  : "IsEnabledNTM of its OMA is off"));
}

void CConfigCheck::WarnOfLimits(const CJobConf& p_job, const std::string& p_strJob)
{
    const OMA::CPSMagnitude& magnitude = p_job.PSMagnitude();
    const double fWarning = magnitude.PSMagnitudeWarning().Value() * magnitude.Nominal();
    const double fAlarm = magnitude.PSMagnitudeAlarm().Value() * magnitude.Nominal();
    if (!(fWarning > 0.0))
        Warn(magnitude.Line(), "PSMagnitude of " + p_strJob,
             "the warning limit is " + Number(fWarning) + ": any noise will be reported as a swing");
    if (!(fAlarm > fWarning))
        Warn(magnitude.Line(), "PSMagnitude of " + p_strJob,
             "the alarm limit " + Number(fAlarm) + " is not above the warning limit " + Number(fWarning));
    // With a nominal value of 1 the limits are given directly in W or degrees.
    const double fPart = std::max(magnitude.PSMagnitudeWarning().Value(), magnitude.PSMagnitudeAlarm().Value());
    if (fPart > g_fPartMax && magnitude.Nominal() != 1.0F)
        Warn(magnitude.Line(), "PSMagnitude of " + p_strJob,
             "a limit is " + Number(fPart) + " times Nominal: expected a fraction of it, such as 0.25 for 25 percent");
    const OMA::CPSDampingRatio& damping = p_job.PSDampingRatio();
    const double fRatio = std::min(damping.PSDampingRatioWarning().Value(), damping.PSDampingRatioAlarm().Value());
    if (fRatio < -1.0)
        Warn(damping.Line(), "PSDampingRatio of " + p_strJob,
             "the limit " + Number(fRatio) + " is below -1, the lowest possible ratio: expected -0.05 for 5 percent");
    if (damping.PSDampingRatioWarning().Value() == damping.PSDampingRatioAlarm().Value())
        Warn(damping.Line(), "PSDampingRatio of " + p_strJob,
             "both limits are the same: there is no warning range between normal and alarm");
}

/// The least severe active level decides: all levels above it are on and cannot be switched off.
void CConfigCheck::WarnOfEvents(const CJobConf& p_job, const std::string& p_strJob)
{
    constexpr std::array<const char*, 3> vecpName = {"critical", "distinct", "notified"};
    const std::int32_t eEventMin = RetrveEventMin(p_job.PSEvents());
    for (int eType = 0; eType < 3; ++eType)
    {
        const int eEvent = 3 - eType;
        if (eEvent > eEventMin && !p_job.PSEvents().IsActive(static_cast<ePSEventType>(eType)))
            Warn(p_job.PSEvents().Line() > 0 ? p_job.PSEvents().Line() : p_job.Line(), "PSEvents of " + p_strJob,
                 std::string(vecpName[eType]) + " is off, without effect: " + vecpName[3 - eEventMin] +
                     " is on, and so are all levels above it");
    }
}

void CConfigCheck::WarnOfBands(const CJobConf& p_job, const std::string& p_strJob, const VecSpec& p_vecpSpec,
                               double p_fCycle_s)
{
    for (const auto& pSpec : p_vecpSpec)
    {
        const std::string strBand = "band from " + Number(pSpec->GetFreqBeg()) + " Hz: ";
        const double fPeriods = pSpec->GetNoOfSamples() * p_fCycle_s * pSpec->GetFreqBeg();
        if (fPeriods < g_fPeriodsMin)
            Warn(p_job.SpectralDataSets().Line(), "SpectralDataSets of " + p_strJob,
                 strBand + "its window holds " + Number(fPeriods) + " periods of that frequency, fewer than 3");
        if (pSpec->GetFreqEnd() > 0.5 / p_fCycle_s)
            Warn(p_job.SpectralDataSets().Line(), "SpectralDataSets of " + p_strJob,
                 strBand + "it ends above half the sample rate, " + Number(0.5 / p_fCycle_s) + " Hz");
    }
}

/// The transform pads with zeros to the next power of two, but its channels are numbered by the given length.
void CConfigCheck::WarnOfLengths(const CJobConf& p_job, const std::string& p_strJob)
{
    for (const OMA::CSpectralDataSet& set : p_job.SpectralDataSets())
    {
        const auto nGiven = static_cast<unsigned>(set.SamplesMultiplier());
        const unsigned nTaken = std::bit_ceil(nGiven);
        if (nTaken != nGiven)
            Warn(set.Line(), "SpectralDataSet of " + p_strJob,
                 "SamplesMultiplier " + std::to_string(nGiven) +
                     " is not a power of two: a swing of 1 Hz will be reported as one of " +
                     Number(static_cast<double>(nTaken) / nGiven) + " Hz");
    }
}

void CConfigCheck::WarnOfModes(const CJobConf& p_job, const std::string& p_strJob, const VecSpec& p_vecpSpec)
{
    const double fBegin_Hz = p_vecpSpec[2]->GetFreqBeg();
    const double fEnd_Hz = p_vecpSpec[0]->GetFreqEnd();
    for (const OMA::CPSMode& mode : p_job.PSModes())
    {
        // A limit of 0 means no limit.
        const double fMin_Hz = mode.MinFrequency();
        const double fMax_Hz = mode.MaxFrequency() > g_fEpsilon_Hz ? static_cast<double>(mode.MaxFrequency())
                                                                   : std::numeric_limits<double>::max();
        const std::string strMode = "PSMode " + std::to_string(mode.Id()) + " of " + p_strJob;
        if (fMax_Hz < fBegin_Hz || fMin_Hz >= fEnd_Hz)
            Warn(mode.Line(), strMode,
                 "its range is outside all bands, " + Number(fBegin_Hz) + " to " + Number(fEnd_Hz) +
                     " Hz: no peak will match");
        else if (IsSame(fMin_Hz, fMax_Hz))
            Warn(mode.Line(), strMode, "both limits are " + Number(fMin_Hz) + " Hz: hardly any peak will match");
        for (const std::size_t nBand : {0U, 1U})
        {
            const double fEdge_Hz = p_vecpSpec[nBand]->GetFreqBeg();
            if (IsSame(fMin_Hz, fEdge_Hz) || IsSame(fMax_Hz, fEdge_Hz))
                Warn(mode.Line(), strMode,
                     "its limit " + Number(fEdge_Hz) +
                         " Hz is also the edge of two bands: a swing there changes mode and window at the same time");
        }
    }
}

/// A job detects missing data by the time since its last pass, so long waits raise the incident although data arrive.
void CConfigCheck::WarnOfNoData(const CJobConf& p_job, const std::string& p_strJob, const VecSpec& p_vecpSpec,
                                double p_fCycle_s)
{
    const auto itLeast = std::min_element(p_vecpSpec.begin(), p_vecpSpec.end(),
                                          [](const auto& p_p1, const auto& p_p2)
                                          { return p_p1->GetNoOfSamples() < p_p2->GetNoOfSamples(); });
    const double fFill_s = (*itLeast)->GetNoOfSamples() * p_fCycle_s;
    if (fFill_s > g_fNoData_s)
        Warn(p_job.SpectralDataSets().Line(), "SpectralDataSets of " + p_strJob,
             "the shortest window takes " + Number(fFill_s) +
                 " s to fill: event 4202 \"No phasor data available\" will be raised although data arrive, after "
                 "each gap and connection loss " +
                 (fFill_s > g_fNoDataFirst_s ? "and at the start" : "but not at the start"));
    const double fPass_s = CTime::CycleTimeFromRate(p_job.PSModes().ReportingRate());
    if (fPass_s >= g_fNoData_s)
        Warn(p_job.PSModes().Line(), "PSModes of " + p_strJob,
             "a pass every " + Number(fPass_s) +
                 " s: event 4202 \"No phasor data available\" will be raised before each pass although data "
                 "arrive; expected below 20 s");
}

void CConfigCheck::WarnOfRate(const CJobConf& p_job, const std::string& p_strJob, int p_nRate)
{
    const int nPasses = p_job.PSModes().ReportingRate();
    const std::string strModes = "PSModes of " + p_strJob;
    if (nPasses > 1)
        Warn(p_job.PSModes().Line(), strModes,
             std::to_string(nPasses) +
                 " passes a second: every other pass detects a gap and resets; expected 1 or less");
    // Without a whole number of samples per pass, or of passes per sample, there is no common grid.
    const double fSamples = CTime::CycleTimeFromRate(nPasses) / CTime::CycleTimeFromRate(p_nRate);
    if (std::abs(fSamples - std::round(fSamples)) > 1e-6 || fSamples < 1.0)
        Warn(p_job.PSModes().Line(), strModes,
             "a pass every " + Number(fSamples) + " samples: expected a whole number, at least 1");
}
