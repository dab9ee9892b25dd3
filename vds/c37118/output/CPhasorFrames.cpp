#include "vds/c37118/output/CPhasorFrames.h"
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <numbers>

namespace
{
constexpr std::uint64_t g_nStateSuspect = 0x0080000000000000;
constexpr std::int64_t g_nChangeTold = 60 * g_nTicksPerSec;
constexpr double g_fAbsent = std::numeric_limits<double>::quiet_NaN();

std::complex<double> Phasor(const SSourceSample& p_sample)
{
    const bool bUsable = p_sample.bPresent && (p_sample.nState == 0 || p_sample.nState == g_nStateSuspect) &&
                         std::isfinite(p_sample.fMagn) && std::isfinite(p_sample.fAngle_deg);
    if (!bUsable)
        return {g_fAbsent, g_fAbsent};
    const double fAngle_rad = p_sample.fAngle_deg * std::numbers::pi / 180.0;
    return {p_sample.fMagn * std::cos(fAngle_rad), p_sample.fMagn * std::sin(fAngle_rad)};
}
} // namespace

CPhasorFrames::CPhasorFrames(const SOutputStreamConfig& p_output, const SConfigFrame& p_config, const ISource& p_source)
    : m_grid(p_config.nDataRate), m_bAll(p_config.nDataRate == p_source.Rate()), m_nTimeBase(p_config.nTimeBase),
      m_data(EmptyData(p_config))
{
    const std::vector<unsigned long>& vecnId = p_source.Ids();
    for (const SOutputPmu& pmu : p_output.vecPmu)
    {
        std::vector<std::size_t>& veciSample = m_vecveciSample.emplace_back();
        for (const SOutputChannel& channel : pmu.vecChannel)
            veciSample.push_back(
                static_cast<std::size_t>(std::find(vecnId.begin(), vecnId.end(), channel.nId) - vecnId.begin()));
    }
}

bool CPhasorFrames::IsOnGrid(std::int64_t p_nTicks) const
{
    return m_bAll || std::abs(m_grid.Ticks(m_grid.Index(p_nTicks)) - p_nTicks) <= 1;
}

const SDataFrame* CPhasorFrames::OnCycle(const SSourceCycle& p_cycle)
{
    if (!IsOnGrid(p_cycle.nTicks))
        return nullptr;
    m_nFirst = m_nFirst < 0 ? p_cycle.nTicks : m_nFirst;
    SetFrameTicks(m_data.head, p_cycle.nTicks, m_nTimeBase);
    const bool bChange = p_cycle.nTicks - m_nFirst < g_nChangeTold;
    for (std::size_t i = 0; i < m_vecveciSample.size(); ++i)
    {
        SPmuData& pmu = m_data.vecPmu[i];
        bool bAny = false;
        for (std::size_t j = 0; j < m_vecveciSample[i].size(); ++j)
        {
            const std::size_t iSample = m_vecveciSample[i][j];
            pmu.vecPhasor[j] =
                Phasor(iSample < p_cycle.vecSample.size() ? p_cycle.vecSample[iSample] : SSourceSample{});
            bAny = bAny || !std::isnan(pmu.vecPhasor[j].real());
        }
        pmu.nStat = static_cast<std::uint16_t>((bAny ? 0 : g_nStatFiller) | (bChange ? g_nStatConfigChange : 0));
    }
    return &m_data;
}
