#include "vds/source/CSourceSimulator.h"

#include "vds/base/IsoTime.h"
#include "vds/source/OpenSource.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace
{
constexpr double g_fRadPerDeg = std::numbers::pi / 180.0;
/// Tolerance when comparing cycle times with times of the scenario: rounding must not move 0.1 s to the next cycle.
constexpr double g_fTimeTolerance_s = 1e-6;

bool IsWithin(double p_fTime_s, double p_fFrom_s, double p_fTo_s)
{
    return p_fTime_s + g_fTimeTolerance_s >= p_fFrom_s && p_fTime_s + g_fTimeTolerance_s < p_fTo_s;
}

/// Angle of a swing in degrees at a place with shape 1.
double SwingAngle(const CScenario::SSwing& p_swing, double p_fTime_s)
{
    if (p_fTime_s < p_swing.fStart_s || (p_fTime_s >= p_swing.fEnd_s && std::isnan(p_swing.fDampingAfterEnd)))
    {
        return 0.0;
    }
    double fExponent =
        DecayRate(p_swing.fFreq_Hz, p_swing.fDamping) * (std::min(p_fTime_s, p_swing.fEnd_s) - p_swing.fStart_s);
    if (p_fTime_s > p_swing.fEnd_s)
    {
        fExponent += DecayRate(p_swing.fFreq_Hz, p_swing.fDampingAfterEnd) * (p_fTime_s - p_swing.fEnd_s);
    }
    const double fPhase =
        2.0 * std::numbers::pi * p_swing.fFreq_Hz * (p_fTime_s - p_swing.fStart_s) + p_swing.fPhase_deg * g_fRadPerDeg;
    return p_swing.fAmplitude_deg * std::exp(fExponent) * std::sin(fPhase);
}

double Fold(double p_fAngle_deg)
{
    return std::remainder(p_fAngle_deg, 360.0);
}
} // namespace

std::unique_ptr<ISource> OpenSimulator(const std::string& p_strPath, std::string* p_pstrError)
{
    CScenario scenario;
    std::string strError;
    if (!scenario.Load(p_strPath, strError))
    {
        if (p_pstrError != nullptr)
        {
            *p_pstrError = strError;
        }
        return nullptr;
    }
    return std::make_unique<CSourceSimulator>(std::move(scenario));
}

CSourceSimulator::CSourceSimulator(CScenario p_scenario) : m_scen(std::move(p_scenario))
{
    for (const CScenario::SPhasor& phasor : m_scen.m_vecPhasor)
    {
        m_vecnId.push_back(phasor.nId);
    }
    m_vecVoltage.resize(m_scen.m_vecPlace.size());
    const double fRate = m_scen.m_nRate > 0 ? m_scen.m_nRate : 1.0 / -m_scen.m_nRate;
    m_nCycles = static_cast<std::uint64_t>(m_scen.m_fDuration_s * fRate + g_fTimeTolerance_s);
    Rewind();
}

bool CSourceSimulator::Rewind()
{
    m_nNext = 0;
    m_iEvent = 0;
    m_bRepeat = false;
    m_vecnRepeated.clear();
    for (const CScenario::SRepeat& repeat : m_scen.m_vecRepeat)
    {
        m_vecnRepeated.push_back(repeat.nCount);
    }
    m_random.seed(m_scen.m_nSeed);
    return true;
}

bool CSourceSimulator::Next(SSourceCycle& r_cycle)
{
    r_cycle.vecEvent.clear();
    r_cycle.vecSample.assign(m_vecnId.size(), SSourceSample{});
    if (m_bRepeat)
    {
        --m_nNext;
    }
    for (; m_nNext < m_nCycles; ++m_nNext)
    {
        const double fTime_s = CycleTime_s(m_nNext);
        CalcVoltages(fTime_s);
        CalcSamples(fTime_s, r_cycle.vecSample);
        if (IsCycleMissing(fTime_s))
        {
            continue;
        }
        TakeEvents(fTime_s, r_cycle.vecEvent);
        r_cycle.nTicks = TimeStamp(m_nNext++);
        m_bRepeat = false;
        for (std::size_t i = 0; i < m_vecnRepeated.size() && !m_bRepeat; ++i)
        {
            m_bRepeat = m_vecnRepeated[i] > 0 && IsWithin(fTime_s, m_scen.m_vecRepeat[i].fAt_s, CScenario::g_fNoEnd);
            m_vecnRepeated[i] -= m_bRepeat ? 1 : 0;
        }
        return true;
    }
    return false;
}

double CSourceSimulator::CycleTime_s(std::uint64_t p_nCycle) const
{
    const auto fCycle = static_cast<double>(p_nCycle);
    return m_scen.m_nRate > 0 ? fCycle / m_scen.m_nRate : fCycle * -m_scen.m_nRate;
}

