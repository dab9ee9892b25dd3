#include "vds/core/CPace.h"
#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace
{
constexpr std::int64_t g_nSec = 10'000'000;
const CPace::TTime g_t0 = CPace::TTime() + 1000s;

TEST(CPace, CyclesAreDueByTheDistanceOfTheirStampsAndTheSpeed)
{
    CPace pace(4.0, 50, true);
    EXPECT_EQ(pace.Due(77, g_t0), g_t0) << "the first is due at once";
    pace.Sent(0, g_t0);
    EXPECT_EQ(pace.Due(g_nSec, g_t0), g_t0 + 250ms);
    EXPECT_EQ(pace.Due(0, g_t0), g_t0) << "a repeated stamp";
    EXPECT_EQ(pace.Due(-1, g_t0), g_t0 + 5ms) << "a stamp that goes back";
    EXPECT_EQ(pace.Due(11 * g_nSec, g_t0), g_t0 + 5ms) << "a jump is skipped";
}

TEST(CPace, LiveSourceCatchesUpAndAReplayGoesOnFromWhereItIs)
{
    CPace live(1.0, 1, true);
    CPace replay(1.0, 1, false);
    for (CPace* pPace : {&live, &replay})
    {
        pPace->Sent(0, g_t0);
        pPace->Sent(g_nSec, g_t0 + 5s);
    }
    EXPECT_EQ(live.Due(2 * g_nSec, g_t0 + 5s), g_t0 + 2s);
    EXPECT_EQ(replay.Due(2 * g_nSec, g_t0 + 5s), g_t0 + 6s);
    replay.Sent(2 * g_nSec, g_t0 + 6s + 50ms);
    EXPECT_EQ(replay.Due(3 * g_nSec, g_t0 + 6s), g_t0 + 7s) << "small delays do not add up";
}

} // namespace
