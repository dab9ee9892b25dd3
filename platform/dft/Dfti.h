#pragma once
#include <cstdint>

/// One-dimensional discrete Fourier transforms of real double-precision data, out of place, under the names of the DFTI
/// interface: n samples in the time domain, Re(0), Im(0), ..., Re(n/2), Im(n/2) in the frequency domain. Forward
/// unscaled, kernel exp(-2 pi i j k / n); backward with the given scale.
///
/// Plans are cached by length and direction for the life of the process: a descriptor is cheap.
/// Threads  any; a descriptor belongs to one thread.
using MKL_LONG = long;

enum DFTI_CONFIG_VALUE : int
{
    DFTI_BACKWARD_SCALE = 5,
    DFTI_REAL = 33,
    DFTI_DOUBLE = 36
};

inline constexpr MKL_LONG DFTI_NO_ERROR = 0;
inline constexpr MKL_LONG DFTI_MEMORY_ERROR = 1;
inline constexpr MKL_LONG DFTI_INVALID_CONFIGURATION = 2;
inline constexpr MKL_LONG DFTI_INCONSISTENT_CONFIGURATION = 3;

struct DFTI_DESCRIPTOR;
using DFTI_DESCRIPTOR_HANDLE = DFTI_DESCRIPTOR*;

/// @param p_nLength power of two, 2 to 2^30.
MKL_LONG DftiCreateDescriptor(DFTI_DESCRIPTOR_HANDLE* p_phDesc, DFTI_CONFIG_VALUE p_ePrecision,
                              DFTI_CONFIG_VALUE p_eDomain, MKL_LONG p_nDimension, MKL_LONG p_nLength);
MKL_LONG DftiSetValue(DFTI_DESCRIPTOR_HANDLE p_hDesc, DFTI_CONFIG_VALUE p_eParam, double p_fValue);
/// Creates the plans for the length if they do not exist yet.
MKL_LONG DftiCommitDescriptor(DFTI_DESCRIPTOR_HANDLE p_hDesc);
/// @param p_pfTime n samples. @param p_pfSpec receives n + 2 numbers.
MKL_LONG DftiComputeForward(DFTI_DESCRIPTOR_HANDLE p_hDesc, const double* p_pfTime, double* p_pfSpec);
/// @param p_pfSpec n + 2 numbers, overwritten. @param p_pfTime receives n samples.
MKL_LONG DftiComputeBackward(DFTI_DESCRIPTOR_HANDLE p_hDesc, double* p_pfSpec, double* p_pfTime);
/// Frees the descriptor and clears the handle.
MKL_LONG DftiFreeDescriptor(DFTI_DESCRIPTOR_HANDLE* p_phDesc);
/// Whether a status is of the class p_nClass.
bool DftiErrorClass(MKL_LONG p_nStatus, MKL_LONG p_nClass);
