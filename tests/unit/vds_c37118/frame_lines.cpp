#include "vds/c37118/codec/CConfigParts.h"
#include "vds/c37118/codec/CFrameCutter.h"
#include "vds/c37118/codec/DecodeFrame.h"
#include "vds/c37118/codec/EncodeFrame.h"
#include <iostream>
#include <sstream>

// Puts frames through the codec, for test_frames.py: each line of the input is a word and its arguments, bytes as
// hexadecimal text; one line is answered. What could be decoded is answered field by field, then encoded again.

namespace
{
using TBytes = std::vector<std::uint8_t>;

TBytes FromHex(const std::string& p_strHex)
{
    TBytes vecn;
    for (std::size_t i = 0; i + 1 < p_strHex.size(); i += 2)
        vecn.push_back(static_cast<std::uint8_t>(std::stoul(p_strHex.substr(i, 2), nullptr, 16)));
    return vecn;
}
std::string Hex(std::span<const std::uint8_t> p_bytes)
{
    std::string strHex;
    for (const unsigned nByte : p_bytes)
        strHex += {"0123456789abcdef"[nByte >> 4], "0123456789abcdef"[nByte & 15U]};
    return strHex;
}

/// Each frame is a heap block of its own size, so that sanitizers see a step beyond its end.
struct SLines
{
    SConfigFrame config;
    CConfigParts parts;
    std::string strError;

    void Config(const TBytes& p_frame)
    {
        if (!DecodeConfig(p_frame, config, strError))
            return Answer("error", strError);
        Answer(config.head.nIdCode, +config.head.nVersion, config.nTimeBase, config.nDataRate);
        for (const SPmuConfig& pmu : config.vecPmu)
        {
            Answer(pmu.strStation, pmu.nIdCode, pmu.bFreqFloat, pmu.bAnalogFloat, pmu.bPhasorFloat, pmu.bPolar,
                   pmu.bNominal50, pmu.nCfgCnt);
            for (const SPhasorConfig& phasor : pmu.vecPhasor)
                Answer(phasor.strName, phasor.bCurrent, phasor.nUnit, phasor.nModified, +phasor.nComponent,
                       +phasor.nUser);
            for (const SAnalogConfig& analog : pmu.vecAnalog)
                Answer(analog.strName, +analog.nType, analog.nScale, analog.fFactor, analog.fOffset);
            for (const SDigitalConfig& digital : pmu.vecDigital)
                Answer(digital.vecstrLabel.front(), digital.vecstrLabel.back(), digital.nNormal, digital.nMask);
            Answer(Hex(pmu.vecnGlobalId), pmu.fLatitude_deg, pmu.fLongitude_deg, pmu.fElevation_m, pmu.cServiceClass,
                   pmu.nWindow_us, pmu.nGroupDelay_us);
        }
        TBytes vecnOut;
        Answer(EncodeConfig(config, vecnOut) ? Hex(vecnOut) : "refused");
    }
    void Data(const TBytes& p_frame)
    {
        SDataFrame data;
        if (!DecodeData(p_frame, config, data, strError))
            return Answer("error", strError);
        Answer(FrameTicks(data.head, config.nTimeBase), +data.head.ClockQuality());
        for (const SPmuData& pmu : data.vecPmu)
        {
            Answer(pmu.nStat, pmu.fFreq_Hz, pmu.fRocof_HzPerS);
            for (const auto& phasor : pmu.vecPhasor)
                Answer(phasor.real(), phasor.imag());
            for (const float fAnalog : pmu.vecfAnalog)
                Answer(fAnalog);
            for (const unsigned nWord : pmu.vecnDigital)
                Answer(nWord);
        }
        SetFrameTicks(data.head, FrameTicks(data.head, config.nTimeBase), config.nTimeBase);
        TBytes vecnOut;
        Answer(EncodeData(config, data, vecnOut) ? Hex(vecnOut) : "refused");
    }
    void Other(const TBytes& p_frame)
    {
        SCommandFrame command;
        SHeaderFrame header;
        TBytes vecnOut;
        if (DecodeCommand(p_frame, command, strError) && EncodeCommand(command, vecnOut))
            return Answer(command.head.nIdCode, command.nCommand, Hex(command.vecnExtended), Hex(vecnOut));
        if (!DecodeHeader(p_frame, header, strError) || !EncodeHeader(header, vecnOut))
            return Answer("error", strError);
        Answer(header.strText, Hex(vecnOut));
    }
    /// @param p_nDatagram the first so many bytes come as a datagram.
    void Cut(std::size_t p_nDatagram, std::size_t p_nPiece, std::span<const std::uint8_t> p_bytes)
    {
        SStreamCounters counters;
        CFrameCutter cutter(counters);
        const auto fnFeed = [&](std::span<const std::uint8_t> p_piece)
        {
            cutter.Feed(p_piece);
            for (std::span<const std::uint8_t> frame; cutter.Next(frame);)
                Answer(Hex(frame));
        };
        if (p_nDatagram > 0)
        {
            fnFeed(p_bytes.first(p_nDatagram));
            cutter.EndDatagram();
        }
        for (std::size_t i = p_nDatagram; i < p_bytes.size(); i += p_nPiece)
            fnFeed(p_bytes.subspan(i, std::min(p_nPiece, p_bytes.size() - i)));
        Answer(counters.nBytes, counters.nResyncs, counters.nSkipped, counters.nCrcErrors);
    }
    void Time(std::int64_t p_nTicks, std::uint32_t p_nTimeBase)
    {
        SFrameHead head;
        SetFrameTicks(head, p_nTicks, p_nTimeBase);
        Answer(head.nSoc, head.nFraction, FrameTicks(head, p_nTimeBase));
    }
    template <class... TValue>
    void Answer(const TValue&... p_value)
    {
        ((std::cout << p_value << '|'), ...);
    }
};
} // namespace

int main()
{
    std::cout.precision(17);
    SLines lines;
    for (std::string strLine, strWord, strHex; std::getline(std::cin, strLine); std::cout << '\n')
    {
        std::istringstream line(strLine);
        std::int64_t nFirst = 0;
        std::uint32_t nSecond = 0;
        line >> strWord;
        if (strWord == "cut" || strWord == "time")
            line >> nFirst >> nSecond;
        strHex.clear();
        line >> strHex;
        const TBytes vecn = FromHex(strHex);
        if (strWord == "config")
            lines.Config(vecn);
        else if (strWord == "data")
            lines.Data(vecn);
        else if (strWord == "part")
            lines.Answer(lines.parts.Put(vecn) ? Hex(lines.parts.Whole()) : "");
        else if (strWord == "cut")
            lines.Cut(static_cast<std::size_t>(nFirst), nSecond, vecn);
        else if (strWord == "time")
            lines.Time(nFirst, nSecond);
        else
            lines.Other(vecn);
    }
    return 0;
}
