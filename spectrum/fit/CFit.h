#pragma once
#include "host/base/CTraceOMA.h"
#include <boost/container/small_vector.hpp>
#include <valarray>

/// Base of the fits. The channel numbers 0, 1, ... are the abscissa.
/// Owner    one Run of the spectrum evaluation. Threads: the job's worker.
class CFit
{
  public:
    /// Up to three coefficients need no heap.
    using VecCoef = boost::container::small_vector<double, 3>;

    /// @param p_vecData, p_vecSigma owned by the caller; they must outlive the fit, and may change between its calls.
    CFit(const std::valarray<double>& p_vecData, CTraceOMA* p_pTrace,
         const std::valarray<double>& p_vecSigma = s_vecNoSigma);
    CFit(std::valarray<double>&&, CTraceOMA*) = delete;
    CFit(const std::valarray<double>&, CTraceOMA*, std::valarray<double>&&) = delete;

  protected:
    using Matrix = boost::container::small_vector<VecCoef, 3>;

    /// Whether p_nFirst to p_nLast is a valid range of channels.
    bool IsRange(unsigned p_nFirst, unsigned p_nLast) const;

    const std::valarray<double>& m_vecData;
    const std::valarray<double>& m_vecSigma; ///< may be empty
    static const std::valarray<double> s_vecNoSigma;
    double m_fChiSq = 0.0;
    CTraceOMA* m_pTrace;
};
