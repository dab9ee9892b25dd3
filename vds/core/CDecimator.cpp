#include "vds/core/CDecimator.h"
#include <algorithm>
#include <numbers>

namespace
{
constexpr std::int64_t g_nHalfPeriods = 8; ///< in periods of the lower rate
constexpr double g_fCutOff = 0.45;         ///< as a fraction of the lower rate
constexpr double g_fLeastWeight = 0.75;
constexpr double g_fRad = std::numbers::pi / 180.0;

std::vector<double> Weights(std::int64_t p_nHalf, std::int64_t p_nEvery)
{
    std::vector<double> vecfWeight;
    double fSum = 0.0;
    for (std::int64_t i = 0; i <= p_nHalf; ++i)
    {
        const double fX = 2.0 * g_fCutOff * static_cast<double>(i) / static_cast<double>(p_nEvery);
        const double fSinc = i == 0 ? 1.0 : std::sin(std::numbers::pi * fX) / (std::numbers::pi * fX);
        const double fWindow =
            0.54 + 0.46 * std::cos(std::numbers::pi * static_cast<double>(i) / static_cast<double>(p_nHalf + 1));
        vecfWeight.push_back(fSinc * fWindow);
        fSum += i == 0 ? vecfWeight.back() : 2.0 * vecfWeight.back();
    }
    for (double& fWeight : vecfWeight)
        fWeight /= fSum;
    return vecfWeight;
}
} // namespace

CDecimator::CDecimator(std::int32_t p_nSourceRate, std::int32_t p_nRate, std::vector<std::size_t> p_veciSample)
    : m_grid(p_nSourceRate), m_nEvery(p_nSourceRate / p_nRate), m_nHalf(g_nHalfPeriods * m_nEvery),
      m_veciSample(std::move(p_veciSample)), m_vecfWeight(Weights(m_nHalf, m_nEvery)),
      m_vecSlot(static_cast<std::size_t>(2 * m_nHalf + 1))
{
}

void CDecimator::Store(std::int64_t p_nIndex, const SSourceCycle* p_pCycle)
{
    SSlot& slot = Slot(p_nIndex);
    slot.vecSample.assign(m_veciSample.size(), {});
    slot.vecValue.assign(m_veciSample.size(), {});
    for (std::size_t i = 0; p_pCycle && i < m_veciSample.size(); ++i)
    {
        if (m_veciSample[i] >= p_pCycle->vecSample.size())
            continue;
        const SSourceSample& sample = p_pCycle->vecSample[m_veciSample[i]];
        slot.vecSample[i] = sample;
        if (sample.IsUsable())
            slot.vecValue[i] = std::polar<double>(1.0, sample.fAngle_deg * g_fRad) * double{sample.fMagn};
    }
}

void CDecimator::Put(const SSourceCycle& p_cycle, const std::function<void(const SSourceCycle&)>& p_fnOut)
{
    const std::int64_t nIndex = m_grid.Index(p_cycle.nTicks);
    const bool bAnew = m_nLast < 0 || nIndex < m_nLast || nIndex - m_nLast > 2 * m_nHalf;
    if (nIndex == m_nLast)
        return;
    if (bAnew)
    {
        for (std::int64_t i = nIndex - 2 * m_nHalf; i < nIndex; ++i)
            Store(i, nullptr);
        m_nLast = nIndex - 1;
    }
    while (m_nLast < nIndex)
    {
        ++m_nLast;
        Store(m_nLast, m_nLast == nIndex ? &p_cycle : nullptr);
        if ((m_nLast - m_nHalf) % m_nEvery == 0)
            Emit(m_nLast - m_nHalf, p_fnOut);
    }
}

SSourceSample CDecimator::Filtered(std::int64_t p_nCentre, std::size_t p_iWanted)
{
    std::complex<double> sum;
    double fWeights = 0.0;
    for (std::int64_t i = -m_nHalf; i <= m_nHalf; ++i)
    {
        const SSlot& slot = Slot(p_nCentre + i);
        if (!slot.vecSample[p_iWanted].IsUsable())
            continue;
        const double fWeight = m_vecfWeight[static_cast<std::size_t>(std::abs(i))];
        sum += fWeight * slot.vecValue[p_iWanted];
        fWeights += fWeight;
    }
    const SSourceSample& middle = Slot(p_nCentre).vecSample[p_iWanted];
    if (fWeights < g_fLeastWeight)
        return middle.IsUsable() ? SSourceSample{} : middle;
    sum /= fWeights;
    return {static_cast<float>(std::abs(sum)), static_cast<float>(std::arg(sum) / g_fRad),
            middle.IsUsable() ? middle.nState : 0, true};
}

void CDecimator::Emit(std::int64_t p_nCentre, const std::function<void(const SSourceCycle&)>& p_fnOut)
{
    m_out.nTicks = m_grid.Ticks(p_nCentre);
    bool bAny = false;
    for (std::size_t i = 0; i < m_veciSample.size(); ++i)
    {
        if (m_out.vecSample.size() <= m_veciSample[i])
            m_out.vecSample.resize(m_veciSample[i] + 1);
        m_out.vecSample[m_veciSample[i]] = Filtered(p_nCentre, i);
        bAny = bAny || m_out.vecSample[m_veciSample[i]].bPresent;
    }
    if (bAny)
        p_fnOut(m_out);
}
