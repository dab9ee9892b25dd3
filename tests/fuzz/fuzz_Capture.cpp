#include "tests/fuzz/Input.h"
#include "tests/fuzz/PatchChecks.h"
#include "tests/fuzz/StreamConfig.h"
#include "vds/c37118/input/CSourceCapture.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* p_pData, std::size_t p_nSize)
{
    const std::vector<std::uint8_t> vecn = PatchChecks(p_pData, p_nSize);
    const CInputFile file(vecn.data(), vecn.size());
    CCaptureFile::IsCapture(file.Path());
    CSourceCapture source(FuzzStreams(false));
    if (!source.Open(file.Path()))
        return 0;
    SSourceCycle cycle;
    while (source.Next(cycle))
    {
    }
    source.Summary();
    return 0;
}
