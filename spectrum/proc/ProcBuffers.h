#pragma once
#include "spectrum/fft/CFFT.h"
#include <bit>
#include <valarray>
#include <vector>

/// Working memory of one spectrum evaluation, for a given number of samples. Lent from a pool; the contents are
/// undefined until written.
struct SProcBuffers
{
    explicit SProcBuffers(std::size_t p_nSamples)
        : vecInput(p_nSamples), vecSearch(std::bit_ceil(p_nSamples) / 2), vecCurve(vecSearch.size()),
          vecFit(vecSearch.size()), vecLog(vecSearch.size()), vecTime(2 * vecSearch.size())
    {
    }
    std::valarray<double> vecInput;  ///< samples
    std::valarray<double> vecSearch; ///< search buffer: amplitudes minus the curves of the peaks found so far
    std::valarray<double> vecCurve;  ///< fit curve of the current peak
    std::valarray<double> vecFit;    ///< amplitudes; valid on the channels of the current fit only
    std::valarray<double> vecLog;    ///< their decimal logarithms
    std::valarray<double> vecTime;   ///< time signal of the current peak
    std::vector<unsigned> vecBeg{};  ///< excluded regions
    std::vector<unsigned> vecEnd{};
    CFFT fft{nullptr};
};

/// Working memory for evaluating one time signal, for a given number of channels.
struct SDampBuffers
{
    explicit SDampBuffers(std::size_t) {}
    CFFT fft{nullptr};
    std::vector<double> vecExt;       ///< extremes of the newest half cycles, newest first
    std::vector<unsigned> vecIdx;     ///< their sample indices
    std::valarray<double> vecAtten{}; ///< rates between them, 1/s: at full capacity, the newest at the end
};
