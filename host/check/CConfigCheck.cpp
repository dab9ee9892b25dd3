#include "host/check/CConfigCheck.h"
#include "CTrace.h"
#include "host/run/ObjectGraphSteps.h"
#include <algorithm>
#include <cstdio>

using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr double g_fRecord_bytes = 16.0; ///< one measurement in a job's queue
/// Measured peak memory of one evaluation: sample block, transform buffer, spectra, search buffer, fit.
constexpr double g_fWork_bytes = 80.0;

std::string Text(const char* p_pFormat, auto... p_values)
{
    char text[256];
    std::snprintf(text, sizeof(text), p_pFormat, p_values...);
    return text;
}

std::string Quoted(const std::string& p_strName)
{
    return '"' + p_strName + '"';
}

/// Reduces a trace line to the complaint: removes class, method, marks and the suspension text.
std::string Complaint(std::string p_strLine)
{
    if (const std::size_t nEnd = p_strLine.rfind("! -> Suspend Application."); nEnd != std::string::npos)
        p_strLine.erase(nEnd);
    else if (p_strLine.ends_with('!'))
        p_strLine.pop_back();
    if (const std::size_t nText = p_strLine.find("():"); nText != std::string::npos)
        p_strLine.erase(0, p_strLine.find_first_not_of(' ', nText + 3));
    return p_strLine;
}
} // namespace

CConfigCheck::CConfigCheck(const std::string& p_strFile)
    : m_strFile(p_strFile), m_pXml(std::make_unique<CXMLConfiguration>()), m_trace("OMA_Main_Run")
{
    CTrace::SetSink(
        [this](ETraceLevel p_eLevel, std::string_view, std::string_view p_strText)
        {
            if (p_eLevel == ETraceLevel::eError)
                m_vecLine.emplace_back(p_strText);
        });
}

CConfigCheck::~CConfigCheck()
{
    CTrace::SetSink({});
    CConfiguration::DeleteInstance();
}

bool CConfigCheck::Run()
{
    if (m_pXml->Read(m_strFile, "") != 0)
    {
        m_strReadFaults = m_pXml->Faults();
        return false;
    }
    m_pConfig = CConfiguration::CreateInstance(m_pXml.get());
    const OMA::COMAs& omas = m_pConfig->GetOMAs();
    if (omas.empty())
        AddFault(omas.Line(), "OMAs", "No OMA app. spec.d in config.file", "at least one element OMA");
    for (const COMA& oma : omas)
        CheckInstance(oma);
    CheckServer();
    WarnOfIds();
    WarnOfNames();
    WarnOfDatapoints();
    std::stable_sort(m_vecFinding.begin(), m_vecFinding.end(),
                     [](const SFinding& p_a, const SFinding& p_b) { return p_a.nLine < p_b.nLine; });
    return !m_bFault;
}

std::string CConfigCheck::Findings() const
{
    std::string strAll = m_strReadFaults;
    for (const SFinding& finding : m_vecFinding)
        strAll += m_strFile + ":" + std::to_string(finding.nLine) + ": " + finding.strText + "\n";
    return strAll;
}

template <class TStep>
bool CConfigCheck::Step(long p_nLine, const std::string& p_strElement, const char* p_pExpected, TStep&& p_fnStep)
{
    m_vecLine.clear();
    if (p_fnStep())
        return true;
    std::string strText;
    for (const std::string& strLine : m_vecLine)
        strText += (strText.empty() ? "" : "; ") + Complaint(strLine);
    AddFault(p_nLine, p_strElement, strText, p_pExpected);
    return false;
}

void CConfigCheck::AddFault(long p_nLine, const std::string& p_strElement, const std::string& p_strText,
                            const std::string& p_strExpected)
{
    m_bFault = true;
    m_vecFinding.push_back({p_nLine, "element " + p_strElement + ": " + p_strText + ", expected " + p_strExpected});
}

void CConfigCheck::Warn(long p_nLine, const std::string& p_strElement, const std::string& p_strText)
{
    m_vecFinding.push_back({p_nLine, "warning: element " + p_strElement + ": " + p_strText});
}

void CConfigCheck::CheckInstance(const COMA& p_oma)
{
    const std::string strOma = "OMA " + Quoted(p_oma.Name());
    Step(p_oma.Line(), strOma, "a name", [&] { return CheckInstanceName(p_oma); });
    const bool bJobs = Step(p_oma.Line(), strOma, "at least one element Job", [&] { return CheckInstanceJobs(p_oma); });
    CVdsOMA vds(0, 0, static_cast<std::uint32_t>(p_oma.Id()), p_oma.IsActive(), p_oma.InputMode(),
                static_cast<std::uint32_t>(p_oma.TimeoutInMs()), p_oma.IsEnabledNTM(),
                std::make_unique<CTraceOMA>(p_oma.Name()));
    std::vector<std::pair<const CJobConf*, std::unique_ptr<VecSpec>>> vecSound;
    bool bAllSound = true;
    for (const CJobConf& job : p_oma.GetJobs())
    {
        std::unique_ptr<VecSpec> pvecpSpec;
        if (CheckJob(job, vds, pvecpSpec))
            vecSound.emplace_back(&job, std::move(pvecpSpec));
        else
            bAllSound = false;
    }
    WarnOfInstance(p_oma);
    // If a PMU is missing, the rate would follow from the others alone.
    if (!bJobs || !bAllSound ||
        !Step(p_oma.Line(), strOma,
              "PMUs of rates 1, 3, 4, 5, 6, 10, 12, 15, 20, 25, 30, 50 or 60, or InputMode divisor",
              [&] { return CheckInstanceRate(p_oma, &vds); }))
        return;
    const int nRate = static_cast<int>(vds.m_nReqCycleRate);
    const double fCycle_s = CTime::CycleTimeFromRate(nRate);
    m_strFigures += "instance " + Quoted(p_oma.Name()) + (p_oma.IsActive() ? "" : " (not active)") +
                    Text(": reads a sample every %.6g s (rate %d)\n", fCycle_s, nRate);
    for (const auto& [pJob, pvecpSpec] : vecSound)
    {
        const std::string strJob = "Job " + Quoted(pJob->Name());
        WarnOfRate(*pJob, strJob, nRate);
        WarnOfNoData(*pJob, strJob, *pvecpSpec, fCycle_s);
        WarnOfBands(*pJob, strJob, *pvecpSpec, fCycle_s);
        AddFigures(*pJob, *pvecpSpec, fCycle_s);
    }
}

