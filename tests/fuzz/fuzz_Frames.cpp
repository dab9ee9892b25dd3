#include "tests/fuzz/PatchChecks.h"
#include "vds/c37118/codec/DecodeFrame.h"
#include "vds/c37118/codec/EncodeFrame.h"
#include <cstdlib>

/// A sequence of frames; data frames are decoded with the newest configuration. A decoded configuration must be
/// encodable and decodable again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* p_pData, std::size_t p_nSize)
{
    const std::vector<std::uint8_t> vecn = PatchChecks(p_pData, p_nSize);
    SConfigFrame config;
    SDataFrame data;
    for (std::size_t i = 0, nSize = 0; i + 16 <= vecn.size(); i += nSize)
    {
        nSize = std::clamp<std::size_t>(static_cast<std::size_t>(vecn[i + 2]) << 8U | vecn[i + 3], 16, vecn.size() - i);
        const std::span<const std::uint8_t> frame(vecn.data() + i, nSize);
        std::string strError;
        std::vector<std::uint8_t> vecnOut;
        SConfigFrame newConfig, again;
        SHeaderFrame header;
        SCommandFrame command;
        if (DecodeConfig(frame, newConfig, strError))
        {
            config = newConfig;
            if (EncodeConfig(config, vecnOut) && !DecodeConfig(vecnOut, again, strError))
                std::abort();
        }
        if (DecodeData(frame, config, data, strError))
            EncodeData(config, data, vecnOut);
        if (DecodeHeader(frame, header, strError))
            EncodeHeader(header, vecnOut);
        if (DecodeCommand(frame, command, strError))
            EncodeCommand(command, vecnOut);
    }
    return 0;
}
