#include "host/check/CConfigCheck.h"
#include "host/run/ObjectGraphSteps.h"
#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>

// What a configuration is allowed to say, but hardly means to.

using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr double g_fPeriodsMin = 3.0;     ///< of its lowest frequency that a window should hold
constexpr double g_fNoDataFirst_s = 40.0; ///< without a pass: what the start of a job is given
constexpr double g_fNoData_s = 20.0;      ///< without a pass, from then on
constexpr double g_fEpsilon_Hz = 1e-6;    ///< two limits that are the same
constexpr double g_fPartMax = 2.0;        ///< a limit of more than this times the nominal value is one in percent

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
                 std::string("IsUsingNTM has no effect: ") +
                     (job.JobMode() != eJobVPAD ? "only vpad heeds network splits" : "IsEnabledNTM of its OMA is off"));
}

void CConfigCheck::WarnOfLimits(const CJobConf& p_job, const std::string& p_strJob)
{
    const OMA::CPSMagnitude& magnitude = p_job.PSMagnitude();
    const double fWarning = magnitude.PSMagnitudeWarning().Value() * magnitude.Nominal();
    const double fAlarm = magnitude.PSMagnitudeAlarm().Value() * magnitude.Nominal();
    if (!(fWarning > 0.0))
        Warn(magnitude.Line(), "PSMagnitude of " + p_strJob,
             "the warning limit is " + Number(fWarning) + ": every noise is a swing");
    if (!(fAlarm > fWarning))
        Warn(magnitude.Line(), "PSMagnitude of " + p_strJob,
             "the alarm limit " + Number(fAlarm) + " does not lie above the warning limit " + Number(fWarning));
    // With a nominal value of 1 the limits are in W or degrees themselves.
    const double fPart = std::max(magnitude.PSMagnitudeWarning().Value(), magnitude.PSMagnitudeAlarm().Value());
    if (fPart > g_fPartMax && magnitude.Nominal() != 1.0F)
        Warn(magnitude.Line(), "PSMagnitude of " + p_strJob,
             "a limit is " + Number(fPart) + " times Nominal: expected a part of it, 0.25 for 25 percent");
    const OMA::CPSDampingRatio& damping = p_job.PSDampingRatio();
    const double fRatio = std::min(damping.PSDampingRatioWarning().Value(), damping.PSDampingRatioAlarm().Value());
    if (fRatio < -1.0)
        Warn(damping.Line(), "PSDampingRatio of " + p_strJob,
             "no ratio lies below -1, as the limit " + Number(fRatio) + " does: expected -0.05 for 5 percent");
    if (damping.PSDampingRatioWarning().Value() == damping.PSDampingRatioAlarm().Value())
        Warn(damping.Line(), "PSDampingRatio of " + p_strJob,
             "both limits are the same: there is nothing between sound and alarming");
}

/// The least severe active level counts, so that those above it cannot be switched off.
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
                     " is on, and so is all above it");
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
                 strBand + "its window holds " + Number(fPeriods) + " periods of that, fewer than 3");
        if (pSpec->GetFreqEnd() > 0.5 / p_fCycle_s)
            Warn(p_job.SpectralDataSets().Line(), "SpectralDataSets of " + p_strJob,
                 strBand + "it ends above half the sample rate, " + Number(0.5 / p_fCycle_s) + " Hz");
    }
}

/// The transform takes the next power of two and fills up with zeros, but its channels are counted as of the length given.
void CConfigCheck::WarnOfLengths(const CJobConf& p_job, const std::string& p_strJob)
{
    for (const OMA::CSpectralDataSet& set : p_job.SpectralDataSets())
    {
        const auto nGiven = static_cast<unsigned>(set.SamplesMultiplier());
        const unsigned nTaken = std::bit_ceil(nGiven);
        if (nTaken != nGiven)
            Warn(set.Line(), "SpectralDataSet of " + p_strJob,
                 "SamplesMultiplier " + std::to_string(nGiven) +
                     " is no power of two: a swing of 1 Hz is read as one of " +
                     Number(static_cast<double>(nTaken) / nGiven) + " Hz");
    }
}

void CConfigCheck::WarnOfModes(const CJobConf& p_job, const std::string& p_strJob, const VecSpec& p_vecpSpec)
{
    const double fBegin_Hz = p_vecpSpec[2]->GetFreqBeg();
    const double fEnd_Hz = p_vecpSpec[0]->GetFreqEnd();
    for (const OMA::CPSMode& mode : p_job.PSModes())
    {
        // A limit of 0 is none.
        const double fMin_Hz = mode.MinFrequency();
        const double fMax_Hz = mode.MaxFrequency() > g_fEpsilon_Hz ? static_cast<double>(mode.MaxFrequency())
                                                                   : std::numeric_limits<double>::max();
        const std::string strMode = "PSMode " + std::to_string(mode.Id()) + " of " + p_strJob;
        if (fMax_Hz < fBegin_Hz || fMin_Hz >= fEnd_Hz)
            Warn(mode.Line(), strMode,
                 "lies outside of all bands, " + Number(fBegin_Hz) + " to " + Number(fEnd_Hz) +
                     " Hz: no peak will reach it");
        else if (IsSame(fMin_Hz, fMax_Hz))
            Warn(mode.Line(), strMode, "both limits are " + Number(fMin_Hz) + " Hz: hardly a peak will reach it");
        for (const std::size_t nBand : {0U, 1U})
        {
            const double fEdge_Hz = p_vecpSpec[nBand]->GetFreqBeg();
            if (IsSame(fMin_Hz, fEdge_Hz) || IsSame(fMax_Hz, fEdge_Hz))
                Warn(mode.Line(), strMode,
                     "its limit " + Number(fEdge_Hz) +
                         " Hz lies on the edge of two bands: a swing there changes mode and window at once");
        }
    }
}

/// A job hears of no data by the wait for its next pass, so settings with long waits raise the incident while data flow.
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
                 " s to fill: event 4202 \"No phasor data available\" comes although data flow, after each gap and "
                 "loss " +
                 (fFill_s > g_fNoDataFirst_s ? "and at the start" : "but not at the start"));
    const double fPass_s = CTime::CycleTimeFromRate(p_job.PSModes().ReportingRate());
    if (fPass_s >= g_fNoData_s)
        Warn(p_job.PSModes().Line(), "PSModes of " + p_strJob,
             "a pass every " + Number(fPass_s) +
                 " s: event 4202 \"No phasor data available\" comes before each, although data flow; expected below 20 "
                 "s");
}

void CConfigCheck::WarnOfRate(const CJobConf& p_job, const std::string& p_strJob, int p_nRate)
{
    const int nPasses = p_job.PSModes().ReportingRate();
    const std::string strModes = "PSModes of " + p_strJob;
    if (nPasses > 1)
        Warn(p_job.PSModes().Line(), strModes,
             std::to_string(nPasses) +
                 " passes a second: every second one finds a gap and resets; expected 1 or below");
    // Passes per sample and samples per pass that are no whole numbers have no common grid.
    const double fSamples = CTime::CycleTimeFromRate(nPasses) / CTime::CycleTimeFromRate(p_nRate);
    if (std::abs(fSamples - std::round(fSamples)) > 1e-6 || fSamples < 1.0)
        Warn(p_job.PSModes().Line(), strModes,
             "a pass every " + Number(fSamples) + " samples: expected a whole number, 1 at least");
}
