#pragma once
#include "host/CTraceOMA.h"
#include <valarray>

/// Base of the fits: a copy of the data over channel numbers 0, 1, ..., which are the abscissa.
/// Owner    one Run of the spectrum evaluation. Threads: the job's worker.
class CFit
{
  public:
    CFit(const std::valarray<double>& p_vecData, CTraceOMA* p_pTrace, const std::valarray<double>& p_vecSigma);

    double GetChiSq() const { return m_fChiSq; }

  protected:
    /// Whether p_nFirst to p_nLast are channels of the data.
    bool IsRange(unsigned p_nFirst, unsigned p_nLast) const;

    std::valarray<double> m_vecData;
    std::valarray<double> m_vecSigma; ///< may be empty
    double m_fChiSq = 0.0;
    CTraceOMA* m_pTrace;
};
