#pragma once
#include "host/run/ObjectGraph.h"
#include <memory>
#include <string>
#include <vector>

/// Checks a configuration file without a connection or a thread. It reads the file and takes the same steps as a pass,
/// but each on its own, so that one fault does not hide the next. It also warns of settings that are allowed but work
/// against the user.
///
/// Owner    the program omacheck. One object at a time: it takes over the process's configuration and trace.
/// Errors   none; everything becomes a finding.
class CConfigCheck
{
  public:
    explicit CConfigCheck(const std::string& p_strFile);
    ~CConfigCheck();
    CConfigCheck(const CConfigCheck&) = delete;
    CConfigCheck& operator=(const CConfigCheck&) = delete;

    /// Call once. @return false if there is a fault.
    bool Run();
    /// One line for each fault ("file:line: element: complaint, expected ...") and each warning, sorted by line.
    std::string Findings() const;
    /// Derived figures of each instance and job without a fault.
    const std::string& Figures() const { return m_strFigures; }

  private:
    using CConfiguration = Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration;
    using CXMLConfiguration = Norvik::Energy::Kestrel::VDS::Runtime::CXMLConfiguration;
    using COMA = Norvik::Energy::Kestrel::VDS::Runtime::OMA::COMA;
    using CJobConf = Norvik::Energy::Kestrel::VDS::Runtime::OMA::CJob;

    struct SFinding
    {
        long nLine;
        std::string strText;
    };

    /// Runs one step; its error lines become a fault. @return false if the step fails.
    template <class TStep>
    bool Step(long p_nLine, const std::string& p_strElement, const char* p_pExpected, TStep&& p_fnStep);
    void AddFault(long p_nLine, const std::string& p_strElement, const std::string& p_strText,
                  const std::string& p_strExpected);
    void Warn(long p_nLine, const std::string& p_strElement, const std::string& p_strText);

    void CheckInstance(const COMA& p_oma);
    /// @param r_pvecSpec receives the sorted bands, null if they are invalid. @return false if there is a fault.
    bool CheckJob(const CJobConf& p_job, CVdsOMA& r_vds, std::unique_ptr<VecSpec>& r_pvecSpec);
    bool CheckInputs(const CJobConf& p_job, const std::string& p_strJob, CVdsOMA& r_vds);

    /// Checks the addresses and ports of the server and its streams.
    void CheckServer();

    // ---- settings that are allowed but probably not meant ----
    void WarnOfIds();
    void WarnOfNames();
    void WarnOfDatapoints();
    void WarnOfInstance(const COMA& p_oma);
    void WarnOfLimits(const CJobConf& p_job, const std::string& p_strJob);
    void WarnOfEvents(const CJobConf& p_job, const std::string& p_strJob);
    void WarnOfBands(const CJobConf& p_job, const std::string& p_strJob, const VecSpec& p_vecpSpec, double p_fCycle_s);
    void WarnOfLengths(const CJobConf& p_job, const std::string& p_strJob);
    void WarnOfModes(const CJobConf& p_job, const std::string& p_strJob, const VecSpec& p_vecpSpec);
    void WarnOfNoData(const CJobConf& p_job, const std::string& p_strJob, const VecSpec& p_vecpSpec, double p_fCycle_s);
    void WarnOfRate(const CJobConf& p_job, const std::string& p_strJob, int p_nRate);

    void AddFigures(const CJobConf& p_job, const VecSpec& p_vecpSpec, double p_fCycle_s);

    const std::string m_strFile;
    std::unique_ptr<CXMLConfiguration> m_pXml;
    const CConfiguration* m_pConfig = nullptr;
    CTraceOMA m_trace;
    std::vector<std::string> m_vecLine; ///< error lines of the current step
    std::vector<SFinding> m_vecFinding;
    std::string m_strReadFaults; ///< syntax faults, with file and line
    std::string m_strFigures;
    bool m_bFault = false;
};
