#pragma once
#include "tests/fake/CJobBuilder.h"

/// A job at 50 samples/s with one pass per second, set up as a session would, on a link without cost. The caller
/// provides the samples; a pass does what the worker does for one PS cycle, on the caller's thread.
class CPassJob
{
  public:
    static constexpr unsigned g_nRate = 50;

    /// A job of the usual size.
    static SJobSettings Usual();
    explicit CPassJob(const SJobSettings& p_settings);
    ~CPassJob();
    void Add(double p_fValue);
    /// Advances to the next PS cycle: fifty new samples must have been added since the last one.
    void NextCycle();
    bool Pass() { return m_pJob->RunWorker(nullptr, nullptr); }
    CJobOMA& Job() { return *m_pJob; }
    const CTime& Time() const { return m_time; }

  private:
    CPmu m_pmu1st;
    CPmu m_pmu2nd;
    std::int64_t m_nSec = 63000000000; ///< s since 0001-01-01
    CTime m_time{g_nRate};
    std::unique_ptr<CJobOMA> m_pJob;
};
