#include "DftiDescriptor.h"
#include <complex>
#include <unsupported/Eigen/FFT>
#include <vector>

namespace
{
/// One engine a thread: it keeps tables by length. Unscaled, half spectrum.
Eigen::FFT<double>& Engine()
{
    thread_local Eigen::FFT<double> s_engine(
        Eigen::default_fft_impl<double>(),
        static_cast<Eigen::FFT<double>::Flag>(Eigen::FFT<double>::HalfSpectrum | Eigen::FFT<double>::Unscaled));
    return s_engine;
}
} // namespace

/// The engine of the thread plans by itself.
struct SDftPlans
{
};

const SDftPlans* DftPrepare(MKL_LONG)
{
    static const SDftPlans s_plans;
    return &s_plans;
}

void DftForward(const SDftPlans&, MKL_LONG p_nLength, double* p_pfData)
{
    const std::vector<double> vecTime(p_pfData, p_pfData + p_nLength);
    std::vector<std::complex<double>> vecSpec(static_cast<std::size_t>(p_nLength) / 2 + 1);
    Engine().fwd(vecSpec.data(), vecTime.data(), p_nLength);
    for (std::size_t k = 0; k < vecSpec.size(); ++k)
    {
        p_pfData[2 * k] = vecSpec[k].real();
        p_pfData[2 * k + 1] = vecSpec[k].imag();
    }
}

void DftBackward(const SDftPlans&, MKL_LONG p_nLength, double p_fScale, double* p_pfData)
{
    std::vector<std::complex<double>> vecSpec(static_cast<std::size_t>(p_nLength) / 2 + 1);
    for (std::size_t k = 0; k < vecSpec.size(); ++k)
        vecSpec[k] = {p_pfData[2 * k], p_pfData[2 * k + 1]};
    Engine().inv(p_pfData, vecSpec.data(), p_nLength);
    for (MKL_LONG i = 0; i < p_nLength; ++i)
        p_pfData[i] *= p_fScale;
}
