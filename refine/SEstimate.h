#pragma once
#include <array>
#include <cstdint>

/// A number with its standard deviation. A deviation of -1 means that there is none: the number is not known.
struct SUncertain
{
    double fValue = 0.0;
    double fDev = -1.0;
    bool IsKnown() const { return fDev >= 0.0; }
};

/// What the damping ratio says of the swing's future. Steady: within +-CSwingEstimator::STEADY of 0.
enum class EVerdict
{
    eUnknown = 0,
    eDecaying = 1,
    eSteady = 2,
    eGrowing = 3
};

/// Whether the grid swings by itself or is driven. Unknown wherever the samples cannot tell.
enum class EOrigin
{
    eUnknown = 0,
    eNatural = 1,
    eForced = 2
};

/// One damped sinusoid a(t) = A exp(rate * (t - now)) cos(...).
struct SSwing
{
    SUncertain freq_Hz;
    SUncertain ratio; ///< rate / sqrt((2 pi f)^2 + rate^2), as the analysis has it: negative decays
    SUncertain ampl;  ///< A at the newest sample, W or degrees
};

/// What is known of one mode at the newest sample. Times are ticks of 100 ns since 0001-01-01 UTC.
struct SEstimate
{
    std::int64_t nTime = 0;       ///< of the newest sample that was used
    bool bOnset = false;          ///< the beginning was found; otherwise the swing is older than the samples kept
    std::int64_t nOnset = 0;      ///< beginning of the swing, or of its latest new excitation
    double fOnsetDev_s = -1.0;    ///< standard deviation of nOnset
    unsigned nSwings = 0;         ///< separate swings within the mode's limits: 0 to 2
    std::array<SSwing, 2> aSwing; ///< the larger one first; the verdict is about it
    EVerdict eVerdict = EVerdict::eUnknown;
    double fProbability = 0.0; ///< of the verdict; for eUnknown that of the likeliest one
    EOrigin eOrigin = EOrigin::eUnknown;
    double fOriginProbability = 0.0;
    unsigned nSamples = 0; ///< samples behind the numbers
    double fSpan_s = 0.0;  ///< time that they span
    double fPeriods = 0.0; ///< periods of the first swing in it

    bool IsKnown() const { return nSwings > 0; }
};

/// Where an ambient estimate comes from.
enum class EAmbientSource
{
    eNone = 0,
    eSpectrum = 1 ///< spectral maximum likelihood of noise-driven movement
};

/// A configured mode in quiet times, from minutes of noise-driven movement.
struct SAmbient
{
    EAmbientSource eSource = EAmbientSource::eNone;
    std::int64_t nTime = 0; ///< newest sample that was used
    SUncertain freq_Hz;
    SUncertain ratio;     ///< negative: damped, sign as in SSwing
    double fSpan_s = 0.0; ///< sum of the quiet stretches behind it
    bool IsKnown() const { return eSource != EAmbientSource::eNone; }
};
