#pragma once
#include "vds/base/CLineLimit.h"
#include "vds/c37118/codec/CConfigParts.h"
#include "vds/c37118/codec/StreamCounters.h"
#include "vds/c37118/input/CConcentrator.h"
#include "vds/config/SynchrophasorConfig.h"
#include <functional>

/// Turns the frames of one stream into samples: keeps its configuration, checks its time stamps, and passes the wanted
/// phasors to the concentrator.
///
/// Threads  one.
/// Errors   counted, and reported in one line where the operator can act on them; each such line once per
///          connection, and at most a few times a minute.
/// Changes  when bit 10 of STAT falls, a new layout of the same length may apply: from that frame on all samples of the
///          stream are INVALID until a configuration requested after it has arrived.
class CStreamReader
{
  public:
    using TLine = std::function<void(const std::string&)>;

    /// @param p_nStream, p_nFirstSample the stream's index and first sample index in the concentrator (null: only read
    /// and count); its samples are consecutive, in the order of the configuration. Stream and limits must outlive this
    /// object.
    CStreamReader(const SStreamConfig& p_stream, const SSynchrophasorConfig& p_config, CConcentrator* p_pConcentrator,
                  std::size_t p_nStream, std::size_t p_nFirstSample, TLine p_fnLine);

    /// Takes a whole frame with a valid check word.
    void OnFrame(std::span<const std::uint8_t> p_frame, std::int64_t p_nArrival);
    /// The connection is lost: forgets the configuration and the expected values.
    void Forget();

    const SStreamConfig& Stream() const { return m_stream; }
    bool HasConfig() const { return m_bConfig; }
    const SConfigFrame& Config() const { return m_config; }
    /// The newest data frame.
    const SDataFrame& Data() const { return m_data; }
    std::uint64_t DataFrames() const { return m_nData; } ///< read with the configuration
    enum EWish
    {
        eNoWish,
        eWishLater, ///< again, after the device has had time to reply
        eWishNow
    };
    /// Whether the configuration must be requested (again).
    EWish ConfigWish() const { return m_eWish; }
    /// Call when it has been requested.
    void ConfigAsked();
    /// The layout of the frames is uncertain: frames do not match, or a change has not been confirmed.
    bool InDoubt() const { return m_bDoubt || m_bMisfit; }
    /// Reports a message about the stream; only a few of a kind per minute.
    void Line(const char* p_pKind, const std::string& p_strText);
    double Period_s() const;

    SStreamCounters m_counters;

  private:
    struct SPlace
    {
        std::size_t nPmu = 0;
        std::size_t nPhasor = 0;
        std::size_t nSample = 0;
    };
    void OnConfig(std::span<const std::uint8_t> p_frame);
    void MapPhasors();
    bool FindPhasor(const SStreamPhasor& p_phasor, SPlace& r_place) const;
    void OnData(std::span<const std::uint8_t> p_frame, std::int64_t p_nArrival);
    bool OnGrid(std::int64_t& r_nTicks, std::int64_t& r_nIndex);
    bool FollowTime(std::int64_t p_nIndex);
    void WatchConfigChange();
    void PutSamples(std::int64_t p_nTicks, std::int64_t p_nArrival);
    bool TakeConfig(std::span<const std::uint8_t> p_frame, SConfigFrame& r_config);
    void ConfirmConfig(bool p_bSame);
    void LinesOfConfig();
    void LineOfFactor();
    bool IsFirst(bool& r_bTold) const { return m_fnLine && !std::exchange(r_bTold, true); }

    const SStreamConfig& m_stream;
    const SSynchrophasorConfig& m_limits;
    CConcentrator* const m_pConcentrator;
    const std::size_t m_nStream;
    const std::size_t m_nFirstSample;
    const TLine m_fnLine;

    bool m_bConfig = false;
    EWish m_eWish = eNoWish;
    bool m_bDoubt = false;  ///< bit 10 has fallen, no reply since
    bool m_bMisfit = false; ///< the last data frame did not match the configuration
    unsigned m_nAsked = 0;  ///< requests without a reply
    unsigned m_nStale = 0;  ///< replies still outstanding to requests sent before bit 10 fell
    CConfigParts m_parts;
    CLineLimit m_limit;
    std::int64_t m_nFirstArrival = -1;
    std::int64_t m_nArrival = 0;            ///< of the newest frame
    std::vector<std::uint8_t> m_vecnConfig; ///< body of the frame that m_config was decoded from
    SConfigFrame m_config;
    CGrid m_grid{1}; ///< of the stream
    std::vector<SPlace> m_vecPlace;
    SDataFrame m_data;
    std::string m_strError;
    std::vector<CConcentrator::TSample> m_vecSample;
    std::vector<bool> m_vecbChange; ///< bit 10 of STAT by PMU
    std::uint64_t m_nData = 0;
    std::int64_t m_nLast = -1; ///< index of the previous frame on the stream's grid; -1: none
    bool m_bActive = false;
    bool m_bToldId = false;
    bool m_bToldConfig = false;
    bool m_bToldGrid = false;
    bool m_bToldClock = false;
};
