#include "job/CDeqMeas.h"
#include "spectrum/CProcOMA.h"
#include <boost/json.hpp>
#include <complex>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

// Peaks of two recordings against those of an independent program, pass by pass, from the phasors on. The value of the
// job is formed here anew: the test stands beside the job, not on it.

namespace
{
constexpr unsigned g_nRate = 50;

std::string ReadFile(const std::string& p_strName)
{
    std::ifstream stream(OMA_TEST_DATA "/reference/" + p_strName);
    std::ostringstream strText;
    strText << stream.rdbuf();
    return strText.str();
}

/// Magnitude and angle as the 32-bit floats of a sample; phase i turned by 120 degrees each.
std::vector<std::complex<double>> Phasors(const std::string& p_strLine)
{
    std::vector<std::complex<double>> vecPhasor;
    std::stringstream stream(p_strLine);
    std::string strField;
    std::getline(stream, strField, ';');
    for (unsigned i = 0; i < 6; ++i)
    {
        std::string strMagn;
        std::string strAngle;
        std::getline(stream, strMagn, ';');
        std::getline(stream, strAngle, ';');
        std::getline(stream, strField, ';');
        const double fDeg = std::fmod(static_cast<double>(std::stof(strAngle)) + 360.0 + (i % 3) * 120.0, 360.0);
        vecPhasor.push_back(std::polar(static_cast<double>(std::stof(strMagn)), 0.017453292519943295 * fDeg));
    }
    return vecPhasor;
}

double JobValue(const std::vector<std::complex<double>>& p_vecPhasor, std::int64_t p_eMode)
{
    if (p_eMode == 0)
    {
        double fSum = 0.0;
        for (unsigned i = 0; i < 3; ++i)
            fSum += (p_vecPhasor[i] * std::conj(p_vecPhasor[i + 3])).real();
        return fSum;
    }
    const std::complex<double> cplx1 = (p_vecPhasor[0] + p_vecPhasor[1] + p_vecPhasor[2]) / 3.0;
    const std::complex<double> cplx2 = (p_vecPhasor[3] + p_vecPhasor[4] + p_vecPhasor[5]) / 3.0;
    return std::fmod(57.29577951308232 * (std::arg(cplx1) - std::arg(cplx2)) + 540.0, 360.0) - 180.0;
}

class Reference : public testing::TestWithParam<const char*>
{
};

void ComparePeak(const CPeakOMA& p_peak, const boost::json::object& p_want)
{
    const auto Want = [&p_want](const char* p_pszName) { return p_want.at(p_pszName).to_number<double>(); };
    EXPECT_EQ(p_peak.m_eReso, p_want.at("reso").to_number<int>());
    EXPECT_NEAR(p_peak.GetFreq(), Want("freq"), 1e-8 * Want("freq"));
    EXPECT_NEAR(p_peak.GetFWHM(), Want("fwhm"), 1e-6 * Want("fwhm"));
    EXPECT_NEAR(p_peak.GetMagn(), Want("magn"), 1e-9 * Want("magn"));
    EXPECT_NEAR(p_peak.GetDamp(), Want("damp"), 1e-9);
}
} // namespace

