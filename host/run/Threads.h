#pragma once
#include "host/run/ObjectGraph.h"
#include <boost/thread/thread.hpp>
#include <memory>
#include <vector>

// Start of the threads of a pass, and the end of all that the pass has built.

/// Session and worker threads. True once the null checks have passed: a failure inside is told by SuspendApp only.
bool CreateThreadsOMA(const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig, VecOMA* p_pvecOMA,
                      CTraceOMA* p_pTrace, std::unique_ptr<boost::thread_group>* p_ppThreadGroup);
/// Fills all places with new automatic-reset event handles.
bool CreateHandlesOMA(std::vector<HANDLE>* p_pvechOMA, CTraceOMA* p_pTrace);
/// After all threads have ended, also after a failed build with whatever exists. Always true.
bool CleanOMA(std::unique_ptr<VecOMA> p_pvecOMA, std::unique_ptr<boost::thread_group> p_pThreadGroup,
              std::unique_ptr<boost::thread> p_pEventThread,
              std::unique_ptr<Norvik::Energy::Kestrel::VDS::Runtime::CXMLConfiguration> p_pXml,
              Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig, CTraceOMA* p_pTrace);
/// Whether an active NTM application reports on both PMUs of this job through its job named "Static".
bool IsJobOnStaticNTM(const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig, const CJobOMA* p_pJob);
