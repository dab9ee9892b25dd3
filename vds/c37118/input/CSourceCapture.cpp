#include "vds/c37118/input/CSourceCapture.h"
#include <limits>

namespace ip = boost::asio::ip;

std::unique_ptr<ISource> OpenCapture(const std::string& p_strPath, const SSynchrophasorConfig& p_config,
                                     std::string* p_pstrError)
{
    auto pSource = std::make_unique<CSourceCapture>(p_config);
    if (pSource->Open(p_strPath))
        return pSource;
    if (p_pstrError)
        *p_pstrError = pSource->Error();
    return nullptr;
}

bool CSourceCapture::Open(const std::string& p_strPath)
{
    m_strPath = p_strPath;
    return Rewind();
}

bool CSourceCapture::Rewind()
{
    CStreamReader::TLine fnLine = m_pStreams ? m_pStreams->m_fnLine : nullptr;
    m_pStreams = std::make_unique<CStreamSet>(m_config);
    m_pStreams->m_fnLine = std::move(fnLine);
    m_mapFlow.clear();
    m_mapForeign.clear();
    m_bEnd = false;
    m_nCycles = 0;
    m_nNow = 0;
    const bool bOpen = m_file.Open(m_strPath);
    m_strError = m_file.Error();
    return bOpen;
}

void CSourceCapture::Start(boost::asio::io_context& /*p_io*/, std::function<void()> /*p_fnReady*/,
                           std::function<void(const std::string&)> p_fnLine)
{
    m_pStreams->m_fnLine = std::move(p_fnLine);
}

bool CSourceCapture::Next(SSourceCycle& r_cycle)
{
    SSegment segment;
    while (!m_pStreams->Concentrator().Take(r_cycle, m_nNow))
    {
        if (m_bEnd)
        {
            if (m_nCycles == 0 && m_strError.empty())
                m_strError = m_strPath + ": no data of the configured streams, expected frames with one of their IDs "
                                         "and a configuration frame before them";
            return false;
        }
        if (m_file.Next(segment))
        {
            m_nNow = std::max(m_nNow, segment.nTicks);
            OnSegment(segment);
            continue;
        }
        m_bEnd = true;
        m_nNow = std::numeric_limits<std::int64_t>::max(); // end of the capture: stop waiting
        m_strError = m_file.Error();
    }
    ++m_nCycles;
    return true;
}

void CSourceCapture::OnSegment(const SSegment& p_segment)
{
    const TFlowKey key(p_segment.bTcp, p_segment.from, p_segment.nPortFrom, p_segment.to, p_segment.nPortTo);
    std::unique_ptr<SFlow>& pFlow = m_mapFlow[key];
    if (!pFlow)
        pFlow = std::make_unique<SFlow>();
    const auto fnBytes = [&](std::span<const std::uint8_t> p_bytes)
    {
        pFlow->cutter.Feed(p_bytes);
        std::span<const std::uint8_t> frame;
        while (pFlow->cutter.Next(frame))
            OnFrame(frame, p_segment, *pFlow);
    };
    if (p_segment.bTcp)
        pFlow->tcp.Put(p_segment.nSeq, p_segment.bSyn, p_segment.payload, fnBytes);
    else
    {
        fnBytes(p_segment.payload);
        pFlow->cutter.EndDatagram();
    }
}

void CSourceCapture::OnFrame(std::span<const std::uint8_t> p_frame, const SSegment& p_segment, SFlow& r_flow)
{
    const auto nId = static_cast<std::uint16_t>((p_frame[4] << 8) | p_frame[5]);
    if (CStreamReader* pReader = ReaderOf(nId, p_segment.from, p_segment.to))
    {
        const bool bHad = pReader->HasConfig();
        pReader->OnFrame(p_frame, m_nNow);
        pReader->m_counters.nConnects += !bHad && pReader->HasConfig() ? 1U : 0U;
        if ((p_frame[1] >> 4) != eFrameCommand)
            r_flow.pReader = pReader;
    }
    else if ((p_frame[1] >> 4) == eFrameData)
        ++m_mapForeign[{p_segment.from, nId}];
}

/// The stream with this ID. Its address is checked only if it is numeric.
CStreamReader* CSourceCapture::ReaderOf(std::uint16_t p_nId, const TAddress& p_from, const TAddress& p_to)
{
    for (const auto& pReader : m_pStreams->Readers())
    {
        if (pReader->Stream().nStreamId != p_nId)
            continue;
        boost::system::error_code ec;
        const TAddress address = ip::make_address(pReader->Stream().strHost, ec);
        if (ec || address == p_from || address == p_to)
            return pReader.get();
    }
    return nullptr;
}

std::vector<std::string> CSourceCapture::Summary() const
{
    // Count the cutters' results for the stream whose frames they cut.
    for (const auto& pReader : m_pStreams->Readers())
    {
        SStreamCounters& counters = pReader->m_counters;
        counters.nBytes = counters.nCrcErrors = counters.nResyncs = counters.nSkipped = 0;
        counters.vecnFrames = {};
        for (const auto& [key, pFlow] : m_mapFlow)
        {
            if (pFlow->pReader != pReader.get())
                continue;
            counters.nBytes += pFlow->counters.nBytes;
            counters.nCrcErrors += pFlow->counters.nCrcErrors;
            counters.nResyncs += pFlow->counters.nResyncs;
            counters.nSkipped += pFlow->counters.nSkipped;
            for (std::size_t i = 0; i < g_nFrameTypes; ++i)
                counters.vecnFrames[i] += pFlow->counters.vecnFrames[i];
        }
    }
    std::vector<std::string> vecstrLine = m_pStreams->Summary();
    for (const auto& [key, nFrames] : m_mapForeign)
        vecstrLine.push_back("stream ID " + std::to_string(key.second) + " from " + key.first.to_string() + ": " +
                             std::to_string(nFrames) + " data frames that belong to no configured stream");
    return vecstrLine;
}
