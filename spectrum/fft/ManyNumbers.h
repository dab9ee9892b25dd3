#pragma once
#include <complex>
#include <cstddef>

// Loops over thousands of numbers, written so that the compiler vectorises them. They give the same digits on every
// processor, with or without wide registers.

/// Whether any number is greater than p_fLimit.
bool IsOneAbove(const double* p_pfBegin, const double* p_pfEnd, double p_fLimit);

/// Largest absolute value, 0.0 for an empty range. NaN is skipped.
double LargestOf(const double* p_pfBegin, const double* p_pfEnd);

struct SSums
{
    double fSum;
    double fSumAbs; ///< of the absolute values
};
SSums SumsOf(const double* p_pfBegin, const double* p_pfEnd);

/// |X|^2 of each number; may overflow or underflow where |X| does not.
void SquaresOf(const std::complex<double>* p_pcplx, std::size_t p_nCount, double* p_pfOut);

/// Square root of each, times p_fScale.
void TakeRoots(double* p_pfData, std::size_t p_nCount, double p_fScale);

/// Subtracts p_pfOff element by element; results are at least p_fFloor.
void TakeOff(double* p_pfData, std::size_t p_nCount, const double* p_pfOff, double p_fFloor);
