#pragma once
#include "Dfti.h"

/// What both back ends share: the settings of a transform.
struct DFTI_DESCRIPTOR
{
    MKL_LONG nLength = 0;
    double fBackwardScale = 1.0;
    bool bCommitted = false;
};

/// Back end: prepares a length. @return false if that cannot be done.
bool DftPrepare(MKL_LONG p_nLength);
/// Back end: transforms in place, unscaled in both directions. The length has been prepared.
void DftForward(MKL_LONG p_nLength, double* p_pfData);
void DftBackward(MKL_LONG p_nLength, double* p_pfData);
