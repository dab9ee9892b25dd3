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

TEST(ParseVdsCommand, TakesTheLastOfAnOptionThatComesTwice)
{
    const SVdsCommand command = ParseVdsCommand(
        {"-xml:a", "--simulate", "s", "--speed", "max", "--once", "--listen=here", "--speed=2", "-xml:b"});
    EXPECT_EQ(command.strConfig, "b");
    EXPECT_EQ(command.options.fSpeed, 2.0);
    EXPECT_EQ(command.strListen, "here");
    EXPECT_TRUE(command.options.bOnce);
    EXPECT_FALSE(command.options.bLogMeasurements);
}
