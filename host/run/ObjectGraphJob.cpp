#include "host/base/ApplicationControl.h"
#include "host/base/TextOMA.h"
#include "host/run/ObjectGraph.h"
#include "host/run/ObjectGraphSteps.h"
#include "host/shell/CShellOMA.h"
#include <algorithm>
#include <cmath>
#include <limits>

using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr std::string_view g_strJob = "CreateDataJob";
constexpr std::string_view g_strPmu = "AddPmuToVds";
constexpr std::string_view g_strPmuParams = "PhasorMeasIdToPmuParams";
constexpr std::string_view g_strPsms = "AddPsmsToJob";
constexpr std::string_view g_strCheckSpec = "CheckVecSpec";
constexpr std::size_t g_nSpecs = 3;
constexpr int g_nMaxMultiplier = 256;

bool Refuse(std::string_view p_strMethod, const std::string& p_strText)
{
    SuspendApp(p_strMethod, p_strText);
    return false;
}

bool InvalidPtr(CTraceOMA* p_pTrace, std::string_view p_strMethod, std::string_view p_strName)
{
    if (p_pTrace)
        p_pTrace->TraceInvalidPtr(p_strMethod, p_strName);
    return false;
}

/// The virtual or measuring PMU that contains the data point; null after SuspendApp.
const CMeasurementUnit* RetrveUnit(const CConfiguration* p_pConfig, unsigned long p_nRefId,
                                   std::string_view p_strMethod)
{
    const CMeasurementUnit* const pUnit = p_pConfig->GetDatapoints().Datapoint(p_nRefId).MeasurementUnit();
    if (!pUnit)
        Refuse(p_strMethod, "Invalid or undefined PMU in KESTREL config.file [ID=" + std::to_string(p_nRefId) + "]");
    return pUnit;
}

/// A job under construction. On failure the parts are freed in reverse order: modes, job, bands, limits, trace area.
struct SJob
{
    std::unique_ptr<CTraceOMA> pTrace;
    std::unique_ptr<CDOE> pDOE;
    std::unique_ptr<VecSpec> pvecpSpec;
    std::unique_ptr<CJobOMA> pJob;
    std::unique_ptr<CJob::VecPsmOut> pvecpPsmOut;

    ~SJob()
    {
        pvecpPsmOut.reset();
        pJob.reset();
        if (pvecpSpec)
            DelVecSpec(&pvecpSpec, nullptr);
        pDOE.reset();
        pTrace.reset();
    }
};

bool CreateModes(const CConfiguration* p_pConfig, const OMA::CJob& p_job, unsigned long p_hSockData,
                 CTraceOMA* p_pTrace, SJob& r_job)
{
    if (!CheckModes(p_job))
        return false;
    CJobOMA& job = *r_job.pJob;
    r_job.pvecpPsmOut = std::make_unique<CJob::VecPsmOut>();
    if (!AddPsmsToJob(p_hSockData, p_pConfig, p_job.PSModes(), job.m_strName, job.m_eJobMode, job.NoOfCyclesInactive(),
                      job.m_nRepRate, job.m_nSamplesPS, job.m_pvecpSpec.get(), job.m_pDOE.get(),
                      RetrveEventMin(p_job.PSEvents()), p_pTrace, r_job.pvecpPsmOut.get()))
    {
        DelVecPSM(&r_job.pvecpPsmOut, p_pTrace);
        return false;
    }
    job.m_pvecpPsmOut = std::move(r_job.pvecpPsmOut);
    return true;
}

