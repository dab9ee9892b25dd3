#include "DftiDescriptor.h"
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
using BufferPtr = std::unique_ptr<double, decltype(&fftw_free)>;
} // namespace

struct SDftPlans
{
    PlanPtr pForward;
    PlanPtr pBackward;
};

namespace
{
/// The lock protects the cache and the planning, which is not thread-safe; execution takes no lock.
std::mutex g_mtxPlans;

BufferPtr MakeBuffer(MKL_LONG p_nLength)
{
    return {fftw_alloc_real(static_cast<std::size_t>(p_nLength) + 2), &fftw_free};
}

fftw_complex* AsComplex(double* p_pfData)
{
    return reinterpret_cast<fftw_complex*>(p_pfData);
}

/// From one buffer into another: in-place transforms allocate heap memory on each call and copy slowly.
SDftPlans MakePlans(MKL_LONG p_nLength)
{
    const BufferPtr pfTime = MakeBuffer(p_nLength);
    const BufferPtr pfSpec = MakeBuffer(p_nLength);
    if (!pfTime || !pfSpec)
        return {};
    // ESTIMATE: the same plan, and so the same digits, on every run.
    const int nLength = static_cast<int>(p_nLength);
    return {PlanPtr(fftw_plan_dft_r2c_1d(nLength, pfTime.get(), AsComplex(pfSpec.get()), FFTW_ESTIMATE)),
            PlanPtr(fftw_plan_dft_c2r_1d(nLength, AsComplex(pfSpec.get()), pfTime.get(), FFTW_ESTIMATE))};
}

/// Runs p_fnPlan(from, to). Buffers of the caller that are less aligned than the plan's are copied.
template <class TPlan>
void Execute(MKL_LONG p_nLength, double* p_pfFrom, MKL_LONG p_nFrom, double* p_pfTo, MKL_LONG p_nTo, TPlan p_fnPlan)
{
    if (fftw_alignment_of(p_pfFrom) == 0 && fftw_alignment_of(p_pfTo) == 0)
    {
        p_fnPlan(p_pfFrom, p_pfTo);
        return;
    }
    const BufferPtr pfFrom = MakeBuffer(p_nLength);
    const BufferPtr pfTo = MakeBuffer(p_nLength);
    if (!pfFrom || !pfTo)
        throw std::bad_alloc();
    std::copy_n(p_pfFrom, p_nFrom, pfFrom.get());
    p_fnPlan(pfFrom.get(), pfTo.get());
    std::copy_n(pfTo.get(), p_nTo, p_pfTo);
}
} // namespace

const SDftPlans* DftPrepare(MKL_LONG p_nLength)
{
    static std::map<MKL_LONG, SDftPlans> s_mapPlans; // elements must not move
    const std::lock_guard lock(g_mtxPlans);
    const auto it = s_mapPlans.find(p_nLength);
    if (it != s_mapPlans.end())
        return &it->second;
    SDftPlans plans = MakePlans(p_nLength);
    if (!plans.pForward || !plans.pBackward)
        return nullptr;
    return &s_mapPlans.emplace(p_nLength, std::move(plans)).first->second;
}

void DftForward(const SDftPlans& p_plans, MKL_LONG p_nLength, const double* p_pfTime, double* p_pfSpec)
{
    // A forward plan does not change its input, though its type does not say so.
    Execute(p_nLength, const_cast<double*>(p_pfTime), p_nLength, p_pfSpec, p_nLength + 2,
            [&](double* p_pfFrom, double* p_pfTo)
            { fftw_execute_dft_r2c(p_plans.pForward.get(), p_pfFrom, AsComplex(p_pfTo)); });
}

void DftBackward(const SDftPlans& p_plans, MKL_LONG p_nLength, double* p_pfSpec, double* p_pfTime)
{
    Execute(p_nLength, p_pfSpec, p_nLength + 2, p_pfTime, p_nLength,
            [&](double* p_pfFrom, double* p_pfTo)
            { fftw_execute_dft_c2r(p_plans.pBackward.get(), AsComplex(p_pfFrom), p_pfTo); });
}
