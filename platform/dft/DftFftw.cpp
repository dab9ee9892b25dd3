#include "DftiDescriptor.h"
#include "TPool.h"
#include <algorithm>
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

/// Aligned memory of the library, as the plans expect it.
struct SBuffer
{
    explicit SBuffer(std::size_t p_nSize) : pfData(fftw_alloc_real(p_nSize), &fftw_free) {}
    std::unique_ptr<double, decltype(&fftw_free)> pfData;
};
TPool<SBuffer> g_poolBuffer;
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

fftw_complex* AsComplex(double* p_pfData)
{
    return reinterpret_cast<fftw_complex*>(p_pfData);
}

std::size_t SizeOf(MKL_LONG p_nLength)
{
    return static_cast<std::size_t>(p_nLength) + 2;
}

/// From one buffer into another: in place the library takes a buffer from the heap at each call and copies slowly.
SDftPlans MakePlans(MKL_LONG p_nLength)
{
    const SBuffer from(SizeOf(p_nLength));
    const SBuffer to(SizeOf(p_nLength));
    double* const pfFrom = from.pfData.get();
    double* const pfTo = to.pfData.get();
    if (!pfFrom || !pfTo)
        return {};
    // ESTIMATE: the same plan, and so the same digits, on every run.
    const int nLength = static_cast<int>(p_nLength);
    return {PlanPtr(fftw_plan_dft_r2c_1d(nLength, pfFrom, AsComplex(pfTo), FFTW_ESTIMATE)),
            PlanPtr(fftw_plan_dft_c2r_1d(nLength, AsComplex(pfFrom), pfTo, FFTW_ESTIMATE))};
}

/// Where the plans may read from: the caller's data, or a copy of them if they are not aligned.
double* Aligned(double* p_pfData, std::size_t p_nSize, TPool<SBuffer>::Loan& r_pCopy)
{
    if (fftw_alignment_of(p_pfData) == 0)
        return p_pfData;
    r_pCopy = g_poolBuffer.Lend(p_nSize);
    std::copy_n(p_pfData, p_nSize, r_pCopy->pfData.get());
    return r_pCopy->pfData.get();
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

void DftForward(const SDftPlans& p_plans, MKL_LONG p_nLength, double* p_pfData)
{
    const std::size_t nSize = SizeOf(p_nLength);
    const auto pTo = g_poolBuffer.Lend(nSize);
    double* const pfTo = pTo->pfData.get();
    TPool<SBuffer>::Loan pCopy;
    fftw_execute_dft_r2c(p_plans.pForward.get(), Aligned(p_pfData, nSize, pCopy), AsComplex(pfTo));
    std::copy_n(pfTo, nSize, p_pfData);
}

void DftBackward(const SDftPlans& p_plans, MKL_LONG p_nLength, double p_fScale, double* p_pfData)
{
    const std::size_t nSize = SizeOf(p_nLength);
    const auto pTo = g_poolBuffer.Lend(nSize);
    double* const pfTo = pTo->pfData.get();
    TPool<SBuffer>::Loan pCopy;
    fftw_execute_dft_c2r(p_plans.pBackward.get(), AsComplex(Aligned(p_pfData, nSize, pCopy)), pfTo);
    std::transform(pfTo, pfTo + p_nLength, p_pfData, [p_fScale](double p_fValue) { return p_fValue * p_fScale; });
}
