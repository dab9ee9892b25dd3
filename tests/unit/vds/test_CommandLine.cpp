#include "vds/config/CommandLine.h"
#include <gtest/gtest.h>

TEST(ParseVdsCommand, OnlyASimulationAtWallClockIsLive)
{
    EXPECT_TRUE(ParseVdsCommand({"-xml:a", "--simulate", "s"}).options.bLive);
    EXPECT_FALSE(ParseVdsCommand({"-xml:a", "--simulate", "s", "--speed", "max"}).options.bLive);
    EXPECT_TRUE(ParseVdsCommand({"-xml:a"}).options.bLive) << "streams of the configuration";
    EXPECT_EQ(ParseVdsCommand({"-xml:a"}).options.fSpeed, 0.0) << "each cycle when it arrives";
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

TEST(ParseVdsCommand, NamesTheOptionAndWhatWasExpected)
{
    const std::vector<std::pair<std::vector<std::string>, std::string>> vecCase = {
        {{"--replay", "r"}, "option '-xml:FILE' is missing"},
        {{"-xml:a", "--once"},
         "options '--speed' and '--once': allowed only with '--simulate' or '--replay'; live streams have their own "
         "pace "
         "and no end"},
        {{"-xml:a", "--replay", "r", "--simulate", "s"},
         "options '--simulate' and '--replay': expected only one of them, once"},
        {{"-xml:a", "--replay"}, "option '--replay': expected a value after it"},
        {{"-xml:a", "--replay", ""}, "option '--replay': expected a value after it"},
        {{"-xml:a", "--replay="}, "option '--replay': expected a value after it"},
        {{"-xml:a", "--once=1"}, "option '--once': expected no value"},
        {{"-xml:", "--replay", "r"}, "option '-xml:FILE' is missing"},
        {{"-xml:a", "--fast"}, "option '--fast' is unknown"},
        {{"-xml:a", "--sim", "s"}, "option '--sim' is unknown"},
        {{"-xml:a", "-fast"}, "option '-fast' is unknown"},
        {{"-xml:a", "fast"}, "option 'fast' is unknown"},
        {{"-xml:a", "--speed", "0"}, "option '--speed': expected a number from 0.001 to 1000000 or 'max', got '0'"},
        {{"-xml:a", "--speed", "2x"}, "option '--speed': expected a number from 0.001 to 1000000 or 'max', got '2x'"},
        {{"-xml:a", "--replay", "r", "--start", "today"},
         "option '--start': expected a time such as 2026-03-05T10:00:00Z, got 'today'"},
        {{"-xml:a", "--simulate", "s", "--start", "2026-03-05T10:00:00Z"},
         "option '--start': allowed only with '--replay'; a scenario sets its own start"},
        {{"-xml:a", "--replay", "r", "--log-dir", "/no/such"},
         "option '--log-dir': '/no/such' is not a directory: expected an existing one"}};
    for (const auto& [vecstrArg, strFault] : vecCase)
        EXPECT_EQ(FaultOf(vecstrArg), strFault);
}
} // namespace
