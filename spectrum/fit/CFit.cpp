#include "spectrum/fit/CFit.h"

const std::valarray<double> CFit::s_vecNoSigma;

CFit::CFit(const std::valarray<double>& p_vecData, CTraceOMA* p_pTrace, const std::valarray<double>& p_vecSigma)
    : m_vecData(p_vecData), m_vecSigma(p_vecSigma), m_pTrace(p_pTrace)
{
}

bool CFit::IsRange(unsigned p_nFirst, unsigned p_nLast) const
{
    return p_nFirst <= p_nLast && p_nLast < m_vecData.size();
}
