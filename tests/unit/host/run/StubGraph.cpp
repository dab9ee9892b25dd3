#include "StubGraph.h"
#include "host/ObjectGraph.h"
#include "host/Threads.h"
#include "link/CEventReadOMA.h"

using namespace Norvik::Energy::Kestrel::VDS::Runtime;

unsigned long g_hSockEvent = 1;
unsigned long g_hSockData = 2;

void StubGraph::Reset()
{
    g_fnCreateBase = nullptr;
    g_fnCreateData = nullptr;
    g_nPasses = 0;
    g_nCleaned = 0;
}

bool CreateBaseOMA(const std::string&, CTraceOMA*, std::unique_ptr<CXMLConfiguration>*, CConfiguration**,
                   unsigned long*, unsigned long*)
{
    ++StubGraph::g_nPasses;
    return !StubGraph::g_fnCreateBase || StubGraph::g_fnCreateBase();
}

bool CreateDataOMA(CReadFileMeas*, CConfiguration*, unsigned long, unsigned long, CTraceOMA*,
                   std::unique_ptr<VecOMA>* p_ppvecOMA)
{
    *p_ppvecOMA = std::make_unique<VecOMA>();
    return !StubGraph::g_fnCreateData || StubGraph::g_fnCreateData();
}

bool CreateThreadsOMA(const CConfiguration*, VecOMA*, CTraceOMA*, std::unique_ptr<boost::thread_group>* p_ppThreadGroup)
{
    *p_ppThreadGroup = std::make_unique<boost::thread_group>();
    return true;
}

bool CleanOMA(std::unique_ptr<VecOMA>, std::unique_ptr<boost::thread_group>, std::unique_ptr<boost::thread>,
              std::unique_ptr<CXMLConfiguration>, CConfiguration*, CTraceOMA*)
{
    {
        const std::lock_guard lock(g_mtxEventRead);
        g_pEventRead.reset();
    }
    ++StubGraph::g_nCleaned;
    return true;
}
