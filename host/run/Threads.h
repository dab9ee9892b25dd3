#pragma once
#include "host/run/ObjectGraph.h"
#include <boost/thread/thread.hpp>
#include <memory>
#include <vector>

// Starts the threads of a pass, and frees everything the pass has built.

/// Starts session and worker threads. True once the null checks have passed; later failures only suspend.
bool CreateThreadsOMA(const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig, VecOMA* p_pvecOMA,
                      CTraceOMA* p_pTrace, std::unique_ptr<boost::thread_group>* p_ppThreadGroup);
/// Fills all elements with new auto-reset event handles.
bool CreateHandlesOMA(std::vector<HANDLE>* p_pvechOMA, CTraceOMA* p_pTrace);
/// Call after all threads have ended; also after a failed construction, with whatever exists. Always true.
bool CleanOMA(std::unique_ptr<VecOMA> p_pvecOMA, std::unique_ptr<boost::thread_group> p_pThreadGroup,
              std::unique_ptr<boost::thread> p_pEventThread,
              std::unique_ptr<Norvik::Energy::Kestrel::VDS::Runtime::CXMLConfiguration> p_pXml,
              Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig, CTraceOMA* p_pTrace);
/// Whether an active NTM application monitors both PMUs of this job with its job named "Static".
bool IsJobOnStaticNTM(const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig, const CJobOMA* p_pJob);
