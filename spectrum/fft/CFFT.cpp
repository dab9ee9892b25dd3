#include "spectrum/fft/CFFT.h"
#include "Dfti.h"
#include "host/base/CMethodTrace.h"
#include "host/base/TraceFilter.h"
#include "offline/CWriteFile.h"
#include "spectrum/fft/ManyNumbers.h"
#include <algorithm>
#include <bit>
#include <cmath>
#include <iomanip>
#include <sstream>

namespace
{
constexpr std::string_view g_strClass = "CFFT";
constexpr double g_fPi = 3.141592653589793;

bool IsOk(MKL_LONG p_nStatus)
{
    return DftiErrorClass(p_nStatus, DFTI_NO_ERROR);
}

/// Complex numbers as an array of alternating real and imaginary parts.
double* Numbers(CFFT::VecComplex& r_vecComplex)
{
    return reinterpret_cast<double*>(r_vecComplex.data());
}

/// Frees its descriptor in any case.
class CDescriptor
{
  public:
    ~CDescriptor()
    {
        if (m_hDesc)
            DftiFreeDescriptor(&m_hDesc);
    }
    DFTI_DESCRIPTOR_HANDLE m_hDesc = nullptr;
};
} // namespace

void CFFT::Restart(CTraceOMA* p_pTrace)
{
    m_pTrace = p_pTrace;
    m_fDeltaF_Hz = -1.0;
    if (m_pvecData)
        m_pvecBuffer = std::move(m_pvecData);
}

/// Memory for the result of a transform. Its contents are undefined.
CFFT::VecComplex& CFFT::Buffer(std::size_t p_nSize)
{
    if (!m_pvecBuffer)
        m_pvecBuffer = std::make_unique<VecComplex>();
    m_pvecBuffer->resize(p_nSize);
    return *m_pvecBuffer;
}

bool CFFT::FFTbyMKL(const std::valarray<double>& p_vecData, double p_fDeltaT_s)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "FFTbyMKL");
    const std::size_t nData = p_vecData.size();
    m_fDeltaF_Hz = 1.0 / (static_cast<double>(nData) * p_fDeltaT_s);
    const std::size_t nLength = nData == 0 ? 0 : std::bit_ceil(nData);
    if (nLength < 2)
        return trace.Error("Invalid binary data size returned");
    std::valarray<double> vecPadded;
    if (nData < nLength)
    {
        vecPadded.resize(nLength);
        std::copy(std::begin(p_vecData), std::end(p_vecData), std::begin(vecPadded));
    }
    const double* const pfTime = std::begin(nData < nLength ? vecPadded : p_vecData);
    double* const pfSpec = Numbers(Buffer(nLength / 2 + 1));
    if (!Transform(nLength, false,
                   [&](DFTI_DESCRIPTOR_HANDLE p_hDesc) { return DftiComputeForward(p_hDesc, pfTime, pfSpec); }))
        return false;
    if (IsTraceData(8) && m_pTrace && m_pTrace->IsDataOn())
        TraceResults(pfSpec, nLength);
    StoreBuffer(nLength / 2);
    return true;
}

bool CFFT::IFFTbyMKL(const VecComplex* p_pvecData, unsigned p_nLowChan, unsigned p_nHighChan)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "IFFTbyMKL");
    const std::size_t nData = p_pvecData ? p_pvecData->size() : 0;
    if (nData == 0)
    {
        trace.Warning("No input data");
        return false;
    }
    std::size_t nLow = p_nLowChan;
    std::size_t nHigh = p_nHighChan;
    if (p_nHighChan == 0)
    {
        nLow = 0;
        nHigh = nData - 1;
    }
    else if (nHigh >= nData)
        return trace.Error("Upper peak channel higher last available channel");
    else if (nLow > nHigh)
        return trace.Error("Lower peak channel has higher value than upper peak channel");

    m_vecBand.resize(nData + 1);
    std::fill_n(Numbers(m_vecBand), 2 * nData + 2, 0.0);
    std::copy_n(p_pvecData->data() + nLow, nHigh - nLow + 1, m_vecBand.data() + nLow);
    double* const pfTime = Numbers(Buffer(nData));
    if (!Transform(2 * nData, true,
                   [&](DFTI_DESCRIPTOR_HANDLE p_hDesc)
                   { return DftiComputeBackward(p_hDesc, Numbers(m_vecBand), pfTime); }))
        return false;
    StoreBuffer(nData);
    return true;
}

