#include "vds/base/IsoTime.h"
#include "vds/c37118/input/CSourceCapture.h"
#include "vds/source/OpenSource.h"
#include <cstdio>
#include <cstdlib>

// Plays a source to its end, for test_sources.py: `simulate FILE`, `replay FILE TICKS` or
// `capture FILE` (phasor VA of stream 60). First ids and rate, then a line
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

std::unique_ptr<ISource> OpenCapture(const std::string& p_strPath, std::string& r_strError)
{
    SSynchrophasorConfig config;
    SStreamConfig& stream = config.vecStream.emplace_back();
    stream.nStreamId = 60;
    stream.vecPhasor = {{61, "VA", 1011}};
    auto pSource = std::make_unique<CSourceCapture>(config);
    if (pSource->Open(p_strPath))
        return pSource;
    r_strError = pSource->Error();
    return nullptr;
}
} // namespace

int main(int p_nArgc, char* p_ppArgv[])
{
    if (p_nArgc < 3)
        return 2;
    const std::string strMode = p_ppArgv[1];
    std::string strError;
    const auto pSource = strMode == "replay"     ? OpenReplay(p_ppArgv[2], std::atoll(p_ppArgv[3]), &strError)
                         : strMode == "simulate" ? OpenSimulator(p_ppArgv[2], &strError)
                                                 : OpenCapture(p_ppArgv[2], strError);
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
