#include "view/state/ViewModel.h"
#include "CConfiguration.h"
#include "link/dli/EDli.h"
#include <algorithm>
#include <charconv>
#include <cstdio>

namespace Runtime = Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
double Rate_Hz(int p_nRate)
{
    return p_nRate < 0 ? -1.0 / p_nRate : p_nRate;
}

/// The number that was written: -0.05 of a single-precision -0.05.
double Decimal(float p_fValue)
{
    char pText[40];
    const std::to_chars_result result = std::to_chars(pText, pText + sizeof pText, p_fValue);
    double fValue = 0.0;
    std::from_chars(pText, result.ptr, fValue);
    return fValue;
}

std::string ModeName(const Runtime::OMA::CPSMode& p_mode)
{
    if (p_mode.MinFrequency() == 0.0F && p_mode.MaxFrequency() == 0.0F)
        return "all frequencies";
    char pText[60];
    std::snprintf(pText, sizeof pText, "%.2f to %.2f Hz", p_mode.MinFrequency(), p_mode.MaxFrequency());
    return pText;
}

/// Rate at which the instance reads: that of the actual values.
double ReadRate_Hz(const Runtime::OMA::COMA& p_oma, const Runtime::CDatapoints& p_datapoints)
{
    double fMin = 0.0;
    double fMax = 0.0;
    for (const Runtime::OMA::CJob& job : p_oma.GetJobs())
        for (const Runtime::OMA::CInputGroup& group : job.InputGroups())
            for (int i = 0; i < 3; ++i)
            {
                const double fRate = Rate_Hz(p_datapoints.GetReportingRate(group.RefID(Runtime::ePhaseType(i))));
                if (fRate <= 0.0)
                    continue;
                fMin = fMin == 0.0 ? fRate : std::min(fMin, fRate);
                fMax = std::max(fMax, fRate);
            }
    const double fRate = p_oma.InputMode() == Runtime::eInputMaximum ? fMax : fMin;
    return fRate > 0.0 ? fRate : 1.0;
}

SViewJob TakeJob(const Runtime::OMA::COMA& p_oma, const Runtime::OMA::CJob& p_job, double p_fRate_Hz)
{
    SViewJob job;
    job.nId = p_job.Id();
    job.strName = p_job.Name();
    job.strInstance = p_oma.Name();
    job.bActive = p_oma.IsActive() && p_job.IsActive();
    job.bPower = p_job.JobMode() == Runtime::eJobActivePower;
    job.bUsesGrid = p_oma.IsEnabledNTM() && p_job.IsUsingNTM();
    job.fRate_Hz = p_fRate_Hz;
    job.fPass_s = 1.0 / Rate_Hz(p_job.PSModes().ReportingRate());
    for (const Runtime::OMA::CSpectralDataSet& set : p_job.SpectralDataSets())
        job.vecfWindow_s.push_back(p_job.SpectralDataSets().NoOfSamples() * set.SamplesMultiplier() / p_fRate_Hz);
    std::sort(job.vecfWindow_s.begin(), job.vecfWindow_s.end());
    const Runtime::OMA::CPSMagnitude& magn = p_job.PSMagnitude();
    job.fMagnWarn = Decimal(magn.Nominal()) * Decimal(magn.PSMagnitudeWarning().Value());
    job.fMagnAlarm = Decimal(magn.Nominal()) * Decimal(magn.PSMagnitudeAlarm().Value());
    job.fDampWarn = Decimal(p_job.PSDampingRatio().PSDampingRatioWarning().Value());
    job.fDampAlarm = Decimal(p_job.PSDampingRatio().PSDampingRatioAlarm().Value());
    for (int i = 0; i < 3; ++i)
        if (p_job.PSEvents().IsActive(Runtime::ePSEventType(i)))
            job.nMinLevel = 3 - i;
    for (const Runtime::OMA::CPSMode& mode : p_job.PSModes())
        job.vecMode.push_back({mode.Id(), ModeName(mode), Decimal(mode.MinFrequency()), Decimal(mode.MaxFrequency())});
    return job;
}
} // namespace

SViewModel MakeViewModel(const Runtime::CConfiguration& p_config)
{
    SViewModel model;
    model.strAddr = p_config.VDS().IPAddr();
    model.nPort = p_config.VDS().Port();
    for (const Runtime::OMA::COMA& oma : p_config.GetOMAs())
    {
        const double fRate_Hz = ReadRate_Hz(oma, p_config.GetDatapoints());
        for (const Runtime::OMA::CJob& job : oma.GetJobs())
        {
            const std::size_t iJob = model.vecJob.size();
            model.vecJob.push_back(TakeJob(oma, job, fRate_Hz));
            model.mapJob.emplace(job.Id(), iJob);
            model.mapChannel.emplace(job.OutputRefId(), SViewModel::SPlace{iJob, SViewModel::g_nActualValue, 0});
            for (std::size_t iMode = 0; iMode < job.PSModes().size(); ++iMode)
            {
                const Runtime::OMA::CPSMode& mode = job.PSModes()[iMode];
                model.mapMode.emplace(mode.Id(), SViewModel::SModePlace{iJob, iMode});
                for (int i = 0; i < 4; ++i)
                    model.mapChannel.emplace(mode.Outputs().RefID(Runtime::eOMAPhysType(i)),
                                             SViewModel::SPlace{iJob, static_cast<int>(iMode), i});
            }
        }
    }
    return model;
}

const char* LevelText(int p_nLevel)
{
    constexpr const char* ppText[] = {"No Power Swing", "Notified Power Swing", "Distinct Power Swing",
                                      "Critical Power Swing", "Undamped Critical Power Swing"};
    return ppText[std::clamp(p_nLevel, 0, 4)];
}

int LevelOfKey(int p_eKey)
{
    return p_eKey >= Runtime::eIkPsUndampedCritical && p_eKey <= Runtime::eIkPsNotified
               ? Runtime::eIkPsNotified + 1 - p_eKey
               : 0;
}
