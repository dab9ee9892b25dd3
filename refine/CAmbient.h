#pragma once
#include "refine/CBlockBuffer.h"
#include "refine/CResonanceFit.h"
#include "refine/CSpectrum.h"
#include "refine/SEstimate.h"

/// Frequency and damping ratio of one mode from quiet minutes: loads that come and go drive the grid like noise, and each mode
/// answers as a resonance whose width is its damping.
///
/// Way      Quiet stretches of two minutes and more each give a periodogram (line removed, 5 % cosine taper at either end);
///          CResonanceFit fits mode, neighbours and background to all of them. Gaps of up to 2 s count as zero weight, longer
///          ones and standing swings part two stretches.
/// Limits   the bound for a resonance seen alone is a deviation of sqrt(alpha / T) / omega of the ratio, alpha = |rate|.
/// Threads  one thread an object. An estimate takes milliseconds and changes slowly: once every 10 s is often enough.
class CAmbient
{
  public:
    static constexpr double KEEP_S = 1800.0; ///< samples older than that are dropped
    static constexpr double MIN_S = 600.0;   ///< least sum of the stretches
    static constexpr double STRETCH_S = 120.0;

    CAmbient(double p_fCycle_s, double p_fMin_Hz, double p_fMax_Hz);

    /// One valid sample of a quiet time at a grid position; not to be called while the mode swings.
    void Add(std::int64_t p_nPosition, double p_fValue) { m_buffer.Add(p_nPosition, p_fValue); }
    void Clear() { m_buffer.Clear(); }
    /// nTime is left at 0. eNone with less than MIN_S, or where no resonance of the mode stands out.
    SAmbient Estimate();
    /// Grid position of the newest sample in it.
    std::int64_t Reference() const { return m_buffer.Reference(); }

  private:
    void AddStretch(const SSeries& p_series, Eigen::Index p_nFirst, Eigen::Index p_nEnd,
                    std::vector<CResonanceFit::SOrdinate>& r_vec, double& r_fSpan_s);
    SAmbient Fit(const std::vector<CResonanceFit::SOrdinate>& p_vec);

    double m_fMin_Hz, m_fMax_Hz;
    CBlockBuffer m_buffer;
    CSpectrum m_spectrum;
};
