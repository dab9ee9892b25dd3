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
    eApplication, ///< reads, subscribes, writes outputs, posts events of its own
    eOperator     ///< also steers the server and posts anything
};

/// Who may connect to the server, and what he may do.
///
/// Without TLS the server is bound to this machine, and everybody on it is an operator.
class CAccess
{
  public:
    using TTime = std::chrono::steady_clock::time_point;

    /// Reads the files. @throws std::runtime_error that names the file, or what is missing.
    void Open(const SServerSecurity& p_security);
    /// Null: plain text.
    const Norvik::Energy::Kestrel::Link::TTlsPtr& Tls() const { return m_pTls; }

    /// By token first, then by certificate. @throws Link::CLinkRefusal
    ERole RoleOf(const Norvik::Energy::Kestrel::Link::SLinkPeer& p_peer, const std::string& p_strToken) const;

    /// A peer from that address has been refused. @return how long it waits to be told: a tenth of a second, growing to 8 s
    /// with each one from there. So nobody tries tokens at the rate of the line, and nobody else on the address is kept
    /// waiting. Forgotten after a minute without one.
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

/// Whether an application that has greeted with an element type may post an event: those of its own kind only. It may
/// clear whatever has been raised on its kind: an application acknowledges so what it does not know.
bool MayPost(std::int32_t p_eElemType, const SEvent& p_event);
