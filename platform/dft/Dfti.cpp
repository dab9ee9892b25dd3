#include "Dfti.h"
#include "DftiDescriptor.h"
#include <bit>
#include <memory>
#include <new>

namespace
{
constexpr MKL_LONG g_nMaxLength = MKL_LONG{1} << 30;

/// The descriptor that this thread freed last, for reuse.
thread_local std::unique_ptr<DFTI_DESCRIPTOR> g_pFree;
} // namespace

MKL_LONG DftiCreateDescriptor(DFTI_DESCRIPTOR_HANDLE* p_phDesc, DFTI_CONFIG_VALUE p_ePrecision,
                              DFTI_CONFIG_VALUE p_eDomain, MKL_LONG p_nDimension, MKL_LONG p_nLength)
{
    *p_phDesc = nullptr;
    if (p_ePrecision != DFTI_DOUBLE || p_eDomain != DFTI_REAL || p_nDimension != 1 || p_nLength < 2 ||
        p_nLength > g_nMaxLength || !std::has_single_bit(static_cast<unsigned long>(p_nLength)))
        return DFTI_INVALID_CONFIGURATION;
    // A plain pointer: the handle of the interface, freed by DftiFreeDescriptor.
    *p_phDesc = g_pFree ? g_pFree.release() : new (std::nothrow) DFTI_DESCRIPTOR;
    if (*p_phDesc)
        **p_phDesc = {p_nLength};
    return *p_phDesc ? DFTI_NO_ERROR : DFTI_MEMORY_ERROR;
}

MKL_LONG DftiSetValue(DFTI_DESCRIPTOR_HANDLE p_hDesc, DFTI_CONFIG_VALUE p_eParam, double p_fValue)
{
    if (!p_hDesc || p_eParam != DFTI_BACKWARD_SCALE)
        return DFTI_INVALID_CONFIGURATION;
    p_hDesc->fBackwardScale = p_fValue;
    p_hDesc->pPlans = nullptr;
    return DFTI_NO_ERROR;
}

MKL_LONG DftiCommitDescriptor(DFTI_DESCRIPTOR_HANDLE p_hDesc)
{
    if (!p_hDesc)
        return DFTI_INVALID_CONFIGURATION;
    p_hDesc->pPlans = DftPrepare(p_hDesc->nLength);
    return p_hDesc->pPlans ? DFTI_NO_ERROR : DFTI_MEMORY_ERROR;
}

MKL_LONG DftiComputeForward(DFTI_DESCRIPTOR_HANDLE p_hDesc, const double* p_pfTime, double* p_pfSpec)
{
    if (!p_hDesc || !p_hDesc->pPlans || !p_pfTime || !p_pfSpec)
        return DFTI_INCONSISTENT_CONFIGURATION;
    DftForward(*p_hDesc->pPlans, p_hDesc->nLength, p_pfTime, p_pfSpec);
    return DFTI_NO_ERROR;
}

MKL_LONG DftiComputeBackward(DFTI_DESCRIPTOR_HANDLE p_hDesc, double* p_pfSpec, double* p_pfTime)
{
    if (!p_hDesc || !p_hDesc->pPlans || !p_pfSpec || !p_pfTime)
        return DFTI_INCONSISTENT_CONFIGURATION;
    DftBackward(*p_hDesc->pPlans, p_hDesc->nLength, p_pfSpec, p_pfTime);
    for (MKL_LONG i = 0; i < p_hDesc->nLength; ++i)
        p_pfTime[i] *= p_hDesc->fBackwardScale;
    return DFTI_NO_ERROR;
}

MKL_LONG DftiFreeDescriptor(DFTI_DESCRIPTOR_HANDLE* p_phDesc)
{
    if (!p_phDesc || !*p_phDesc)
        return DFTI_INVALID_CONFIGURATION;
    g_pFree.reset(*p_phDesc);
    *p_phDesc = nullptr;
    return DFTI_NO_ERROR;
}

bool DftiErrorClass(MKL_LONG p_nStatus, MKL_LONG p_nClass)
{
    return p_nStatus == p_nClass;
}