/// Builds one job with all its parts; null after SuspendApp.
std::unique_ptr<CJobOMA> CreateJob(CReadFileMeas* p_pReadFile, const CConfiguration* p_pConfig, const OMA::CJob& p_job,
                                   unsigned long p_hSockData, CVdsOMA* p_pVds, CTraceOMA* p_pTrace)
{
    if (!CheckJobName(p_job))
        return nullptr;
    SJob made;
    made.pTrace = std::make_unique<CTraceOMA>(p_job.Name());
    if (!CheckJobMode(p_job))
        return nullptr;
    const std::int32_t eJobMode = p_job.JobMode();
    made.pDOE = CreateLimits(p_job);
    if (!made.pDOE)
        return nullptr;
    made.pvecpSpec = CreateSpecs(p_job, made.pTrace.get(), p_pTrace);
    if (!made.pvecpSpec)
        return nullptr;
    const bool bAnySpec = std::any_of(made.pvecpSpec->begin(), made.pvecpSpec->end(),
                                      [](const auto& p_pSpec) { return p_pSpec->IsUsed(); });
    const CMeasurementUnit* const pUnit = CheckOutput(p_pConfig, p_job);
    if (!pUnit)
        return nullptr;

    made.pJob = std::make_unique<CJobOMA>(
        p_job.Name(), static_cast<std::uint32_t>(p_job.Id()), p_job.IsActive() && bAnySpec, eJobMode,
        std::move(made.pvecpSpec), static_cast<std::uint32_t>(pUnit->Id()),
        static_cast<std::uint32_t>(p_job.OutputRefId()), p_job.PSModes().NoOfSamples(), p_job.PSModes().ReportingRate(),
        std::move(made.pDOE), std::move(made.pTrace), p_pReadFile);
    made.pJob->m_bUsingNTM = eJobMode == eJobVPAD && p_job.IsUsingNTM();
    if (!AssignPmus(p_pConfig, p_job, p_pVds, p_pTrace, &made.pJob->m_pPmu1st, &made.pJob->m_pPmu2nd) ||
        !CreateModes(p_pConfig, p_job, p_hSockData, p_pTrace, made))
        return nullptr;
    return std::move(made.pJob);
}

/// Checks that two neighbouring bands meet; p_above is the higher one.
bool CheckEdge(const CSpec& p_above, const CSpec& p_below, CTraceOMA* p_pTrace)
{
    const double fBeg_Hz = p_above.GetFreqBeg();
    const double fEnd_Hz = p_below.GetFreqEnd();
    if (std::abs(fBeg_Hz - fEnd_Hz) <= std::numeric_limits<double>::epsilon())
        return true;
    if (p_pTrace)
        p_pTrace->TraceError(g_strCheckSpec, "Invalid limits for spectral data sets: Begin [" + DoubleAsText(fBeg_Hz) +
                                                 "] does not match end [" + DoubleAsText(fEnd_Hz) + "]");
    return false;
}
} // namespace

bool CheckJobName(const OMA::CJob& p_job)
{
    return !p_job.Name().empty() || Refuse(g_strJob, "Zero length trace name");
}

bool CheckJobMode(const OMA::CJob& p_job)
{
    return p_job.JobMode() == eJobActivePower || p_job.JobMode() == eJobVPAD ||
           Refuse(g_strJob, "Invalid mode for given OMA job in KESTREL config.file");
}

std::unique_ptr<CDOE> CreateLimits(const OMA::CJob& p_job)
{
    const float fNominal = p_job.PSMagnitude().Nominal();
    auto pvecMagn = std::make_unique<CDOE::VecLimit>();
    pvecMagn->push_back(p_job.PSMagnitude().PSMagnitudeWarning().Value() * fNominal);
    pvecMagn->push_back(p_job.PSMagnitude().PSMagnitudeAlarm().Value() * fNominal);

    const double fWarning = p_job.PSDampingRatio().PSDampingRatioWarning().Value();
    const double fAlarm = p_job.PSDampingRatio().PSDampingRatioAlarm().Value();
    const std::string strOfJob = "limit for OMA job \"" + p_job.Name() + "\" in KESTREL config.file";
    if (0.0 < fWarning)
    {
        Refuse(g_strJob, "Invalid damp.ratio warn." + strOfJob);
        return nullptr;
    }
    if (0.0 < fAlarm || fAlarm < fWarning)
    {
        Refuse(g_strJob, "Invalid damp.ratio alarm " + strOfJob);
        return nullptr;
    }
    auto pvecDamp = std::make_unique<CDOE::VecLimit>();
    pvecDamp->push_back(fWarning);
    pvecDamp->push_back(fAlarm);
    return std::make_unique<CDOE>(std::move(pvecMagn), std::move(pvecDamp));
}

