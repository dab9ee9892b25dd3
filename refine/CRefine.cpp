#include "refine/CRefine.h"
#include <algorithm>
#include <cmath>

namespace
{
constexpr double TICKS_S = 1e7;
constexpr double SWING_KEEP_S = CSwingEstimator::MAX_SPAN_S + CSwingEstimator::QUIET_S;
constexpr double PER_PERIOD = 8.0; ///< blocks a period at the upper limit: a mean over one loses 5 % of the information
constexpr double MANY_BLOCKS = 320.0; ///< more of them are joined, if the swing is slow enough
constexpr double AMBIENT_EVERY_S = 30.0;
constexpr double RESTART_S = 10.0;                           ///< time that goes back further is a new beginning
constexpr std::int64_t MAX_TIME = 3'155'378'976'000'000'000; ///< ticks at the end of the year 9999
constexpr double NO_MIN_HZ = 0.05, NO_MAX_HZ = 5.0, LEAST_HZ = 0.005, MAX_OF_RATE = 0.4;

double CycleOf(int p_nRate)
{
    return p_nRate > 0 ? 1.0 / p_nRate : p_nRate < 0 ? -static_cast<double>(p_nRate) : 1.0;
}

unsigned Decimation(double p_fCycle_s, double p_fMax_Hz)
{
    return static_cast<unsigned>(std::max(1.0, 1.0 / (p_fCycle_s * PER_PERIOD * p_fMax_Hz) + 1e-9));
}
} // namespace

struct CRefine::SModeState
{
    SModeState(double p_fCycle_s, double p_fMin_Hz, double p_fMax_Hz)
        : buffer(p_fCycle_s, Decimation(p_fCycle_s, p_fMax_Hz), SWING_KEEP_S), estimator(p_fMin_Hz, p_fMax_Hz),
          ambient(p_fCycle_s, p_fMin_Hz, p_fMax_Hz)
    {
    }
    CBlockBuffer buffer;
    CSwingEstimator estimator;
    CAmbient ambient;
    SAmbient lastAmbient;
    bool bStanding = false;
    std::int64_t nQuietFrom = 0; ///< position
    double fLast_Hz = 0.0;       ///< of the last estimate; 0: none
    bool bOnset = false;
    std::int64_t nOnset = 0; ///< ticks
    double fOnsetDev_s = -1.0;
};

CRefine::CRefine(int p_nRate, bool p_bAngle, const std::vector<SMode>& p_vecMode)
    : m_fCycle_s(CycleOf(p_nRate)), m_bAngle(p_bAngle)
{
    for (const SMode& mode : p_vecMode)
    {
        const double fMax_Hz =
            std::min(mode.fMax_Hz > 0.0 ? std::max(mode.fMax_Hz, LEAST_HZ) : NO_MAX_HZ, MAX_OF_RATE / m_fCycle_s);
        const double fMin_Hz = std::min(mode.fMin_Hz > 0.0 ? mode.fMin_Hz : NO_MIN_HZ, 0.9 * fMax_Hz);
        m_vecpMode.push_back(std::make_unique<SModeState>(m_fCycle_s, fMin_Hz, fMax_Hz));
    }
}

CRefine::~CRefine() = default;

std::int64_t CRefine::TimeOf(std::int64_t p_nPosition) const
{
    return m_nOrigin + std::llround(static_cast<double>(p_nPosition) * m_fCycle_s * TICKS_S);
}

void CRefine::Restart(std::int64_t p_nTime)
{
    m_bFirst = false;
    m_nOrigin = p_nTime;
    m_nPosition = 0;
    for (const auto& pMode : m_vecpMode)
    {
        pMode->buffer.Clear();
        pMode->ambient.Clear();
        pMode->lastAmbient = SAmbient();
        pMode->nQuietFrom = 0;
        pMode->bOnset = false;
        pMode->fLast_Hz = 0.0;
    }
}

