#include "platform/dli/CLibrary.h"
#include "LinkSecurity.h"
#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <random>

namespace asio = boost::asio;

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
unsigned long Init(EElementType p_eElem, const std::string& p_strName, const std::string& p_strIPAddr,
                   unsigned int p_nPort)
{
    return Dli::CLibrary::Get().Init(p_eElem, p_strName, p_strIPAddr, p_nPort);
}

void SetSecurity(const SSecurity& p_security)
{
    Dli::CLibrary::Get().Secure(p_security);
}

void SetElements(const std::vector<unsigned long>& p_vecnId)
{
    Dli::CLibrary::Get().Declare(p_vecnId);
}

CEventdata& CEventdata::GetInstance(unsigned long& p_hConn)
{
    return *Dli::CLibrary::Get().Connection(p_hConn);
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
namespace
{
constexpr auto g_tInit = std::chrono::milliseconds(2000);
/// How long shutdown waits for a server that has not yet received the last messages.
constexpr auto g_tFlush = std::chrono::seconds(3);

struct SShutdownAtExit
{
    CLibrary* pLibrary;
    ~SShutdownAtExit() { pLibrary->Shutdown(); }
};

std::uint64_t RandomNumber()
{
    std::random_device device;
    return (static_cast<std::uint64_t>(device()) << 32U) | device();
}
} // namespace

CLibrary& CLibrary::Get()
{
    static CLibrary* const pLibrary = new CLibrary; // never deleted, see the class
    static const SShutdownAtExit shutdown{pLibrary};
    return *pLibrary;
}

CLibrary::CLibrary() : m_work(asio::make_work_guard(m_io)), m_nClient(RandomNumber())
{
    Link::InitTls(); // before SShutdownAtExit: at exit the links must close before the TLS library
    m_thread = std::thread([this] { m_io.run(); });
}

asio::ip::tcp::endpoint CLibrary::Resolve(const std::string& p_strIPAddr, unsigned p_nPort)
{
    if (p_nPort == 0 || p_nPort > 65535)
        throw CDliError("port " + std::to_string(p_nPort) + " is invalid: expected 1 to 65535");
    boost::system::error_code ec;
    const asio::ip::address address = asio::ip::make_address(p_strIPAddr, ec);
    if (!ec)
        return {address, static_cast<std::uint16_t>(p_nPort)};
    asio::ip::tcp::resolver resolver(m_io);
    const auto results = resolver.resolve(p_strIPAddr, std::to_string(p_nPort), ec);
    if (ec || results.empty())
        throw CDliError("'" + p_strIPAddr + "' is not a network address");
    return results.begin()->endpoint();
}

unsigned long CLibrary::Init(EElementType p_eElem, const std::string& p_strName, const std::string& p_strIPAddr,
                             unsigned p_nPort)
{
    const asio::ip::tcp::endpoint endpoint = Resolve(p_strIPAddr, p_nPort);
    const asio::ip::address address = endpoint.address();
    if (!address.is_loopback() && !Security().bOn)
        throw CDliError("'" + p_strIPAddr + "' is another machine: expected element Security in the configuration");
    const auto pConnection =
        std::make_shared<CConnection>(m_io, m_pool, p_eElem, p_strName, endpoint, p_strIPAddr, m_nClient, m_pnTelling);
    pConnection->m_fnSecurity = [this] { return Security(); };
    pConnection->m_fnReaders = [this, address] { return ReadersOf(address); };
    pConnection->m_fnElements = [this] { return Elements(); };
    pConnection->m_fnLost = [this, address, pLost = pConnection.get()]
    {
        for (const std::shared_ptr<CConnection>& pOther : ConnectionsTo(address))
            if (pOther.get() != pLost)
                pOther->GiveUp();
    };
    pConnection->Open();
    if (!pConnection->WaitConnected(g_tInit))
    {
        pConnection->Shutdown();
        if (!pConnection->Refusal().empty())
            throw CDliError(pConnection->Refusal());
        return 0;
    }
    const std::lock_guard<std::mutex> lock(m_mtx);
    m_vecConnection.push_back(pConnection);
    return m_vecConnection.size();
}

void CLibrary::Secure(const SSecurity& p_security)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    m_security = {p_security.bOn, p_security.strCAFile, p_security.strCertificateFile, p_security.strKeyFile,
                  p_security.strTokenFile};
}

Link::SLinkSecurity CLibrary::Security() const
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    return m_security;
}

void CLibrary::Declare(const std::vector<unsigned long>& p_vecnId)
{
    std::vector<std::shared_ptr<CConnection>> vecpConnection;
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        m_vecnElement = p_vecnId;
        vecpConnection = m_vecConnection;
    }
    for (const std::shared_ptr<CConnection>& pConnection : vecpConnection)
        pConnection->SendElements();
}

std::vector<unsigned long> CLibrary::Elements() const
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    return m_vecnElement;
}

std::shared_ptr<CConnection> CLibrary::Connection(unsigned long p_hConn)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    if (p_hConn == 0 || p_hConn > m_vecConnection.size())
        throw CDliError("connection handle " + std::to_string(p_hConn) + " is invalid");
    return m_vecConnection[p_hConn - 1];
}

CConnection::EReaders CLibrary::ReadersOf(const boost::asio::ip::address& p_address)
{
    CConnection::EReaders eAll = CConnection::EReaders::eNone;
    for (const std::shared_ptr<CConnection>& pConnection : ConnectionsTo(p_address))
    {
        const CConnection::EReaders eOne = pConnection->Readers();
        if (eOne == CConnection::EReaders::eBusy)
            return eOne;
        if (eOne == CConnection::EReaders::eAtRest)
            eAll = eOne;
    }
    return eAll;
}

std::vector<std::shared_ptr<CConnection>> CLibrary::ConnectionsTo(const asio::ip::address& p_address)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    std::vector<std::shared_ptr<CConnection>> vecpConnection;
    for (const std::shared_ptr<CConnection>& pConnection : m_vecConnection)
        if (pConnection->Endpoint().address() == p_address)
            vecpConnection.push_back(pConnection);
    return vecpConnection;
}

void CLibrary::Adopt(const void* p_pObject)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    m_setObject.insert(p_pObject);
}

void CLibrary::Forget(const void* p_pObject)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    m_setObject.erase(p_pObject);
}

void CLibrary::Shutdown()
{
    std::vector<std::shared_ptr<CConnection>> vecConnection;
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        if (m_bShutdown)
            return;
        m_bShutdown = true;
        vecConnection = m_vecConnection;
    }
    // A busy server may notice the closed link at its next write and then stop reading: the last messages, in
    // particular the end of an event, would be lost.
    for (const std::shared_ptr<CConnection>& pConnection : vecConnection)
        pConnection->AskFlush();
    const auto tLimit = std::chrono::steady_clock::now() + g_tFlush;
    for (const std::shared_ptr<CConnection>& pConnection : vecConnection)
        pConnection->WaitFlushed(tLimit);
    for (const std::shared_ptr<CConnection>& pConnection : vecConnection)
        pConnection->Shutdown();
    m_pool.Shutdown();
    m_io.stop();
    m_thread.join();
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
