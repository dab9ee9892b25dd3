#include "OutputTest.h"
#include "link/CVdsOutMeas.h"
#include <cstdlib>
#include <limits>
#include <new>

using ETraceLevel = CaptureTrace::ETraceLevel;

namespace
{
thread_local std::size_t g_nAllocations = 0;
}

// Every allocation of this program is counted, so that a test can ask for none.
void* operator new(std::size_t p_nSize)
{
    ++g_nAllocations;
    if (void* const pMem = std::malloc(p_nSize))
        return pMem;
    throw std::bad_alloc();
}
void operator delete(void* p_pMem) noexcept
{
    std::free(p_pMem);
}
void operator delete(void* p_pMem, std::size_t) noexcept
{
    std::free(p_pMem);
}

namespace
{
constexpr double g_fNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double g_fInf = std::numeric_limits<double>::infinity();

class CVdsOutMeasTest : public OutputTest
{
  protected:
    CVdsOutMeas m_meas{1, 7, {71}, 50, &m_trace};
    STestTime m_time{20};

    bool Write(double p_fValue, std::int32_t p_eQual = 0)
    {
        EXPECT_TRUE(m_meas.SetActTS(&m_time));
        m_meas.SetQual(p_eQual);
        m_meas.SetValue(0, p_fValue);
        return m_meas.DoWriteRT(&m_time);
    }
};
} // namespace

TEST_F(CVdsOutMeasTest, ValuesOutOfAllReasonGoOutInvalid)
{
    struct SCase
    {
        double fValue;
        float fWritten;
        const char* pText; ///< null: VALID, without a line
    };
    const float fInf = std::numeric_limits<float>::infinity();
    for (const SCase& test :
         {SCase{1234.5, 1234.5F, nullptr}, SCase{1.0e15, 1.0e15F, nullptr}, SCase{-1.0e15, -1.0e15F, nullptr},
          SCase{-2.0e15, -2.0e15F, "ID=71: No physical value for FFT input data [W/deg]: -19999999"},
          SCase{0x1p51, 0x1p51F,
                "ID=71: No physical value for FFT input data [W/deg]: 2251799813685248.000000 ->  write with "
                "0./INVALID!"},
          SCase{1.0e308, fInf, "[W/deg]: inf ->"}, SCase{-g_fInf, -fInf, "[W/deg]: -inf ->"},
          SCase{g_fNaN, 0.0F, "CVdsOutMeas::DoWriteRT():Invalid (NAN) output value -> write with 0./INVALID!"}})
    {
        EXPECT_TRUE(Write(test.fValue));
        const FakeDli::SWrite write = FakeDli::Writes(7).back();
        ASSERT_EQ(write.vecValue.size(), 1U);
        EXPECT_EQ(write.vecValue[0].nId, 71U);
        EXPECT_EQ(write.vecValue[0].nKind, 2);
        EXPECT_EQ(write.vecValue[0].nTicks, STestTime::Ticks(20));
        EXPECT_EQ(write.vecValue[0].fValue, test.fWritten) << test.fValue;
        EXPECT_EQ(write.vecValue[0].nState, test.pText ? 0x0100000000000000 : 0) << test.fValue;
        EXPECT_EQ(m_meas.GetQual(), 0); // the quality of the value itself stays
        EXPECT_EQ(m_capture.Entries().empty(), !test.pText);
        if (test.pText)
            ExpectErrors({test.pText});
    }
}

TEST_F(CVdsOutMeasTest, QualityAndStateWordMatchInBothDirections)
{
    for (const auto& [eQual, nState] : {std::pair{0, 0L}, {1, 0x0080000000000000L}, {2, 0x0100000000000000L}})
    {
        EXPECT_TRUE(Write(1.0, eQual));
        EXPECT_EQ(FakeDli::Writes().back().vecValue[0].nState, nState);
        EXPECT_EQ(m_meas.GetQual(), eQual);
    }
    EXPECT_EQ(m_meas.QualFromStatus(0x0080000000000001), 2);
    EXPECT_EQ(m_meas.StatusFromQual(3), 0x0100000000000000);
    EXPECT_EQ(m_capture.Count(ETraceLevel::eError, "CVdsOut::QualToStatus():Missing case!"), 2U);
}

TEST_F(CVdsOutMeasTest, WithoutConnectionOnlyTheSendingIsLeftOut)
{
    g_bConnected = false;
    EXPECT_TRUE(Write(g_fNaN));
    EXPECT_TRUE(FakeDli::Writes().empty());
    EXPECT_TRUE(m_capture.Has("Invalid (NAN) output value"));
    EXPECT_EQ(m_meas.GetValue(0), 0.0);

    const std::size_t nBefore = g_nAllocations;
    Write(2.0);
    EXPECT_EQ(g_nAllocations, nBefore) << "allocations in the normal cycle";
}

TEST_F(CVdsOutMeasTest, SetUpThatDoesNotFitIsReported)
{
    CVdsOutMeas meas2(1, 9, {91, 92}, 50, &m_trace);
    EXPECT_TRUE(meas2.DoWriteRT(&m_time));
    EXPECT_EQ(FakeDli::Writes(9).size(), 1U);
    CVdsOutMeas meas0(1, 10, {}, 50, &m_trace);
    EXPECT_FALSE(meas0.DoWriteRT(&m_time));
    EXPECT_EQ(meas0.GetValue(0), 0.0);
    EXPECT_FALSE(m_meas.DoWriteRT(nullptr));
    ExpectErrors({"CVdsOutMeas::DoWriteRT():Invalid no.of outp.chan.s: 2!", "DoWriteRT():Invalid no.of outp.chan.s: 0!",
                  "DoWriteRT():Invalid Pointer: pChan!", "DoWriteRT():Invalid Pointer: p_pActTime!"});

    FakeDli::SBehaviour behaviour;
    behaviour.strThrowWriteNew = "unknown handle";
    FakeDli::SetBehaviour(behaviour);
    EXPECT_THROW(CVdsOutMeas(0, 7, {71}, 50, &m_trace), FakeDli::Dli::CDliError);
}

TEST_F(CVdsOutMeasTest, StampIsTakenOverAndGivenBack)
{
    CTime time(50);
    EXPECT_TRUE(m_meas.SetActTS(&m_time));
    EXPECT_TRUE(m_meas.SetTS(&time));
    EXPECT_TRUE(time.IsEqual(m_time));
    const CTime timeNone(0);
    EXPECT_FALSE(m_meas.SetActTS(&timeNone));
    EXPECT_FALSE(m_meas.SetActTS(nullptr));
    EXPECT_FALSE(m_meas.SetTS(nullptr));
}
