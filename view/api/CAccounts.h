#pragma once
#include "view/api/Http.h"
#include <chrono>
#include <map>
#include <mutex>
#include <string>

enum class EViewRole
{
    eNone,
    eViewer,
    eOperator ///< also notes and acknowledges
};
const char* RoleText(EViewRole p_eRole);

/// Who asks.
struct SViewUser
{
    std::string strName;
    EViewRole eRole = EViewRole::eNone;
    std::string strCsrf;    ///< what a request that changes something has to carry; empty: need not
    std::string strSession; ///< empty: no session
};

/// Users, machines and sessions.
///
/// File     a line each: name:role:secret, role viewer or operator, secret either scrypt$N$r$p$SALT$HASH of a password
///          or token$HASH, the SHA-256 of a machine's bearer token; numbers in hexadecimal but N, r, p. '#' is a comment.
/// Without  a file everybody is an operator: the program then listens on this machine only.
/// Threads  any; SignIn takes a tenth of a second of processor time.
class CAccounts
{
  public:
    using TTime = std::chrono::steady_clock::time_point;

    CAccounts();
    /// @throws std::runtime_error with one line that names file and line.
    void Open(const std::string& p_strFile);
    bool IsRequired() const { return m_bRequired; }

    /// By bearer token or cookie.
    SViewUser UserOf(const SHttpRequest& p_request, TTime p_tNow);
    /// Whether a request that changes something comes from the page itself. @return why not; empty: it does.
    static std::string WhyForeign(const SHttpRequest& p_request, const SViewUser& p_user);
    /// A page of another name that points at this machine must not read anything. @return why not.
    std::string WhyHost(const SHttpRequest& p_request) const;

    /// An address has ten tries at once, and one every six seconds in the long run; all together a hundred, and two a
    /// second. Counts one.
    bool MayTry(const std::string& p_strPeer, TTime p_tNow);
    /// @return the session of the user, or one without a name.
    SViewUser SignIn(const std::string& p_strName, const std::string& p_strPassword, const std::string& p_strPeer,
                     TTime p_tNow);
    void SignOut(const std::string& p_strSession);

    /// Lines for the file. @throws std::runtime_error for a name or role that cannot be.
    static std::string UserLine(const std::string& p_strName, const std::string& p_strRole,
                                const std::string& p_strPassword);
    static std::string MachineLine(const std::string& p_strName, const std::string& p_strRole, std::string& r_strToken);

  private:
    struct SAccount
    {
        EViewRole eRole = EViewRole::eNone;
        std::string strSecret;
    };
    struct SSession
    {
        SViewUser user;
        TTime tEnd;
    };

    bool m_bRequired = false;
    std::map<std::string, SAccount> m_mapAccount;
    std::map<std::string, std::string> m_mapMachine; ///< name of a machine by hash of its token
    std::string m_strCsrf;                           ///< where nobody signs in
    std::mutex m_mtx;
    // ---- under m_mtx ----
    std::map<std::string, SSession> m_mapSession; ///< by hash of the cookie: the cookie itself is nowhere kept
    std::map<std::string, TTime> m_mapTries;      ///< by address: when its tries are forgotten
    TTime m_tAllTries{};
};