bool CConfigCheck::CheckJob(const CJobConf& p_job, CVdsOMA& r_vds, std::unique_ptr<VecSpec>& r_pvecSpec)
{
    const std::string strJob = "Job " + Quoted(p_job.Name());
    bool bOk = Step(p_job.Line(), strJob, "a name", [&] { return CheckJobName(p_job); });
    bOk &= Step(p_job.Line(), strJob, "active-power or vpad", [&] { return CheckJobMode(p_job); });
    bOk &= Step(p_job.PSDampingRatio().Line(), "PSDampingRatio of " + strJob,
                "ratios of 0 or below, the alarm limit not below the warning limit",
                [&] { return CreateLimits(p_job) != nullptr; });
    bOk &= Step(p_job.SpectralDataSets().Line(), "SpectralDataSets of " + strJob,
                "multipliers of 1 to 256, and bands that meet: each begins where the next one ends",
                [&]
                {
                    r_pvecSpec = CreateSpecs(p_job, nullptr, &m_trace);
                    return r_pvecSpec != nullptr;
                });
    bOk &= Step(p_job.Line(), strJob, "OutputRefId to name a Datapoint inside a MeasurementUnit",
                [&] { return CheckOutput(m_pConfig, p_job) != nullptr; });
    bOk &= CheckInputs(p_job, strJob, r_vds);
    bOk &= Step(p_job.PSModes().Line(), "PSModes of " + strJob, "at least one element PSMode",
                [&] { return CheckModes(p_job); });
    for (const OMA::CPSMode& mode : p_job.PSModes())
        bOk &= Step(mode.Line(), "PSMode " + std::to_string(mode.Id()) + " of " + strJob,
                    "a frequency output inside a MeasurementUnit, and MaxFrequency not below MinFrequency",
                    [&] { return CheckMode(m_pConfig, mode) != nullptr; });
    WarnOfLimits(p_job, strJob);
    WarnOfEvents(p_job, strJob);
    if (r_pvecSpec)
    {
        WarnOfLengths(p_job, strJob);
        WarnOfModes(p_job, strJob, *r_pvecSpec);
    }
    return bOk;
}

bool CConfigCheck::CheckInputs(const CJobConf& p_job, const std::string& p_strJob, CVdsOMA& r_vds)
{
    bool bOk = true;
    for (std::size_t n = 0; n < 2; ++n)
    {
        const OMA::CInputGroup& group = p_job.InputGroups().at(n);
        bOk &= Step(
            group.Line(), "InputGroup of " + p_strJob,
            "one phase or all three, all of one MeasurementUnit and one rate; only voltages for vpad",
            [&] { return CreatePmu(m_pConfig, p_job, group, n == 0 ? "1st" : "2nd", &r_vds, &m_trace) != nullptr; });
    }
    if (!bOk)
        return false;
    CPmu* pPmu1st = nullptr;
    CPmu* pPmu2nd = nullptr;
    return Step(p_job.InputGroups().at(0).Line(), "InputGroup of " + p_strJob, "one voltage and one current",
                [&] { return AssignPmus(m_pConfig, p_job, &r_vds, &m_trace, &pPmu1st, &pPmu2nd); });
}

void CConfigCheck::AddFigures(const CJobConf& p_job, const VecSpec& p_vecpSpec, double p_fCycle_s)
{
    constexpr const char* pEvents[] = {"", "Notified", "Distinct", "Critical", "Undamped Critical"};
    const double fPass_s = CTime::CycleTimeFromRate(p_job.PSModes().ReportingRate());
    m_strFigures += "  job " + Quoted(p_job.Name()) + (p_job.IsActive() ? "" : " (not active)") +
                    Text(": %s, a pass every %g s, modes: %zu, events from \"%s Power Swing\" on\n",
                         p_job.JobMode() == eJobVPAD ? "voltage angle difference" : "active power", fPass_s,
                         p_job.PSModes().size(), pEvents[RetrveEventMin(p_job.PSEvents())]);
    m_strFigures += "    band, Hz              samples   first result, s   frequency step, Hz   work of a pass, KiB\n";
    std::uint32_t nLongest = 0;
    for (const auto& pSpec : p_vecpSpec)
    {
        const std::uint32_t nSamples = pSpec->GetNoOfSamples();
        nLongest = std::max(nLongest, nSamples);
        const double fWindow_s = nSamples * p_fCycle_s;
        m_strFigures +=
            Text("    %-9.6g to %-9.6g %7u %17.2f %20.6f %21.0f\n", pSpec->GetFreqBeg(), pSpec->GetFreqEnd(), nSamples,
                 fWindow_s, 1.0 / fWindow_s, nSamples * g_fWork_bytes / 1024.0);
    }
    m_strFigures +=
        Text("    queue of samples: %.0f KiB, kept while the job runs\n", nLongest * g_fRecord_bytes / 1024.0);
}