/// Stamp of a cycle on the grid of the rate, with the time jumps that apply to it.
std::int64_t CSourceSimulator::TimeStamp(std::uint64_t p_nCycle)
{
    const auto nRate = static_cast<std::uint64_t>(std::abs(m_scen.m_nRate));
    std::int64_t nTicks = m_scen.m_nStartTicks;
    if (m_scen.m_nRate > 0)
    {
        nTicks += static_cast<std::int64_t>(p_nCycle / nRate) * g_nTicksPerSec +
                  GridTicks(static_cast<std::int64_t>(p_nCycle % nRate), m_scen.m_nRate);
    }
    else
    {
        nTicks += static_cast<std::int64_t>(p_nCycle * nRate) * g_nTicksPerSec;
    }
    for (const CScenario::SJump& jump : m_scen.m_vecJump)
    {
        const double fCycle_s = m_scen.m_nRate > 0 ? 1.0 / m_scen.m_nRate : -m_scen.m_nRate;
        const double fLength_s = static_cast<double>(jump.nCycles) * fCycle_s;
        if (IsWithin(CycleTime_s(p_nCycle), jump.fAt_s, jump.fAt_s + fLength_s))
        {
            nTicks += std::llround(jump.fBy_s * static_cast<double>(g_nTicksPerSec));
        }
    }
    return std::clamp<std::int64_t>(nTicks, 0, g_nTicksMax);
}

bool CSourceSimulator::IsCycleMissing(double p_fTime_s) const
{
    return std::any_of(m_scen.m_vecGap.begin(), m_scen.m_vecGap.end(),
                       [&](const CScenario::SGap& gap)
                       { return gap.vecPhasor.empty() && IsWithin(p_fTime_s, gap.fFrom_s, gap.fTo_s); });
}

void CSourceSimulator::CalcVoltages(double p_fTime_s)
{
    for (std::size_t iPlace = 0; iPlace < m_scen.m_vecPlace.size(); ++iPlace)
    {
        const CScenario::SPlace& place = m_scen.m_vecPlace[iPlace];
        double fAngle_deg = place.fAngle_deg + std::fmod(m_scen.m_fFreqOffset_Hz * p_fTime_s, 1.0) * 360.0;
        for (const CScenario::SSwing& swing : m_scen.m_vecSwing)
        {
            fAngle_deg += swing.vecShape[iPlace] * SwingAngle(swing, p_fTime_s);
        }
        for (const CScenario::SDrift& drift : m_scen.m_vecDrift)
        {
            if (drift.iPlace == iPlace && IsWithin(p_fTime_s, drift.fFrom_s, drift.fTo_s))
            {
                fAngle_deg += drift.fFreq_Hz * (p_fTime_s - drift.fFrom_s) * 360.0;
            }
        }
        m_vecVoltage[iPlace] = std::polar(place.fVoltage_V, fAngle_deg * g_fRadPerDeg);
    }
}

void CSourceSimulator::CalcSamples(double p_fTime_s, std::vector<SSourceSample>& r_vecSample)
{
    for (std::size_t i = 0; i < m_scen.m_vecPhasor.size(); ++i)
    {
        const CScenario::SPhasor& phasor = m_scen.m_vecPhasor[i];
        std::complex<double> cplx = m_vecVoltage[phasor.iPlace];
        if (phasor.bCurrent)
        {
            // I = (U1 - U2) / (jX), from the place into the line.
            cplx = (cplx - m_vecVoltage[phasor.iFarPlace]) / std::complex<double>(0.0, phasor.fReactance_Ohm);
        }
        const auto [fNoiseMagn, fNoiseAngle] = NormalPair();
        const double fAngle_deg =
            std::arg(cplx) / g_fRadPerDeg - 120.0 * phasor.nPhase + m_scen.m_fNoiseAngle_deg * fNoiseAngle;
        r_vecSample[i].fMagn = static_cast<float>(std::abs(cplx) * (1.0 + m_scen.m_fNoiseMagn * fNoiseMagn));
        r_vecSample[i].fAngle_deg = static_cast<float>(Fold(fAngle_deg));
        r_vecSample[i].nState = 0;
        r_vecSample[i].bPresent = true;
    }
    for (const CScenario::SInvalid& invalid : m_scen.m_vecInvalid)
    {
        for (const std::size_t i : invalid.vecPhasor)
        {
            r_vecSample[i].nState |= IsWithin(p_fTime_s, invalid.fFrom_s, invalid.fTo_s) ? invalid.nState : 0;
        }
    }
    for (const CScenario::SGap& gap : m_scen.m_vecGap)
    {
        for (const std::size_t i : gap.vecPhasor)
        {
            r_vecSample[i].bPresent = r_vecSample[i].bPresent && !IsWithin(p_fTime_s, gap.fFrom_s, gap.fTo_s);
        }
    }
}

void CSourceSimulator::TakeEvents(double p_fTime_s, std::vector<SSourceEvent>& r_vecEvent)
{
    for (; m_iEvent < m_scen.m_vecEvent.size() &&
           IsWithin(p_fTime_s, m_scen.m_vecEvent[m_iEvent].fAt_s, CScenario::g_fNoEnd);
         ++m_iEvent)
    {
        r_vecEvent.push_back(m_scen.m_vecEvent[m_iEvent].event);
    }
}

/// Two independent values of the standard normal distribution (Box-Muller).
std::pair<double, double> CSourceSimulator::NormalPair()
{
    constexpr double fStep = 0x1p-53;
    const double fRadius = std::sqrt(-2.0 * std::log(1.0 - static_cast<double>(m_random() >> 11) * fStep));
    const double fAngle = 2.0 * std::numbers::pi * static_cast<double>(m_random() >> 11) * fStep;
    return {fRadius * std::cos(fAngle), fRadius * std::sin(fAngle)};
}
