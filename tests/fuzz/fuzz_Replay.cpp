#include "tests/fuzz/Input.h"
#include "vds/source/CSourceReplay.h"
#include <cstdlib>

/// Plays the recording twice: both runs must give the same number of cycles.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* p_pData, std::size_t p_nSize)
{
    const CInputFile file(p_pData, p_nSize);
    CSourceReplay source;
    if (!source.Open(file.Path(), 638355968000000000))
        return 0;
    SSourceCycle cycle;
    int nCycles = 0;
    for (; source.Next(cycle); ++nCycles)
    {
        if (cycle.vecSample.size() != source.Ids().size())
            std::abort();
    }
    if (source.Rewind())
    {
        while (source.Next(cycle))
            --nCycles;
        if (nCycles != 0)
            std::abort();
    }
    return 0;
}
