#include "ModeTest.h"
#include "host/base/TraceFilter.h"
#include "link/post/CEventWriteOMA.h"
#include "modes/track/CPsmOut.h"
#include <cmath>

using ETraceLevel = CaptureTrace::ETraceLevel;

namespace
{
constexpr std::uint32_t g_nUnitId = 8;

class CPsmOutTest : public ModeTest
{
  protected:
    CPsmOutTest()
    {
        g_pEventWrite = std::make_unique<CEventWriteOMA>(1, &m_trace);
        Remake();
    }
    ~CPsmOutTest() override { g_pEventWrite.reset(); }

    void Remake()
    {
        m_pMode = std::make_unique<CPsmOut>(true, 1, 11, g_nUnitId, std::vector<unsigned long>{81, 82, 83, 84}, 1, 0.0,
                                            2.5, 1, &m_vecpSpec, 10, &m_doe, std::make_unique<CTraceOMA>("Job_1"));
        m_pMode->SetCounters(10);
    }
    /// Runs one pass of the job on the next PS cycle.
    bool Pass(const std::vector<CPeakOMA>& p_vecPeak)
    {
        m_pTime = std::make_unique<STestTime>(++m_nPass * 1000);
        for (const CPeakOMA& peak : p_vecPeak)
            EXPECT_TRUE(Add(*m_pMode, peak, *m_pTime));
        m_pMode->UpdateCntrAndStatz();
        EXPECT_TRUE(m_pMode->Update(m_pTime.get()));
        return m_pMode->WriteActualData(m_pTime.get());
    }
    bool IsWriting() const { return m_pMode->GetVdsOutPS()->GetCB()->IsStarted(); }
    static std::vector<float> LastValues()
    {
        std::vector<float> vecfValue;
        const FakeDli::SWrite write = FakeDli::Writes(g_nUnitId).back();
        for (const FakeDli::SValue& value : write.vecValue)
            vecfValue.push_back(value.fValue);
        return vecfValue;
    }
    /// The calls that concern a mode's output, in order.
    static std::vector<std::string> Calls()
    {
        std::vector<std::string> vecCall;
        for (const FakeDli::SCall& call : FakeDli::Calls())
            for (const char* pBegin : {"Write.Start", "Write.Stop", "Write.Write", "Event.Post"})
                if (call.strText.starts_with(pBegin))
                    vecCall.push_back(call.strText.substr(0, call.strText.find(" #")));
        return vecCall;
    }

    std::unique_ptr<CPsmOut> m_pMode;
    std::unique_ptr<STestTime> m_pTime;
    std::int64_t m_nPass = 0;
};
} // namespace

TEST_F(CPsmOutTest, WritesWhileThereIsAPeakAndFallsSilentWithTheFirstPassWithoutOne)
{
    EXPECT_EQ(m_pMode->GetFreqMin(), -1.0);
    EXPECT_EQ(m_pMode->GetFreqMax(), 2.5);
    EXPECT_TRUE(Pass({}));
    EXPECT_TRUE(Calls().empty());
    EXPECT_TRUE(Pass({Peak(MR, 0.5)}));
    EXPECT_TRUE(m_pMode->IsOutpValid());
    EXPECT_EQ(LastValues(), (std::vector<float>{0.5F, 150.0F, -0.075F, 5.25F}));
    EXPECT_TRUE(Pass({Peak(MR, 0.5)}));
    EXPECT_TRUE(Pass({}));
    EXPECT_EQ(m_pMode->GetStatz(), eStatzFading);
    EXPECT_FALSE(m_pMode->IsOutpValid());
    EXPECT_TRUE(Pass({}));
    EXPECT_TRUE(Pass({Peak(MR, 0.5, 0, 400.0, 0.05)}));
    EXPECT_EQ(Calls(), (std::vector<std::string>{"Write.Start 8 [81,82,83,84] 1", "Write.Write 8",
                                                 "Event.PostAt 4205 APP 3 11", "Write.Write 8", "Write.Stop 8",
                                                 "Event.PostAt 4205 DIS 3 11", "Write.Start 8 [81,82,83,84] 1",
                                                 "Write.Write 8", "Event.PostAt 4203 APP 3 11"}));
    EXPECT_EQ(m_capture.Count(ETraceLevel::eError, ""), 0U);
}

TEST_F(CPsmOutTest, SuspectDataIsShownButEndsTheEvent)
{
    Pass({Peak(MR, 0.5)});
    EXPECT_TRUE(Pass({Peak(MR, 0.5, 1)}));
    EXPECT_EQ(FakeDli::Writes().back().vecValue[0].nState, 0x0080000000000000);
    EXPECT_EQ(FakeDli::Posts().back().eTrans, FakeDli::Dli::eDIS);
    EXPECT_TRUE(IsWriting());
}

