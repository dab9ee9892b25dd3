#pragma once
#include "vds/base/ISource.h"
#include "vds/source/CScenario.h"

#include <complex>
#include <cstdint>
#include <random>
#include <vector>

/// Plays a scenario: angles of the places from the steady state and the swings, currents of the lines from the angles,
/// noise on each phasor, and the data faults of the scenario.
///
/// Owner    the server, one thread.
/// Data     the same scenario gives the same cycles on every run: the scenario seeds the generator, and the
///          normal distribution is our own, since the standard library's differs between platforms. Each
///          cycle draws the same number of values, even if some are not used because of a data fault.
class CSourceSimulator : public ISource
{
  public:
    explicit CSourceSimulator(CScenario p_scenario);

    const std::vector<unsigned long>& Ids() const override { return m_vecnId; }
    std::int32_t Rate() const override { return m_scen.m_nRate; }
    bool Next(SSourceCycle& r_cycle) override;
    bool Rewind() override;

  private:
    bool IsCycleMissing(double p_fTime_s) const;
    std::int64_t TimeStamp(std::uint64_t p_nCycle);
    double CycleTime_s(std::uint64_t p_nCycle) const;
    void CalcVoltages(double p_fTime_s);
    void CalcSamples(double p_fTime_s, std::vector<SSourceSample>& r_vecSample);
    void TakeEvents(double p_fTime_s, std::vector<SSourceEvent>& r_vecEvent);
    std::pair<double, double> NormalPair();

    CScenario m_scen;
    std::vector<unsigned long> m_vecnId;
    std::uint64_t m_nCycles = 0;                    ///< in the whole scenario
    std::uint64_t m_nNext = 0;                      ///< next cycle
    std::size_t m_iEvent = 0;                       ///< next event
    std::vector<std::uint32_t> m_vecnRepeated;      ///< by repeat: deliveries still to be made
    bool m_bRepeat = false;                         ///< the next cycle repeats the last one
    std::vector<std::complex<double>> m_vecVoltage; ///< by place, V
    std::mt19937_64 m_random;
};
