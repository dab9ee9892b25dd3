#include "DftiDescriptor.h"
#include <fftw3.h>
#include <map>
#include <memory>
#include <mutex>
#include <shared_mutex>

namespace
{
struct SPlanDeleter
{
    void operator()(fftw_plan_s* p_pPlan) const { fftw_destroy_plan(p_pPlan); }
};
using PlanPtr = std::unique_ptr<fftw_plan_s, SPlanDeleter>;

struct SPlans
{
    PlanPtr pForward;
    PlanPtr pBackward;
};

/// Planning is not thread-safe and is done once a length under the lock; executing takes no lock.
class CPlanCache
{
  public:
    bool Prepare(MKL_LONG p_nLength)
    {
        if (Find(p_nLength))
            return true;
        const std::unique_lock lock(m_mtx);
        if (m_mapPlans.contains(p_nLength))
            return true;
        const std::unique_ptr<double, decltype(&fftw_free)> pfBuffer(
            fftw_alloc_real(static_cast<std::size_t>(p_nLength) + 2), &fftw_free);
        if (!pfBuffer)
            return false;
        // ESTIMATE: the same plan, and so the same digits, on every run. UNALIGNED: any buffer of the caller will do.
        constexpr unsigned nFlags = FFTW_ESTIMATE | FFTW_UNALIGNED;
        const int nLength = static_cast<int>(p_nLength);
        auto* const pComplex = reinterpret_cast<fftw_complex*>(pfBuffer.get());
        SPlans plans{PlanPtr(fftw_plan_dft_r2c_1d(nLength, pfBuffer.get(), pComplex, nFlags)),
                     PlanPtr(fftw_plan_dft_c2r_1d(nLength, pComplex, pfBuffer.get(), nFlags))};
        if (!plans.pForward || !plans.pBackward)
            return false;
        m_mapPlans.emplace(p_nLength, std::move(plans));
        return true;
    }
    /// The plans of a prepared length; they stay where they are for the life of the process.
    const SPlans* Find(MKL_LONG p_nLength) const
    {
        const std::shared_lock lock(m_mtx);
        const auto it = m_mapPlans.find(p_nLength);
        return it == m_mapPlans.end() ? nullptr : &it->second;
    }

  private:
    mutable std::shared_mutex m_mtx;
    std::map<MKL_LONG, SPlans> m_mapPlans;
};

CPlanCache& Cache()
{
    static CPlanCache s_cache;
    return s_cache;
}
} // namespace

bool DftPrepare(MKL_LONG p_nLength)
{
    return Cache().Prepare(p_nLength);
}

void DftForward(MKL_LONG p_nLength, double* p_pfData)
{
    fftw_execute_dft_r2c(Cache().Find(p_nLength)->pForward.get(), p_pfData, reinterpret_cast<fftw_complex*>(p_pfData));
}

void DftBackward(MKL_LONG p_nLength, double* p_pfData)
{
    fftw_execute_dft_c2r(Cache().Find(p_nLength)->pBackward.get(), reinterpret_cast<fftw_complex*>(p_pfData), p_pfData);
}
