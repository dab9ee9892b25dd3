#include "CConfiguration.h"
#include "CXMLConfiguration.h"
#include "fake/CaptureTrace.h"
#include "fake/ConfigText.h"
#include <gmock/gmock.h>

// What the reader makes of files; its complaints, one by one, are asked of omacheck (tests/unit/host/check).

using namespace Norvik::Energy::Kestrel::VDS::Runtime;
using testing::HasSubstr;
using testing::StartsWith;

TEST(CXMLConfiguration, CredentialsFolderStandsInNamesOfFiles)
{
    const std::string strText = Changed(BaseText(), R"(PortApplicationData="4713"/>)",
                                        R"(PortApplicationData="4713"><Security CAFile="/etc/ca.pem" )"
                                        R"(TokenFile="${CREDENTIALS_DIRECTORY}/oma.token"/></VDS>)");
    ::setenv("CREDENTIALS_DIRECTORY", "/run/credentials/oma.service", 1);
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

TEST(CXMLConfiguration, FileThatCannotBeReadIsNamed)
{
    const CaptureTrace capture;
    CXMLConfiguration reader;
    EXPECT_NE(reader.Read("/nowhere/grid.xml", ""), 0);
    EXPECT_THAT(reader.Faults(), StartsWith("/nowhere/grid.xml: cannot be opened, expected a configuration file: "));
    EXPECT_NE(reader.Read("/tmp", ""), 0);
    EXPECT_THAT(reader.Faults(), HasSubstr("it is a folder"));
    EXPECT_NE(reader.Read("", ""), 0);
    EXPECT_EQ(CConfiguration::CreateInstance(&reader), nullptr);
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
