#include "DftiDescriptor.h"
#include <fftw3.h>
#include <map>
#include <memory>
#include <mutex>

namespace
{
struct SPlanDeleter
{
    void operator()(fftw_plan_s* p_pPlan) const { fftw_destroy_plan(p_pPlan); }
};
using PlanPtr = std::unique_ptr<fftw_plan_s, SPlanDeleter>;
} // namespace

struct SDftPlans
{
    PlanPtr pForward;
    PlanPtr pBackward;
};

namespace
{
/// The cache and the planning, which is not thread-safe, are under the lock; executing takes none.
std::mutex g_mtxPlans;

SDftPlans MakePlans(MKL_LONG p_nLength)
{
    const std::unique_ptr<double, decltype(&fftw_free)> pfBuffer(
        fftw_alloc_real(static_cast<std::size_t>(p_nLength) + 2), &fftw_free);
    if (!pfBuffer)
        return {};
    // ESTIMATE: the same plan, and so the same digits, on every run. UNALIGNED: any buffer of the caller will do.
    constexpr unsigned nFlags = FFTW_ESTIMATE | FFTW_UNALIGNED;
    const int nLength = static_cast<int>(p_nLength);
    auto* const pComplex = reinterpret_cast<fftw_complex*>(pfBuffer.get());
    return {PlanPtr(fftw_plan_dft_r2c_1d(nLength, pfBuffer.get(), pComplex, nFlags)),
            PlanPtr(fftw_plan_dft_c2r_1d(nLength, pComplex, pfBuffer.get(), nFlags))};
}
} // namespace

const SDftPlans* DftPrepare(MKL_LONG p_nLength)
{
    static std::map<MKL_LONG, SDftPlans> s_mapPlans; // elements stay where they are
    const std::lock_guard lock(g_mtxPlans);
    const auto it = s_mapPlans.find(p_nLength);
    if (it != s_mapPlans.end())
        return &it->second;
    SDftPlans plans = MakePlans(p_nLength);
    if (!plans.pForward || !plans.pBackward)
        return nullptr;
    return &s_mapPlans.emplace(p_nLength, std::move(plans)).first->second;
}

void DftForward(const SDftPlans& p_plans, MKL_LONG, double* p_pfData)
{
    fftw_execute_dft_r2c(p_plans.pForward.get(), p_pfData, reinterpret_cast<fftw_complex*>(p_pfData));
}

void DftBackward(const SDftPlans& p_plans, MKL_LONG, double* p_pfData)
{
    fftw_execute_dft_c2r(p_plans.pBackward.get(), reinterpret_cast<fftw_complex*>(p_pfData), p_pfData);
}
