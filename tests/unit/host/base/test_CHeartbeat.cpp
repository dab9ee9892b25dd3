#include "host/base/CHeartbeat.h"
#include <gtest/gtest.h>
#include <memory>

TEST(CHeartbeat, OneSilentThreadIsEnoughUntilItBeatsOrEnds)
{
    EXPECT_TRUE(CHeartbeat::AreAllAlive(1000000)) << "nobody is missed";
    CHeartbeat quick(100);
    auto pSlow = std::make_unique<CHeartbeat>(1000);
    EXPECT_TRUE(CHeartbeat::AreAllAlive(100));
    EXPECT_FALSE(CHeartbeat::AreAllAlive(1));
    quick.Beat();
    EXPECT_TRUE(CHeartbeat::AreAllAlive(60));
    quick.Beat();
    EXPECT_FALSE(CHeartbeat::AreAllAlive(900)) << "both";
    quick.Beat();
    EXPECT_FALSE(CHeartbeat::AreAllAlive(1)) << "the slow one";
    pSlow.reset();
    EXPECT_TRUE(CHeartbeat::AreAllAlive(1));
}