std::int32_t RetrveEventMin(const OMA::CPSEvents& p_events)
{
    const bool vecbFlag[5] = {true, p_events.IsActive(static_cast<ePSEventType>(2)),
                              p_events.IsActive(static_cast<ePSEventType>(1)),
                              p_events.IsActive(static_cast<ePSEventType>(0)), true};
    std::int32_t eEventMin = 4;
    for (std::int32_t eEvent = 4; eEvent >= 1; --eEvent)
        if (vecbFlag[eEvent])
            eEventMin = eEvent;
    return eEventMin;
}

std::unique_ptr<VecSpec> CreateSpecs(const OMA::CJob& p_job, CTraceOMA* p_pTraceJob, CTraceOMA* p_pTrace)
{
    const std::vector<bool> vecbSpec = g_pShell ? g_pShell->GetSpecFlags() : std::vector<bool>(g_nSpecs, true);
    const OMA::CSpectralDataSets& sets = p_job.SpectralDataSets();
    auto pvecpSpec = std::make_unique<VecSpec>();
    for (std::size_t nSet = 0; nSet < g_nSpecs; ++nSet)
    {
        const OMA::CSpectralDataSet& set = sets.at(nSet);
        const int nMultiplier = set.SamplesMultiplier();
        if (nMultiplier < 1 || nMultiplier > g_nMaxMultiplier)
        {
            Refuse(g_strJob, "Invalid freq.spec. multiplier for given OMA job in KESTREL config.file");
            return nullptr;
        }
        const bool bUsed = nSet >= vecbSpec.size() || vecbSpec[nSet];
        pvecpSpec->push_back(std::make_unique<CSpec>(bUsed, static_cast<std::int32_t>(nSet),
                                                     sets.NoOfSamples() * static_cast<std::uint32_t>(nMultiplier),
                                                     set.LowerCutOffFrequency(), set.UpperCutOffFrequency(),
                                                     static_cast<std::uint32_t>(p_job.Id()), p_pTraceJob));
    }
    if (!CheckVecSpec(pvecpSpec.get(), p_pTrace))
    {
        DelVecSpec(&pvecpSpec, p_pTrace);
        Refuse(g_strJob, "Invalid #SpectralDataSets# param.s specified in KESTREL config.file");
    }
    return pvecpSpec;
}

const CMeasurementUnit* CheckOutput(const CConfiguration* p_pConfig, const OMA::CJob& p_job)
{
    return RetrveUnit(p_pConfig, p_job.OutputRefId(), g_strJob);
}

CPmu* CreatePmu(const CConfiguration* p_pConfig, const OMA::CJob& p_job, const OMA::CInputGroup& p_group,
                std::string_view p_strWhich, CVdsOMA* p_pVds, CTraceOMA* p_pTrace)
{
    const std::string strWhich(p_strWhich);
    const std::string strId = std::to_string(static_cast<std::uint32_t>(p_job.Id()));
    if (p_group.SignalType() == eSignalInvalid)
    {
        Refuse(g_strJob, "Invalid " + strWhich + " PMU signal type within job with elem ID " + strId);
        return nullptr;
    }
    if (p_job.JobMode() == eJobVPAD && p_group.SignalType() != eSignalVoltage)
    {
        Refuse(g_strJob, "Invalid " + strWhich + " PMU signal type (current) within dPhi job with elem ID " + strId);
        return nullptr;
    }
    CPmu* const pPmu = AddPmuToVds(p_pConfig, p_group, p_pVds, p_pTrace);
    if (!pPmu)
        Refuse(g_strJob, "Cannot add " + strWhich + " (internal) PMU object to OMA app.");
    return pPmu;
}

