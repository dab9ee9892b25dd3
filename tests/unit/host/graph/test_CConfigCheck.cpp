#include "fake/ConfigText.h"
#include "host/base/AppState.h"
#include "host/check/CConfigCheck.h"
#include <filesystem>
#include <gmock/gmock.h>

using testing::HasSubstr;

namespace
{
struct SResult
{
    bool bOk;
    std::string strFindings;
    std::string strFigures;
};

SResult Check(const std::string& p_strText)
{
    const TempFile file(p_strText);
    CConfigCheck check(file.Path());
    const bool bOk = check.Run();
    g_eAppState = eAppRun;
    return {bOk, check.Findings(), check.Figures()};
}

std::string InBase(const std::string& p_strOld, const std::string& p_strNew)
{
    return Changed(BaseText(), p_strOld, p_strNew);
}

/// The base configuration without the warning it causes.
std::string Clean()
{
    return InBase(R"(MinFrequency="0.2" MaxFrequency="0.8")", R"(MinFrequency="0.25" MaxFrequency="0.9")");
}
} // namespace

TEST(CConfigCheck, EveryFaultStandsWithItsLineNotOnlyTheFirst)
{
    std::string strText = Changed(BaseText(), R"(PSDampingRatioAlarm="-0.03")", R"(PSDampingRatioAlarm="0.01")");
    strText = Changed(strText, R"(SamplesMultiplier="4")", R"(SamplesMultiplier="0")");
    strText = Changed(strText, R"(MaxFrequency="0.8")", R"(MaxFrequency="0.1")");
    strText = Changed(strText, R"(RefID="1012")", R"(RefID="4711")");
    const SResult result = Check(strText);
    EXPECT_FALSE(result.bOk);
    const std::tuple<std::string, std::string> faults[] = {
        {"<PSDampingRatio", "element PSDampingRatio of Job \"NORTH_POWER\": Invalid damp.ratio alarm limit for OMA job "
                            "\"NORTH_POWER\" in KESTREL config.file, expected ratios of 0 or below"},
        {"<SpectralDataSets", "Invalid freq.spec. multiplier for given OMA job in KESTREL config.file, expected"},
        {"<PSMode ", "element PSMode 601 of Job \"NORTH_POWER\": Invalid PSM freq. boundaries: Min.[Hz]=0.200000  "
                     "Max.[Hz]=0.100000, expected"},
        {R"(<InputGroup SignalType="voltage")",
         "Invalid or undefined PMU in KESTREL config.file [ID=4711]; Cannot retrieve PMU param.s; "
         "Cannot add 1st (internal) PMU object to OMA app., expected one phase or all three"}};
    for (const auto& [strPlace, strFault] : faults)
        EXPECT_THAT(result.strFindings,
                    testing::ContainsRegex("grid.xml:" + std::to_string(LineOf(strText, strPlace)) + ": "))
            << strPlace;
    for (const auto& [strPlace, strFault] : faults)
        EXPECT_THAT(result.strFindings, HasSubstr(strFault));
    EXPECT_EQ(std::count(result.strFindings.begin(), result.strFindings.end(), '\n'), 4);
}