TEST_F(CPsmOutTest, TheBandThatSpeaksIsChosenByContinuityThenPlace)
{
    struct SCase
    {
        const char* pName;
        std::vector<std::vector<CPeakOMA>> vecPass;
        std::int32_t eReso; ///< of the band chosen in the last pass
        std::int32_t eQual;
    };
    const CPeakOMA peakLR = Peak(LR, 0.7); // a frequency of MR, in the half closer to LR
    const CPeakOMA peakMR = Peak(MR, 0.7);
    const CPeakOMA peakHR = Peak(HR, 0.7);
    for (const SCase& test :
         {SCase{"own before next and far", {{peakLR, peakMR, peakHR}}, MR, 0},
          {"next before far", {{peakLR, peakHR}}, LR, 0},
          {"one VALID cycle more beats place", {{peakHR}, {peakHR, peakMR}}, HR, 0},
          {"from two cycles on place decides", {{peakHR}, {peakHR, peakMR}, {peakHR, peakMR}}, MR, 0},
          {"a tie goes to the higher band", {{Peak(LR, 1.0), peakMR}, {Peak(LR, 1.0), peakMR}}, LR, 0},
          {"a SUSPECT band behind a VALID one is skipped", {{peakLR, Peak(MR, 0.7, 1)}}, LR, 0},
          {"a VALID band behind a SUSPECT one competes", {{Peak(MR, 0.7, 1), peakHR}}, HR, 0},
          {"SUSPECT alone", {{Peak(LR, 0.7, 1)}}, LR, 1}})
    {
        SCOPED_TRACE(test.pName);
        Remake();
        for (const auto& vecPeak : test.vecPass)
            Pass(vecPeak);
        std::int32_t eQual = -1;
        const CSpecDyn* const pSpec = m_pMode->RetrveOutpSpec(m_pTime.get(), eQual);
        ASSERT_NE(pSpec, nullptr);
        EXPECT_EQ(pSpec->GetReso(), test.eReso);
        EXPECT_EQ(eQual, test.eQual);
    }
}

TEST_F(CPsmOutTest, ValidBandThatLosesToASuspectOneStillLendsItsQuality)
{
    const STestTime time;
    Add(*m_pMode, Peak(LR, 1.0, 1), time); // no VALID cycle before in either band: own position 3, far position 1
    Add(*m_pMode, Peak(HR, 1.0, 0), time);
    std::int32_t eQual = -1;
    const CSpecDyn* const pSpec = m_pMode->RetrveOutpSpec(&time, eQual);
    ASSERT_NE(pSpec, nullptr);
    EXPECT_EQ(pSpec->GetReso(), LR);
    EXPECT_EQ(eQual, 0);
}

TEST_F(CPsmOutTest, PlaceIsToldFromTheBandThatContainsTheFrequency)
{
    struct SCase
    {
        double fFreq_Hz;
        std::int32_t vecNeighb[3]; ///< for LR, MR, HR
    };
    std::int32_t eNeighb = -1;
    for (const SCase& test : {SCase{1.0, {0, 1, 2}},
                              {0.8, {0, 1, 2}},
                              {std::nextafter(0.8, 0.0), {1, 0, 2}},
                              {0.41, {1, 0, 2}},
                              {0.39, {2, 0, 1}},
                              {0.2, {2, 0, 1}},
                              {std::nextafter(0.2, 0.0), {2, 1, 0}},
                              {0.1, {2, 1, 0}}})
        for (std::int32_t eReso = LR; eReso <= HR; ++eReso)
        {
            EXPECT_TRUE(m_pMode->CalcNeighb(test.fFreq_Hz, eReso, eNeighb));
            EXPECT_EQ(eNeighb, test.vecNeighb[eReso]) << test.fFreq_Hz << " " << eReso;
        }
    EXPECT_FALSE(m_pMode->CalcNeighb(3.0, LR, eNeighb));
    EXPECT_EQ(eNeighb, 3);
    ExpectErrors({"CPsmOut::CalcNeighb():No spec.range containing PS freq. found!"});

    UnuseBand(MR);
    Remake();
    for (const std::int32_t eReso : {LR, HR})
    {
        EXPECT_TRUE(m_pMode->CalcNeighb(0.5, eReso, eNeighb));
        EXPECT_EQ(eNeighb, 0) << "in the gap";
    }
}

TEST_F(CPsmOutTest, ValuesThatCannotBeMadeEndTheOutput)
{
    struct SCase
    {
        CPeakOMA peak;
        ETraceLevel eLevel;
        const char* pText;
    };
    for (const SCase& test : {SCase{Peak(MR, 0.5, 0, 39.0), ETraceLevel::eWarning,
                                    "CPsmOut::CreateOutputValues():PS magn. [39.000000] below thresh. [40.000000]!"},
                              {Peak(MR, 0.5, 0, 100.0, -0.2), ETraceLevel::eError, "does not reflect damp.ratio"},
                              {Peak(LR, 3.0), ETraceLevel::eError, "No spec.range containing PS freq. found!"},
                              {Peak(MR, 0.0), ETraceLevel::eError,
                               "CPsmOut::RetrveOutpSpec():INVALID PS freq. despite VALID qual.: f[Hz]=0.000000!"},
                              {Peak(MR, 0.5, 2), ETraceLevel::eError,
                               "CPsmOut::RetrveOutpSpec():No spec.s despite calc. of output values!"}})
    {
        SCOPED_TRACE(test.pText);
        Pass({Peak(MR, 0.5)});
        EXPECT_TRUE(IsWriting());
        EXPECT_FALSE(Pass({test.peak}));
        EXPECT_FALSE(IsWriting());
        EXPECT_FALSE(m_pMode->IsOutpValid());
        EXPECT_EQ(m_pMode->GetEventData()->GetLastEvent(), 0);
        EXPECT_FALSE(Pass({test.peak})); // nothing is left to end
        EXPECT_EQ(FakeDli::WriteStarts().size(), FakeDli::WriteStops().size());
        EXPECT_TRUE(m_capture.Has(test.eLevel, test.pText)) << test.pText;
        m_capture.Clear();
    }
}

