#pragma once
#include "link/dli/Elements.h"
#include "link/dli/Security.h"
#include "platform/dli/CConnection.h"
#include "platform/dli/CThreadPool.h"
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
/// What the library has once per process: the table of connections, the link thread, the pool.
///
/// Owner    nobody: it is never destroyed, so that a call still blocked in the application after main() has
///          returned finds everything intact. At exit the links are closed and the threads ended (Shutdown).
class CLibrary
{
  public:
    static CLibrary& Get();

    /// @return the handle, 0 if there is no connection within 2 s.
    unsigned long Init(EElementType p_eElem, const std::string& p_strName, const std::string& p_strIPAddr,
                       unsigned p_nPort);
    void Secure(const SSecurity& p_security);
    Link::SLinkSecurity Security() const;
    void Declare(const std::vector<unsigned long>& p_vecnId);
    std::vector<unsigned long> Elements() const;
    /// @throws CDliError
    std::shared_ptr<CConnection> Connection(unsigned long p_hConn);

    /// Channel objects created by the application. Those that it never deletes are kept here until the end.
    void Adopt(const void* p_pObject);
    void Forget(const void* p_pObject);

    void Shutdown();

  private:
    CLibrary();
    CConnection::EReaders ReadersOf(const boost::asio::ip::address& p_address);
    std::vector<std::shared_ptr<CConnection>> ConnectionsTo(const boost::asio::ip::address& p_address);
    boost::asio::ip::tcp::endpoint Resolve(const std::string& p_strIPAddr, unsigned p_nPort);

    boost::asio::io_context m_io;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> m_work;
    CThreadPool m_pool;
    const std::uint64_t m_nClient;
    const std::shared_ptr<int> m_pnTelling = std::make_shared<int>(0); ///< of the link thread, see CConnection
    mutable std::mutex m_mtx;
    Link::SLinkSecurity m_security;
    std::vector<unsigned long> m_vecnElement;
    std::vector<std::shared_ptr<CConnection>> m_vecConnection; ///< handle - 1 is the index
    std::set<const void*> m_setObject;
    bool m_bShutdown = false;
    std::thread m_thread;
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