bool AssignPmus(const CConfiguration* p_pConfig, const OMA::CJob& p_job, CVdsOMA* p_pVds, CTraceOMA* p_pTrace,
                CPmu** p_ppPmu1st, CPmu** p_ppPmu2nd)
{
    const OMA::CInputGroups& groups = p_job.InputGroups();
    CPmu* pPmu = CreatePmu(p_pConfig, p_job, groups.at(0), "1st", p_pVds, p_pTrace);
    if (!pPmu)
        return false;
    if (groups.at(0).SignalType() == eSignalVoltage)
        *p_ppPmu1st = pPmu;
    else if (groups.at(0).SignalType() == eSignalCurrent)
        *p_ppPmu2nd = pPmu;

    pPmu = CreatePmu(p_pConfig, p_job, groups.at(1), "2nd", p_pVds, p_pTrace);
    if (!pPmu)
        return false;
    if (groups.at(1).SignalType() == eSignalCurrent || p_job.JobMode() == eJobVPAD)
        *p_ppPmu2nd = pPmu;
    else
        *p_ppPmu1st = pPmu;

    if (!*p_ppPmu1st || !*p_ppPmu2nd)
        return Refuse(g_strJob, "None or only 1 PMU have been assigned to job with elem ID " +
                                    std::to_string(static_cast<std::uint32_t>(p_job.Id())));
    return true;
}

bool CheckModes(const OMA::CJob& p_job)
{
    return !p_job.PSModes().empty() || Refuse(g_strJob, "No PSM for given OMA job defined in KESTREL config.file");
}

const CMeasurementUnit* CheckMode(const CConfiguration* p_pConfig, const OMA::CPSMode& p_mode)
{
    const CMeasurementUnit* const pUnit =
        RetrveUnit(p_pConfig, p_mode.Outputs().RefID(static_cast<eOMAPhysType>(0)), g_strPsms);
    const double fFreqMin_Hz = p_mode.MinFrequency();
    const double fFreqMax_Hz = p_mode.MaxFrequency();
    if (pUnit && fFreqMax_Hz < fFreqMin_Hz)
    {
        Refuse(g_strPsms, "Invalid PSM freq. boundaries: Min.[Hz]=" + DoubleAsText(fFreqMin_Hz) +
                              "  Max.[Hz]=" + DoubleAsText(fFreqMax_Hz));
        return nullptr;
    }
    return pUnit;
}

bool CreateDataJob(CReadFileMeas* p_pReadFile, const CConfiguration* p_pConfig, const OMA::CJobs& p_jobs,
                   unsigned long p_hSockData, CVdsOMA* p_pVds, CTraceOMA* p_pTrace,
                   std::unique_ptr<CVdsOMA::VecJob>* p_ppvecJob)
{
    if (!p_pConfig)
        return InvalidPtr(p_pTrace, g_strJob, "p_pConfig");
    if (!p_pVds)
        return InvalidPtr(p_pTrace, g_strJob, "p_pVds");
    *p_ppvecJob = std::make_unique<CVdsOMA::VecJob>();
    for (const OMA::CJob& job : p_jobs)
    {
        auto pJob = CreateJob(p_pReadFile, p_pConfig, job, p_hSockData, p_pVds, p_pTrace);
        if (!pJob)
            return false;
        (*p_ppvecJob)->push_back(std::move(pJob));
    }
    return true;
}

