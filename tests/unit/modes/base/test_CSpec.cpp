#include "fake/CaptureTrace.h"
#include "modes/CSpec.h"
#include <cmath>
#include <gtest/gtest.h>

namespace
{
struct SpecTest : testing::Test
{
    CSpec Band(std::int32_t p_eReso, double p_fBeg_Hz, double p_fEnd_Hz)
    {
        return {true, p_eReso, 512, p_fBeg_Hz, p_fEnd_Hz, 500, &trace};
    }
    CTraceOMA trace{"SPEC"};
    CaptureTrace capture;
};
} // namespace

TEST_F(SpecTest, LowerLimitBelongsToTheBandAndTheUpperToTheNext)
{
    const CSpec spec = Band(MR, 0.2, 0.8);
    EXPECT_TRUE(spec.IsInRange(0.2));
    EXPECT_TRUE(spec.IsInRange(std::nextafter(0.8, 0.0)));
    EXPECT_FALSE(spec.IsInRange(0.8));
    EXPECT_FALSE(spec.IsInRange(std::nextafter(0.2, 0.0)));
    EXPECT_FALSE(spec.IsInRange(std::nan("")));
}

TEST_F(SpecTest, OuterBandsHaveTheMiddleOneAsNeighbour)
{
    EXPECT_EQ(Band(LR, 0.8, 3.0).RetrveNextNeighb(2.9), MR);
    EXPECT_EQ(Band(LR, 0.8, 3.0).RetrveNextNeighb(0.8), MR);
    EXPECT_EQ(Band(HR, 0.05, 0.2).RetrveNextNeighb(0.06), MR);
}

TEST_F(SpecTest, MiddleBandIsSplitAtItsGeometricMiddle)
{
    const CSpec spec = Band(MR, 0.2, 0.8); // geometric middle 0.4, arithmetic 0.5
    EXPECT_EQ(spec.RetrveNextNeighb(0.39), HR);
    EXPECT_EQ(spec.RetrveNextNeighb(0.41), LR);
    EXPECT_EQ(Band(MR, 1.0, 1.0 + 1e-12).CalcNextNeighbMR(1.0 + 1e-11), LR);
    const double fMid_Hz = std::exp((std::log(0.8) + std::log(0.2)) * 0.5);
    EXPECT_EQ(spec.RetrveNextNeighb(fMid_Hz), LR) << "the middle itself belongs to the band above";
    EXPECT_EQ(spec.RetrveNextNeighb(std::nextafter(fMid_Hz, 0.0)), HR);
}
