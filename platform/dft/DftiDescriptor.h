#pragma once
#include "Dfti.h"

/// Both directions of one length, as the back end keeps them for the life of the process.
struct SDftPlans;

/// What both back ends share: the settings of a transform.
struct DFTI_DESCRIPTOR
{
    MKL_LONG nLength = 0;
    double fBackwardScale = 1.0;
    const SDftPlans* pPlans = nullptr; ///< null until committed
};

/// Back end: plans of a length, made at the first call. Null if that cannot be done.
const SDftPlans* DftPrepare(MKL_LONG p_nLength);
/// Back end: the transforms, unscaled in both directions.
void DftForward(const SDftPlans& p_plans, MKL_LONG p_nLength, const double* p_pfTime, double* p_pfSpec);
void DftBackward(const SDftPlans& p_plans, MKL_LONG p_nLength, double* p_pfSpec, double* p_pfTime);
