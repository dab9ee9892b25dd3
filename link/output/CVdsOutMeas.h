#pragma once
#include "link/output/CVdsOut.h"
#include "link/output/CVdsOutCbMeas.h"

/// Writes a job's actual value: one channel, W or degrees, each measurement cycle, on the library's read thread.
class CVdsOutMeas : public CVdsOut
{
  public:
    CVdsOutMeas(unsigned long p_hConn, std::uint32_t p_nVirtualPmuId, const std::vector<unsigned long>& p_vecnChanId,
                std::int32_t p_nCycleRate, CTraceOMA* p_pTrace);
    ~CVdsOutMeas() override;

    /// Call after setting stamp, quality and value. NaN is sent as 0.0 INVALID; above 1e15 only the state becomes
    /// INVALID.
    bool DoWriteRT(const CTime* p_pActTime);
    CVdsOutCbMeas* GetCB() const { return m_pCB.get(); }

  private:
    std::unique_ptr<CVdsOutCbMeas> m_pCB;
};
