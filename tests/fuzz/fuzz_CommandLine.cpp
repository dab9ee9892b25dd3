#include "CTrace.h"
#include "host/base/AppState.h"
#include "host/base/TraceFilter.h"
#include "host/shell/CShellOMA.h"
#include "tests/fuzz/Input.h"
#include "vds/ctl/VdsCtl.cpp" // for what it parses before it connects
#include <boost/algorithm/string/predicate.hpp>

/// Arguments, one per line, for each of the programs.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* p_pData, std::size_t p_nSize)
{
    using Norvik::Energy::Kestrel::VDS::Runtime::CTrace;
    std::vector<std::string> vecstrArg = Arguments(p_pData, p_nSize);
    for (std::string& strArg : vecstrArg)
    {
        for (const char* const pOption : {"-xml:", "-measfile:"}) // the process remembers their files
            strArg = boost::algorithm::istarts_with(strArg, pOption) ? pOption + std::string("/dev/null") : strArg;
    }
    CTrace::SetSink([](auto...) {});
    CTraceOMA trace("OMA_Fuzz");
    CWideArguments wide(vecstrArg);
    CShellOMA shell;
    shell.ExtractCmdLineParsBAS(wide.Count(), wide.Values());
    shell.ExtractCmdLineParsOMA(wide.Count(), wide.Values(), &trace);
    g_eAppState = eAppRun;
    g_nTraceFilterId = 0;
    g_bTraceInfoAll = g_bTraceDataAll = false;
    g_vecbTraceInfo.fill(false);
    g_vecbTraceData.fill(false);
    try
    {
        ParseVdsCommand(vecstrArg);
    }
    catch (const std::runtime_error&)
    {
    }
    try
    {
        std::vector<std::string> vecstrRest = vecstrArg;
        TakeSecurity(vecstrRest);
        if (vecstrRest.size() < 2)
            return 0;
        HostOf(vecstrRest[0]);
        ParseRequest(vecstrRest);
        ParseAddress(vecstrRest[0]);
    }
    catch (const std::runtime_error&)
    {
    }
    return 0;
}
