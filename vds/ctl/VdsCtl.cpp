#include "CLinkStream.h"
#include "Version.h"
#include "vds/base/Options.h"
#include "vds/base/ParseNumber.h"
#include "vds/config/CommandLine.h"
#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/address.hpp>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <limits>
#include <map>
#include <stdexcept>

namespace asio = boost::asio;
namespace Link = Norvik::Energy::Kestrel::Link;

namespace
{
constexpr unsigned g_nDefaultPort = 4712;
constexpr auto g_tLimit = std::chrono::seconds(5);
constexpr const char* g_pUsage =
    "usage: vdsctl [-xml:FILE | --ca FILE [--cert FILE --key FILE] [--token-file FILE]] ADDR[:PORT] COMMAND\n"
    "       vdsctl ADDR[:PORT] post KEY APP|DIS ELEMTYPE ELEMID [TEXT]\n"
    "       vdsctl ADDR[:PORT] standing | channels | drop [event|data|all] | stall SECONDS\n"
    "       vdsctl probe HOST:PORT[/ID] [--udp] [--seconds N] [--xml FILE]\n"
    "       vdsctl --help | --version\n";

asio::ip::tcp::endpoint ParseAddress(const std::string& p_strText)
{
    std::string strHost = p_strText;
    unsigned nPort = g_nDefaultPort;
    const std::size_t nColon = p_strText.rfind(':');
    const bool bManyColons = p_strText.find(':') != nColon;
    if (nColon != std::string::npos && (!bManyColons || p_strText[nColon - 1] == ']'))
    {
        strHost = p_strText.substr(0, nColon);
        nPort = ParseNumber<unsigned>("port", p_strText.substr(nColon + 1), 1, 65535);
    }
    if (strHost.size() > 2 && strHost.front() == '[' && strHost.back() == ']')
        strHost = strHost.substr(1, strHost.size() - 2);
    boost::system::error_code ec;
    const asio::ip::address address = asio::ip::make_address(strHost == "localhost" ? "127.0.0.1" : strHost, ec);
    if (ec)
        throw std::runtime_error("address '" + p_strText + "': expected a numeric network address such as 127.0.0.1");
    return {address, static_cast<std::uint16_t>(nPort)};
}

void ParsePost(const std::vector<std::string>& p_vecstrArg, Link::ControlRequest& r_request)
{
    if (p_vecstrArg.size() < 6 || p_vecstrArg.size() > 7)
        throw std::runtime_error("post: expected KEY APP|DIS ELEMTYPE ELEMID [TEXT]");
    constexpr std::int32_t nMax = std::numeric_limits<std::int32_t>::max();
    Link::Event& event = *r_request.mutable_event();
    event.set_key(ParseNumber<std::int32_t>("key", p_vecstrArg[2], 0, nMax));
    if (p_vecstrArg[3] != "APP" && p_vecstrArg[3] != "DIS")
        throw std::runtime_error("transition: expected APP or DIS, got '" + p_vecstrArg[3] + "'");
    event.set_transition(p_vecstrArg[3] == "APP" ? 1 : 0);
    event.set_element_type(ParseNumber<std::int32_t>("element type", p_vecstrArg[4], 0, nMax));
    event.set_element_id(
        ParseNumber<std::uint64_t>("element id", p_vecstrArg[5], 0, std::numeric_limits<std::uint32_t>::max()));
    if (p_vecstrArg.size() > 6)
    {
        if (p_vecstrArg[6].size() > Link::g_nMaxEventText)
            throw std::runtime_error("text: expected at most " + std::to_string(Link::g_nMaxEventText) + " bytes");
        event.set_text(p_vecstrArg[6]);
    }
    r_request.set_kind(Link::ControlRequest::POST);
}

void ParseDrop(const std::vector<std::string>& p_vecstrArg, Link::ControlRequest& r_request)
{
    const std::string strWhat = p_vecstrArg.size() > 2 ? p_vecstrArg[2] : "all";
    if (strWhat == "event")
        r_request.set_kind(Link::ControlRequest::DROP_EVENT);
    else if (strWhat == "data")
        r_request.set_kind(Link::ControlRequest::DROP_DATA);
    else if (strWhat == "all")
        r_request.set_kind(Link::ControlRequest::DROP_ALL);
    else
        throw std::runtime_error("drop: expected event, data or all, got '" + strWhat + "'");
}

Link::ControlRequest ParseRequest(const std::vector<std::string>& p_vecstrArg)
{
    const std::string& strCommand = p_vecstrArg[1];
    const std::size_t nMost = strCommand == "post" ? 7 : (strCommand == "drop" || strCommand == "stall") ? 3 : 2;
    if (p_vecstrArg.size() > nMost)
        throw std::runtime_error(strCommand + ": '" + p_vecstrArg[nMost] + "' is not expected");
    Link::ControlRequest request;
    if (strCommand == "post")
        ParsePost(p_vecstrArg, request);
    else if (strCommand == "standing")
        request.set_kind(Link::ControlRequest::STANDING);
    else if (strCommand == "channels")
        request.set_kind(Link::ControlRequest::CHANNELS);
    else if (strCommand == "drop")
        ParseDrop(p_vecstrArg, request);
    else if (strCommand == "stall" && p_vecstrArg.size() == 3)
    {
        request.set_kind(Link::ControlRequest::STALL);
        request.set_stall_ms(
            static_cast<std::uint32_t>(std::lround(ParseNumber<double>("stall", p_vecstrArg[2], 0.0, 3600.0) * 1000)));
    }
    else
        throw std::runtime_error("command '" + strCommand +
                                 "': expected post, standing, channels, drop or stall SECONDS");
    return request;
}

/// Sends the greeting and the request, prints the answer.
class CRequester : public Link::ILinkUser
{
  public:
    CRequester(asio::io_context& p_io, std::shared_ptr<Link::CLinkStream> p_pStream, Link::ControlRequest p_request,
               std::string p_strToken)
        : m_io(p_io), m_pStream(std::move(p_pStream)), m_request(std::move(p_request)),
          m_strToken(std::move(p_strToken))
    {
    }