TEST_P(Reference, PeaksOfEachPassAreThoseOfTheIndependentProgram)
{
    const std::string strName = GetParam();
    const boost::json::value job = boost::json::parse(ReadFile(strName + ".job.json"));
    const auto& jobSet = job.at("job");
    const auto& magn = jobSet.at("magnitude");
    const double fNominal = magn.at("nominal").to_number<double>();
    const CDOE doe(std::make_unique<CDOE::VecLimit>(CDOE::VecLimit{magn.at("warning").to_number<double>() * fNominal,
                                                                   magn.at("alarm").to_number<double>() * fNominal}),
                   std::make_unique<CDOE::VecLimit>(CDOE::VecLimit{-0.05, -0.03}));
    CDeqMeas deqMeas;
    std::vector<std::unique_ptr<CSpec>> vecpSpec;
    std::vector<std::unique_ptr<CProcOMA>> vecpProc;
    std::size_t nMax = 0;
    double fMaxFreq_Hz = 0.0;
    for (const auto& set : jobSet.at("spectral").at("sets").as_array())
    {
        const auto nSamples =
            jobSet.at("spectral").at("samples").to_number<unsigned>() * set.at("multiplier").to_number<unsigned>();
        vecpSpec.push_back(std::make_unique<CSpec>(true, static_cast<int>(vecpSpec.size()), nSamples,
                                                   set.at("lower").to_number<double>(),
                                                   set.at("upper").to_number<double>(), 0, nullptr));
        vecpProc.push_back(std::make_unique<CProcOMA>(&deqMeas, vecpSpec.back().get(), &doe, nullptr));
        vecpProc.back()->SetDeltaT(1.0 / g_nRate);
        nMax = std::max<std::size_t>(nMax, nSamples);
        fMaxFreq_Hz = std::max(fMaxFreq_Hz, vecpSpec.back()->GetFreqEnd());
    }

    std::stringstream streamWant(ReadFile(strName + ".expected.jsonl"));
    std::stringstream streamData(ReadFile(strName + ".csv"));
    std::string strLine;
    std::getline(streamData, strLine);
    unsigned nPasses = 0;
    unsigned nPeaks = 0;
    for (unsigned i = 0; std::getline(streamData, strLine); ++i)
    {
        const double fValue = JobValue(Phasors(strLine), jobSet.at("mode").to_number<std::int64_t>());
        deqMeas.Push({fValue, eQualValid}, nMax);
        if (i % g_nRate != 0 || deqMeas.Size() < vecpSpec[0]->GetNoOfSamples())
            continue;
        std::string strWant;
        if (!std::getline(streamWant, strWant))
            break;
        const boost::json::value want = boost::json::parse(strWant);
        SCOPED_TRACE(strName + " pass " + std::to_string(nPasses++));
        EXPECT_NEAR(fValue, want.at("value").to_number<double>(), 1e-9 * std::abs(fValue) + 1e-9);
        CProcOMA::VecPeak vecpPeak;
        std::vector<double> vecRaw;
        for (const auto& pProc : vecpProc)
        {
            pProc->Run(fMaxFreq_Hz, L"", L"", 1, 0, &vecpPeak);
            for (std::size_t n = vecRaw.size(); n < vecpPeak.size(); ++n)
                vecRaw.push_back(vecpPeak[n]->CalcMagn(pProc->GetAmpl(), pProc->GetFreqStep()));
        }
        const auto& wanted = want.at("peaks").as_array();
        ASSERT_EQ(vecpPeak.size(), wanted.size());
        for (std::size_t n = 0; n < wanted.size(); ++n, ++nPeaks)
        {
            ComparePeak(*vecpPeak[n], wanted[n].as_object());
            const double fRaw = wanted[n].at("raw_magn").to_number<double>();
            EXPECT_NEAR(vecRaw[n], fRaw, 1e-9 * fRaw);
            unsigned nLo = 0;
            unsigned nHi = 0;
            const CProcOMA& proc = *vecpProc[static_cast<std::size_t>(vecpPeak[n]->m_eReso)];
            proc.CalcPeakRange(vecpPeak[n]->GetFreq(), vecpPeak[n]->GetFWHM(),
                               static_cast<unsigned>(proc.GetAmpl().size()), &nLo, &nHi);
            EXPECT_EQ(nLo, wanted[n].at("n_lo").to_number<unsigned>());
            EXPECT_EQ(nHi, wanted[n].at("n_hi").to_number<unsigned>());
        }
        if (HasFailure())
            break;
    }
    EXPECT_FALSE(std::getline(streamWant, strLine)) << "a pass that did not run";
    EXPECT_GT(nPasses, 200U);
    EXPECT_GT(nPeaks, 400U);
}

INSTANTIATE_TEST_SUITE_P(Runs, Reference, testing::Values("04_two_modes", "07_vpad_wrap"));
