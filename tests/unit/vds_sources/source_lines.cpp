#include "vds/base/IsoTime.h"
#include "vds/source/OpenSource.h"
#include <cstdio>
#include <cstdlib>

// Plays a source to its end, for test_sources.py: `simulate FILE` or `replay FILE TICKS`. First ids and rate, then a line
// for each cycle, then the error of the source; then all of it once more after a rewind.

namespace
{
void Play(ISource& r_source)
{
    SSourceCycle cycle;
    while (r_source.Next(cycle))
    {
        std::printf("cycle %s", IsoFromTicks(cycle.nTicks).c_str());
        for (const SSourceSample& sample : cycle.vecSample)
        {
            if (sample.bPresent)
                std::printf(" %.9g,%.9g,", static_cast<double>(sample.fMagn), static_cast<double>(sample.fAngle_deg));
            else
                std::printf(" -,-,");
            std::printf("%#lx", static_cast<unsigned long>(sample.nState));
        }
        for (const SSourceEvent& event : cycle.vecEvent)
            std::printf(" %s,%d,%d,%d,%lu,%s", "event", event.eKey, event.eTrans, event.eElemType,
                        static_cast<unsigned long>(event.nElemId), event.strText.c_str());
        std::printf("\n");
    }
    std::printf("end %d %s\n", r_source.Next(cycle) ? 1 : 0, r_source.Error().c_str());
}
} // namespace

int main(int p_nArgc, char* p_ppArgv[])
{
    if (p_nArgc < 3)
        return 2;
    std::string strError;
    const auto pSource = p_nArgc > 3 ? OpenReplay(p_ppArgv[2], std::strtoll(p_ppArgv[3], nullptr, 10), &strError)
                                     : OpenSimulator(p_ppArgv[2], &strError);
    if (!pSource)
        return std::fprintf(stderr, "%s\n", strError.c_str()) > 0 ? 1 : 2;
    std::printf("rate %d", pSource->Rate());
    for (const unsigned long nId : pSource->Ids())
        std::printf(" %lu", nId);
    std::printf("\n");
    Play(*pSource);
    if (!pSource->Rewind())
        return 1;
    Play(*pSource);
    return 0;
}
