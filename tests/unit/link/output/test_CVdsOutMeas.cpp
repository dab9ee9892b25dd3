#include "OutputTest.h"
#include "link/output/CVdsOutMeas.h"
#include <limits>

namespace
{
constexpr double g_fNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double g_fInf = std::numeric_limits<double>::infinity();

class CVdsOutMeasTest : public OutputTest
{
  protected:
    CVdsOutMeas m_meas{1, 7, {71}, 50, &m_trace};
    STestTime m_time{20};
};
} // namespace

TEST_F(CVdsOutMeasTest, ValuesOutOfAllReasonGoOutInvalid)
{
    struct SCase
    {
        double fValue;
        float fWritten;
        const char* pText; ///< null: VALID, without a message
    };
    const float fInf = std::numeric_limits<float>::infinity();
    for (const SCase& test :
         {SCase{1.0e15, 1.0e15F, nullptr}, SCase{-1.0e15, -1.0e15F, nullptr},
          SCase{-2.0e15, -2.0e15F, "ID=71: No physical value for FFT input data [W/deg]: -19999999"},
          SCase{1.0e308, fInf, "[W/deg]: inf ->"}, SCase{-g_fInf, -fInf, "[W/deg]: -inf ->"},
          SCase{g_fNaN, 0.0F, "CVdsOutMeas::DoWriteRT():Invalid (NAN) output value -> write with 0./INVALID!"}})
    {
        m_meas.SetActTS(&m_time);
        m_meas.SetQual(0);
        m_meas.SetValue(0, test.fValue);
        EXPECT_TRUE(m_meas.DoWriteRT(&m_time));
        const FakeDli::SWrite write = FakeDli::Writes(7).back();
        ASSERT_EQ(write.vecValue.size(), 1U);
        EXPECT_EQ(write.vecValue[0].nId, 71U);
        EXPECT_EQ(write.vecValue[0].nKind, 2);
        EXPECT_EQ(write.vecValue[0].nTicks, STestTime::Ticks(20));
        EXPECT_EQ(write.vecValue[0].fValue, test.fWritten) << test.fValue;
        EXPECT_EQ(write.vecValue[0].nState, test.pText ? 0x0100000000000000 : 0) << test.fValue;
        EXPECT_EQ(m_meas.GetQual(), 0); // the quality of the value itself is unchanged
        EXPECT_EQ(m_capture.Entries().empty(), !test.pText);
        if (test.pText)
            ExpectErrors({test.pText});
    }
}
