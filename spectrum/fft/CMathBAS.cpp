#include "spectrum/fft/CMathBAS.h"
#include "host/base/CMethodTrace.h"
#include "host/base/Epsilon.h"
#include <cmath>

bool CMathBAS::Atten(double p_fData_1st, double p_fData_2nd, double p_fDelta_s, CTraceOMA* p_pTrace, double* p_pfAtten)
{
    const CMethodTrace trace(p_pTrace, "CMathBAS", "Atten");
    if (p_fData_1st < g_fEpsilon)
        return trace.Error(" Invalid #p_fData_1st# value: ", p_fData_1st);
    if (p_fDelta_s < g_fEpsilon)
        return trace.Error(" Invalid #p_fDelta_s# value: ", p_fDelta_s);
    *p_pfAtten = std::log(p_fData_2nd / p_fData_1st) / p_fDelta_s;
    return true;
}
