#pragma once
#include "CView.h"
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

// The configuration as a tree of read-only objects. Immutable after CreateInstance; any thread may read it.

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
class CXMLConfiguration;
class CConfigBuilder;

enum eDLIInputMode : std::int32_t
{
    eInputMaximum = 0, ///< the required rate is the maximum of the PMU rates
    eInputMinimum = 1, ///< the minimum
    eInputDivisor = 2  ///< the greatest common divisor; the read session starts by cycle time
};
enum eOMAJobMode : std::int32_t
{
    eJobActivePower = 0,
    eJobVPAD = 1
};
enum esignalType : std::int32_t
{
    eSignalVoltage = 0,
    eSignalCurrent = 1,
    eSignalInvalid = 2
};
enum ePhaseType : std::int32_t
{
};
enum ePSEventType : std::int32_t
{
};
/// Transport of a synchrophasor stream.
enum eTransport : std::int32_t
{
    eTransportTcp = 0,
    eTransportUdp = 1,        ///< commands and data over UDP
    eTransportTcpUdp = 2,     ///< commands over TCP, data over UDP
    eTransportSpontaneous = 3 ///< data over UDP, no commands
};
enum eOMAPhysType : std::int32_t
{
};

/// RefID of a phase that has no phasor.
inline constexpr unsigned long g_nNoRefId = 2147483647UL;

/// Position of an element in its file, for messages: line of the end of its start tag; 0 if it is not in the file.
class CFilePlace
{
  public:
    long Line() const { return m_nLine; }

  private:
    friend class CConfigBuilder;
    long m_nLine = 0;
};

/// A phasor of a stream and the data point it is mapped to.
class CStreamPhasor
{
  public:
    unsigned Pmu() const { return m_nPmu; } ///< IDCODE of the PMU; 0: any
    const std::string& Name() const { return m_strName; }
    unsigned long Datapoint() const { return m_nDatapoint; }

  private:
    friend class CConfigBuilder;
    unsigned m_nPmu = 0;
    std::string m_strName;
    unsigned long m_nDatapoint = 0;
};

/// A synchrophasor stream that the server reads.
class CStream : public std::vector<CStreamPhasor>, public CFilePlace
{
  public:
    const std::string& Name() const { return m_strName; }
    const std::string& Host() const { return m_strHost; } ///< may be empty only for eTransportSpontaneous
    unsigned Port() const { return m_nPort; }
    unsigned UdpPort() const { return m_nUdpPort; } ///< 0 only for eTransportTcp
    eTransport Transport() const { return m_eTransport; }
    unsigned StreamId() const { return m_nStreamId; }
    bool RoundToGrid() const { return m_bRoundToGrid; }

  private:
    friend class CConfigBuilder;
    std::string m_strName;
    std::string m_strHost;
    unsigned m_nPort = 4712;
    unsigned m_nUdpPort = 0;
    eTransport m_eTransport = eTransportTcp;
    unsigned m_nStreamId = 0;
    bool m_bRoundToGrid = false;
};

/// What an output stream contains.
enum eOutputContent : std::int32_t
{
    eContentResults = 0,
    eContentPhasors = 1 ///< the phasors of the server's source
};

/// A stream that the server offers.
class COutputStream : public CFilePlace
{
  public:
    const std::string& Name() const { return m_strName; }
    unsigned Port() const { return m_nPort; }       ///< 0: no TCP
    unsigned UdpPort() const { return m_nUdpPort; } ///< 0: no UDP
    unsigned StreamId() const { return m_nStreamId; }
    const std::string& Listen() const { return m_strListen; }
    unsigned Nominal() const { return m_nNominal_Hz; }
    int Rate() const { return m_nRate; } ///< 0: not given
    eOutputContent Content() const { return m_eContent; }
    unsigned WaitInMs() const { return m_nWait_ms; }
    unsigned UdpExpiryInS() const { return m_nUdpExpiry_s; } ///< 0: never

  private:
    friend class CConfigBuilder;
    std::string m_strName;
    unsigned m_nPort = 0;
    unsigned m_nUdpPort = 0;
    unsigned m_nStreamId = 1;
    std::string m_strListen = "127.0.0.1";
    unsigned m_nNominal_Hz = 50;
    int m_nRate = 0;
    eOutputContent m_eContent = eContentResults;
    unsigned m_nWait_ms = 500;
    unsigned m_nUdpExpiry_s = 600;
};