TEST(CConfigCheck, WarnsOfWhatWorksAgainstTheUser)
{
    EXPECT_EQ(Check(Clean()).strFindings, "");
    const std::tuple<std::string, std::string, std::string, std::string> cases[] = {
        {R"("10" ReportingRate="1">)", R"("10" ReportingRate="2">)", "<PSModes", "2 passes a second"},
        {R"("10" ReportingRate="1">)", R"("10" ReportingRate="3">)", "<PSModes", "a pass every 16.6667 samples"},
        {R"("0.25" MaxFrequency="0.9")", R"("0.25" MaxFrequency="0.8")", "<PSMode ", "0.8 Hz is also the edge"},
        {R"("0.25" MaxFrequency="0.9")", R"("0.2" MaxFrequency="0.9")", "<PSMode ", "0.2 Hz is also the edge"},
        {R"("0.25" MaxFrequency="0.9")", R"("3" MaxFrequency="4")", "<PSMode ", "outside all bands, 0.05 to 3 Hz"},
        {R"("0.25" MaxFrequency="0.9")", R"("0" MaxFrequency="0.04")", "<PSMode ", "outside all bands"},
        {R"("0.25" MaxFrequency="0.9")", R"("0.5" MaxFrequency="0.5")", "<PSMode ", "both limits are 0.5 Hz"},
        {R"(Type="critical" IsActive="true")", R"(Type="critical" IsActive="false")", "<PSEvents>",
         "critical is off, without effect: notified is on"},
        {R"(PSMagnitudeAlarm="0.5")", R"(PSMagnitudeAlarm="0.2")", "<PSMagnitude ", "is not above"},
        {R"(Nominal="40000000")", R"(Nominal="0")", "<PSMagnitude ", "the warning limit is 0"},
        {R"(PSDampingRatioAlarm="-0.03")", R"(PSDampingRatioAlarm="-0.05")", "<PSDampingRatio ",
         "both limits are the same"},
        {R"(NoOfSamples="512")", R"(NoOfSamples="128")", "<SpectralDataSets", "holds 2.048 periods"},
        {R"(UpperCutOffFrequency="3.0")", R"(UpperCutOffFrequency="26")", "<SpectralDataSets",
         "half the sample rate, 25 Hz"},
        {R"(NoOfSamples="512")", R"(NoOfSamples="2048")", "<SpectralDataSets", "40.96 s to fill: event 4202"},
        {R"(NoOfSamples="512")", R"(NoOfSamples="1024")", "<SpectralDataSets",
         "and connection loss but not at the start"},
        {R"("10" ReportingRate="1">)", R"("10" ReportingRate="-30">)", "<PSModes", "a pass every 30 s: event 4202"},
        {R"(IsUsingNTM="false")", R"(IsUsingNTM="true")", "<Job ", "only vpad jobs react"},
        {R"(Id="500" IsActive="true")", R"(Id="500" IsActive="false")", "<OMA ", "none of its jobs is"},
        {R"(SamplesMultiplier="4")", R"(SamplesMultiplier="3")", R"(SamplesMultiplier="3")",
         "SamplesMultiplier 3 is not a power of two: a swing of 1 Hz will be reported as one of 1.33333 Hz"},
        {R"(PSMagnitudeWarning="0.25" PSMagnitudeAlarm="0.5")", R"(PSMagnitudeWarning="25" PSMagnitudeAlarm="50")",
         "<PSMagnitude ", "a limit is 50 times Nominal"},
        {R"(PSDampingRatioWarning="-0.05" PSDampingRatioAlarm="-0.03")",
         R"(PSDampingRatioWarning="-5" PSDampingRatioAlarm="-3")", "<PSDampingRatio ", "the limit -5 is below -1"},
        {R"(Job Name="NORTH_POWER")", R"(Job Name="../a\b")", "<Job ", R"(where it becomes ".._a_b": expected no)"},
        {R"(IPAddr="127.0.0.1")", R"(IPAddr="grid-server")", "<VDS ", "must be an address of this machine"},
        {R"(PhysType="magnitude" RefID="9011")", R"(PhysType="magnitude" RefID="4711")", "<PSMode ",
         "RefID of magnitude 4711 is not a Datapoint of this file"},
        {R"(PhysType="magnitude" RefID="9011")", R"(PhysType="magnitude" RefID="9010")", "<PSMode ",
         "RefID of magnitude 9010 is already written by the element on line"},
        {R"(PhysType="magnitude" RefID="9011")", R"(PhysType="magnitude" RefID="1011")", "<PSMode ",
         R"(RefID of magnitude 1011 is also an input of Job "NORTH_POWER")"},
    };
    for (const auto& [strOld, strNew, strPlace, strWarning] : cases)
    {
        const std::string strText = Changed(Clean(), strOld, strNew);
        const SResult result = Check(strText);
        EXPECT_TRUE(result.bOk) << strNew;
        EXPECT_THAT(result.strFindings,
                    HasSubstr("grid.xml:" + std::to_string(LineOf(strText, strPlace)) + ": warning: "))
            << strNew;
        EXPECT_THAT(result.strFindings, HasSubstr(strWarning)) << strNew;
    }
    // A mode without limits is not outside the bands, and switching off the lowest active level has an effect.
    EXPECT_EQ(Check(Changed(Clean(), R"("0.25" MaxFrequency="0.9")", R"("0" MaxFrequency="0")")).strFindings, "");
    EXPECT_EQ(Check(Changed(Clean(), R"(Type="notified" IsActive="true")", R"(Type="notified" IsActive="false")"))
                  .strFindings,
              "");
}

