#pragma once
#include <complex>
#include <cstddef>

// Loops over thousands of numbers. They go side by side in lanes, wider where the processor can; the digits are the same
// on all of them.

/// Whether one of them is greater than p_fLimit.
bool IsOneAbove(const double* p_pfBegin, const double* p_pfEnd, double p_fLimit);

/// Largest absolute value, 0.0 for none; what is no number is passed over.
double LargestOf(const double* p_pfBegin, const double* p_pfEnd);

struct SSums
{
    double fSum;
    double fSumAbs; ///< of the absolute values
};
SSums SumsOf(const double* p_pfBegin, const double* p_pfEnd);

/// |X|^2 of each: may leave the range of numbers where |X| does not.
void SquaresOf(const std::complex<double>* p_pcplx, std::size_t p_nCount, double* p_pfOut);

/// Square root of each, times p_fScale.
void TakeRoots(double* p_pfData, std::size_t p_nCount, double p_fScale);

/// Takes p_pfOff off each; nothing falls below p_fFloor.
void TakeOff(double* p_pfData, std::size_t p_nCount, const double* p_pfOff, double p_fFloor);
