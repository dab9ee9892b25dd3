#pragma once
#include "WinEvents.h"
#include "host/CTime.h"
#include "host/CTraceOMA.h"
#include "link/dli/CChannel.h"
#include "link/dli/CChanneldataWrite.h"
#include <cstdint>
#include <memory>
#include <vector>

class CChannelOut;

/// What both kinds of output have in common: a virtual PMU with its channel objects, built once and refilled.
class CVdsOut
{
  public:
    /// @throws CDliError if the connection handle is none.
    CVdsOut(unsigned long p_hConn, std::uint32_t p_nVirtualPmuId, const std::vector<unsigned long>& p_vecnChanId,
            CTraceOMA* p_pTrace);
    virtual ~CVdsOut();
    CVdsOut(const CVdsOut&) = delete;
    CVdsOut& operator=(const CVdsOut&) = delete;

    bool SetActTS(const CTime* p_pTime);
    bool SetTS(CTime* p_pTime) const;
    std::int32_t GetQual() const { return QualFromStatus(m_nState); }
    void SetQual(std::int32_t p_eQual) { m_nState = StatusFromQual(p_eQual); }
    double GetValue(unsigned p_nIndex) const;
    void SetValue(unsigned p_nIndex, double p_fValue);
    std::int64_t GetState() const { return m_nState; }
    std::uint32_t GetVirtualPmuId() const { return m_nVirtualPmuId; }
    unsigned long GetChanId(unsigned p_nIndex) const;
    unsigned GetNoOfChannels() const { return static_cast<unsigned>(m_vecpChan.size()); }

    /// Both directions of QualToStatus: quality to 64-bit state word and back. Unknown values trace "Missing case".
    std::int64_t StatusFromQual(std::int32_t p_eQual) const;
    std::int32_t QualFromStatus(std::int64_t p_nState) const;

  protected:
    std::uint32_t m_nVirtualPmuId;
    std::int64_t m_tsWrite = 0;                  ///< stamp of the value to write
    std::int64_t m_nState = 0x0100000000000000;  ///< INVALID until a quality is set
    /// Owned through m_vecpOwned; the list as Write takes it.
    std::vector<Norvik::Energy::Kestrel::VDS::Runtime::CChannel*> m_vecpChan;
    std::vector<std::unique_ptr<CChannelOut>> m_vecpOwned;
    std::unique_ptr<Norvik::Energy::Kestrel::VDS::Runtime::CChanneldataWrite> m_pChanData;
    HANDLE m_hStatus = nullptr;                  ///< nothing waits on it
    CTraceOMA* m_pTrace;
};
