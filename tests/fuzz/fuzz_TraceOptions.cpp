#include "CTrace.h"
#include "tests/fuzz/Input.h"

/// Arguments, one per line. Those that name a file are skipped, because the file would be created.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* p_pData, std::size_t p_nSize)
{
    using namespace Norvik::Energy::Kestrel::VDS::Runtime;
    std::vector<std::string> vecstrArg = Arguments(p_pData, p_nSize);
    std::erase_if(vecstrArg, [](const std::string& p_strArg)
                  { return p_strArg.size() > 1 && (p_strArg[1] == 't' || p_strArg[1] == 'T'); });
    CTrace::SetSink([](auto...) {});
    CTrace::SetLevel(ETraceLevel::eWarning);
    CTrace::CreateTraceHelper("OMA_Fuzz");
    CWideArguments wide(vecstrArg);
    CTrace::CheckTraceArg(wide.Count(), wide.Values());
    CTrace::GetInstancePtr("OMA_Fuzz")->Data() << "line" << TEnd;
    return 0;
}
