#pragma once
#include "spectrum/fft/CFFT.h"
#include <bit>
#include <valarray>
#include <vector>

/// What one evaluation of a spectrum works on, by its number of samples. Lent to it for its time; nothing in it is of
/// meaning before it has been written.
struct SProcBuffers
{
    explicit SProcBuffers(std::size_t p_nSamples)
        : vecInput(p_nSamples), vecSearch(std::bit_ceil(p_nSamples) / 2), vecCurve(vecSearch.size()),
          vecFit(vecSearch.size()), vecLog(vecSearch.size()), vecTime(2 * vecSearch.size())
    {
    }
    std::valarray<double> vecInput;  ///< samples
    std::valarray<double> vecSearch; ///< search buffer: amplitudes less the curves of the peaks found
    std::valarray<double> vecCurve;  ///< fit curve of the current peak
    std::valarray<double> vecFit;    ///< amplitudes, on the channels of the current fit only
    std::valarray<double> vecLog;    ///< their decimal logarithms
    std::valarray<double> vecTime;   ///< time signal of the current peak
    std::vector<unsigned> vecBeg{};  ///< prohibited regions
    std::vector<unsigned> vecEnd{};
    CFFT fft{nullptr};
};

/// What the evaluation of a time signal works on, by its number of channels.
struct SDampBuffers
{
    explicit SDampBuffers(std::size_t) {}
    CFFT fft{nullptr};
    std::vector<double> vecExt;       ///< extremes of the newest half cycles, newest first
    std::vector<unsigned> vecIdx;     ///< where they lie
    std::valarray<double> vecAtten{}; ///< rates between them, 1/s: as many as there may be, the newest at the end
};
