#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
class CConfigBuilder;

/// Who is told of swings.
enum eReceiverKind : std::int32_t
{
    eReceiverWebhook = 0,
    eReceiverMqtt = 1,
    eReceiverEmail = 2
};

/// A receiver of notices. Names of files as everywhere: relative ones by the folder of the configuration.
class CReceiverConfig
{
  public:
    eReceiverKind Kind() const { return m_eKind; }
    const std::string& Name() const { return m_strName; }
    /// Webhook: http or https. E-mail: smtp or smtps. MQTT: mqtt or mqtts, with host and port.
    const std::string& Url() const { return m_strUrl; }
    const std::string& Topic() const { return m_strTopic; } ///< MQTT: ahead of "/job/mode"
    const std::string& From() const { return m_strFrom; }   ///< e-mail
    const std::string& To() const { return m_strTo; }       ///< e-mail
    const std::string& User() const { return m_strUser; }
    const std::string& SecretFile() const { return m_strSecretFile; } ///< webhook: key of the signature; else password
    const std::string& CAFile() const { return m_strCAFile; }         ///< empty: those of the system

  private:
    friend class CConfigBuilder;
    eReceiverKind m_eKind = eReceiverWebhook;
    std::string m_strName;
    std::string m_strUrl;
    std::string m_strTopic = "oma";
    std::string m_strFrom;
    std::string m_strTo;
    std::string m_strUser;
    std::string m_strSecretFile;
    std::string m_strCAFile;
};

/// When a receiver is told.
class CNoticeRule
{
  public:
    int Level() const { return m_nLevel; }                 ///< least severe one: 1 notified to 4 undamped critical
    unsigned StandingInS() const { return m_nStanding_s; } ///< so long has it to stand, s
    const std::string& Jobs() const { return m_strJobs; }  ///< pattern of names with * and ?
    const std::string& Receiver() const { return m_strReceiver; }

  private:
    friend class CConfigBuilder;
    int m_nLevel = 2;
    unsigned m_nStanding_s = 10;
    std::string m_strJobs = "*";
    std::string m_strReceiver;
};

/// The window: what omaview offers, keeps and tells.
class CView
{
  public:
    const std::string& Listen() const { return m_strListen; }
    unsigned Port() const { return m_nPort; }
    const std::string& CertificateFile() const { return m_strCertificateFile; }
    const std::string& KeyFile() const { return m_strKeyFile; }
    const std::string& UsersFile() const { return m_strUsersFile; } ///< empty: nobody has to sign in
    const std::string& Database() const { return m_strDatabase; }
    unsigned RetainPassesInDays() const { return m_nPasses_d; }
    unsigned RetainMinutesInDays() const { return m_nMinutes_d; }
    unsigned MaxSizeInMB() const { return m_nMaxSize_MB; }
    const std::vector<CReceiverConfig>& GetReceivers() const { return m_vecReceiver; }
    const std::vector<CNoticeRule>& GetRules() const { return m_vecRule; }

  private:
    friend class CConfigBuilder;
    std::string m_strListen = "127.0.0.1";
    unsigned m_nPort = 8480;
    std::string m_strCertificateFile;
    std::string m_strKeyFile;
    std::string m_strUsersFile;
    std::string m_strDatabase; ///< empty: the program's own choice
    unsigned m_nPasses_d = 30;
    unsigned m_nMinutes_d = 730;
    unsigned m_nMaxSize_MB = 20000;
    std::vector<CReceiverConfig> m_vecReceiver;
    std::vector<CNoticeRule> m_vecRule;
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
