#pragma once
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// One request, read whole and within its bounds.
struct SHttpRequest
{
    std::string strMethod; ///< "GET" (also of a HEAD), "POST", "DELETE"
    std::string strPath;   ///< decoded
    std::map<std::string, std::string> mapQuery;
    std::map<std::string, std::string> mapHeader; ///< names in lower case; the last one of several
    std::string strBody;
    std::string strPeer; ///< address
    bool bTls = false;

    std::string Header(const std::string& p_strName) const
    {
        const auto it = mapHeader.find(p_strName);
        return it == mapHeader.end() ? "" : it->second;
    }
};

/// Text for a live stream, made when its reader can take it.
class ILiveSource
{
  public:
    virtual ~ILiveSource() = default;
    /// Four times a second, and never while the piece before is on its way. @return empty: nothing new.
    virtual std::string Next() = 0;
    /// False: the stream is to end, as when its session has.
    virtual bool IsOpen() = 0;
};

struct SHttpResponse
{
    unsigned nStatus = 200;
    std::string strType = "application/json";
    std::string strBody;
    std::vector<std::pair<std::string, std::string>> vecHeader;
    std::unique_ptr<ILiveSource> pLive; ///< not null: a stream of server-sent events, without a body
};

class IHttpHandler
{
  public:
    using TReply = std::function<void(SHttpResponse)>;
    virtual ~IHttpHandler() = default;
    /// On the server's thread. The reply comes once, on any thread, now or later.
    virtual void Handle(const SHttpRequest& p_request, TReply p_fnReply) = 0;
};

/// "a%20b" as "a b". @return false for a broken code or a null.
bool DecodeUrl(std::string_view p_strText, std::string& r_strText);
/// Splits a target into path and query. @return false for one that is broken.
bool ParseTarget(std::string_view p_strTarget, SHttpRequest& r_request);