    void OnLinkOpen() override
    {
        m_pStream->Send(
            [this](Link::Message& r_message)
            {
                if (m_pStream->Peer().bTls)
                    r_message.mutable_hello()->set_token(m_strToken);
                r_message.mutable_hello()->set_version(Link::g_nLinkVersion);
                r_message.mutable_hello()->set_name("vdsctl");
                r_message.mutable_hello()->set_client(1);
            });
    }
    void OnLinkMessage(const Link::Message& p_message) override
    {
        if (p_message.has_welcome())
            m_pStream->Send([this](Link::Message& r_message) { *r_message.mutable_control_request() = m_request; });
        else if (p_message.has_control_reply())
        {
            for (const std::string& strLine : p_message.control_reply().lines())
                std::printf("%s\n", strLine.c_str());
            if (p_message.control_reply().more())
                return;
            if (!p_message.control_reply().error().empty())
                return m_pStream->Close(Link::g_strRefused + p_message.control_reply().error());
            m_bDone = true;
            m_pStream->Close("done");
        }
    }
    void OnLinkClosed(const std::string& p_strReason) override
    {
        m_strReason = p_strReason;
        m_pStream.reset();
        m_io.stop();
    }

    bool IsDone() const { return m_bDone; }
    const std::string& Reason() const { return m_strReason; }

  private:
    asio::io_context& m_io;
    std::shared_ptr<Link::CLinkStream> m_pStream;
    const Link::ControlRequest m_request;
    const std::string m_strToken;
    bool m_bDone = false;
    std::string m_strReason = "no answer within 5 s";
};
} // namespace

