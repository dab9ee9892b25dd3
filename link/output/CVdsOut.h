#pragma once
#include "WinEvents.h"
#include "host/base/CTime.h"
#include "host/base/CTraceOMA.h"
#include "host/base/TShared.h"
#include "link/dli/CChannelAnalog.h"
#include "link/dli/CChanneldataWrite.h"
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

class CChannelOut;

/// State words of written values.
inline constexpr std::int64_t g_nStateValid = 0;
inline constexpr std::int64_t g_nStateSuspect = 0x0080000000000000;
inline constexpr std::int64_t g_nStateInvalid = 0x0100000000000000;

/// Common base of both kinds of output: a virtual PMU whose channel objects are created once and refilled.
///
/// Owner    job or output mode.
/// Threads  normally one at a time. If the read callback has given up waiting, it and the job's worker may use the
///          measurement writer at the same time: stamp and state are shared values, the channel objects have a lock.
class CVdsOut
{
  public:
    /// @throws CDliError for an invalid connection handle.
    CVdsOut(unsigned long p_hConn, std::uint32_t p_nVirtualPmuId, const std::vector<unsigned long>& p_vecnChanId,
            CTraceOMA* p_pTrace);
    virtual ~CVdsOut();
    CVdsOut(const CVdsOut&) = delete;
    CVdsOut& operator=(const CVdsOut&) = delete;

    /// Stores the stamp of the time. @return false if the time cannot be converted.
    bool SetActTS(const CTime* p_pTime);
    /// Writes the stamp (index and second) to the time.
    bool SetTS(CTime* p_pTime) const;
    std::int32_t GetQual() const { return QualFromStatus(m_nState); }
    void SetQual(std::int32_t p_eQual) { m_nState = StatusFromQual(p_eQual); }
    /// Value of a channel, 0.0 for an invalid index.
    double GetValue(unsigned p_nIndex) const;
    /// Narrows to single precision; a value beyond its range becomes infinite.
    void SetValue(unsigned p_nIndex, double p_fValue);
    std::int64_t GetState() const { return m_nState; }
    unsigned long GetChanId(unsigned p_nIndex) const;
    unsigned GetNoOfChannels() const { return static_cast<unsigned>(m_vecpChan.size()); }

    /// QualToStatus in both directions: quality to 64-bit state word and back. Unknown values trace "Missing case".
    std::int64_t StatusFromQual(std::int32_t p_eQual) const;
    std::int32_t QualFromStatus(std::int64_t p_nState) const;

  protected:
    /// Channel by index, null if there is no such channel. Its contents are guarded by m_mtxChan.
    Norvik::Energy::Kestrel::VDS::Runtime::CChannelAnalog* Chan(unsigned p_nIndex) const;
    static double ReadValue(const Norvik::Energy::Kestrel::VDS::Runtime::CChannelAnalog& p_chan);
    static void FillValue(Norvik::Energy::Kestrel::VDS::Runtime::CChannelAnalog& p_chan, double p_fValue);

    std::uint32_t m_nVirtualPmuId;
    TShared<std::int64_t> m_tsWrite{0};              ///< stamp of the value to be written
    TShared<std::int64_t> m_nState{g_nStateInvalid}; ///< INVALID until a quality is set
    mutable std::mutex m_mtxChan;                    ///< contents of the channel objects
    /// The list as Write requires it, owned through m_vecpOwned. Constant after construction.
    std::vector<Norvik::Energy::Kestrel::VDS::Runtime::CChannel*> m_vecpChan;
    std::vector<std::unique_ptr<CChannelOut>> m_vecpOwned;
    std::unique_ptr<Norvik::Energy::Kestrel::VDS::Runtime::CChanneldataWrite> m_pChanData;
    HANDLE m_hStatus = nullptr; ///< signalled by the callback, but nothing waits on it; never closed
    CTraceOMA* m_pTrace;
};