CPmu* AddPmuToVds(const CConfiguration* p_pConfig, const OMA::CInputGroup& p_group, CVdsOMA* p_pVds,
                  CTraceOMA* p_pTrace)
{
    if (!p_pConfig)
        InvalidPtr(p_pTrace, g_strPmu, "p_pConfig");
    if (!p_pVds)
        InvalidPtr(p_pTrace, g_strPmu, "p_pVds");
    if (!p_pConfig || !p_pVds)
        return nullptr;

    const auto fnRefuse = [](const char* p_pText)
    {
        Refuse(g_strPmu, p_pText);
        return nullptr;
    };
    auto pPmu = std::make_unique<CPmu>();
    for (std::uint32_t nPhase = 0; nPhase < 3; ++nPhase)
    {
        const unsigned long nRefId = p_group.RefID(static_cast<ePhaseType>(nPhase));
        if (nRefId != g_nNoRefId)
            pPmu->AddPhasor(static_cast<std::uint32_t>(nRefId), nPhase);
    }
    const std::size_t nPhasors = pPmu->GetPhasors() ? pPmu->GetPhasors()->size() : 0;
    if (nPhasors != 1 && nPhasors != 3)
        return fnRefuse("Invalid no.of phasors specified in config.file");
    if (nPhasors == 3 && !pPmu->SortPhasors())
        return fnRefuse("Error sorting PMU phasors");

    if (CPmu* const pFound = p_pVds->FindMatchingPmu(pPmu.get()))
        return pFound;
    if (!PhasorMeasIdToPmuParams(p_pConfig, pPmu.get(), p_pTrace, &pPmu->m_nId, &pPmu->m_nRepRate))
        return fnRefuse("Cannot retrieve PMU param.s");
    CPmu* const pAdded = pPmu.get();
    p_pVds->AddPmu(std::move(pPmu));
    return pAdded;
}

bool PhasorMeasIdToPmuParams(const CConfiguration* p_pConfig, const CPmu* p_pPmu, CTraceOMA* p_pTrace,
                             std::uint32_t* p_pnPmuId, std::int32_t* p_pnRepRate)
{
    if (!p_pConfig)
        return InvalidPtr(p_pTrace, g_strPmuParams, "p_pConfig");
    if (!p_pPmu)
        return InvalidPtr(p_pTrace, g_strPmuParams, "p_pPmu");
    const std::vector<SPhasor>* const pvecPhasor = p_pPmu->GetPhasors();
    if (!pvecPhasor)
        return InvalidPtr(p_pTrace, g_strPmuParams, "pvecPhasor");
    bool bFirst = true;
    for (const SPhasor& phasor : *pvecPhasor)
    {
        const CMeasurementUnit* const pUnit = RetrveUnit(p_pConfig, phasor.nId, g_strPmuParams);
        if (!pUnit)
            return false;
        const auto nPmuId = static_cast<std::uint32_t>(pUnit->Id());
        const std::int32_t nRepRate = p_pConfig->GetDatapoints().GetReportingRate(phasor.nId);
        if (!bFirst && nPmuId != *p_pnPmuId)
            return Refuse(g_strPmuParams, "PMU ID not matching for all phasors");
        if (!bFirst && nRepRate != *p_pnRepRate)
            return Refuse(g_strPmuParams, "Rep.rate not matching for all phasors");
        *p_pnPmuId = nPmuId;
        *p_pnRepRate = nRepRate;
        bFirst = false;
    }
    return true;
}

bool AddPsmsToJob(unsigned long p_hSockData, const CConfiguration* p_pConfig, const OMA::CPSModes& p_modes,
                  const std::string& p_strJobName, std::int32_t p_eJobMode, std::uint32_t p_nCyclesInactive,
                  std::int32_t p_nRepRate, std::uint32_t p_nSamples, const VecSpec* p_pvecpSpec, CDOE* p_pDOE,
                  std::int32_t p_eEventMin, CTraceOMA* p_pTrace, CJob::VecPsmOut* p_pvecpPsmOut)
{
    if (!p_pConfig)
        return InvalidPtr(p_pTrace, g_strPsms, "p_pConfig");
    if (!p_pvecpSpec)
        return InvalidPtr(p_pTrace, g_strPsms, "p_pvecpSpec");
    if (!p_pDOE)
        return InvalidPtr(p_pTrace, g_strPsms, "p_pDOE");
    if (!p_pvecpPsmOut)
        return InvalidPtr(p_pTrace, g_strPsms, "p_pvecpPsmOut");
    for (const OMA::CPSMode& mode : p_modes)
    {
        std::vector<unsigned long> vecnOutRefId;
        for (int eType = 0; eType < 4; ++eType)
            vecnOutRefId.push_back(mode.Outputs().RefID(static_cast<eOMAPhysType>(eType)));
        const CMeasurementUnit* const pUnit = CheckMode(p_pConfig, mode);
        if (!pUnit)
            return false;
        auto pTraceMode = std::make_unique<CTraceOMA>(p_strJobName + "_" + std::to_string(p_pvecpPsmOut->size() + 1));
        auto pPsmOut = std::make_unique<CPsmOut>(
            p_eJobMode == eJobActivePower, p_hSockData, static_cast<std::uint32_t>(mode.Id()),
            static_cast<std::uint32_t>(pUnit->Id()), vecnOutRefId, p_nRepRate, mode.MinFrequency(), mode.MaxFrequency(),
            p_eEventMin, p_pvecpSpec, p_nSamples, p_pDOE, std::move(pTraceMode));
        if (!pPsmOut->IsOk())
            return false;
        pPsmOut->SetCounters(p_nCyclesInactive);
        p_pvecpPsmOut->push_back(std::move(pPsmOut));
    }
    return true;
}

