#pragma once
#include "vds/c37118/codec/CFrameCutter.h"
#include "vds/c37118/input/CCaptureFile.h"
#include "vds/c37118/input/CStreamSet.h"
#include "vds/c37118/input/CTcpFlow.h"
#include <map>
#include <tuple>

/// The configured streams, read from a capture. A stream is identified by its ID, and by its address where the
/// configuration gives a numeric one. Arrival times are those of the capture, so the result does not depend on the
/// replay speed.
class CSourceCapture : public ISource
{
  public:
    explicit CSourceCapture(SSynchrophasorConfig p_config) : m_config(std::move(p_config)) {}

    /// @return false with one line in Error().
    bool Open(const std::string& p_strPath);

    const std::vector<unsigned long>& Ids() const override { return m_pStreams->Ids(); }
    std::int32_t Rate() const override { return m_config.nRate; }
    bool Next(SSourceCycle& r_cycle) override;
    bool Rewind() override;
    bool IsFiltered() const override { return true; }
    void Start(boost::asio::io_context& p_io, std::function<void()> p_fnReady,
               std::function<void(const std::string&)> p_fnLine) override;
    void Stop() override { m_pStreams->m_fnLine = nullptr; }
    const std::string& Error() const override { return m_strError; }
    std::vector<std::string> Summary() const override;

  private:
    using TAddress = boost::asio::ip::address;
    struct SFlow
    {
        SStreamCounters counters;
        CFrameCutter cutter{counters};
        CTcpFlow tcp;
        CStreamReader* pReader = nullptr; ///< stream of the last frame
    };
    using TFlowKey = std::tuple<bool, TAddress, std::uint16_t, TAddress, std::uint16_t>;

    void OnSegment(const SSegment& p_segment);
    void OnFrame(std::span<const std::uint8_t> p_frame, const SSegment& p_segment, SFlow& r_flow);
    CStreamReader* ReaderOf(std::uint16_t p_nId, const TAddress& p_from, const TAddress& p_to);

    const SSynchrophasorConfig m_config;
    std::string m_strPath;
    CCaptureFile m_file;
    std::unique_ptr<CStreamSet> m_pStreams;
    std::map<TFlowKey, std::unique_ptr<SFlow>> m_mapFlow;
    std::map<std::pair<TAddress, std::uint16_t>, std::uint64_t> m_mapForeign; ///< data frames that belong to no stream
    bool m_bEnd = false;
    std::uint64_t m_nCycles = 0;
    std::int64_t m_nNow = 0; ///< time of the capture
    std::string m_strError;
};

/// Opens a capture. @return null with one line in *p_pstrError.
std::unique_ptr<ISource> OpenCapture(const std::string& p_strPath, const SSynchrophasorConfig& p_config,
                                     std::string* p_pstrError);
