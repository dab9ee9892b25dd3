#include "CConfiguration.h"
#include "CXMLConfiguration.h"
#include "fake/CaptureTrace.h"
#include "fake/ConfigText.h"
#include <gmock/gmock.h>

// Every complaint names file, line, element and what was expected; no file content may do harm.

using namespace Norvik::Energy::Kestrel::VDS::Runtime;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{
/// The faults of a text; the test fails if it is accepted.
std::string FaultsOf(const std::string& p_strText)
{
    const TempFile file(p_strText);
    CXMLConfiguration reader;
    EXPECT_NE(reader.Read(file.Path(), ""), 0);
    EXPECT_EQ(CConfiguration::CreateInstance(&reader), nullptr);
    return reader.Faults();
}
} // namespace

TEST(CXMLConfiguration, NamesLineElementAttributeAndWhatWasExpected)
{
    struct
    {
        std::string strOld, strNew, strLineOf, strExpected;
    } const vecCase[] = {
        {R"("active-power")", R"("power")", "<Job ",
         R"(element Job, attribute JobMode: "power" is not one of 0, 1, active-power, vpad)"},
        {R"("maximum")", R"("Maximum")", "<OMA ",
         R"(element OMA, attribute InputMode: "Maximum" is not one of 0, 1, 2, maximum, minimum, divisor)"},
        {R"(Port="4712")", R"(Port="70000")", "<VDS",
         R"(element VDS, attribute Port: "70000" is not a port from 1 to 65535)"},
        {R"(Port="4712")", R"(Port="0")", "<VDS", R"(element VDS, attribute Port: "0" is not a port from 1 to 65535)"},
        {R"(IPAddr="127.0.0.1")", R"(IPAddr="")", "<VDS", R"(element VDS, attribute IPAddr: "" is not an address)"},
        {R"(TimeoutInMs="5000" )", "", "<OMA ",
         "element OMA, attribute TimeoutInMs: missing, expected a whole number from 0 to 4294967295"},
        {R"(TimeoutInMs="5000")", R"(TimeoutInMs="-1")", "<OMA ",
         R"(attribute TimeoutInMs: "-1" is not a whole number)"},
        {R"(IsEnabledNTM=)", R"(IsEnabledNtm=)", "<OMA ",
         "element OMA, attribute IsEnabledNtm: unknown, expected one of Id, InputMode, IsActive, IsEnabledNTM, Name, "
         "TimeoutInMs"},
        {R"(PSMagnitudeWarning="0.25")", R"(PSMagnitudeWarning="INF")", "<PSMagnitude ",
         R"(element PSMagnitude, attribute PSMagnitudeWarning: "INF" is not a decimal number such as 0.25 or 4e7)"},
        {R"(PSMagnitudeWarning="0.25")", R"(PSMagnitudeWarning="0,25")", "<PSMagnitude ", R"("0,25" is not a decimal)"},
        {R"(PSMagnitudeWarning="0.25")", R"(PSMagnitudeWarning="1e99")", "<PSMagnitude ", R"("1e99" is out of range)"},
        {R"("damping-ratio")", R"("5")", R"("5")",
         R"(element Output, attribute PhysType: "5" is not one of 0, 1, 2, 3,)"},
        {R"("damping-ratio")", R"("magnitude")", R"(RefID="9012")",
         R"(attribute PhysType: "magnitude" is used on line)"},
        {R"(Type="distinct")", R"(Type="0")", R"(Type="0")", R"(element PSEvent, attribute Type: "0" is used on line)"},
        {R"(PhaseType="1" RefID="1012")", R"(PhaseType="3" RefID="1012")", R"(RefID="1012")",
         R"(element Input, attribute PhaseType: "3" is not one of 0, 1, 2)"},
        {R"(PhaseType="1" RefID="1012")", R"(PhaseType="0" RefID="1012")", R"(RefID="1012")", R"("0" is used on line)"},
        {R"(NoOfSamples="512")", R"(NoOfSamples="500")", "<SpectralDataSets", R"("500" is not a power of two)"},
        {R"(NoOfSamples="10" ReportingRate="1")", R"(NoOfSamples="10" ReportingRate="0")", "<PSModes",
         R"(attribute ReportingRate: "0" is not a rate other than 0)"},
        {R"(Id="1012")", R"(Id="1011")", R"(North U L2)",
         R"(element Datapoint, attribute Id: "1011" is used on line 8 already)"},
        {R"(Id="102" )", R"(Id="0101" )", R"(North current)",
         R"(element MeasurementUnit, attribute Id: "0101" is used on line 7 already)"},
        {R"(Id="5000")", R"(Id="99999999999")", R"(99999999999)", R"("99999999999" is not a whole number from 0)"},
        {R"(PhaseType="1" RefID=)", R"(PhaseType="1" RefId="1" RefID=)", R"(RefID="1012")",
         "element Input, attribute RefId: unknown, expected one of PhaseType, RefID\n"},
        {R"(<Job Name="NORTH_POWER")", R"(<Job Name="NORTH&#10;POWER")", "<Job ",
         R"(element Job, attribute Name: "NORTH POWER" is not a name of at most 255 characters without line break)"},
        {R"(Name="North voltage")", "Name=\"North\u2028voltage\"", "voltage\" Rep", "without line break"},
        {"<PSDampingRatio ", "<PSDamping ", "<PSDamping ", "element PSDamping: This element is not expected. Expected"},
        {R"(<SpectralDataSet SamplesMultiplier="1")", R"(<!-- --><SpectralDataSet SamplesMultiplier="1" Foo="1")",
         "Foo=", "element SpectralDataSet, attribute Foo: unknown"},
        {"<Configuration>", "<Configuration>text", "<Configuration>", "element Configuration: Character content"},
    };
    for (const auto& c : vecCase)
    {
        const std::string strText = Changed(BaseText(), c.strOld, c.strNew);
        const std::string strFaults = FaultsOf(strText);
        EXPECT_THAT(strFaults, HasSubstr("grid.xml:" + std::to_string(LineOf(strText, c.strLineOf)) + ": element "));
        EXPECT_THAT(strFaults, HasSubstr(c.strExpected));
        EXPECT_EQ(std::count(strFaults.begin(), strFaults.end(), '\n'), 1) << strFaults;
    }
}

