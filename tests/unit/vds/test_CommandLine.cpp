#include "vds/config/CommandLine.h"
#include <gtest/gtest.h>

TEST(ParseVdsCommand, OnlyASimulationAtWallClockIsLive)
{
    EXPECT_TRUE(ParseVdsCommand({"-xml:a", "--simulate", "s"}).options.bLive);
    EXPECT_FALSE(ParseVdsCommand({"-xml:a", "--simulate", "s", "--speed", "max"}).options.bLive);
    EXPECT_TRUE(ParseVdsCommand({"-xml:a"}).options.bLive) << "streams of the configuration";
    EXPECT_EQ(ParseVdsCommand({"-xml:a"}).options.fSpeed, 0.0) << "each cycle as it comes";
    EXPECT_FALSE(ParseVdsCommand({"-xml:a", "--replay", "s"}).options.bLive);
}