class CSynchrophasors
{
  public:
    int Rate() const { return m_nRate; } ///< 0: not given
    unsigned MaxWaitInMs() const { return m_nMaxWait_ms; }
    unsigned ClockQualityLimit() const { return m_nClockQualityLimit; }
    int UnlockedLimitInS() const { return m_nUnlockedLimit_s; } ///< 0, 10, 100, 1000; -1: any
    const std::vector<CStream>& GetStreams() const { return m_vecStream; }
    const std::vector<COutputStream>& GetOutputs() const { return m_vecOutput; }

  private:
    friend class CConfigBuilder;
    int m_nRate = 0;
    unsigned m_nMaxWait_ms = 200;
    unsigned m_nClockQualityLimit = 8;
    int m_nUnlockedLimit_s = 10;
    std::vector<CStream> m_vecStream;
    std::vector<COutputStream> m_vecOutput;
};

/// How the link is secured. File names, relative to the folder of the configuration; empty: not given.
class CSecurity
{
  public:
    bool IsOn() const { return m_bOn; } ///< the element is present
    const std::string& CAFile() const { return m_strCAFile; }
    const std::string& CertificateFile() const { return m_strCertificateFile; }
    const std::string& KeyFile() const { return m_strKeyFile; }
    const std::string& ClientCertificateFile() const { return m_strClientCertificateFile; }
    const std::string& ClientKeyFile() const { return m_strClientKeyFile; }
    const std::string& TokenFile() const { return m_strTokenFile; }
    const std::string& OperatorTokenFile() const { return m_strOperatorTokenFile; }

  private:
    friend class CConfigBuilder;
    bool m_bOn = false;
    std::string m_strCAFile;
    std::string m_strCertificateFile;
    std::string m_strKeyFile;
    std::string m_strClientCertificateFile;
    std::string m_strClientKeyFile;
    std::string m_strTokenFile;
    std::string m_strOperatorTokenFile;
};

class CVDS : public CFilePlace
{
  public:
    const CSecurity& Security() const { return m_security; }
    const CSynchrophasors& Synchrophasors() const { return m_synchrophasors; }
    const std::string& IPAddr() const { return m_strIPAddr; }
    unsigned Port() const { return m_nPort; }
    unsigned PortApplicationData() const { return m_nPortApplicationData; }

  private:
    friend class CConfigBuilder;
    std::string m_strIPAddr;
    unsigned m_nPort = 0;
    unsigned m_nPortApplicationData = 0;
    CSecurity m_security;
    CSynchrophasors m_synchrophasors;
};

/// The PMU of a data point.
class CMeasurementUnit
{
  public:
    unsigned long Id() const { return m_nId; }
    const std::string& Name() const { return m_strName; }

  private:
    friend class CConfigBuilder;
    unsigned long m_nId = 0;
    std::string m_strName;
};

class CLimitedDataObject
{
  public:
    /// Null if the data point has no PMU or is not in the file.
    const CMeasurementUnit* MeasurementUnit() const { return m_pUnit; }

  private:
    friend class CConfigBuilder;
    friend class CDatapoints;
    const CMeasurementUnit* m_pUnit = nullptr;
    int m_nReportingRate = 0;
    std::string m_strName;
};

class CDatapoints
{
  public:
    /// Look-up by id; an unknown id returns an object without a PMU.
    const CLimitedDataObject& Datapoint(unsigned long p_nId) const;
    /// Rate of the data point: r samples per second, -n one every n seconds, 0 for an unknown id.
    int GetReportingRate(unsigned long p_nId) const;
    /// All ids of the file, ascending; for programs that provide the data points.
    std::vector<unsigned long> Ids() const;
    const std::string& Name(unsigned long p_nId) const;

  private:
    friend class CConfigBuilder;
    std::map<unsigned long, CLimitedDataObject> m_mapDatapoint;
    std::map<unsigned long, std::unique_ptr<CMeasurementUnit>> m_mapUnit;
};

class CLimit
{
  public:
    explicit CLimit(float p_fValue = 0.0F) : m_fValue(p_fValue) {}
    float Value() const { return m_fValue; }

