#include "vds/c37118/input/CStreamSet.h"

namespace
{
std::vector<unsigned long> IdsOf(const SSynchrophasorConfig& p_config)
{
    std::vector<unsigned long> vecnId;
    for (const SStreamConfig& stream : p_config.vecStream)
    {
        for (const SStreamPhasor& phasor : stream.vecPhasor)
            vecnId.push_back(phasor.nDatapoint);
    }
    return vecnId;
}
} // namespace

std::string CountersText(const SStreamCounters& p_counters)
{
    std::string strText = std::to_string(p_counters.vecnFrames[eFrameData]) + " data frames, " +
                          std::to_string(p_counters.nBytes) + " bytes";
    const std::pair<std::uint64_t, const char*> counters[] = {
        {p_counters.nCrcErrors, "check word errors"},
        {p_counters.nResyncs, "resynchronisations"},
        {p_counters.nSkipped, "bytes skipped"},
        {p_counters.nLengthMismatches, "length mismatches"},
        {p_counters.nGaps, "gaps"},
        {p_counters.nLost, "frames lost"},
        {p_counters.nDuplicates, "duplicates"},
        {p_counters.nTimeBack, "time stamps going backwards"},
        {p_counters.nOffGrid, "off the grid"},
        {p_counters.nBadClock, "with a bad clock"},
        {p_counters.nLate, "late"},
        {p_counters.nConfigChanges, "new configurations"},
        {p_counters.nConnects > 1 ? p_counters.nConnects : 0, "connections"}};
    for (const auto& [nCount, pText] : counters)
    {
        if (nCount != 0)
            strText += ", " + std::to_string(nCount) + " " + pText;
    }
    return strText;
}

CStreamSet::CStreamSet(SSynchrophasorConfig p_config)
    : m_config(std::move(p_config)), m_vecnId(IdsOf(m_config)),
      m_concentrator(m_config.nRate, m_config.nMaxWait_ms * (g_nTicksPerSec / 1000), m_vecnId.size(),
                     m_config.vecStream.size())
{
    std::size_t nFirstSample = 0;
    for (std::size_t i = 0; i < m_config.vecStream.size(); ++i)
    {
        const SStreamConfig& stream = m_config.vecStream[i];
        m_vecpReader.push_back(std::make_unique<CStreamReader>(stream, m_config, &m_concentrator, i, nFirstSample,
                                                               [this](const std::string& p_strText)
                                                               {
                                                                   if (m_fnLine)
                                                                       m_fnLine(p_strText);
                                                               }));
        nFirstSample += stream.vecPhasor.size();
    }
}

std::vector<std::string> CStreamSet::Summary() const
{
    std::vector<std::string> vecstrLine;
    for (const auto& pReader : m_vecpReader)
        vecstrLine.push_back("stream " + pReader->Stream().strName + ": " + CountersText(pReader->m_counters));
    return vecstrLine;
}

std::vector<SStreamHealth> CStreamSet::Health() const
{
    std::vector<SStreamHealth> vecHealth;
    for (const std::unique_ptr<CStreamReader>& pReader : m_vecpReader)
    {
        const SStreamCounters& counters = pReader->m_counters;
        vecHealth.push_back({pReader->Stream().strName, pReader->HasConfig(), pReader->DataFrames(), counters.nGaps,
                             counters.nLost, counters.nLate, counters.nBadClock,
                             counters.nCrcErrors + counters.nLengthMismatches});
    }
    return vecHealth;
}
