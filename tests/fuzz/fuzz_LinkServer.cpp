#include "vds/core/CServerCore.h"

namespace Link = Norvik::Energy::Kestrel::Link;

namespace
{
class CSteadySource : public ISource
{
  public:
    const std::vector<unsigned long>& Ids() const override { return m_vecnId; }
    std::int32_t Rate() const override { return 50; }
    bool Next(SSourceCycle& r_cycle) override
    {
        r_cycle.nTicks += 200000;
        r_cycle.vecSample.assign(m_vecnId.size(), {1.0F, 0.0F, 0, true});
        return true;
    }
    bool Rewind() override { return true; }
    bool IsFiltered() const override { return true; }

  private:
    const std::vector<unsigned long> m_vecnId{1, 2, 3};
};
} // namespace

/// Byte 0: 1 selects the port of the outputs. Then the contents of a link frame; each message is passed to the session
/// of a fresh connection, followed by a cycle.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* p_pData, std::size_t p_nSize)
{
    Link::Frame frame;
    if (p_nSize == 0 || !frame.ParseFromArray(p_pData + 1, static_cast<int>(p_nSize - 1)))
        return 0;
    SServerOptions options;
    options.fnLine = [](const std::string&) {};
    CServerCore core({}, std::make_unique<CSteadySource>(), options);
    const auto pSession = std::make_shared<CSession>(
        core, 1, (p_pData[0] & 1U) != 0, std::make_shared<Link::CLinkStream>(boost::asio::ip::tcp::socket(core.Io())),
        "127.0.0.1", 4000);
    CSteadySource source;
    SSourceCycle cycle;
    cycle.nTicks = 638355968000000000;
    for (const Link::Message& message : frame.messages())
    {
        if (message.control_request().kind() == Link::ControlRequest::STALL)
            continue; // would block for as long as requested
        try
        {
            pSession->OnLinkMessage(message);
        }
        catch (const std::exception&)
        {
            break; // closes the connection
        }
        source.Next(cycle);
        Link::Cycle out;
        for (auto& [nSet, set] : pSession->Sets())
            set.Offer(cycle, [&, &r_set = set](const SSourceCycle& p_cycle)
                      { r_set.Fill(p_cycle, std::chrono::steady_clock::now(), out); });
    }
    return 0;
}