bool CheckVecSpec(VecSpec* p_pvecpSpec, CTraceOMA* p_pTrace)
{
    if (!p_pvecpSpec)
        return InvalidPtr(p_pTrace, g_strCheckSpec, "p_pvecpSpec");
    VecSpec& vecpSpec = *p_pvecpSpec;
    if (vecpSpec.size() != g_nSpecs)
    {
        if (p_pTrace)
            p_pTrace->TraceError(g_strCheckSpec, "no.of freq.spec. [" + std::to_string(vecpSpec.size()) +
                                                     "] does not match required value [3]");
        return false;
    }
    constexpr std::pair<std::size_t, std::size_t> vecPair[] = {{0, 2}, {0, 1}, {1, 2}};
    for (const auto& [nLeft, nRight] : vecPair)
    {
        if (!vecpSpec[nLeft] || !vecpSpec[nRight])
            return false;
        if (vecpSpec[nLeft]->GetFreqBeg() < vecpSpec[nRight]->GetFreqBeg())
            std::swap(vecpSpec[nLeft], vecpSpec[nRight]);
    }
    for (std::size_t nSpec = 0; nSpec < g_nSpecs; ++nSpec)
        vecpSpec[nSpec]->SetReso(static_cast<std::int32_t>(nSpec));
    return CheckEdge(*vecpSpec[0], *vecpSpec[1], p_pTrace) && CheckEdge(*vecpSpec[1], *vecpSpec[2], p_pTrace);
}

bool DelVecSpec(std::unique_ptr<VecSpec>* p_ppvecpSpec, CTraceOMA* p_pTrace)
{
    if (!p_ppvecpSpec || !*p_ppvecpSpec)
        return InvalidPtr(p_pTrace, "DelVecSpec", "p_pvecpSpec");
    p_ppvecpSpec->reset();
    return true;
}

bool DelVecPSM(std::unique_ptr<CJob::VecPsmOut>* p_ppvecpPSM, CTraceOMA* p_pTrace)
{
    if (!p_ppvecpPSM || !*p_ppvecpPSM)
        return InvalidPtr(p_pTrace, "DelVecPSM", "p_pvecpPSM");
    p_ppvecpPSM->reset();
    return true;
}

bool DeleteAllDoeData(CJobOMA* p_pJob, CTraceOMA* p_pTrace)
{
    // Intended: without a trace area there is nowhere to report its absence, so the call only fails.
    if (!p_pTrace)
        return false;
    if (!p_pJob)
        return InvalidPtr(p_pTrace, "DeleteAllDoeData", "p_pJob");
    p_pJob->DeleteAllDoeData();
    return true;
}

bool DeleteAllPsmOuts(CJobOMA* p_pJob, CTraceOMA* p_pTrace)
{
    if (!p_pJob)
        return InvalidPtr(p_pTrace, "DeleteAllPsmOuts", "p_pJob");
    p_pJob->DeleteAllPsmOuts();
    return true;
}

bool DeleteAllSpecs(CJobOMA* p_pJob, CTraceOMA* p_pTrace)
{
    if (!p_pJob)
        return InvalidPtr(p_pTrace, "DeleteAllSpecs", "p_pJob");
    p_pJob->DeleteAllSpecs();
    return true;
}
