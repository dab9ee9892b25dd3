#pragma once
#include "host/run/ObjectGraph.h"
#include <memory>
#include <string_view>

// Steps of CreateDataOMA and CreateDataJob. Each validates one part of the configuration, needs no connection, and
// reports a rejection through SuspendApp. A configuration can therefore be checked with them without running it.

bool CheckInstanceName(const Norvik::Energy::Kestrel::VDS::Runtime::OMA::COMA& p_oma);
bool CheckInstanceJobs(const Norvik::Energy::Kestrel::VDS::Runtime::OMA::COMA& p_oma);
/// Derives the rate of the session from the rates of its PMUs.
bool CheckInstanceRate(const Norvik::Energy::Kestrel::VDS::Runtime::OMA::COMA& p_oma, CVdsOMA* p_pVds);

bool CheckJobName(const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CJob& p_job);
bool CheckJobMode(const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CJob& p_job);
/// Limits of magnitude and damping; null if rejected.
std::unique_ptr<CDOE> CreateLimits(const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CJob& p_job);
/// Least severe event type that is posted: 0 none, 1 notified, 2 distinct, 3 critical, 4 undamped critical. Type 4 is
/// always posted.
std::int32_t RetrveEventMin(const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CPSEvents& p_events);
/// The three bands in file order, checked and then sorted; null if rejected. The flags of -spec are applied before
/// sorting, because they refer to the order in the file.
std::unique_ptr<VecSpec> CreateSpecs(const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CJob& p_job,
                                     CTraceOMA* p_pTraceJob, CTraceOMA* p_pTrace);
/// The PMU of the job's output; null if rejected.
const Norvik::Energy::Kestrel::VDS::Runtime::CMeasurementUnit*
CheckOutput(const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig,
            const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CJob& p_job);
/// Creates one of the two PMUs of a job. p_strWhich is "1st" or "2nd". Null if rejected.
CPmu* CreatePmu(const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig,
                const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CJob& p_job,
                const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CInputGroup& p_group, std::string_view p_strWhich,
                CVdsOMA* p_pVds, CTraceOMA* p_pTrace);
/// Active power: one voltage and one current, in either order. Angle difference: the two voltages, in file order.
bool AssignPmus(const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig,
                const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CJob& p_job, CVdsOMA* p_pVds, CTraceOMA* p_pTrace,
                CPmu** p_ppPmu1st, CPmu** p_ppPmu2nd);
/// Whether the job has at least one mode.
bool CheckModes(const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CJob& p_job);
/// The virtual PMU of a mode's outputs; null if its outputs or limits are rejected.
const Norvik::Energy::Kestrel::VDS::Runtime::CMeasurementUnit*
CheckMode(const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig,
          const Norvik::Energy::Kestrel::VDS::Runtime::OMA::CPSMode& p_mode);
