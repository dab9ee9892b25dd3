#pragma once
#include "host/base/CTraceOMA.h"
#include "host/base/TShared.h"
#include "modes/record/CDOE.h"
#include "modes/record/CSpec.h"
#include "spectrum/data/CDeqMeas.h"
#include <valarray>
#include <vector>

/// Base of the spectrum evaluation: its data sources and the peak search. A search buffer holds one linear amplitude
/// for each channel; the first p_nOffs channels are excluded.
class CProc
{
  public:
    CProc(const CDeqMeas* p_pdeqData, const CSpec* p_pSpec, const CDOE* p_pDOE, CTraceOMA* p_pTrace);

    /// Finds the next candidate: the largest channel from p_nOffs up, outside the regions [beg, end]. Intended: judges
    /// only one candidate; if it is rejected, the search ends. False is not an error.
    bool FindNextPeakNEW(const std::valarray<double>& p_vecData, unsigned p_nOffs,
                         const std::vector<unsigned>& p_vecBeg, const std::vector<unsigned>& p_vecEnd, double p_fThresh,
                         unsigned* p_pnPeak) const;
    /// Noise level: mean amplitude times p_fFactor.
    bool CalcDataThresh(const std::valarray<double>& p_vecData, unsigned p_nOffs, double p_fFactor,
                        double* p_pfThresh) const;
    /// True if the channel lies in none of the regions.
    bool IsChanAllowed(unsigned p_nChan, const std::vector<unsigned>& p_vecBeg,
                       const std::vector<unsigned>& p_vecEnd) const;
    /// Zeroes a region and records it. Currently unused.
    bool InitData(std::valarray<double>& p_vecData, unsigned p_nLeft, unsigned p_nRight,
                  std::vector<unsigned>& p_vecBeg, std::vector<unsigned>& p_vecEnd) const;

    const CSpec* GetSpec() const { return m_pSpec; }
    void SetDeltaT(double p_fDeltaT_s) { m_fDeltaT_s = p_fDeltaT_s; }

  protected:
    const CDeqMeas* m_pdeqData;        ///< samples of the job, not owned
    TShared<double> m_fDeltaT_s{-1.0}; ///< sample spacing; set by the read callback before the first evaluation
    const CSpec* m_pSpec;              ///< not owned
    const CDOE* m_pDOE;                ///< not owned
    CTraceOMA* m_pTrace;               ///< the job's area, not owned, may be null
};