TEST(CXMLConfiguration, RefusesStreamsThatDoNotHold)
{
    const std::string strPhasor = R"(><Phasor Name="VA" Datapoint="1011"/></Stream>)";
    struct
    {
        std::string strStreams, strExpected;
    } const vecCase[] = {
        {R"(<Stream Name="north" StreamId="60")" + strPhasor,
         "element Stream, attribute Host: missing, expected the address"},
        {R"(<Stream Name="north" Host="h" StreamId="0")" + strPhasor,
         R"(element Stream, attribute StreamId: "0" is not an IDCODE from 1 to 65534)"},
        {R"(<Stream Name="north" Host="h" StreamId="60" Transport="serial")" + strPhasor,
         R"(attribute Transport: "serial" is not one of tcp, udp, tcp-udp, spontaneous)"},
        {R"(<Stream Name="north" StreamId="60" Transport="spontaneous")" + strPhasor,
         "element Stream, attribute UdpPort: missing, expected the local port"},
        {R"(<Stream Name="north" Host="h" StreamId="60"/>)", "element Stream: Missing child element(s)"},
        {R"(<Stream Name="north" Host="h" StreamId="60"><Phasor Name="VA" Datapoint="5000"/></Stream>)",
         R"(element Phasor, attribute Datapoint: "5000" is not a data point of a MeasurementUnit)"},
        {R"(<Stream Name="north" Host="h" StreamId="60"><Phasor Name="VA" Datapoint="1011"/><Phasor Name="VB"
         Datapoint="1011"/></Stream>)",
         R"(element Phasor, attribute Datapoint: "1011" is used on line 4 already)"},
        {R"(<Output Name="results"/>)", "element Output, attribute Port: missing, expected Port or UdpPort or both"},
        {R"(<Output Name="results" Port="1" Nominal="55"/>)", R"(attribute Nominal: "55" is not one of 50, 60)"}};
    for (const auto& c : vecCase)
    {
        const std::string strFaults = FaultsOf(Changed(
            BaseText(), R"("4713"/>)", R"("4713"><Synchrophasors>)" + c.strStreams + "</Synchrophasors></VDS>"));
        EXPECT_THAT(strFaults, HasSubstr("grid.xml:"));
        EXPECT_THAT(strFaults, HasSubstr(c.strExpected));
        EXPECT_EQ(std::count(strFaults.begin(), strFaults.end(), '\n'), 1) << strFaults;
    }
}

