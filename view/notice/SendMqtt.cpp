#include "view/notice/SendMqtt.h"
#include "view/notice/SendWeb.h"
#include <charconv>
#include <chrono>
#include <memory>
#include <mosquitto.h>
#include <stdexcept>

namespace Runtime = Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr auto g_tLimit = std::chrono::seconds(10);
constexpr int g_nLoop_ms = 100;
constexpr int g_nKeepAlive_s = 30;

/// One connection for one notice.
struct SSession
{
    int nConnected = -1; ///< -1: no answer yet; 0: accepted
    bool bTaken = false;

    static void OnConnect(mosquitto*, void* p_pSession, int p_nCode)
    {
        static_cast<SSession*>(p_pSession)->nConnected = p_nCode;
    }
    static void OnPublish(mosquitto*, void* p_pSession, int) { static_cast<SSession*>(p_pSession)->bTaken = true; }
};

struct SFree
{
    void operator()(mosquitto* p_pClient) const { mosquitto_destroy(p_pClient); }
};

void Check(int p_nCode)
{
    if (p_nCode != MOSQ_ERR_SUCCESS)
        throw std::runtime_error(mosquitto_strerror(p_nCode));
}

template <class TDone>
void LoopUntil(mosquitto* p_pClient, TDone p_fnDone)
{
    const auto tEnd = std::chrono::steady_clock::now() + g_tLimit;
    while (!p_fnDone())
    {
        if (std::chrono::steady_clock::now() > tEnd)
            throw std::runtime_error("the broker does not answer");
        Check(mosquitto_loop(p_pClient, g_nLoop_ms, 1));
    }
}
} // namespace

void SendMqtt(const Runtime::CReceiverConfig& p_receiver, const SNotice& p_notice)
{
    static const int s_nInit = mosquitto_lib_init();
    SSession session;
    const std::unique_ptr<mosquitto, SFree> pClient(mosquitto_new(nullptr, true, &session));
    if (s_nInit != MOSQ_ERR_SUCCESS || !pClient)
        throw std::runtime_error("libmosquitto does not start");
    mosquitto_connect_callback_set(pClient.get(), SSession::OnConnect);
    mosquitto_publish_callback_set(pClient.get(), SSession::OnPublish);
    const bool bTls = p_receiver.Url().starts_with("mqtts://");
    std::string strHost = p_receiver.Url().substr(p_receiver.Url().find("://") + 3);
    int nPort = bTls ? 8883 : 1883;
    if (const std::size_t nColon = strHost.find(':'); nColon != std::string::npos)
    {
        std::from_chars(strHost.data() + nColon + 1, strHost.data() + strHost.size(), nPort);
        strHost.resize(nColon);
    }
    if (!p_receiver.User().empty())
        Check(mosquitto_username_pw_set(pClient.get(), p_receiver.User().c_str(),
                                        p_receiver.SecretFile().empty() ? nullptr
                                                                        : ReadSecret(p_receiver.SecretFile()).c_str()));
    if (bTls)
        Check(mosquitto_tls_set(pClient.get(), p_receiver.CAFile().empty() ? nullptr : p_receiver.CAFile().c_str(),
                                p_receiver.CAFile().empty() ? "/etc/ssl/certs" : nullptr, nullptr, nullptr, nullptr));
    Check(mosquitto_connect(pClient.get(), strHost.c_str(), nPort, g_nKeepAlive_s));
    LoopUntil(pClient.get(), [&] { return session.nConnected >= 0; });
    if (session.nConnected != 0)
        throw std::runtime_error(std::string("the broker refuses: ") + mosquitto_connack_string(session.nConnected));
    const std::string strTopic = p_receiver.Topic() + "/" + p_notice.strTopic;
    Check(mosquitto_publish(pClient.get(), nullptr, strTopic.c_str(), static_cast<int>(p_notice.strBody.size()),
                            p_notice.strBody.data(), 1, true));
    LoopUntil(pClient.get(), [&] { return session.bTaken; });
    mosquitto_disconnect(pClient.get());
}
