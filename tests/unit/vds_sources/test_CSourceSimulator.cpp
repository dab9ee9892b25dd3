#include "unit/vds_sources/TempFile.h"
#include "vds/base/IsoTime.h"
#include "vds/source/CSourceSimulator.h"
#include "vds/source/OpenSource.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>

namespace
{
/// Two places on a line, three voltages and one current; p_strMore adds members to it.
std::string Scenario(const std::string& p_strMore = "", const std::string& p_strHead = R"("rate": 50)")
{
    return R"({"start": "2024-03-05T10:00:00Z", "duration_s": 20, )" + p_strHead + R"(,
        "places": [{"name": "North", "voltage_V": 230940, "angle_deg": 20},
                   {"name": "South", "voltage_V": 220000, "angle_deg": -5}],
        "lines": [{"name": "Line", "from": "North", "to": "South", "reactance_Ohm": 60}],
        "pmus": [{"place": "North", "phases": {"L1": 11, "L2": 12, "L3": 13}},
                 {"place": "South", "phases": {"L1": 31}},
                 {"place": "North", "line": "Line", "phases": {"L1": 21}},
                 {"place": "South", "line": "Line", "phases": {"L3": 43}}])" +
           (p_strMore.empty() ? "" : ", " + p_strMore) + "}";
}

std::unique_ptr<ISource> Open(const std::string& p_strText)
{
    const CTempFile file(p_strText);
    std::string strError;
    auto pSource = OpenSimulator(file.Path(), &strError);
    EXPECT_NE(pSource, nullptr) << strError;
    return pSource;
}

std::vector<SSourceCycle> AllCycles(ISource& r_source)
{
    std::vector<SSourceCycle> vecCycle;
    for (SSourceCycle cycle; r_source.Next(cycle);)
    {
        vecCycle.push_back(cycle);
    }
    return vecCycle;
}

std::complex<double> Phasor(const SSourceSample& p_sample, double p_fTurn_deg = 0.0)
{
    return std::polar<double>(p_sample.fMagn, (p_sample.fAngle_deg + p_fTurn_deg) * std::numbers::pi / 180.0);
}

TEST(CSourceSimulator, SteadyStateIsThatOfTheNetworkEquations)
{
    const auto pSource = Open(Scenario());
    const std::vector<SSourceCycle> vecCycle = AllCycles(*pSource);
    ASSERT_EQ(vecCycle.size(), 1000U);
    EXPECT_EQ(vecCycle[0].nTicks, *TicksFromIso("2024-03-05T10:00:00Z"));
    EXPECT_EQ(vecCycle[51].nTicks - vecCycle[0].nTicks, 10'200'000);
    const auto& vec = vecCycle[500].vecSample;
    EXPECT_FLOAT_EQ(vec[1].fAngle_deg, -100.0F);
    EXPECT_FLOAT_EQ(vec[2].fAngle_deg, 140.0F); // 20 - 240, folded
    // Power into the line: U1 U2 sin(d) / X, the same at its other end with the other sign.
    const double fPower = 230940.0 * 220000.0 * std::sin(25.0 * std::numbers::pi / 180.0) / 60.0;
    EXPECT_NEAR(std::real(Phasor(vec[0]) * std::conj(Phasor(vec[4]))), fPower, 1e-5 * fPower);
    EXPECT_NEAR(std::real(Phasor(vec[3]) * std::conj(Phasor(vec[5], 240.0))), -fPower, 1e-5 * fPower);
}

TEST(CSourceSimulator, SwingHasItsFrequencyDampingAndShape)
{
    const double fRatio = 0.05;
    const double fRate = 2 * std::numbers::pi * 0.5 * fRatio / std::sqrt(1 - fRatio * fRatio);
    const auto pSource = Open(Scenario(R"("swings": [{"frequency_hz": 0.5, "damping": 0.05, "start_s": 2, "end_s": 10,
        "damping_after_end": -0.05, "amplitude_deg": 3, "shape": {"North": 1, "South": -0.5}},
        {"frequency_hz": 1.5, "damping": 0, "start_s": 12, "end_s": 14, "amplitude_deg": 2, "phase_deg": 90,
         "shape": {"South": 1}}])"));
    const std::vector<SSourceCycle> vecCycle = AllCycles(*pSource);
    for (std::size_t i = 0; i < vecCycle.size(); ++i)
    {
        const double fTime = static_cast<double>(i) / 50;
        const double fSince = fTime - 2;
        double fSwing =
            3 * std::sin(std::numbers::pi * fSince) * std::exp(fRate * (fTime < 10 ? fSince : 8 - (fTime - 10)));
        fSwing = fTime < 2 ? 0.0 : fSwing;
        const double fSecond =
            fTime >= 12 && fTime < 14 ? 2 * std::cos(2 * std::numbers::pi * 1.5 * (fTime - 12)) : 0.0;
        ASSERT_NEAR(vecCycle[i].vecSample[0].fAngle_deg, 20 + fSwing, 1e-4) << fTime;
        ASSERT_NEAR(vecCycle[i].vecSample[3].fAngle_deg, -5 - 0.5 * fSwing + fSecond, 1e-4) << fTime;
    }
}

