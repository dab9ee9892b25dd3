#include "tests/fuzz/Input.h"
#include "vds/source/OpenSource.h"

/// Loads the scenario and plays its first cycles.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* p_pData, std::size_t p_nSize)
{
    const CInputFile file(p_pData, p_nSize);
    std::string strError;
    const std::unique_ptr<ISource> pSource = OpenSimulator(file.Path(), &strError);
    if (!pSource)
        return 0;
    SSourceCycle cycle;
    for (int n = 0; n < 50 && pSource->Next(cycle); ++n)
    {
    }
    pSource->Rewind();
    pSource->Next(cycle);
    return 0;
}
