#include "CTrace.h"
#include "host/check/CConfigCheck.h"
#include "tests/fuzz/Input.h"
#include "vds/config/CommandLine.h"

/// The file as read by omacheck and by the server.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* p_pData, std::size_t p_nSize)
{
    const CInputFile file(p_pData, p_nSize);
    {
        CConfigCheck check(file.Path());
        check.Run();
        check.Findings();
    }
    Norvik::Energy::Kestrel::VDS::Runtime::CTrace::SetSink([](auto...) {});
    try
    {
        ReadServerConfig(file.Path(), "");
    }
    catch (const std::runtime_error&)
    {
    }
    return 0;
}
