#include "DftiDescriptor.h"
#include <complex>
#include <unsupported/Eigen/FFT>

namespace
{
/// One engine per thread: it caches tables by length. Unscaled, half spectrum.
Eigen::FFT<double>& Engine()
{
    thread_local Eigen::FFT<double> s_engine(
        Eigen::default_fft_impl<double>(),
        static_cast<Eigen::FFT<double>::Flag>(Eigen::FFT<double>::HalfSpectrum | Eigen::FFT<double>::Unscaled));
    return s_engine;
}
} // namespace

/// The engine of the thread does its own planning.
struct SDftPlans
{
};

const SDftPlans* DftPrepare(MKL_LONG)
{
    static const SDftPlans s_plans;
    return &s_plans;
}

void DftForward(const SDftPlans&, MKL_LONG p_nLength, const double* p_pfTime, double* p_pfSpec)
{
    Engine().fwd(reinterpret_cast<std::complex<double>*>(p_pfSpec), p_pfTime, p_nLength);
}

void DftBackward(const SDftPlans&, MKL_LONG p_nLength, double* p_pfSpec, double* p_pfTime)
{
    Engine().inv(p_pfTime, reinterpret_cast<const std::complex<double>*>(p_pfSpec), p_nLength);
}
