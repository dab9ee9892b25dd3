#pragma once
#include "LinkSecurity.h"
#include "vds/config/ServerConfig.h"
#include <chrono>
#include <cstdint>
#include <map>
#include <string>

struct SEvent;

enum class ERole
{
    eApplication, ///< reads, subscribes, writes outputs, posts its own events
    eOperator     ///< also controls the server and may post any event
};

/// Decides who may connect to the server, and with which rights.
///
/// Without TLS the server is restricted to this machine, and everybody on it is an operator.
class CAccess
{
  public:
    using TTime = std::chrono::steady_clock::time_point;

    /// Reads the files. @throws std::runtime_error that names the file or the missing item.
    void Open(const SServerSecurity& p_security);
    /// Null: plain text.
    const Norvik::Energy::Kestrel::Link::TTlsPtr& Tls() const { return m_pTls; }

    /// Checks the token first, then the certificate. @throws Link::CLinkRefusal
    ERole RoleOf(const Norvik::Energy::Kestrel::Link::SLinkPeer& p_peer, const std::string& p_strToken) const;

    /// Call when a peer from that address has been refused. @return the delay before it is told so: 0.1 s, growing to 8
    /// s with each refusal of that address. This slows down guessing of tokens without delaying other peers. Forgotten
    /// after a minute without a refusal.
    std::chrono::milliseconds NoteRefusal(const std::string& p_strAddr, TTime p_tNow);

  private:
    Norvik::Energy::Kestrel::Link::TTlsPtr m_pTls;
    std::string m_strToken;
    std::string m_strOperatorToken;
    struct SRefusals
    {
        unsigned nCount = 0;
        TTime tLast;
    };
    std::map<std::string, SRefusals> m_mapRefused; ///< by address
};

/// Whether an application that has greeted with an element type may post an event: only events of its own kind. It may
/// clear any event raised for its kind, because that is how an application acknowledges events it does not know.
bool MayPost(std::int32_t p_eElemType, const SEvent& p_event);