TEST_F(CPsmOutTest, StartThatFailsIsTriedAgainInTheNextPass)
{
    FakeDli::SBehaviour behaviour;
    behaviour.nWriteAnswerError = 1;
    FakeDli::SetBehaviour(behaviour);
    FakeClock(1);
    EXPECT_TRUE(Pass({Peak(MR, 0.5)}));
    EXPECT_EQ(Calls(), (std::vector<std::string>{"Write.Start 8 [81,82,83,84] 1", "Write.Stop 8"}));
    Answer(FakeDli::EAnswer::eAtOnce);
    EXPECT_TRUE(Pass({Peak(MR, 0.5)}));
    EXPECT_EQ(Calls().size(), 5U);
    EXPECT_FALSE(m_capture.Has("START cmd. received"));
}

TEST_F(CPsmOutTest, LinkLostUnderAnEventIsReportedAtStopAndAtTheNextStart)
{
    Pass({Peak(MR, 0.5)});
    m_pMode->GetVdsOutPS()->GetCB()->Status(1, 0, 0);
    m_pMode->GetVdsOutPS()->GetCB()->Status(0, 0, 0);
    EXPECT_FALSE(m_pMode->Stop(m_pTime.get()));
    EXPECT_TRUE(Pass({Peak(MR, 0.5)}));
    EXPECT_EQ(FakeDli::Posts().size(), 1U); // the event of the same type is still active
    ExpectErrors({"CPsmOut::Stop():UPC event exists although PS output (DLI write channel) is stopped!",
                  "WriteActualData():Invalid event type before new PS output start: 2!",
                  "WriteActualData():Invalid APP trans. of last recent event before new PS output start!"});
    EXPECT_TRUE(m_pMode->Stop(m_pTime.get()));
    EXPECT_TRUE(m_pMode->Stop(m_pTime.get()));
    EXPECT_EQ(FakeDli::WriteStops().size(), 2U);
    EXPECT_EQ(FakeDli::Posts().size(), 2U);
}

TEST_F(CPsmOutTest, EventsFollowTheValuesLastWritten)
{
    Pass({Peak(MR, 0.5)});
    struct SCase
    {
        double fFreq_Hz;
        std::int32_t eQual, eLast;
    };
    for (const SCase& test : {SCase{0.5, 0, 2}, {0.0, 0, 0}, {0.5, 0, 2}, {0.5, 1, 0}})
    {
        m_pMode->GetVdsOutPS()->SetValue(0, test.fFreq_Hz);
        m_pMode->GetVdsOutPS()->SetQual(test.eQual);
        EXPECT_TRUE(m_pMode->ProcessEvents(m_pTime.get()));
        EXPECT_EQ(m_pMode->GetEventData()->GetLastEvent(), test.eLast);
    }
    ExpectErrors({"ProcessEvents():Invalid Freq.Value: 0.000000!"});
}

TEST_F(CPsmOutTest, LinesOfAChannelThatIsLookedAt)
{
    g_vecbTraceData[1] = true;
    for (const auto& [nFilter, nLines] : {std::pair{82, 0U}, {81, 1U}, {99999, 1U}})
    {
        g_nTraceFilterId = nFilter;
        m_capture.Clear();
        EXPECT_TRUE(Pass({Peak(MR, 0.5)}));
        EXPECT_EQ(m_capture.Count("CPsmOut::WriteActualData(): Init. write for PS data of ID=81 at      "), nLines);
        const std::string strTime = ActTimeAsText(*m_pTime);
        EXPECT_TRUE(m_capture.Has("PS outp.data: TS=" + strTime +
                                  "  Freq.[Hz]=0.500000  Magn.[W-or-deg]=150.000000  Damp.Ratio[-]=-0.075000  "
                                  "DOE[-]=5.250000"));
        EXPECT_FALSE(Pass({Peak(MR, 0.0)}));
        EXPECT_EQ(
            m_capture.Count(ETraceLevel::eError, "CPsmOut::CreateOutputValues(): MISSING output spec. for PS data of"
                                                 "        ID=81 at  TS=" +
                                                     ActTimeAsText(*m_pTime)),
            nLines);
    }
    g_nTraceFilterId = 0;
    g_vecbTraceData[1] = false;
}