void CRefine::AddSample(std::int64_t p_nTime, double p_fValue, unsigned p_nQuality)
{
    if (p_nTime < 0 || p_nTime > MAX_TIME)
        return;
    if (m_bFirst || p_nTime < TimeOf(m_nPosition) - static_cast<std::int64_t>(RESTART_S * TICKS_S))
        Restart(p_nTime);
    else if (p_nTime <= TimeOf(m_nPosition))
        return;
    m_nPosition = std::llround(static_cast<double>(p_nTime - m_nOrigin) / (m_fCycle_s * TICKS_S));
    if (p_nQuality != 0 || !std::isfinite(p_fValue) || std::abs(p_fValue) > 1e15)
        return;
    double fValue = p_fValue;
    if (m_bAngle)
        fValue += 360.0 * std::round((m_fLast - fValue) / 360.0);
    m_fLast = fValue;
    for (const auto& pMode : m_vecpMode)
    {
        pMode->buffer.Add(m_nPosition, fValue);
        if (!pMode->bStanding && m_nPosition >= pMode->nQuietFrom)
            pMode->ambient.Add(m_nPosition, fValue);
    }
}

void CRefine::SetStanding(std::size_t p_iMode, bool p_bStanding)
{
    SModeState& r_mode = *m_vecpMode.at(p_iMode);
    if (r_mode.bStanding && !p_bStanding)
        r_mode.nQuietFrom = m_nPosition + static_cast<std::int64_t>(AFTER_S / m_fCycle_s);
    r_mode.bStanding = p_bStanding;
}

unsigned CRefine::Merge(const SModeState& p_mode) const
{
    if (p_mode.fLast_Hz <= 0.0)
        return 1;
    const double fBlock_s = p_mode.buffer.Block_s();
    const double fSlow = 1.0 / (PER_PERIOD * p_mode.fLast_Hz * fBlock_s), fMany = SWING_KEEP_S / fBlock_s / MANY_BLOCKS;
    return static_cast<unsigned>(std::max(1.0, std::min(fSlow, std::ceil(fMany))));
}

void CRefine::KeepOnset(SModeState& r_mode, const CSwingEstimator::SFound& p_found, double p_fOldest_s,
                        SEstimate& r_estimate) const
{
    if (!r_estimate.IsKnown())
    {
        r_mode.bOnset = false;
        return;
    }
    if (p_found.estimate.bOnset)
    {
        r_mode.bOnset = true;
        r_mode.nOnset = r_estimate.nTime + std::llround(p_found.fOnset_s * TICKS_S);
        r_mode.fOnsetDev_s = p_found.estimate.fOnsetDev_s;
    }
    else if (r_mode.bOnset && static_cast<double>(r_mode.nOnset - r_estimate.nTime) / TICKS_S > p_fOldest_s + AFTER_S)
        r_mode.bOnset = false; // it should still be seen, and is not
    r_estimate.bOnset = r_mode.bOnset;
    r_estimate.nOnset = r_mode.bOnset ? r_mode.nOnset : 0;
    r_estimate.fOnsetDev_s = r_mode.bOnset ? r_mode.fOnsetDev_s : -1.0;
}

SEstimate CRefine::Estimate(std::size_t p_iMode)
{
    SModeState& r_mode = *m_vecpMode.at(p_iMode);
    const SSeries series = r_mode.buffer.Series(SWING_KEEP_S, Merge(r_mode));
    const CSwingEstimator::SFound found = r_mode.estimator.Run(series);
    SEstimate estimate = found.estimate;
    estimate.nTime = TimeOf(r_mode.buffer.Reference());
    KeepOnset(r_mode, found, series.Size() > 0 ? series.arrTime_s[0] : 0.0, estimate);
    r_mode.fLast_Hz = estimate.IsKnown() ? estimate.aSwing[0].freq_Hz.fValue : 0.0;
    return estimate;
}

SAmbient CRefine::Ambient(std::size_t p_iMode)
{
    SModeState& r_mode = *m_vecpMode.at(p_iMode);
    const std::int64_t nTime = TimeOf(r_mode.ambient.Reference());
    if (static_cast<double>(nTime - r_mode.lastAmbient.nTime) < AMBIENT_EVERY_S * TICKS_S)
        return r_mode.lastAmbient;
    r_mode.lastAmbient = r_mode.ambient.Estimate();
    r_mode.lastAmbient.nTime = nTime;
    return r_mode.lastAmbient;
}
