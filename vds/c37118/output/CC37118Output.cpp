#include "vds/c37118/output/CC37118Output.h"
#include "vds/c37118/codec/EncodeFrame.h"
#include <algorithm>
#include <set>
#include <stdexcept>
#include <utility>

namespace
{
/// Keeps only what the source has.
SOutputStreamConfig Reduced(SOutputStreamConfig p_output, const ISource& p_source)
{
    if (p_output.bPhasors)
    {
        const std::set<std::uint64_t> setId(p_source.Ids().begin(), p_source.Ids().end());
        for (SOutputPmu& pmu : p_output.vecPmu)
            std::erase_if(pmu.vecChannel,
                          [&](const SOutputChannel& p_channel) { return setId.count(p_channel.nId) == 0; });
        std::erase_if(p_output.vecPmu, [](const SOutputPmu& p_pmu) { return p_pmu.vecChannel.empty(); });
    }
    if (p_output.vecPmu.empty())
        throw std::runtime_error("output '" + p_output.strName + "': nothing to offer: expected " +
                                 (p_output.bPhasors ? "a measurement unit with data points of the source"
                                                    : "an instance with a job that is active"));
    return p_output;
}
} // namespace

CC37118Output::CC37118Output(const SOutputHost& p_host, SOutputStreamConfig p_output)
    : m_output(Reduced(std::move(p_output), p_host.source)), m_fnLine(p_host.fnLine),
      m_config(OutputConfig(m_output, OutputRate(m_output, p_host.source.Rate()), false)),
      m_server(p_host.io, m_output, m_config, OutputConfig(m_output, m_config.nDataRate, true), m_fnLine),
      m_timer(p_host.io)
{
    std::vector<std::uint8_t> vecnFrame;
    if (!EncodeConfig(m_config, vecnFrame) || !EncodeData(m_config, EmptyData(m_config), vecnFrame))
        throw std::runtime_error("output '" + m_output.strName + "': " + std::to_string(m_config.vecPmu.size()) +
                                 " PMUs: expected fewer, a frame has at most 65535 bytes");
    m_server.m_fnOn = p_host.fnOn;
    if (m_output.bPhasors)
        m_phasors.emplace(m_output, m_config, p_host.source);
    else
        m_results.emplace(m_output, m_config);
}

void CC37118Output::Start()
{
    m_server.Start();
    const std::string strTcp = m_output.nPort != 0 ? " TCP port " + std::to_string(m_output.nPort) : "";
    const std::string strUdp = m_output.nUdpPort != 0 ? " UDP port " + std::to_string(m_output.nUdpPort) : "";
    m_fnLine("output '" + m_output.strName + "' on " + m_output.strListen + ":" + strTcp + strUdp + ", IDCODE " +
             std::to_string(m_output.nStreamId) + ", " + std::to_string(m_config.vecPmu.size()) + " PMUs");
}

void CC37118Output::OnCycle(const SSourceCycle& p_cycle)
{
    m_server.SetTime(p_cycle.nTicks);
    if (m_results)
        m_results->OnCycle(p_cycle.nTicks);
    else if (const SDataFrame* pData = m_phasors->OnCycle(p_cycle))
        m_server.Send(*pData);
}

void CC37118Output::OnTaken(std::int64_t p_nTicks)
{
    if (!m_results)
        return;
    m_results->OnTaken(p_nTicks, std::chrono::steady_clock::now());
    Flush(false);
}

void CC37118Output::OnValue(std::uint64_t p_nChannel, std::int32_t p_nRate, std::int64_t p_nTicks, float p_fValue,
                            int p_eQual)
{
    if (m_results)
        m_results->OnValue(p_nChannel, p_nRate, p_nTicks, p_fValue, p_eQual);
}

void CC37118Output::OnEvent(const SEvent& p_event)
{
    if (m_results)
        m_results->OnEvent(p_event);
}

void CC37118Output::Flush(bool p_bAll)
{
    while (const SDataFrame* pData = m_results->Next(std::chrono::steady_clock::now(), p_bAll))
        m_server.Send(*pData);
    const std::optional<CResultFrames::TTime> tDue = m_results->Due();
    if (!tDue || m_bArmed || p_bAll)
        return;
    m_bArmed = true;
    m_timer.expires_at(*tDue);
    m_timer.async_wait(
        [this](const boost::system::error_code& p_ec)
        {
            m_bArmed = false;
            if (!p_ec)
                Flush(false);
        });
}

void CC37118Output::End()
{
    if (m_results)
        Flush(true);
    m_timer.cancel();
    m_server.End();
    m_fnLine(Summary());
}

std::string CC37118Output::Summary()
{
    const SOutputCounters& counters = m_server.Counters();
    return "output '" + m_output.strName + "': " + std::to_string(counters.nFrames) + " data frames sent, " +
           std::to_string(counters.nDropped) + " dropped for slow clients; " + std::to_string(counters.nCommands) +
           " commands accepted, " + std::to_string(counters.nForeign) + " with another IDCODE, " +
           std::to_string(counters.nReserved) + " of another kind, " + std::to_string(counters.nUnanswered) +
           " not answered, " + std::to_string(counters.nBad + counters.received.nCrcErrors) +
           " with a wrong check word, " + std::to_string(counters.nRefused) + " clients refused";
}

TMakeOutputs C37118Outputs(std::vector<SOutputStreamConfig> p_vecOutput)
{
    return [vecOutput = std::move(p_vecOutput)](const SOutputHost& p_host)
    {
        std::vector<std::unique_ptr<IOutput>> vecpOutput;
        for (const SOutputStreamConfig& output : vecOutput)
            vecpOutput.push_back(std::make_unique<CC37118Output>(p_host, output));
        return vecpOutput;
    };
}
