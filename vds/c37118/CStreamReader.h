#pragma once
#include "vds/c37118/CConcentrator.h"
#include "vds/c37118/StreamCounters.h"
#include "vds/c37118/SynchrophasorConfig.h"
#include <functional>

/// Makes samples of the frames of one stream: keeps its configuration, follows its time stamps, and puts the phasors
/// that are wanted into the concentrator.
///
/// Threads  one.
/// Errors   counted, and told in one line where the operator can do something about it; each such line once for each
///          connection.
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
    /// Whether the configuration has to be fetched (again). Asking clears it.
    bool TakeConfigWish();
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
    void Line(const std::string& p_strText) const;
    void LineOnce(bool& r_bTold, const std::string& p_strText) const;

    const SStreamConfig& m_stream;
    const SSynchrophasorConfig& m_limits;
    CConcentrator* const m_pConcentrator;
    const std::size_t m_nStream;
    const std::size_t m_nFirstSample;
    const TLine m_fnLine;

    bool m_bConfig = false;
    bool m_bWish = false;
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
