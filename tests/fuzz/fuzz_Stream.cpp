#include "tests/fuzz/PatchChecks.h"
#include "tests/fuzz/StreamConfig.h"
#include "vds/c37118/codec/CFrameCutter.h"
#include "vds/c37118/input/CStreamSet.h"

/// Byte 0: 1 check words unchanged, 2 datagrams, 4 round stamps to the grid, 8 losses; byte 1: sizes of the pieces.
/// Then the stream.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* p_pData, std::size_t p_nSize)
{
    if (p_nSize < 2)
        return 0;
    const unsigned nFlags = p_pData[0];
    unsigned nPiece = p_pData[1];
    const std::vector<std::uint8_t> vecn = (nFlags & 1U) != 0
                                               ? std::vector<std::uint8_t>(p_pData + 2, p_pData + p_nSize)
                                               : PatchChecks(p_pData + 2, p_nSize - 2);
    CStreamSet set(FuzzStreams((nFlags & 4U) != 0));
    CStreamReader& reader = *set.Readers().front();
    CFrameCutter cutter(reader.m_counters);
    SSourceCycle cycle;
    std::int64_t nNow = 638355968000000000; // about the time of the seeds
    for (std::size_t i = 0, nSize = 0; i < vecn.size(); i += nSize)
    {
        nSize = std::min<std::size_t>(1 + (nPiece & 0xFFU), vecn.size() - i);
        nPiece = nPiece * 5 + 3;
        cutter.Feed({vecn.data() + i, nSize});
        for (std::span<const std::uint8_t> frame; cutter.Next(frame); nNow += 200000)
            reader.OnFrame(frame, nNow);
        if ((nFlags & 2U) != 0)
            cutter.EndDatagram();
        while (set.Concentrator().Take(cycle, nNow))
        {
        }
        if (reader.ConfigWish() != CStreamReader::eNoWish && (nFlags & 8U) != 0)
        {
            reader.Forget();
            cutter.Reset();
        }
    }
    set.Summary();
    return 0;
}
