#include "CTrace.h"
#include "platform/dli/CConnection.h"

using namespace Norvik::Energy::Kestrel;
using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
/// Reads everything passed to it.
class CUser : public CChannelDataCallBack, public CChannelDataWriteCallBack, public CEventDataCallBack
{
  public:
    void Receive(std::vector<CChannel*>& p_vecpChannel) override
    {
        for (CChannel* const pChannel : p_vecpChannel)
        {
            CChannel::vdsData data;
            static_cast<CChannelAnalog*>(pChannel)->GetValue(data, CChannel::eValuePhasor);
            m_nSeen += pChannel->GetId() + static_cast<std::uint64_t>(pChannel->GetState());
        }
    }
    void Receive(std::vector<CEvent*>& p_vecpEvent, unsigned long p_lReqNum) override
    {
        for (const CEvent* const pEvent : p_vecpEvent)
            m_nSeen += p_lReqNum + pEvent->Addition().size() + pEvent->ElementID();
    }
    void Status(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo) override
    {
        m_nSeen += p_eStatus + p_lReqNum + p_lAddInfo;
    }
    std::uint64_t m_nSeen = 0;
};
} // namespace

/// The contents of a link frame: each message goes to a connection with one receiver of each kind (number 1), whose
/// lanes run here instead of on pool threads. A fault closes the connection.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* p_pData, std::size_t p_nSize)
{
    Link::Frame frame;
    if (!frame.ParseFromArray(p_pData, static_cast<int>(p_nSize)))
        return 0;
    CTrace::SetSink([](ETraceLevel, std::string_view, std::string_view) {});
    static Dli::CThreadPool pool;
    pool.Shutdown(); // accepts no work
    boost::asio::io_context io;
    CUser user;
    const auto pConnection = std::make_shared<Dli::CConnection>(
        io, pool, eElemOMA, "oma", boost::asio::ip::tcp::endpoint{}, "localhost", 1, std::make_shared<int>(0));
    pConnection->m_fnLost = [] {};
    const auto pReader =
        std::make_shared<Dli::CDataReceiver>(pool, &user, std::weak_ptr<Dli::CDataReceiver::IReport>());
    const auto pWriter = std::make_shared<Dli::CWriteReceiver>(pool, &user);
    pReader->Begin(1, {11, 12, 13});
    Link::StartWrite start;
    pWriter->Begin(start);
    pConnection->AddReader(pReader, 1);
    pConnection->AddWriter(pWriter, 1);
    pConnection->AddCallBack(&user, 0);
    pConnection->Read(0, 0);
    try
    {
        for (const Link::Message& message : frame.messages())
        {
            pConnection->OnLinkMessage(message);
            for (int nLane = 0; nLane < 3; ++nLane)
            {
                pReader->RunLane(nLane);
                pWriter->RunLane(nLane);
            }
        }
    }
    catch (const std::exception&)
    {
    }
    pConnection->OnLinkClosed("closed");
    pConnection->RemoveCallBack(&user);
    pReader->Close();
    pWriter->Close();
    return 0;
}