namespace
{
/// Options come first: from the address on all are words, and the text of an event may begin with a dash.
std::vector<std::string>::const_iterator FirstWord(const std::vector<std::string>& p_vecstrArg,
                                                   const SOptionNames& p_names)
{
    auto it = p_vecstrArg.begin();
    while (it != p_vecstrArg.end() && it->starts_with('-'))
    {
        const auto IsName = [&](const std::string& p_strName) { return *it == "--" + p_strName; };
        const bool bValue = std::any_of(p_names.vecstrValued.begin(), p_names.vecstrValued.end(), IsName);
        it += bValue && std::next(it) != p_vecstrArg.end() ? 2 : 1;
    }
    return it;
}

/// Takes the options that secure the link off the front of the arguments.
Link::SLinkSecurity TakeSecurity(std::vector<std::string>& r_vecstrArg)
{
    Link::SLinkSecurity security;
    const std::map<std::string, std::string*> mapOption = {{"ca", &security.strCAFile},
                                                           {"cert", &security.strCertificateFile},
                                                           {"key", &security.strKeyFile},
                                                           {"token-file", &security.strTokenFile}};
    const SOptionNames names = {{}, {"ca", "cert", "key", "token-file"}, true};
    const auto itWords = FirstWord(r_vecstrArg, names);
    for (const SArgument& argument : ReadArguments({r_vecstrArg.cbegin(), itWords}, names))
    {
        const auto it = mapOption.find(argument.strOption);
        if (argument.strOption == g_pXmlOption)
            security = ReadClientSecurity(argument.strValue);
        else if (it == mapOption.end())
            throw std::runtime_error("option '" + argument.strValue + "' is unknown");
        else
        {
            *it->second = argument.strValue;
            security.bOn = true;
        }
    }
    r_vecstrArg.erase(r_vecstrArg.cbegin(), itWords);
    if (security.bOn && security.strCAFile.empty())
        throw std::runtime_error("option '--ca FILE' is missing");
    if (security.strCertificateFile.empty() != security.strKeyFile.empty())
        throw std::runtime_error("options '--cert' and '--key': expected both");
    return security;
}

/// Without the port and the brackets of an address.
std::string HostOf(const std::string& p_strAddr)
{
    const bool bBrackets = p_strAddr.rfind('[', 0) == 0;
    if (!bBrackets && std::count(p_strAddr.begin(), p_strAddr.end(), ':') > 1)
        return p_strAddr;
    return bBrackets ? p_strAddr.substr(1, p_strAddr.find(']') - 1) : p_strAddr.substr(0, p_strAddr.find(':'));
}

void Request(const std::vector<std::string>& p_vecstrArg, const Link::SLinkSecurity& p_security)
{
    asio::io_context io;
    const asio::ip::tcp::endpoint endpoint = ParseAddress(p_vecstrArg[0]);
    const Link::ControlRequest request = ParseRequest(p_vecstrArg);
    if (!endpoint.address().is_loopback() && !p_security.bOn)
        throw std::runtime_error("server at " + p_vecstrArg[0] +
                                 " is on another machine: expected option -xml or --ca");
    const std::string strToken = p_security.strTokenFile.empty() ? "" : Link::ReadToken(p_security.strTokenFile);
    const auto pStream = std::make_shared<Link::CLinkStream>(
        asio::ip::tcp::socket(io), p_security.bOn ? Link::ClientTls(p_security) : nullptr, HostOf(p_vecstrArg[0]));
    const auto pRequester = std::make_shared<CRequester>(io, pStream, request, strToken);
    pStream->Connect(endpoint, pRequester);
    io.run_for(g_tLimit);
    if (pRequester->IsDone())
        return;
    const std::string strReason = pRequester->Reason();
    pStream->Close("gave up");
    io.restart();
    io.poll();
    throw std::runtime_error("server at " + p_vecstrArg[0] + ": " + strReason);
}
} // namespace

int RunVdsCtl(const std::vector<std::string>& p_vecstrArg)
{
    if (!p_vecstrArg.empty() && p_vecstrArg[0] == "--help")
        return std::printf("%s", g_pUsage) < 0 ? 1 : 0;
    if (!p_vecstrArg.empty() && p_vecstrArg[0] == "--version")
        return std::printf("vdsctl %s\n", g_pVersion) < 0 ? 1 : 0;
    try
    {
        std::vector<std::string> vecstrArg = p_vecstrArg;
        const Link::SLinkSecurity security = TakeSecurity(vecstrArg);
        if (vecstrArg.size() < 2)
        {
            std::fprintf(stderr, "%s", g_pUsage);
            return 2;
        }
        Request(vecstrArg, security);
        return std::fflush(stdout) == 0 ? 0 : 1;
    }
    catch (const std::exception& ex)
    {
        std::fprintf(stderr, "vdsctl: %s\n", ex.what());
        return 1;
    }
}
