#pragma once
#include "vds/base/CJsonLog.h"
#include "vds/config/ServerConfig.h"
#include <boost/unordered_map.hpp>
#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <utility>
#include <vector>

class COutputFeed;

/// Output channels: virtual PMUs that clients have declared, and the newest value of each channel.
class COutputs
{
  public:
    /// Why a start is refused; sent over the link.
    enum EError : std::uint32_t
    {
        eAccepted = 0,
        eOtherConnection = 1, ///< another connection has started the virtual PMU
        eNoChannels = 2,
        eBadRate = 3,
        eTooMany = 4
    };
    struct SChannel
    {
        std::uint64_t nPmu = 0;
        std::uint64_t nId = 0;
        std::int64_t nTicks = 0; ///< 0: no value yet
        float fValue = 0.0F;
        int eQual = 2; ///< 0 VALID, 1 SUSPECT, 2 INVALID
        bool bStarted = false;
    };

    COutputs(const SServerConfig& p_config, bool p_bLogMeasurements)
        : m_config(p_config), m_bLogMeasurements(p_bLogMeasurements)
    {
    }
    /// Called for each accepted value: channel, its rate, value.
    std::function<void(const SChannel&, std::int32_t)> m_fnValue;
    COutputFeed* m_pFeed = nullptr; ///< told of all that happens; not owned
    /// Tells the feed what is running, with the newest values.
    void TellRunning(COutputFeed& r_feed) const;
    /// Channels that are started.
    std::size_t Running() const;
    CJsonLog& Log() { return m_log; }

    /// A repeated start of the same writer replaces the earlier one: the application may repeat it.
    EError Start(std::uint64_t p_nSession, unsigned p_nWriter, std::uint64_t p_nPmu,
                 const std::vector<std::uint64_t>& p_vecnId, std::int32_t p_nRate);
    void Stop(std::uint64_t p_nSession, unsigned p_nWriter);
    /// @return false if the writer has not started this virtual PMU with this number of channels: the values are
    /// refused.
    bool Write(std::uint64_t p_nSession, unsigned p_nWriter, std::uint64_t p_nPmu, std::int64_t p_nTicks,
               std::span<const float> p_vecfValue, std::span<const std::uint64_t> p_vecnState);
    /// The connection has closed: everything it has started is stopped.
    void StopAll(std::uint64_t p_nSession);

    /// By PMU and channel.
    std::vector<SChannel> Channels() const;

  private:
    struct SWriter
    {
        std::uint64_t nPmu = 0;
        std::vector<std::uint64_t> vecnId;
        bool bLogged = true;
        std::int32_t nRate = 1;
    };
    using TWriters = std::map<std::pair<std::uint64_t, unsigned>, SWriter>;
    /// Who has started a virtual PMU, and with how many writers.
    struct SOwner
    {
        std::uint64_t nSession = 0;
        unsigned nWriters = 0;
    };
    void Stop(TWriters::iterator p_it);
    void Release(std::uint64_t p_nPmu);

    const SServerConfig& m_config;
    const bool m_bLogMeasurements;
    CJsonLog m_log;
    std::size_t m_nDeclared = 0; ///< channels of all writers
    TWriters m_mapWriter;        ///< by session and writer
    boost::unordered_map<std::uint64_t, SOwner> m_mapOwner;
    boost::unordered_map<std::pair<std::uint64_t, std::uint64_t>, SChannel> m_mapChannel; ///< by PMU and channel
};

/// Quality from the state word of a written value; any unknown word is INVALID.
int QualityOfState(std::uint64_t p_nState);
