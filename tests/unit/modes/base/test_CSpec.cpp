#include "fake/CaptureTrace.h"
#include "modes/record/CSpec.h"
#include <gtest/gtest.h>
#include <tuple>

TEST(SpecTest, NextNeighbourOfAFrequency)
{
    CTraceOMA trace{"SPEC"};
    const CaptureTrace capture;
    // Band and frequency; expected neighbour and message. 0.4 is the geometric middle of 0.2 and 0.8.
    const std::tuple<std::int32_t, double, double, double, std::int32_t, const char*> vecCase[] = {
        {LR, 0.8, 3.0, 0.8, MR, ""},
        {HR, 0.05, 0.2, 0.05, MR, ""},
        {MR, 0.25, 1.0, 0.5, LR, ""},
        {MR, 0.25, 1.0, 0.4999, HR, ""},
        {MR, 0.25, 1.0, 1.0, eResoInvalid, "Freq. not in preferred range: f=1.000000f_beg=0.250000f_end=1.000000!"},
        {eResoInvalid, 0.25, 1.0, 0.5, eResoInvalid, "Invalid #m_eReso# value!"},
        {MR, 0.0, 1.0, 0.5, eResoInvalid, "Too small value for #m_fFreqBeg_Hz#!"},
        {MR, 0.0, 1e-7, 1e-8, eResoInvalid, "Too small value for #m_fFreqBeg_Hz#!"}};
    for (const auto& [eReso, fBeg_Hz, fEnd_Hz, fFreq_Hz, eWant, pszText] : vecCase)
    {
        const CSpec spec(true, eReso, 64, fBeg_Hz, fEnd_Hz, 1, &trace);
        const std::size_t nLines = capture.Lines().size();
        EXPECT_EQ(spec.RetrveNextNeighb(fFreq_Hz), eWant) << eReso << " " << fFreq_Hz;
        EXPECT_EQ(capture.Lines().size(), nLines + (*pszText ? 1 : 0));
        EXPECT_TRUE(!*pszText || capture.Lines().back().ends_with(pszText)) << capture.Lines().back();
    }
    for (const std::int32_t eReso : {LR, HR})
        EXPECT_EQ(CSpec(true, eReso, 64, 0.25, 1.0, 1, &trace).CalcNextNeighbMR(0.5), eResoInvalid);
    EXPECT_EQ(capture.Count("CSpec::CalcNextNeighbMR():#m_eReso# not MR as expected!"), 2U);
    EXPECT_EQ(CSpec(true, MR, 64, 0.25, 1e-8, 1, &trace).CalcNextNeighbMR(0.5), eResoInvalid);
    EXPECT_TRUE(capture.Has("CSpec::CalcNextNeighbMR():Too small value for #m_fFreqEnd_Hz#!"));
}
