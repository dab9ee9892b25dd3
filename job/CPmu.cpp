#include "job/CPmu.h"
#include <algorithm>

void CPmu::AddPhasor(std::uint32_t p_nId, std::uint32_t p_nPhase)
{
    if (!m_pvecPhasor)
        m_pvecPhasor = std::make_unique<std::vector<SPhasor>>();
    SPhasor phasor;
    phasor.nId = p_nId;
    phasor.nPhase = p_nPhase;
    m_pvecPhasor->push_back(phasor);
}

bool CPmu::SortPhasors()
{
    if (!m_pvecPhasor || m_pvecPhasor->size() != 3)
        return false;
    std::sort(m_pvecPhasor->begin(), m_pvecPhasor->end(),
              [](const SPhasor& p_left, const SPhasor& p_right) { return p_left.nPhase < p_right.nPhase; });
    for (std::uint32_t nPhase = 0; nPhase < 3; ++nPhase)
        if ((*m_pvecPhasor)[nPhase].nPhase != nPhase)
            return false;
    return true;
}
