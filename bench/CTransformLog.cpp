#include "bench/CTransformLog.h"
#include <chrono>
#include <cmath>
#include <dlfcn.h>
#include <map>

namespace
{
bool g_bNote = false;
std::vector<SCall> g_vecNote;
double g_fTime_us = 0.0;

std::map<fftw_plan, STransform>& Plans()
{
    static std::map<fftw_plan, STransform> s_mapPlan;
    return s_mapPlan;
}

/// The library's function that a function defined here replaces.
template <class TFunction>
TFunction* Real(TFunction*, const char* p_pszName)
{
    return reinterpret_cast<TFunction*>(dlsym(RTLD_NEXT, p_pszName));
}

fftw_complex* AsComplex(double* p_pfData)
{
    return reinterpret_cast<fftw_complex*>(p_pfData);
}
double* AsNumbers(fftw_complex* p_pData)
{
    return reinterpret_cast<double*>(p_pData);
}

/// Calls the library's function, and records the call and its duration.
template <class TExecute>
void Execute(fftw_plan p_pPlan, double* p_pfFrom, double* p_pfTo, TExecute p_fnExecute)
{
    if (!g_bNote)
    {
        p_fnExecute();
        return;
    }
    g_vecNote.push_back({Plans().at(p_pPlan), p_pPlan, p_pfFrom, p_pfTo});
    const auto tBegin = std::chrono::steady_clock::now();
    p_fnExecute();
    g_fTime_us += std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - tBegin).count();
}
} // namespace

// In this program, these four functions replace the library's.
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
    Execute(p_pPlan, p_pfIn, AsNumbers(p_pOut), [=] { s_fnReal(p_pPlan, p_pfIn, p_pOut); });
}
void fftw_execute_dft_c2r(const fftw_plan p_pPlan, fftw_complex* p_pIn, double* p_pfOut)
{
    static auto* const s_fnReal = Real(&fftw_execute_dft_c2r, "fftw_execute_dft_c2r");
    Execute(p_pPlan, AsNumbers(p_pIn), p_pfOut, [=] { s_fnReal(p_pPlan, p_pIn, p_pfOut); });
}

void StartTransformLog()
{
    g_vecNote.clear();
    g_fTime_us = 0.0;
    g_bNote = true;
}

std::vector<SCall> StopTransformLog()
{
    g_bNote = false;
    return g_vecNote;
}

double TransformLog_us()
{
    return g_fTime_us;
}

void Fill(const std::vector<SCall>& p_vecCall)
{
    for (const auto& [transform, pPlan, pfFrom, pfTo] : p_vecCall)
    {
        const int nNumbers = transform.bInverse ? 2 * (transform.nLength / 2 + 1) : transform.nLength;
        for (int i = 0; i < nNumbers; ++i)
            pfFrom[i] = std::sin(0.05 * i);
    }
}

void Repeat(const std::vector<SCall>& p_vecCall)
{
    for (const SCall& call : p_vecCall)
        if (call.transform.bInverse)
            fftw_execute_dft_c2r(call.pPlan, AsComplex(call.pfFrom), call.pfTo);
        else
            fftw_execute_dft_r2c(call.pPlan, call.pfFrom, AsComplex(call.pfTo));
}

CTransforms::CTransforms(const std::vector<SCall>& p_vecCall)
{
    m_vecBuffers.reserve(p_vecCall.size()); // elements must not move
    for (const SCall& call : p_vecCall)
    {
        const SBuffers& buffers = Buffers(call.transform.nLength);
        m_vecCall.push_back({call.transform, Plan(call.transform, buffers), buffers.pfFrom.get(), buffers.pfTo.get()});
    }
}

const CTransforms::SBuffers& CTransforms::Buffers(int p_nLength)
{
    for (const SBuffers& buffers : m_vecBuffers)
        if (buffers.nLength == p_nLength)
            return buffers;
    const auto Alloc = [p_nLength] { return BufferPtr(fftw_alloc_real(static_cast<std::size_t>(p_nLength) + 2)); };
    m_vecBuffers.push_back({p_nLength, Alloc(), Alloc()});
    return m_vecBuffers.back();
}

fftw_plan CTransforms::Plan(const STransform& p_transform, const SBuffers& p_buffers)
{
    for (const auto& [transform, pPlan] : m_vecPlan)
        if (transform == p_transform)
            return pPlan.get();
    double* const pfFrom = p_buffers.pfFrom.get();
    double* const pfTo = p_buffers.pfTo.get();
    m_vecPlan.emplace_back(p_transform,
                           p_transform.bInverse
                               ? fftw_plan_dft_c2r_1d(p_transform.nLength, AsComplex(pfFrom), pfTo, FFTW_MEASURE)
                               : fftw_plan_dft_r2c_1d(p_transform.nLength, pfFrom, AsComplex(pfTo), FFTW_MEASURE));
    return m_vecPlan.back().second.get();
}
