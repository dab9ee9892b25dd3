#pragma once
#include "Dfti.h"

/// Both directions of one length, cached by the back end for the life of the process.
struct SDftPlans;

/// The settings of a transform, used by both back ends.
struct DFTI_DESCRIPTOR
{
    MKL_LONG nLength = 0;
    double fBackwardScale = 1.0;
    const SDftPlans* pPlans = nullptr; ///< null until committed
};

/// Back end: plans for a length, created at the first call. Null on failure.
const SDftPlans* DftPrepare(MKL_LONG p_nLength);
/// Back end: the transforms, unscaled in both directions.
void DftForward(const SDftPlans& p_plans, MKL_LONG p_nLength, const double* p_pfTime, double* p_pfSpec);
void DftBackward(const SDftPlans& p_plans, MKL_LONG p_nLength, double* p_pfSpec, double* p_pfTime);