TEST(CXMLConfiguration, RefusesWhatIsNoConfigurationOrLacksElements)
{
    const std::string strAll = BaseText();
    struct
    {
        std::string strText, strExpected;
    } const vecCase[] = {
        {"", "grid.xml: empty, expected element Configuration"},
        {"\xEF\xBB\xBF", "expected well-formed XML"},
        {"hello", "grid.xml:1: expected well-formed XML: Start tag expected"},
        {std::string("\x7f"
                     "ELF\0\1\2\xff\xfe",
                     9),
         "expected well-formed XML"},
        {std::string(100000, '\0'), "expected well-formed XML"},
        {strAll.substr(0, strAll.size() / 2), "expected well-formed XML"},
        {Changed(strAll, "</Jobs>", "</Job>"),
         "element Jobs: expected well-formed XML: Opening and ending tag mismatch"},
        {Changed(strAll, "North U L1", "North < L1"), "grid.xml:8: element MeasurementUnit: expected well-formed XML"},
        {Changed(strAll, "North U L1", "North \xff\xfe"), "expected well-formed XML"},
        {"<OMAs/>", "grid.xml:1: element OMAs: not expected, expected Configuration"},
        {"<Configuration/>", "grid.xml:1: element Configuration: Missing child element(s). Expected is one of ( VDS,"},
        {R"(<x:Configuration xmlns:x="urn:x"/>)",
         R"(not expected, expected Configuration without a namespace, not in "urn:x": remove xmlns:x)"},
        {R"(<Configuration xmlns="urn:y"/>)", R"(without a namespace, not in "urn:y": remove xmlns)"},
        {Without(strAll, "<SpectralDataSet ", "/>"), "element SpectralDataSets: Missing child element(s). Expected is"},
        {Without(strAll, "<InputGroup ", "</InputGroup>"), "element InputGroups: Missing child element(s). Expected"},
        {Without(strAll, R"(<Output PhysType="magnitude")", "/>"),
         "grid.xml:" + std::to_string(LineOf(strAll, "<Outputs>")) +
             ": element Outputs: missing Output of PhysType magnitude, expected each of the four once"},
        {Without(Without(strAll, R"(<Output PhysType="frequency")", "/>"), R"(<Output PhysType="damping-ratio")", "/>"),
         "missing Output of PhysType frequency, damping-ratio, expected"},
    };
    for (const auto& c : vecCase)
        EXPECT_THAT(FaultsOf(c.strText), HasSubstr(c.strExpected)) << c.strText.substr(0, 40);
}

TEST(CXMLConfiguration, CredentialsFolderStandsInNamesOfFiles)
{
    const std::string strText = Changed(BaseText(), R"(PortApplicationData="4713"/>)",
                                        R"(PortApplicationData="4713"><Security CAFile="/etc/ca.pem" )"
                                        R"(TokenFile="${CREDENTIALS_DIRECTORY}/oma.token"/></VDS>)");
    ::unsetenv("CREDENTIALS_DIRECTORY");
    EXPECT_THAT(FaultsOf(strText), HasSubstr("element Security, attribute TokenFile: the variable "
                                             "CREDENTIALS_DIRECTORY is not set"));
    ::setenv("CREDENTIALS_DIRECTORY", "/run/credentials/oma.service", 1);
    EXPECT_THAT(FaultsOf(Changed(strText, "CREDENTIALS_DIRECTORY", "HOME")),
                HasSubstr("expected no variable other than"));
    const TempFile file(strText);
    CXMLConfiguration reader;
    EXPECT_EQ(reader.Read(file.Path(), ""), 0) << reader.Faults();
    ::unsetenv("CREDENTIALS_DIRECTORY");
    const CConfiguration* const pConfig = CConfiguration::CreateInstance(&reader);
    ASSERT_NE(pConfig, nullptr);
    EXPECT_EQ(pConfig->VDS().Security().TokenFile(), "/run/credentials/oma.service/oma.token");
    EXPECT_EQ(pConfig->VDS().Security().CAFile(), "/etc/ca.pem");
    CConfiguration::DeleteInstance();
}

TEST(CXMLConfiguration, EntitiesCannotGrowNorReadOtherFiles)
{
    std::string strBomb = "<!DOCTYPE Configuration [<!ENTITY a0 \"aaaaaaaaaa\">";
    for (int n = 1; n < 30; ++n)
    {
        const std::string strLast = "&a" + std::to_string(n - 1) + ";";
        strBomb += "<!ENTITY a" + std::to_string(n) + " \"" + strLast + strLast + strLast + strLast + "\">\n";
    }
    strBomb += "]>";
    EXPECT_THAT(FaultsOf(strBomb + "<Configuration>&a29;</Configuration>"),
                HasSubstr("a document type is not allowed"));
    EXPECT_THAT(FaultsOf(strBomb + "<Configuration Name=\"&a29;\"/>"), HasSubstr("a document type is not allowed"));
    EXPECT_THAT(FaultsOf("<!DOCTYPE Configuration SYSTEM \"file:///etc/passwd\"><Configuration/>"),
                HasSubstr("grid.xml:1: a document type is not allowed"));
}

