#pragma once
#include "host/base/TShared.h"
#include "host/base/TextOMA.h"
#include "spectrum/data/CDeqMeas.h"
#include <cstdint>
#include <memory>
#include <vector>

/// One phasor. Written by the read callback; read on the same thread, and by the worker while the callback waits.
struct SPhasor
{
    std::uint32_t nId = 0;      ///< measurement reference id
    std::uint32_t nPhase = 0;   ///< 0, 1 or 2
    TShared<double> fMagn{0.0}; ///< V or A
    TShared<double> fAngle_deg{0.0};
    TShared<std::int32_t> eQual{eQualInvalid}; ///< INVALID until the first sample
};

/// One set of channels of one PMU, with 1 or 3 phasors. Several jobs may share it.
/// Owner    the session (CVds). The library's event thread writes the grid state; the job's worker reads it.
class CPmu
{
  public:
    CPmu() : m_pvecPhasor(std::make_unique<std::vector<SPhasor>>()) {}

    void AddPhasor(std::uint32_t p_nId, std::uint32_t p_nPhase);
    /// Sorts three phasors by phase. @return false unless each of the three phases occurs once.
    bool SortPhasors();
    /// Null only after a failed set-up.
    std::vector<SPhasor>* GetPhasors() const { return m_pvecPhasor.get(); }

    std::uint32_t m_nReserved = 0;
    std::uint32_t m_nId = 0;
    std::int32_t m_nRepRate = 0; ///< reporting rate
    TShared<std::uint32_t> m_nIsland{0U};
    TShared<std::uint32_t> m_nZone{0U};
    TShared<std::int32_t> m_eZoneQual{eQualValid}; ///< 0 VALID, 1 SUSPECT, 2 unknown
    TShared<std::uint32_t> m_nIsland2{0U};
    TShared<std::int32_t> m_eIslandQual2{eQualValid};

  private:
    std::unique_ptr<std::vector<SPhasor>> m_pvecPhasor;
};
