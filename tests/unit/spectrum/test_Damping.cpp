#include "SpectrumBench.h"
#include "fake/CaptureTrace.h"

namespace
{
constexpr double g_fStep_s = 0.1;
constexpr double g_fFreq_Hz = 1.25; ///< half cycles of four samples at 0.1 s
constexpr double g_fHalf_s = 0.4;

struct Damping : SpectrumBench
{
    CaptureTrace capture;
    std::valarray<double> vecTime = std::valarray<double>(64);
    double fMagn = -1.0;
    double fDamp = 77.0;

    /// Half cycles of the given heights, alternately positive and negative, of four samples with one extreme each,
    /// between two incomplete ones. The signal has no mean and nothing in the channel that a spectrum drops, so the
    /// transforms reproduce it.
    bool Evaluate(const std::vector<double>& p_vecfHeight)
    {
        std::vector<double> vecSample;
        double fSign = 1.0;
        for (const double fHeight : p_vecfHeight)
        {
            for (const double fPlace : {0.5, 1.0, 0.75, 0.25})
                vecSample.push_back(fSign * fPlace * fHeight);
            fSign = -fSign;
        }
        const std::size_t nTail = 4;
        const double fTail = fSign > 0.0 ? 10.0 : -0.01;
        const std::size_t nHead = 64 - nTail - vecSample.size();
        vecSample.insert(vecSample.end(), nTail, fTail);
        double fSum = 0.0;
        for (const double fValue : vecSample)
            fSum += fValue;
        EXPECT_GT(fSum, 0.0);
        vecSample.insert(vecSample.begin(), nHead, -fSum / static_cast<double>(nHead));
        return EvaluateBlock({vecSample.data(), 64});
    }
    bool EvaluateBlock(const std::valarray<double>& p_vecSample)
    {
        MakeProc(64, 2.0, g_fStep_s);
        CFFT fft(&m_trace);
        EXPECT_TRUE(fft.FFTbyMKL(p_vecSample, g_fStep_s));
        fMagn = -1.0;
        fDamp = 77.0;
        return m_pProc->DampFromTimeData(0, 0, &fft, g_fFreq_Hz, &vecTime, &fMagn, &fDamp);
    }
    /// Damping ratio if each half cycle is p_fFactor times the previous one.
    static double RatioOf(double p_fFactor)
    {
        const double fRate = std::log(p_fFactor) / g_fHalf_s;
        return fRate / std::hypot(g_fTwoPi * g_fFreq_Hz, fRate);
    }
    /// Heights that decrease by p_fFactor, after other heights.
    static std::vector<double> Falling(std::vector<double> p_vecfBefore, unsigned p_nCount, double p_fFactor)
    {
        double fHeight = 10.0;
        for (unsigned i = 0; i < p_nCount; ++i, fHeight *= p_fFactor)
            p_vecfBefore.push_back(fHeight);
        return p_vecfBefore;
    }
};
} // namespace

TEST_F(Damping, TooFewHalfCycles)
{
    EXPECT_FALSE(EvaluateBlock(Samples(64, 1.0, [](double) { return 3.0; })));
    EXPECT_EQ(capture.Count("CProcOMA:: DampFromTimeData():No max. found!"), 1U) << "no crossing";
    EXPECT_FALSE(EvaluateBlock(Samples(64, 1.0, [](double i) { return i < 32.0 ? 3.0 : -3.0; })));
    EXPECT_EQ(capture.Count("No max. found"), 2U) << "one crossing";
    EXPECT_FALSE(Evaluate({5.0}));
    EXPECT_EQ(capture.Count("Too few data"), 1U) << "two crossings";
    EXPECT_DOUBLE_EQ(fMagn, -1.0);
    EXPECT_DOUBLE_EQ(fDamp, 77.0);
}

TEST_F(Damping, ZerosAtTheEndsOfTheSignal)
{
    // Four samples a period: the sums of the transforms are exact, and so are the zeros.
    vecTime.resize(8);
    EXPECT_TRUE(EvaluateBlock({1, 0, -1, 0, 1, 0, -1, 0})) << "zeros at the end hide nothing";
    EXPECT_DOUBLE_EQ(fMagn, 1.0);
    EXPECT_DOUBLE_EQ(fDamp, 0.0);
    EXPECT_EQ(vecTime[7], 0.0);
    EXPECT_FALSE(EvaluateBlock({0, 1, 0, -1, 0, 1, 0, -1})) << "one at the start hides all crossings";
    EXPECT_EQ(vecTime[0], 0.0);
    EXPECT_FALSE(EvaluateBlock({0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(capture.Count("CProcOMA:: DampFromTimeData():No max. found!"), 2U);
}

TEST_F(Damping, FailedInverseLeavesNoOldSignal)
{
    ASSERT_TRUE(Evaluate(Falling({}, 8, 0.9)));
    const CFFT fftNone(&m_trace);
    EXPECT_FALSE(m_pProc->DampFromTimeData(0, 0, &fftNone, g_fFreq_Hz, &vecTime, &fMagn, &fDamp));
    EXPECT_TRUE(capture.Has("CFFT::IFFTbyMKL():No input data!"));
    EXPECT_TRUE(capture.Has("CProcOMA:: DampFromTimeData():No max. found!"));
    EXPECT_EQ(std::abs(vecTime).max(), 0.0);
}

TEST_F(Damping, RateOfTheNewestHalfCycles)
{
    struct SCase
    {
        const char* pszWhat;
        std::vector<double> vecfBefore; ///< must have no influence
        unsigned nCount;
        std::vector<std::wstring> vecArg;
    };
    const SCase vecCase[] = {
        {"two, compared directly", {}, 2, {}},
        {"three: two swings", {}, 3, {}},
        {"four: a series", {}, 4, {}},
        {"eight, all of them", {}, 8, {}},
        {"newest 8 of 9: the series begins in the second list", {70.0}, 8, {}},
        {"newest 8 of 10", {70.0, 3.0}, 8, {}},
        {"-nmaxhs: newest 4 of 10", {90.0, 2.0, 50.0, 3.0, 40.0, 6.0}, 4, {L"-nmaxhs:4"}},
        {"-nmaxhs: newest 4 of 9", {90.0, 2.0, 50.0, 3.0, 40.0}, 4, {L"-nmaxhs:4"}},
        {"-nmaxhs: more than there are", {}, 10, {L"-nmaxhs:40"}},
        {"-nmaxhs: more than memory would hold", {}, 10, {L"-nmaxhs:2000000000"}},
    };
    for (const SCase& test : vecCase)
        for (const double fFactor : {0.9, 1.0, 1.05})
        {
            if (!test.vecArg.empty())
                Options(test.vecArg);
            ASSERT_TRUE(Evaluate(Falling(test.vecfBefore, test.nCount, fFactor))) << test.pszWhat;
            EXPECT_NEAR(fDamp, RatioOf(fFactor), 1e-12) << test.pszWhat;
            const double fLast = 10.0 * std::pow(fFactor, test.nCount - 1);
            EXPECT_NEAR(fMagn, 0.5 * (fLast + fLast / fFactor), 1e-12) << test.pszWhat;
            g_pShell.reset();
        }
}
