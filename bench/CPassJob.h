#pragma once
#include "job/CJobOMA.h"
#include <memory>
#include <vector>

/// What a benchmark says about its job.
struct SPassSettings
{
    std::vector<std::uint32_t> vecnSamples = {512, 2048, 8192}; ///< of the bands, highest frequencies first; 0: unused
    std::vector<double> vecfFreqEnd_Hz = {3.0, 0.8, 0.2};
    double fMagnWarn = 100.0;
    double fMagnAlarm = 200.0;
    std::vector<std::pair<double, double>> vecMode_Hz = {{0.05, 0.2}, {0.2, 0.8}, {0.8, 3.0}};
    std::int32_t eJobMode = 0;
};

/// A job at 50 samples a second with a pass each second, as a session sets it up, on a link that costs nothing. The
/// samples come from the caller; a pass is what the worker does for one PS cycle, on the caller's thread.
class CPassJob
{
  public:
    static constexpr unsigned g_nRate = 50;

    explicit CPassJob(const SPassSettings& p_settings);
    ~CPassJob();
    void Add(double p_fValue);
    /// Moves on to the next PS cycle: fifty new samples must have come since the last one.
    void NextCycle();
    bool Pass() { return m_pJob->RunWorker(nullptr, nullptr); }
    CJobOMA& Job() { return *m_pJob; }
    const CTime& Time() const { return m_time; }

  private:
    void AddModes(const SPassSettings& p_settings);

    CPmu m_pmu1st;
    CPmu m_pmu2nd;
    std::int64_t m_nSec = 63000000000; ///< s since 0001
    CTime m_time{g_nRate};
    std::unique_ptr<CJobOMA> m_pJob;
};
