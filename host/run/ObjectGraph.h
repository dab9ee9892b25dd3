#pragma once
#include "CConfiguration.h"
#include "CXMLConfiguration.h"
#include "link/input/CVdsOMA.h"
#include <memory>
#include <string>
#include <vector>

class CReadFileMeas;

// Builds the working data of a pass from the configuration. Everything runs on the thread of RunApplication, before any
// worker of the pass exists. Each function validates what it reads. On error it frees what it has made, calls
// SuspendApp and returns false.

using VecOMA = std::vector<std::unique_ptr<CVdsOMA>>;

// ---- kept between passes, so that an unchanged address needs no new connection ----
extern std::string g_strVdsIp;
extern unsigned g_nVdsPort;
extern unsigned g_nVdsPortData;
extern unsigned long g_hSockEvent;
extern unsigned long g_hSockData;
extern unsigned long g_nOmaElemId;

/// Creates the configuration, both connections and the event writer.
bool CreateBaseOMA(const std::string& p_strConfigFile, CTraceOMA* p_pTrace,
                   std::unique_ptr<Norvik::Energy::Kestrel::VDS::Runtime::CXMLConfiguration>* p_ppXml,
                   Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration** p_ppConfig, unsigned long* p_phSockEvent,
                   unsigned long* p_phSockData);
/// Creates the instances with all their parts.
bool CreateDataOMA(CReadFileMeas* p_pReadFile, Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig,
                   unsigned long p_hSockEvent, unsigned long p_hSockData, CTraceOMA* p_pTrace,
                   std::unique_ptr<VecOMA>* p_ppvecOMA);
/// Creates the jobs of one instance.
bool CreateDataJob(CReadFileMeas* p_pReadFile, const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig,
                   const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CJobs& p_jobs, unsigned long p_hSockData,
                   CVdsOMA* p_pVds, CTraceOMA* p_pTrace, std::unique_ptr<CVdsOMA::VecJob>* p_ppvecJob);
CPmu* AddPmuToVds(const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig,
                  const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CInputGroup& p_group, CVdsOMA* p_pVds,
                  CTraceOMA* p_pTrace);
bool PhasorMeasIdToPmuParams(const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig, const CPmu* p_pPmu,
                             CTraceOMA* p_pTrace, std::uint32_t* p_pnPmuId, std::int32_t* p_pnRepRate);
bool AddPsmsToJob(unsigned long p_hSockData, const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig,
                  const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CPSModes& p_modes, const std::string& p_strJobName,
                  std::int32_t p_eJobMode, std::uint32_t p_nCyclesInactive, std::int32_t p_nRepRate,
                  std::uint32_t p_nSamples, const VecSpec* p_pvecpSpec, CDOE* p_pDOE, std::int32_t p_eEventMin,
                  CTraceOMA* p_pTrace, CJob::VecPsmOut* p_pvecpPsmOut);
/// Sorts the three bands by descending frequency, numbers them and checks that their edges meet.
bool CheckVecSpec(VecSpec* p_pvecpSpec, CTraceOMA* p_pTrace);
bool DelVecSpec(std::unique_ptr<VecSpec>* p_ppvecpSpec, CTraceOMA* p_pTrace);
bool DelVecPSM(std::unique_ptr<CJob::VecPsmOut>* p_ppvecpPSM, CTraceOMA* p_pTrace);
bool DeleteAllDoeData(CJobOMA* p_pJob, CTraceOMA* p_pTrace);
bool DeleteAllPsmOuts(CJobOMA* p_pJob, CTraceOMA* p_pTrace);
bool DeleteAllSpecs(CJobOMA* p_pJob, CTraceOMA* p_pTrace);