  private:
    float m_fValue;
};

namespace OMA
{
class CPSMagnitude : public CFilePlace
{
  public:
    float Nominal() const { return m_fNominal; } ///< reference for both limits, W or degrees
    const CLimit& PSMagnitudeWarning() const { return m_warning; }
    const CLimit& PSMagnitudeAlarm() const { return m_alarm; }

  private:
    friend class Runtime::CConfigBuilder;
    float m_fNominal = 0.0F;
    CLimit m_warning, m_alarm;
};

class CPSDampingRatio : public CFilePlace
{
  public:
    const CLimit& PSDampingRatioWarning() const { return m_warning; }
    const CLimit& PSDampingRatioAlarm() const { return m_alarm; }

  private:
    friend class Runtime::CConfigBuilder;
    CLimit m_warning, m_alarm;
};

class CPSEvents : public CFilePlace
{
  public:
    /// 0 the most severe configurable level (critical), 1 distinct, 2 notified.
    bool IsActive(ePSEventType p_eType) const { return p_eType >= 0 && p_eType < 3 && m_vecbActive[p_eType]; }

  private:
    friend class Runtime::CConfigBuilder;
    bool m_vecbActive[3] = {false, false, false};
};

class CSpectralDataSet : public CFilePlace
{
  public:
    int SamplesMultiplier() const { return m_nMultiplier; }
    float LowerCutOffFrequency() const { return m_fLower_Hz; }
    float UpperCutOffFrequency() const { return m_fUpper_Hz; }

  private:
    friend class Runtime::CConfigBuilder;
    int m_nMultiplier = 0;
    float m_fLower_Hz = 0.0F;
    float m_fUpper_Hz = 0.0F;
};

class CSpectralDataSets : public std::vector<CSpectralDataSet>, public CFilePlace
{
  public:
    unsigned NoOfSamples() const { return m_nSamples; } ///< base FFT length

  private:
    friend class Runtime::CConfigBuilder;
    unsigned m_nSamples = 0;
};

class COutputs
{
  public:
    /// Output data point: 0 frequency, 1 magnitude, 2 damping ratio, 3 degree of exposure.
    unsigned long RefID(eOMAPhysType p_eType) const
    {
        return p_eType >= 0 && p_eType < 4 ? m_vecnRefId[p_eType] : g_nNoRefId;
    }

  private:
    friend class Runtime::CConfigBuilder;
    unsigned long m_vecnRefId[4] = {g_nNoRefId, g_nNoRefId, g_nNoRefId, g_nNoRefId};
};

class CPSMode : public CFilePlace
{
  public:
    unsigned long Id() const { return m_nId; }
    float MinFrequency() const { return m_fMin_Hz; }
    float MaxFrequency() const { return m_fMax_Hz; }
    const COutputs& Outputs() const { return m_outputs; }

  private:
    friend class Runtime::CConfigBuilder;
    unsigned long m_nId = 0;
    float m_fMin_Hz = 0.0F;
    float m_fMax_Hz = 0.0F;
    COutputs m_outputs;
};

class CPSModes : public std::vector<CPSMode>, public CFilePlace
{
  public:
    unsigned NoOfSamples() const { return m_nSamples; }    ///< length of a mode's data deques
    int ReportingRate() const { return m_nReportingRate; } ///< PS repetition rate

  private:
    friend class Runtime::CConfigBuilder;
    unsigned m_nSamples = 0;
    int m_nReportingRate = 0;
};

class CInputGroup : public CFilePlace
{
  public:
    esignalType SignalType() const { return m_eSignal; }
    unsigned long RefID(ePhaseType p_ePhase) const
    {
        return p_ePhase >= 0 && p_ePhase < 3 ? m_vecnRefId[p_ePhase] : g_nNoRefId;
    }