TEST(CXMLConfiguration, DeepAndHugeFilesEndInAComplaint)
{
    std::string strDeep;
    for (int n = 0; n < 100000; ++n)
        strDeep += "<Configuration>";
    EXPECT_THAT(FaultsOf(strDeep), HasSubstr("expected well-formed XML: Excessive depth"));
    EXPECT_THAT(FaultsOf(std::string(17U * 1024U * 1024U, ' ')),
                HasSubstr("too large, expected at most 16777216 bytes"));
    // A value of a megabyte is shortened in the message.
    EXPECT_LT(FaultsOf(Changed(BaseText(), "active-power", std::string(1000000, 'x'))).size(), 500U);
}

TEST(CXMLConfiguration, AttributesWithoutNumberAreNoWorkForTheParser)
{
    // Each would be compared with all others, which takes minutes. In 16 bits as well.
    std::string strMany = "<!-- = < ' --><?x = ?><Configuration>\n<VDS a=\"<>\"";
    for (int n = 0; n < 300000; ++n)
        strMany += " a" + std::to_string(n) + "=''";
    strMany += "/></Configuration>";
    EXPECT_THAT(FaultsOf(strMany), HasSubstr("grid.xml:2: element VDS: has more than 200 attributes\n"));
    std::string strWide = "\xFE\xFF";
    for (const char c : strMany)
        strWide.append(1, '\0').append(1, c);
    EXPECT_THAT(FaultsOf(strWide), HasSubstr("grid.xml:2: element VDS: has more than 200 attributes\n"));
    // Text in quotes, comments and values is ignored.
    std::string strFew = "<Configuration><!-- '";
    for (int n = 0; n < 300; ++n)
        strFew += "a=\"b\" ";
    EXPECT_THAT(FaultsOf(strFew + "--><VDS IPAddr='" + std::string(300, '=') + "'/></Configuration>"),
                HasSubstr("element VDS, attribute IPAddr: "));
}

TEST(CXMLConfiguration, ManyFaultsAreCounted)
{
    std::string strDatapoints;
    for (int n = 0; n < 1000; ++n)
        strDatapoints += "<Datapoint Id=\"1011\"/>\n";
    const std::string strFaults = FaultsOf(Changed(BaseText(), "</Datapoints>", strDatapoints + "</Datapoints>"));
    EXPECT_THAT(strFaults, HasSubstr("grid.xml: and 950 more"));
    EXPECT_EQ(std::count(strFaults.begin(), strFaults.end(), '\n'), 51);
}

TEST(CXMLConfiguration, FileThatCannotBeReadIsNamed)
{
    const CaptureTrace capture;
    CXMLConfiguration reader;
    EXPECT_NE(reader.Read("/nowhere/grid.xml", ""), 0);
    EXPECT_THAT(reader.Faults(), StartsWith("/nowhere/grid.xml: cannot be opened, expected a configuration file: "));
    EXPECT_NE(reader.Read("/tmp", ""), 0);
    EXPECT_THAT(reader.Faults(), HasSubstr("it is a folder"));
    EXPECT_NE(reader.Read("", ""), 0);
    EXPECT_TRUE(capture.Has(CaptureTrace::ETraceLevel::eError, "/nowhere/grid.xml: cannot be opened"));
}

TEST(CXMLConfiguration, SchemaOfTheCallerTakesThePlaceOfTheOneThatIsBuiltIn)
{
    const TempFile file("<Configuration/>");
    const std::string strSchema = file.Path() + ".xsd";
    CXMLConfiguration reader;
    std::ofstream(strSchema) << "<Configuration/>";
    EXPECT_NE(reader.Read(file.Path(), strSchema), 0);
    EXPECT_THAT(reader.Faults(), StartsWith(strSchema + ":"));
    std::ofstream(strSchema)
        << R"(<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema"><xs:element name="Own"/></xs:schema>)";
    EXPECT_NE(reader.Read(file.Path(), strSchema), 0);
    EXPECT_THAT(reader.Faults(), HasSubstr("expected Own"));
    EXPECT_NE(reader.Read(file.Path(), ""), 0);
    EXPECT_THAT(reader.Faults(), HasSubstr("VDS"));
}
