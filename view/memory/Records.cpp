#include "view/memory/Records.h"
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace
{
constexpr std::size_t g_nPassBytes = 2 + 4 * sizeof(float);
constexpr std::size_t g_nSampleBytes = 4 + sizeof(float);
constexpr double g_fNone = std::numeric_limits<double>::quiet_NaN();

template <class T>
void Put(std::string& r_strBytes, T p_value)
{
    char pBytes[sizeof(T)];
    std::memcpy(pBytes, &p_value, sizeof(T));
    r_strBytes.append(pBytes, sizeof(T));
}

template <class T>
T Get(const char* p_pBytes)
{
    T value;
    std::memcpy(&value, p_pBytes, sizeof(T));
    return value;
}
} // namespace

std::string EncodePasses(const TPassMinute& p_mapPass)
{
    std::string strBytes;
    strBytes.reserve(p_mapPass.size() * g_nPassBytes);
    for (const auto& [nMs, vecfValue] : p_mapPass)
    {
        Put(strBytes, nMs);
        for (const float fValue : vecfValue)
            Put(strBytes, fValue);
    }
    return strBytes;
}

void DecodePasses(std::span<const char> p_blob, TPassMinute& r_mapPass)
{
    for (std::size_t i = 0; i + g_nPassBytes <= p_blob.size(); i += g_nPassBytes)
    {
        TPass pass;
        for (std::size_t j = 0; j < pass.size(); ++j)
            pass[j] = Get<float>(p_blob.data() + i + 2 + j * sizeof(float));
        r_mapPass.insert_or_assign(r_mapPass.end(), Get<std::uint16_t>(p_blob.data() + i), pass);
    }
}

std::string EncodeSamples(std::span<const SSample> p_vecSample)
{
    std::string strBytes;
    strBytes.reserve(p_vecSample.size() * g_nSampleBytes);
    for (const SSample& sample : p_vecSample)
    {
        Put(strBytes, static_cast<std::uint32_t>(sample.nTicks - p_vecSample.front().nTicks));
        Put(strBytes, sample.fValue);
    }
    return strBytes;
}

void DecodeSamples(std::int64_t p_nBegin, std::span<const char> p_blob, std::vector<SSample>& r_vecSample)
{
    for (std::size_t i = 0; i + g_nSampleBytes <= p_blob.size(); i += g_nSampleBytes)
        r_vecSample.push_back({p_nBegin + Get<std::uint32_t>(p_blob.data() + i), Get<float>(p_blob.data() + i + 4)});
}

void SExtremes::Add(double p_fValue)
{
    if (std::isnan(p_fValue))
        return;
    fMin = nCount == 0 ? p_fValue : std::min(fMin, p_fValue);
    fMax = nCount == 0 ? p_fValue : std::max(fMax, p_fValue);
    fSum += p_fValue;
    ++nCount;
}

double SExtremes::Min() const
{
    return nCount == 0 ? g_fNone : fMin;
}
double SExtremes::Mean() const
{
    return nCount == 0 ? g_fNone : fSum / nCount;
}
double SExtremes::Max() const
{
    return nCount == 0 ? g_fNone : fMax;
}
