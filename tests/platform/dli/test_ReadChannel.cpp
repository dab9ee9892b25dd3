#include "LinkBench.h"

namespace
{
class ReadChannel : public CLinkBench
{
};

TEST_F(ReadChannel, DeliversAllCyclesInOrderWithTheChannelsAsDeclared)
{
    m_options.bOnce = true;
    StartServer(50, 500);
    CReader reader(ConnectEvent(), {3, 1, 99}, 50);
    ASSERT_TRUE(Eventually([&] { return m_bEnded.load(); }));
    const std::vector<SSeen> vecSeen = reader.m_log.Seen();
    ASSERT_EQ(vecSeen.size(), 500U);
    for (std::size_t n = 0; n < vecSeen.size(); ++n)
    {
        EXPECT_EQ(vecSeen[n].nTicks, g_nT0 + static_cast<std::int64_t>(n) * 200000);
        const bool bThird = n % 2 == 0;
        EXPECT_EQ(vecSeen[n].vecfMagn[0], bThird ? 300.0F + static_cast<float>(n) : 0.0F);
        EXPECT_EQ(vecSeen[n].vecfMagn[1], 100.0F + static_cast<float>(n));
        EXPECT_EQ((vecSeen[n].vecnState[0] & 0xE030) == 0, bThird);
        EXPECT_EQ(vecSeen[n].vecnState[1], 0);
        EXPECT_NE(vecSeen[n].vecnState[2] & 0xE030, 0) << "an unknown id reads as INVALID";
    }
    EXPECT_FALSE(reader.m_log.m_bOverlap);
    const std::vector<TStatus> vecExpected = {{1, 0, 0}, {9, 0, 20}};
    const std::vector<TStatus> vecStatus = reader.m_log.StatusCalls();
    EXPECT_EQ(std::vector<TStatus>(vecStatus.begin(), vecStatus.begin() + 2), vecExpected);
}
} // namespace
