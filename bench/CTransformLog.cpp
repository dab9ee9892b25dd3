#include "bench/CTransformLog.h"
#include <cmath>
#include <dlfcn.h>
#include <map>

namespace
{
bool g_bNote = false;
std::vector<STransform> g_vecNote;

std::map<fftw_plan, STransform>& Plans()
{
    static std::map<fftw_plan, STransform> s_mapPlan;
    return s_mapPlan;
}

/// The library's own function behind one that is defined here.
template <class TFunction>
TFunction* Real(TFunction*, const char* p_pszName)
{
    return reinterpret_cast<TFunction*>(dlsym(RTLD_NEXT, p_pszName));
}

void Note(fftw_plan p_pPlan)
{
    if (g_bNote)
        g_vecNote.push_back(Plans().at(p_pPlan));
}
} // namespace

// These four take the place of the library's functions in this program.
fftw_plan fftw_plan_dft_r2c_1d(int p_nLength, double* p_pfIn, fftw_complex* p_pOut, unsigned p_nFlags)
{
    static auto* const s_fnReal = Real(&fftw_plan_dft_r2c_1d, "fftw_plan_dft_r2c_1d");
    const fftw_plan pPlan = s_fnReal(p_nLength, p_pfIn, p_pOut, p_nFlags);
    Plans()[pPlan] = {p_nLength, false};
    return pPlan;
}
fftw_plan fftw_plan_dft_c2r_1d(int p_nLength, fftw_complex* p_pIn, double* p_pfOut, unsigned p_nFlags)
{
    static auto* const s_fnReal = Real(&fftw_plan_dft_c2r_1d, "fftw_plan_dft_c2r_1d");
    const fftw_plan pPlan = s_fnReal(p_nLength, p_pIn, p_pfOut, p_nFlags);
    Plans()[pPlan] = {p_nLength, true};
    return pPlan;
}
void fftw_execute_dft_r2c(const fftw_plan p_pPlan, double* p_pfIn, fftw_complex* p_pOut)
{
    static auto* const s_fnReal = Real(&fftw_execute_dft_r2c, "fftw_execute_dft_r2c");
    Note(p_pPlan);
    s_fnReal(p_pPlan, p_pfIn, p_pOut);
}
void fftw_execute_dft_c2r(const fftw_plan p_pPlan, fftw_complex* p_pIn, double* p_pfOut)
{
    static auto* const s_fnReal = Real(&fftw_execute_dft_c2r, "fftw_execute_dft_c2r");
    Note(p_pPlan);
    s_fnReal(p_pPlan, p_pIn, p_pfOut);
}

void StartTransformLog()
{
    g_vecNote.clear();
    g_bNote = true;
}

std::vector<STransform> StopTransformLog()
{
    g_bNote = false;
    return g_vecNote;
}

CTransforms::CTransforms(const std::vector<STransform>& p_vecTransform, unsigned p_nFlags)
{
    for (const STransform& transform : p_vecTransform)
    {
        double* const pfData = Buffer(transform.nLength);
        m_vecStep.push_back({transform, pfData, Plan(transform, pfData, p_nFlags)});
    }
    Fill();
}

double* CTransforms::Buffer(int p_nLength)
{
    for (const auto& [nLength, pfData] : m_vecBuffer)
        if (nLength == p_nLength)
            return pfData.get();
    m_vecBuffer.emplace_back(p_nLength, fftw_alloc_real(static_cast<std::size_t>(p_nLength) + 2));
    return m_vecBuffer.back().second.get();
}

fftw_plan CTransforms::Plan(const STransform& p_transform, double* p_pfData, unsigned p_nFlags)
{
    for (const auto& [transform, pPlan] : m_vecPlan)
        if (transform == p_transform)
            return pPlan.get();
    auto* const pComplex = reinterpret_cast<fftw_complex*>(p_pfData);
    m_vecPlan.emplace_back(p_transform, p_transform.bInverse
                                            ? fftw_plan_dft_c2r_1d(p_transform.nLength, pComplex, p_pfData, p_nFlags)
                                            : fftw_plan_dft_r2c_1d(p_transform.nLength, p_pfData, pComplex, p_nFlags));
    return m_vecPlan.back().second.get();
}

void CTransforms::Fill()
{
    for (const auto& [nLength, pfData] : m_vecBuffer)
        for (int i = 0; i < nLength + 2; ++i)
            pfData.get()[i] = std::sin(0.05 * i);
}

void CTransforms::Run() const
{
    for (const SStep& step : m_vecStep)
    {
        auto* const pComplex = reinterpret_cast<fftw_complex*>(step.pfData);
        if (step.transform.bInverse)
            fftw_execute_dft_c2r(step.pPlan, pComplex, step.pfData);
        else
            fftw_execute_dft_r2c(step.pPlan, step.pfData, pComplex);
    }
}