  private:
    friend class Runtime::CConfigBuilder;
    esignalType m_eSignal = eSignalInvalid;
    unsigned long m_vecnRefId[3] = {g_nNoRefId, g_nNoRefId, g_nNoRefId};
};

class CInputGroups : public std::vector<CInputGroup>
{
};

class CJob : public CFilePlace
{
  public:
    const std::string& Name() const { return m_strName; }
    unsigned long Id() const { return m_nId; }
    bool IsActive() const { return m_bActive; }
    eOMAJobMode JobMode() const { return m_eMode; }
    unsigned long OutputRefId() const { return m_nOutputRefId; }
    bool IsUsingNTM() const { return m_bUsingNTM; }
    const CPSMagnitude& PSMagnitude() const { return m_magnitude; }
    const CPSDampingRatio& PSDampingRatio() const { return m_damping; }
    const CPSEvents& PSEvents() const { return m_events; }
    const CSpectralDataSets& SpectralDataSets() const { return m_spectral; }
    const CPSModes& PSModes() const { return m_modes; }
    const CInputGroups& InputGroups() const { return m_inputs; }

  private:
    friend class Runtime::CConfigBuilder;
    std::string m_strName;
    unsigned long m_nId = 0;
    bool m_bActive = false;
    eOMAJobMode m_eMode = eJobActivePower;
    unsigned long m_nOutputRefId = 0;
    bool m_bUsingNTM = false;
    CPSMagnitude m_magnitude;
    CPSDampingRatio m_damping;
    CPSEvents m_events;
    CSpectralDataSets m_spectral;
    CPSModes m_modes;
    CInputGroups m_inputs;
};

class CJobs : public std::vector<CJob>
{
};

class COMA : public CFilePlace
{
  public:
    const std::string& Name() const { return m_strName; }
    unsigned long Id() const { return m_nId; }
    bool IsActive() const { return m_bActive; }
    eDLIInputMode InputMode() const { return m_eInputMode; }
    unsigned long TimeoutInMs() const { return m_nTimeout_ms; }
    bool IsEnabledNTM() const { return m_bEnabledNTM; }
    const CJobs& GetJobs() const { return m_jobs; }

  private:
    friend class Runtime::CConfigBuilder;
    std::string m_strName;
    unsigned long m_nId = 0;
    bool m_bActive = false;
    eDLIInputMode m_eInputMode = eInputMaximum;
    unsigned long m_nTimeout_ms = 0;
    bool m_bEnabledNTM = false;
    CJobs m_jobs;
};

class COMAs : public std::vector<COMA>, public CFilePlace
{
  public:
    const std::string& Name() const { return m_strName; }
    unsigned long Id() const { return m_nId; } ///< element id of the whole application

  private:
    friend class Runtime::CConfigBuilder;
    std::string m_strName;
    unsigned long m_nId = 0;
};
} // namespace OMA

namespace NTM
{
class CInput
{
  public:
    unsigned RefId() const { return m_nRefId; }

  private:
    friend class Runtime::CConfigBuilder;
    unsigned m_nRefId = 0;
};

class CJob
{
  public:
    const std::string& Name() const { return m_strName; }
    bool IsActive() const { return m_bActive; }
    const std::vector<CInput>& GetInputs() const { return m_inputs; }

  private:
    friend class Runtime::CConfigBuilder;
    std::string m_strName;
    bool m_bActive = false;
    std::vector<CInput> m_inputs;
};

class CNTM
{
  public:
    bool IsActive() const { return m_bActive; }
    const std::vector<CJob>& GetJobs() const { return m_jobs; }

  private:
    friend class Runtime::CConfigBuilder;
    bool m_bActive = false;
    std::vector<CJob> m_jobs;
};

class CNTMs : public std::vector<CNTM>
{
};
} // namespace NTM

/// Root of the tree; one instance per process.
class CConfiguration
{
  public:
    CConfiguration();
    ~CConfiguration();
    CConfiguration(const CConfiguration&) = delete;
    CConfiguration& operator=(const CConfiguration&) = delete;

    /// Takes over the tree from the reader. @return null if nothing was read.
    static CConfiguration* CreateInstance(CXMLConfiguration* p_pReader);
    static void DeleteInstance();

    const CVDS& VDS() const { return m_vds; }
    const CDatapoints& GetDatapoints() const { return m_datapoints; }
    const OMA::COMAs& GetOMAs() const { return m_omas; }
    const NTM::CNTMs& GetNTMs() const { return m_ntms; }
    const CView& View() const { return m_view; }

  private:
    friend class CConfigBuilder;
    CVDS m_vds;
    CDatapoints m_datapoints;
    OMA::COMAs m_omas;
    NTM::CNTMs m_ntms;
    CView m_view;
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