TEST(CConfigCheck, WhatTwoElementsShareIsFoundAcrossJobsAndInstances)
{
    // Duplicates the instance: all its ids, its job's name and its outputs occur twice, and nothing else does.
    const std::string strText = Clean();
    const std::size_t nBegin = strText.find("<OMA ");
    const std::string strOma = strText.substr(nBegin, strText.find("</OMA>") + 6 - nBegin);
    const std::string strTwice = Changed(strText, "</OMAs>", strOma + "</OMAs>");
    const SResult result = Check(strTwice);
    EXPECT_TRUE(result.bOk);
    const std::string strFirst = "on line " + std::to_string(LineOf(strText, "<Job "));
    for (const std::string& strWarning :
         {"OMA \"GRID\": Id 901 is already used on line " + std::to_string(LineOf(strText, "<OMA ")),
          "Job \"NORTH_POWER\": Id 500 is already used " + strFirst,
          "Job \"NORTH_POWER\": the name is already used " + strFirst + ", or gives",
          "OutputRefId 700 is already written by the element " + strFirst,
          std::string("PSMode 601 of Job \"NORTH_POWER\": Id"),
          std::string("RefID of degree-of-exposure 9013 is already written")})
        EXPECT_THAT(result.strFindings, HasSubstr(strWarning));
    // Instance, job (id, name, output) and its one mode (id, four outputs).
    EXPECT_EQ(std::count(result.strFindings.begin(), result.strFindings.end(), '\n'), 9) << result.strFindings;
}

TEST(CConfigCheck, TheExamplesGiveNoWarning)
{
    unsigned nExamples = 0;
    for (const auto& entry : std::filesystem::directory_iterator(OMA_EXAMPLE_DIR))
        if (entry.path().extension() == ".xml")
        {
            ++nExamples;
            EXPECT_EQ(Check(FileText(entry.path().string())).strFindings, "") << entry.path();
        }
    EXPECT_GE(nExamples, 5U);
}

TEST(CConfigCheck, AddressesAndPortsThatCannotServeAreFaults)
{
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"127.0.0.1\"", "127.0.0.300\"", "element VDS: \"127.0.0.300\" is not a valid address, expected four numbers"},
        {"127.0.0.1\"", "1:2:3\"", "\"1:2:3\" is not a valid address"},
        {"127.0.0.1\"", "192.0.2.10\"", "\"192.0.2.10\" can be reached from other machines, expected element Security"},
        {"\"4713\"", "\"4712\"", "Port and PortApplicationData are both 4712, expected two different ports"},
        {"\"4713\"/>", R"("4713"><Synchrophasors><Output Name="o" Port="4712"/></Synchrophasors></VDS>)",
         "element Output \"o\": port 4712 is already used by VDS, expected a port of its own"},
        {"\"4713\"/>", R"("4713"><Synchrophasors><Stream Name="s" Host="10.0.0.256" StreamId="1"><Phasor
         Name="a" Datapoint="1011"/></Stream></Synchrophasors></VDS>)",
         "element Stream \"s\": \"10.0.0.256\" is not a valid address"}};
    for (const auto& [strOld, strNew, strFault] : cases)
    {
        const SResult result = Check(Changed(Clean(), strOld, strNew));
        EXPECT_FALSE(result.bOk) << strNew;
        EXPECT_THAT(result.strFindings,
                    HasSubstr("grid.xml:" + std::to_string(LineOf(Clean(), "<VDS ")) + ": element "))
            << strNew;
        EXPECT_THAT(result.strFindings, HasSubstr(strFault)) << strNew;
        EXPECT_EQ(std::count(result.strFindings.begin(), result.strFindings.end(), '\n'), 1) << result.strFindings;
    }
    for (const std::string strAddr : {"localhost", "::1", "127.0.0.2"})
        EXPECT_EQ(Check(Changed(Clean(), "127.0.0.1", strAddr)).strFindings, "") << strAddr;
    const std::string strSecure = R"("4713"><Security CAFile="ca.pem"/></VDS>)";
    EXPECT_EQ(Check(Changed(Changed(Clean(), "\"4713\"/>", strSecure), "127.0.0.1", "192.0.2.10")).strFindings, "");
}

TEST(CConfigCheck, FiguresFollowFromRateAndSamples)
{
    const std::string strFigures = Check(Clean()).strFigures;
    EXPECT_THAT(strFigures, HasSubstr("reads a sample every 0.02 s (rate 50)"));
    // 512, 2048, 8192 samples of 0.02 s; each takes 80 bytes in the evaluation and 16 in the queue.
    for (const char* const pRow :
         {"0.8       to 3             512             10.24             0.097656                    40",
          "0.2       to 0.8          2048             40.96             0.024414                   160",
          "0.05      to 0.2          8192            163.84             0.006104                   640",
          "queue of samples: 128 KiB"})
        EXPECT_THAT(strFigures, HasSubstr(pRow));
}