template <class TCompute>
bool CFFT::Transform(std::size_t p_nLength, bool p_bBackward, TCompute p_fnCompute) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, p_bBackward ? "IFFTbyMKL" : "FFTbyMKL");
    CDescriptor desc;
    if (!IsOk(DftiCreateDescriptor(&desc.m_hDesc, DFTI_DOUBLE, DFTI_REAL, 1, static_cast<MKL_LONG>(p_nLength))))
        return trace.Error("DftiCreateDescriptor() failed");
    if (p_bBackward && !IsOk(DftiSetValue(desc.m_hDesc, DFTI_BACKWARD_SCALE, 1.0 / static_cast<double>(p_nLength))))
        return trace.Error("DftiSetValue() failed");
    if (!IsOk(DftiCommitDescriptor(desc.m_hDesc)))
        return trace.Error("DftiCommitDescriptor() failed");
    if (!IsOk(p_fnCompute(desc.m_hDesc)))
        return trace.Error(p_bBackward ? "DftiComputeBackward() failed" : "DftiComputeForward() failed");
    if (!IsOk(DftiFreeDescriptor(&desc.m_hDesc)))
        return trace.Error("DftiFreeDescriptor() failed");
    return true;
}

void CFFT::TraceResults(const double* p_pfBuffer, std::size_t p_nLength) const
{
    std::string strText = "FFT results: \n";
    for (std::size_t i = 0; i < p_nLength; ++i)
        strText += UIntAsText(static_cast<unsigned>(i), 4) + ": " + DoubleAsText(p_pfBuffer[i], 3, 3, false) + "\n";
    m_pTrace->TraceData(strText, true);
}

/// The buffer, without the Nyquist channel, becomes the data. Existing data keep their size.
void CFFT::StoreBuffer(std::size_t p_nChannels)
{
    m_pvecBuffer->resize(p_nChannels);
    if (m_pvecData)
    {
        std::copy_n(m_pvecBuffer->begin(), std::min(m_pvecData->size(), m_pvecBuffer->size()), m_pvecData->begin());
        return;
    }
    m_pvecData = std::move(m_pvecBuffer);
}

bool CFFT::CheckData(const char* p_pszMethod, const char* p_pszEmpty) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, p_pszMethod);
    if (!m_pvecData)
        return trace.Error("Invalid 'm_pvecData' pointer");
    return m_pvecData->empty() && *p_pszEmpty ? trace.Error(p_pszEmpty) : true;
}

bool CFFT::RetrveAmpl(std::valarray<double>& r_vecOut) const
{
    if (!CheckData("RetrveAmpl", "No FFT data"))
        return false;
    for (std::size_t k = 0; k < std::min(r_vecOut.size(), m_pvecData->size()); ++k)
        r_vecOut[k] = std::abs((*m_pvecData)[k]);
    return true;
}

bool CFFT::RetrveSquares(std::valarray<double>& r_vecOut) const
{
    if (!CheckData("RetrveSquares", "No FFT data"))
        return false;
    SquaresOf(m_pvecData->data(), std::min(r_vecOut.size(), m_pvecData->size()), std::begin(r_vecOut));
    return true;
}

bool CFFT::RetrveDegs(std::valarray<double>& r_vecOut) const
{
    if (!CheckData("RetrveDegs", "No FFT data"))
        return false;
    for (std::size_t k = 0; k < std::min(r_vecOut.size(), m_pvecData->size()); ++k)
        r_vecOut[k] = std::arg((*m_pvecData)[k]) * 180.0 / g_fPi;
    return true;
}

bool CFFT::RetrveTime(std::valarray<double>& r_vecOut) const
{
    if (!CheckData("RetrveTime", "No time domain data"))
        return false;
    std::copy_n(Numbers(*m_pvecData), std::min(r_vecOut.size(), 2 * m_pvecData->size()), std::begin(r_vecOut));
    return true;
}

bool CFFT::DataToFile(const std::wstring& p_wstrPath) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "DataToFile");
    if (!CheckData("DataToFile", ""))
        return false;
    CWriteFile file(p_wstrPath, m_pTrace);
    if (!file.Open())
        return trace.Error("Cannot create FFT data file");
    std::ostringstream stream;
    stream << std::fixed << std::setprecision(3);
    for (std::size_t k = 0; k < m_pvecData->size(); ++k)
    {
        const std::complex<double>& cplx = (*m_pvecData)[k];
        const double fAmpl = std::abs(cplx);
        stream << std::setw(3) << k + 1 << ":    magn = " << std::setw(10) << std::log10(fAmpl * fAmpl)
               << "    phas = " << std::setw(8) << std::arg(cplx) * 180.0 / g_fPi << '\n';
    }
    file.WriteText(stream.str());
    file.Close();
    return true;
}
