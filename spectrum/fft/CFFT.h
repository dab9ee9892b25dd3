#pragma once
#include "host/base/CTraceOMA.h"
#include <complex>
#include <memory>
#include <string>
#include <valarray>
#include <vector>

/// Transform of a block of real samples, or of one band of its spectrum back to time. Use one object for one transform;
/// Restart makes it reusable and keeps its memory.
/// Kernel   X(k) = sum x(j) exp(-2 pi i j k / n), unscaled; inverse scaled by 1 / n. Channels k = 0 (DC) to n/2 - 1
///          have frequency k * step; the Nyquist bin is dropped. n: the next power of two.
/// Threads  one job's worker.
/// Errors   one line and false; only the frequency step may have changed.
class CFFT
{
  public:
    using VecComplex = std::vector<std::complex<double>>;
    explicit CFFT(CTraceOMA* p_pTrace) : m_pTrace(p_pTrace) {}

    /// Discards the data. The next transform traces to p_pTrace.
    void Restart(CTraceOMA* p_pTrace);

    /// Spectrum of a block, padded with zeros to a power of two. The frequency step is that of the unpadded length.
    bool FFTbyMKL(const std::valarray<double>& p_vecData, double p_fDeltaT_s);
    /// Time signal of channels p_nLowChan to p_nHighChan inclusive; all channels if p_nHighChan is 0.
    bool IFFTbyMKL(const VecComplex* p_pvecData, unsigned p_nLowChan, unsigned p_nHighChan);
    /// |X|^2; may overflow or underflow where |X| does not.
    bool RetrveSquares(std::valarray<double>& r_vecOut) const;
    /// |X|, phase in degrees, samples. The caller sizes the output; values beyond that size are dropped.
    bool RetrveAmpl(std::valarray<double>& r_vecOut) const;
    bool RetrveDegs(std::valarray<double>& r_vecOut) const;
    bool RetrveTime(std::valarray<double>& r_vecOut) const;
    /// One line for each channel: index from 1, decimal logarithm of the squared magnitude, phase in degrees.
    bool DataToFile(const std::wstring& p_wstrPath) const;

    double GetDeltaF() const { return m_fDeltaF_Hz; }
    const VecComplex* GetData() const { return m_pvecData.get(); }
    unsigned GetNoOfChannels() const { return m_pvecData ? static_cast<unsigned>(m_pvecData->size()) : 0; }

  private:
    VecComplex& Buffer(std::size_t p_nSize);
    template <class TCompute>
    bool Transform(std::size_t p_nLength, bool p_bBackward, TCompute p_fnCompute) const;
    void TraceResults(const double* p_pfBuffer, std::size_t p_nLength) const;
    void StoreBuffer(std::size_t p_nChannels);
    bool CheckData(const char* p_pszMethod, const char* p_pszEmpty) const;

    [[maybe_unused]] double m_fSpare1 = -1.0;
    [[maybe_unused]] double m_fSpare2 = -1.0;
    double m_fDeltaF_Hz = -1.0;
    std::unique_ptr<VecComplex> m_pvecData;   ///< spectrum; after the inverse, two samples in each element
    std::unique_ptr<VecComplex> m_pvecBuffer; ///< for the transform, then becomes the data; null: none yet
    VecComplex m_vecBand;                     ///< input of the inverse
    CTraceOMA* m_pTrace;
};
