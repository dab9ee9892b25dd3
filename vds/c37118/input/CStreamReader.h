#pragma once
#include "vds/base/CLineLimit.h"
#include "vds/c37118/codec/CConfigParts.h"
#include "vds/c37118/codec/StreamCounters.h"
#include "vds/c37118/input/CConcentrator.h"
#include "vds/config/SynchrophasorConfig.h"
#include <functional>

/// Makes samples of the frames of one stream: keeps its configuration, follows its time stamps, and puts the phasors
/// that are wanted into the concentrator.
///
/// Threads  one.
/// Errors   counted, and told in one line where the operator can do something about it; each such line once for each
///          connection, and a few times a minute at most.
/// Changes  when bit 10 of STAT falls, a new layout may hold, of the same length: from that frame on all samples of the
///          stream are INVALID until a configuration that was asked for after it has come.
class CStreamReader
{
  public:
    using TLine = std::function<void(const std::string&)>;

    /// @param p_nStream, p_nFirstSample the stream's places in the concentrator (null: only read and count); its
    /// samples follow each other in the order of the configuration. Stream and limits have to live on.
    CStreamReader(const SStreamConfig& p_stream, const SSynchrophasorConfig& p_config, CConcentrator* p_pConcentrator,
                  std::size_t p_nStream, std::size_t p_nFirstSample, TLine p_fnLine);

    /// A whole frame with a good check word.
    void OnFrame(std::span<const std::uint8_t> p_frame, std::int64_t p_nArrival);
    /// The connection is gone: so are the configuration and what was to be expected.
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
        eWishLater, ///< again, when the device has had time to answer
        eWishNow
    };
    /// Whether the configuration has to be fetched (again).
    EWish ConfigWish() const { return m_eWish; }
    /// It has been asked for.
    void ConfigAsked();
    /// The layout of the frames is not known for sure: frames do not fit, or a change has not been confirmed.
    bool InDoubt() const { return m_bDoubt || m_bMisfit; }
    /// A line of the stream; no more than a few of a kind in a minute.
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
    bool m_bDoubt = false;  ///< bit 10 has fallen, no answer since
    bool m_bMisfit = false; ///< the last data frame did not fit the configuration
    unsigned m_nAsked = 0;  ///< questions without an answer
    unsigned m_nStale = 0;  ///< answers to questions from before bit 10 fell that may come yet
    CConfigParts m_parts;
    CLineLimit m_limit;
    std::int64_t m_nFirstArrival = -1;
    std::int64_t m_nArrival = 0;            ///< of the frame that came last
    std::vector<std::uint8_t> m_vecnConfig; ///< body of the frame that m_config was made of
    SConfigFrame m_config;
    CGrid m_grid{1}; ///< of the stream
    std::vector<SPlace> m_vecPlace;
    SDataFrame m_data;
    std::string m_strError;
    std::vector<CConcentrator::TSample> m_vecSample;
    std::vector<bool> m_vecbChange; ///< bit 10 of STAT by PMU
    std::uint64_t m_nData = 0;
    std::int64_t m_nLast = -1; ///< index of the frame before, on the stream's grid; -1: none
    bool m_bActive = false;
    bool m_bToldId = false;
    bool m_bToldConfig = false;
    bool m_bToldGrid = false;
    bool m_bToldClock = false;
};
