#include "CConfiguration.h"
#include "CXMLConfiguration.h"
#include "fake/ConfigText.h"
#include <gmock/gmock.h>

// The tree returns the contents of the file.

using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
class CConfigurationTest : public testing::Test
{
  protected:
    ~CConfigurationTest() override { CConfiguration::DeleteInstance(); }
    const CConfiguration* Load(const std::string& p_strText)
    {
        const TempFile file(p_strText);
        EXPECT_EQ(m_reader.Read(file.Path(), ""), 0) << m_reader.Faults();
        return CConfiguration::CreateInstance(&m_reader);
    }
    CXMLConfiguration m_reader;
};
} // namespace

TEST_F(CConfigurationTest, ADataPointTakesRateAndUnitFromItsPmu)
{
    const CConfiguration* pConfig = Load(Changed(Changed(BaseText(), R"(Id="1012")", R"(Id="1012" ReportingRate="-2")"),
                                                 R"(Id="5000")", R"(Id="5000" ReportingRate="7")"));
    ASSERT_TRUE(pConfig);
    const CDatapoints& datapoints = pConfig->GetDatapoints();
    struct
    {
        unsigned long nId;
        long nUnitId; // -1: none
        int nRate;
        std::string strName;
    } const vecCase[] = {{1011, 101, 50, "North U L1"},
                         {1012, 101, -2, "North U L2"}, // with its own rate
                         {9013, 802, 1, ""},
                         {5000, -1, 7, "A data point without a PMU"},
                         {4711, -1, 0, ""}, // not in the file
                         {g_nNoRefId, -1, 0, ""}};
    for (const auto& c : vecCase)
    {
        const CMeasurementUnit* pUnit = datapoints.Datapoint(c.nId).MeasurementUnit();
        EXPECT_EQ(pUnit ? static_cast<long>(pUnit->Id()) : -1, c.nUnitId) << c.nId;
        EXPECT_EQ(datapoints.GetReportingRate(c.nId), c.nRate) << c.nId;
        EXPECT_EQ(datapoints.Name(c.nId), c.strName) << c.nId;
    }
    EXPECT_THAT(datapoints.Ids(),
                testing::ElementsAre(700, 1011, 1012, 1013, 1021, 1022, 1023, 1031, 5000, 9010, 9011, 9012, 9013));
}

TEST_F(CConfigurationTest, TakesEnumerationsByNameOrNumber)
{
    struct
    {
        std::string strJob, strInput, strSignal;
        int eJob, eInput, eSignal;
    } const vecCase[] = {{"vpad", "minimum", "current", 1, 1, 1},
                         {"1", "2", "2", 1, 2, 2},
                         {"active-power", "divisor", "invalid", 0, 2, 2},
                         {"7", "-5", "+9", 7, -5, 9}, // unknown values reach the application, which reports them
                         {" vpad ", " maximum", "voltage ", 1, 0, 0}};
    for (const auto& c : vecCase)
    {
        std::string strText = Changed(BaseText(), "active-power", c.strJob);
        strText = Changed(strText, R"(InputMode="maximum")", "InputMode=\"" + c.strInput + '"');
        strText = Changed(strText, R"(SignalType="voltage")", "SignalType=\"" + c.strSignal + '"');
        const CConfiguration* pConfig = Load(strText);
        ASSERT_TRUE(pConfig) << c.strJob;
        const OMA::COMA& oma = pConfig->GetOMAs()[0];
        EXPECT_EQ(static_cast<int>(oma.InputMode()), c.eInput) << c.strInput;
        EXPECT_EQ(static_cast<int>(oma.GetJobs()[0].JobMode()), c.eJob) << c.strJob;
        EXPECT_EQ(static_cast<int>(oma.GetJobs()[0].InputGroups().at(0).SignalType()), c.eSignal) << c.strSignal;
    }
}
