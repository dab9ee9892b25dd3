#pragma once
#include "host/base/CTraceOMA.h"
#include "spectrum/data/CDeqMeas.h"
#include "spectrum/data/CPeakOMA.h"
#include <atomic>
#include <memory>
#include <vector>

/// Replaces the measured window by a synthetic signal of damped sinusoids. One object for each pass.
class CStudyOMA
{
  public:
    CStudyOMA(CDeqMeas* p_pdeqData, unsigned p_nSamples, double p_fDeltaT_s, CTraceOMA* p_pTrace);

    /// @param p_nCycleSamples samples between two evaluations. p_fShift relative phase shift between two evaluations.
    /// @param p_fRange_s time after which the signal repeats.
    bool CreateData(const std::vector<std::unique_ptr<CPeakOMA>>* p_pvecpPeak, unsigned p_nCycleSamples,
                    double p_fNoise, double p_fShift, double p_fRange_s);

    /// Number of evaluations of all instances and threads. Study mode is meant for a single job.
    static std::atomic<unsigned> s_nCount;

  private:
    bool AddPeak(const CPeakOMA& p_peak, double p_fTime, double& r_fValue) const;
    bool CountCycle(unsigned p_nCycleSamples, double p_fShift, double p_fRange_s) const;

    CDeqMeas* m_pdeqData;
    unsigned m_nSamples;
    double m_fDeltaT_s;
    CTraceOMA* m_pTrace;
};