TEST(CSourceSimulator, NoiseHasItsSizeAndRepeatsWithTheSeed)
{
    const std::string strNoise = R"("noise": {"magnitude_percent": 0.1, "angle_deg": 0.05})";
    const auto pSource = Open(Scenario(strNoise));
    const std::vector<SSourceCycle> vecFirst = AllCycles(*pSource);
    ASSERT_TRUE(pSource->Rewind());
    const std::vector<SSourceCycle> vecAgain = AllCycles(*pSource);
    const std::vector<SSourceCycle> vecOther = AllCycles(*Open(Scenario(strNoise, R"("rate": 50, "seed": 2)")));
    double fSum = 0.0;
    double fSumSquare = 0.0;
    double fSumMagn = 0.0;
    for (std::size_t i = 0; i < vecFirst.size(); ++i)
    {
        const double fNoise = vecFirst[i].vecSample[0].fAngle_deg - 20.0;
        fSum += fNoise;
        fSumSquare += fNoise * fNoise;
        fSumMagn += std::pow(vecFirst[i].vecSample[0].fMagn / 230940.0 - 1.0, 2);
        ASSERT_EQ(vecFirst[i].vecSample[5].fAngle_deg, vecAgain[i].vecSample[5].fAngle_deg);
    }
    const auto fCount = static_cast<double>(vecFirst.size());
    EXPECT_NEAR(fSum / fCount, 0.0, 0.05 * 4 / std::sqrt(fCount));
    EXPECT_NEAR(std::sqrt(fSumSquare / fCount), 0.05, 0.05 * 0.1);
    EXPECT_NEAR(std::sqrt(fSumMagn / fCount), 0.001, 0.001 * 0.1);
    EXPECT_NE(vecFirst[10].vecSample[0].fAngle_deg, vecOther[10].vecSample[0].fAngle_deg);
}

TEST(CSourceSimulator, FaultsComeWhereTheScenarioPutsThem)
{
    const auto pSource = Open(Scenario(R"(
        "invalid": [{"ids": [31], "from_s": 1, "to_s": 1.1}, {"ids": [31], "from_s": 1, "to_s": 1.02, "state": "0x10"}],
        "gaps": [{"from_s": 2, "to_s": 2.1}, {"ids": [11, 12], "from_s": 3, "to_s": 3.02}],
        "repeats": [{"at_s": 4, "count": 2}],
        "jumps": [{"at_s": 5, "by_s": 0.003, "cycles": 1}, {"at_s": 6, "by_s": -2.5}],
        "events": [{"at_s": 8, "key": 4003, "transition": "DIS", "element_type": 2, "element_id": 1},
                   {"at_s": 2.02, "key": 4003, "transition": "APP", "element_type": 2, "element_id": 1, "text": "x"}])"));
    const std::int64_t nStart = *TicksFromIso("2024-03-05T10:00:00Z");
    const std::vector<SSourceCycle> vec = AllCycles(*pSource);
    const auto at = [&](std::size_t p_iCycle, double p_fStamp_s)
    {
        EXPECT_EQ(vec.at(p_iCycle).nTicks, nStart + std::llround(p_fStamp_s * 1e7)) << p_iCycle;
        return vec.at(p_iCycle);
    };
    ASSERT_EQ(vec.size(), 1000U - 5 + 2);
    EXPECT_EQ(at(49, 0.98).vecSample[3].nState, 0U);
    EXPECT_EQ(at(50, 1.0).vecSample[3].nState, 0x2010U);
    EXPECT_EQ(at(54, 1.08).vecSample[3].nState, 0x2000U);
    EXPECT_EQ(at(55, 1.1).vecSample[3].nState, 0U);
    EXPECT_TRUE(at(99, 1.98).vecEvent.empty());
    ASSERT_EQ(at(100, 2.1).vecEvent.size(), 1U); // the first cycle behind the gap brings what fell into it
    EXPECT_EQ(vec[100].vecEvent[0].eKey, 4003);
    EXPECT_EQ(vec[100].vecEvent[0].eTrans, 1);
    EXPECT_EQ(vec[100].vecEvent[0].strText, "x");
    EXPECT_FALSE(at(145, 3.0).vecSample[1].bPresent);
    EXPECT_TRUE(vec[145].vecSample[2].bPresent);
    EXPECT_TRUE(at(146, 3.02).vecSample[1].bPresent);
    at(195, 4.0);
    at(196, 4.0);
    at(197, 4.0);
    at(198, 4.02);
    at(247, 5.003);
    at(248, 5.02);
    at(296, 5.98);
    at(297, 3.5);
    at(vec.size() - 1, 17.48);
    EXPECT_EQ(at(397, 5.5).vecEvent.size(), 1U);
}

TEST(CSourceSimulator, DriftAndOffsetTurnTheAngles)
{
    const auto pSource = Open(Scenario(
        R"("frequency_offset_hz": 0.1, "drifts": [{"place": "South", "from_s": 5, "to_s": 6, "frequency_hz": 0.5}])"));
    const std::vector<SSourceCycle> vec = AllCycles(*pSource);
    EXPECT_NEAR(vec[500].vecSample[0].fAngle_deg, 20.0, 1e-4); // 10 s: one turn
    EXPECT_NEAR(vec[275].vecSample[3].fAngle_deg, -5.0 + 198.0 + 90.0 - 360.0, 1e-4);
    EXPECT_NEAR(vec[300].vecSample[3].fAngle_deg, -5.0 + 216.0 - 360.0, 1e-4);
}

} // namespace
