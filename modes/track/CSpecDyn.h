#pragma once
#include "host/base/CTime.h"
#include "modes/record/CDataPS.h"
#include "modes/record/CSpec.h"
#include <boost/circular_buffer.hpp>
#include <memory>
#include <vector>

/// A band from the view of one mode: what it observed of the mode, and its priority for the mode's output.
/// Owner    the mode. Threads: the job's worker.
class CSpecDyn : public CSpec
{
  public:
    using DeqDataPS = boost::circular_buffer<CDataPS>;

    CSpecDyn(const CSpec* p_pSpecSrc, std::uint32_t p_nDeqMax, std::uint32_t p_nOwnerId, CTraceOMA* p_pTrace);

    /// Priority for the output, 1 to 12, from the number of consecutive VALID cycles and the position of the band; 0
    /// after an error line. Continuity outweighs position. Also stored in m_ePrioOutp.
    std::int32_t CalcPrioOutp(const CTime* p_pActTime, std::int32_t p_eNeighb);
    void IncCntValid() { ++m_nCntValid; }
    void ClrCntValid() { m_nCntValid = 0; }
    std::uint32_t GetCntValid() const { return m_nCntValid; }
    std::int32_t GetPrioOutp() const { return m_ePrioOutp; }
    void SetPrioOutp(std::int32_t p_ePrio) { m_ePrioOutp = p_ePrio; }
    CTime* GetLastTimePS() const { return m_pLastTimePS.get(); }
    CDataPS* GetActDataPS() const { return m_pActDataPS.get(); }
    DeqDataPS* GetDeqDataPS() const { return m_pdeqDataPS.get(); }
    std::uint32_t GetDeqMax() const { return m_nDeqMax; }

  private:
    std::int32_t m_ePrioOutp = 0;
    std::vector<double> m_vecfWork;          ///< unused
    std::unique_ptr<CTime> m_pLastTimePS;    ///< PS cycle of the last peak; initially the zero time
    std::unique_ptr<CDataPS> m_pActDataPS;   ///< record of that cycle
    std::unique_ptr<DeqDataPS> m_pdeqDataPS; ///< history, newest at the back; grows up to m_nDeqMax records, at least 1
    std::uint32_t m_nDeqMax;
    std::uint32_t m_nCntValid = 0; ///< consecutive PS cycles with VALID data
};
