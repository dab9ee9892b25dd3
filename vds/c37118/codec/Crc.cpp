#include "vds/c37118/codec/Crc.h"
#include <boost/crc.hpp>

std::uint16_t CRC(std::span<const std::uint8_t> p_bytes)
{
    boost::crc_optimal<16, 0x1021, 0xFFFF, 0, false, false> crc;
    crc.process_bytes(p_bytes.data(), p_bytes.size());
    return crc.checksum();
}
