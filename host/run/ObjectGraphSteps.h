#pragma once
#include "host/run/ObjectGraph.h"
#include <memory>
#include <string_view>

// Steps of CreateDataOMA and CreateDataJob that judge one piece of the configuration each. Whoever wants to know whether a
// configuration would be taken, without a connection, calls these. Each refusal goes through SuspendApp.

bool CheckInstanceName(const Norvik::Energy::Kestrel::VDS::Runtime::OMA::COMA& p_oma);
bool CheckInstanceJobs(const Norvik::Energy::Kestrel::VDS::Runtime::OMA::COMA& p_oma);
/// The rate of the session from those of its PMUs.
bool CheckInstanceRate(const Norvik::Energy::Kestrel::VDS::Runtime::OMA::COMA& p_oma, CVdsOMA* p_pVds);

bool CheckJobName(const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CJob& p_job);
bool CheckJobMode(const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CJob& p_job);
/// Limits of magnitude and damping; null after a refusal.
std::unique_ptr<CDOE> CreateLimits(const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CJob& p_job);
/// Least severe event type that is posted. The types: 0 none, 1 notified, 2 distinct, 3 critical, 4 undamped critical;
/// the last one is always wanted.
std::int32_t RetrveEventMin(const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CPSEvents& p_events);
/// The three bands in file order, checked and sorted; null after a refusal. The flags of -spec go by file order, ahead of
/// the sort.
std::unique_ptr<VecSpec> CreateSpecs(const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CJob& p_job,
                                     CTraceOMA* p_pTraceJob, CTraceOMA* p_pTrace);
/// The PMU of the job's output; null after a refusal.
const Norvik::Energy::Kestrel::VDS::Runtime::CMeasurementUnit*
CheckOutput(const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig,
            const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CJob& p_job);
/// One of the two PMUs of a job. p_strWhich is "1st" or "2nd"; null after a refusal.
CPmu* CreatePmu(const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig,
                const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CJob& p_job,
                const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CInputGroup& p_group, std::string_view p_strWhich,
                CVdsOMA* p_pVds, CTraceOMA* p_pTrace);
/// Active power: one voltage and one current, in either order. Angle difference: the two voltages in file order.
bool AssignPmus(const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig,
                const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CJob& p_job, CVdsOMA* p_pVds, CTraceOMA* p_pTrace,
                CPmu** p_ppPmu1st, CPmu** p_ppPmu2nd);
/// Whether there is a mode at all.
bool CheckModes(const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CJob& p_job);
/// The virtual PMU of a mode's outputs; null after a refusal of its outputs or limits.
const Norvik::Energy::Kestrel::VDS::Runtime::CMeasurementUnit*
CheckMode(const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig,
          const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CPSMode& p_mode);
