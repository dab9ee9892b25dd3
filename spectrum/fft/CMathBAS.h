#pragma once
#include "host/base/CTraceOMA.h"

class CMathBAS
{
  public:
    /// Exponential rate between two envelope values, 1/s: ln(second / first) / delta. Negative if decaying.
    static bool Atten(double p_fData_1st, double p_fData_2nd, double p_fDelta_s, CTraceOMA* p_pTrace,
                      double* p_pfAtten);
};
