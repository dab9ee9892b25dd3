#include "CConfiguration.h"
#include "CXMLConfiguration.h"
#include "fake/ConfigText.h"
#include <gmock/gmock.h>

// The tree gives back what stands in the file.

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

TEST_F(CConfigurationTest, GivesTheValuesOfTheFile)
{
    const CConfiguration* pConfig = Load(BaseText());
    ASSERT_TRUE(pConfig);
    EXPECT_EQ(pConfig->VDS().IPAddr(), "127.0.0.1");
    EXPECT_EQ(pConfig->VDS().Port(), 4712U);
    EXPECT_EQ(pConfig->VDS().PortApplicationData(), 4713U);

    EXPECT_EQ(pConfig->GetOMAs().Name(), "OMA");
    EXPECT_EQ(pConfig->GetOMAs().Id(), 900U);
    ASSERT_EQ(pConfig->GetOMAs().size(), 1U);
    const OMA::COMA& oma = pConfig->GetOMAs()[0];
    EXPECT_EQ(oma.Name(), "GRID");
    EXPECT_EQ(oma.Id(), 901U);
    EXPECT_TRUE(oma.IsActive());
    EXPECT_EQ(oma.InputMode(), eInputMaximum);
    EXPECT_EQ(oma.TimeoutInMs(), 5000U);
    EXPECT_FALSE(oma.IsEnabledNTM());

    ASSERT_EQ(oma.GetJobs().size(), 1U);
    const OMA::CJob& job = oma.GetJobs()[0];
    EXPECT_EQ(job.Name(), "NORTH_POWER");
    EXPECT_EQ(job.Id(), 500U);
    EXPECT_TRUE(job.IsActive());
    EXPECT_EQ(job.JobMode(), eJobActivePower);
    EXPECT_EQ(job.OutputRefId(), 700U);
    EXPECT_FALSE(job.IsUsingNTM());
    EXPECT_EQ(job.PSMagnitude().Nominal(), 4e7F);
    EXPECT_EQ(job.PSMagnitude().PSMagnitudeWarning().Value(), 0.25F);
    EXPECT_EQ(job.PSMagnitude().PSMagnitudeAlarm().Value(), 0.5F);
    EXPECT_EQ(job.PSDampingRatio().PSDampingRatioWarning().Value(), -0.05F);
    EXPECT_EQ(job.PSDampingRatio().PSDampingRatioAlarm().Value(), -0.03F);

    EXPECT_EQ(job.SpectralDataSets().NoOfSamples(), 512U);
    ASSERT_EQ(job.SpectralDataSets().size(), 3U);
    EXPECT_EQ(job.SpectralDataSets().at(1).SamplesMultiplier(), 4);
    EXPECT_EQ(job.SpectralDataSets().at(1).LowerCutOffFrequency(), 0.2F);
    EXPECT_EQ(job.SpectralDataSets().at(1).UpperCutOffFrequency(), 0.8F);

    EXPECT_EQ(job.PSModes().NoOfSamples(), 10U);
    EXPECT_EQ(job.PSModes().ReportingRate(), 1);
    ASSERT_EQ(job.PSModes().size(), 1U);
    const OMA::CPSMode& mode = job.PSModes()[0];
    EXPECT_EQ(mode.Id(), 601U);
    EXPECT_EQ(mode.MinFrequency(), 0.2F);
    EXPECT_EQ(mode.MaxFrequency(), 0.8F);
    for (int eType = 0; eType < 4; ++eType)
        EXPECT_EQ(mode.Outputs().RefID(static_cast<eOMAPhysType>(eType)), 9010U + static_cast<unsigned>(eType));

    ASSERT_EQ(job.InputGroups().size(), 2U);
    EXPECT_EQ(job.InputGroups().at(0).SignalType(), eSignalVoltage);
    EXPECT_EQ(job.InputGroups().at(1).SignalType(), eSignalCurrent);
    for (int ePhase = 0; ePhase < 3; ++ePhase)
        EXPECT_EQ(job.InputGroups().at(1).RefID(static_cast<ePhaseType>(ePhase)),
                  1021U + static_cast<unsigned>(ePhase));

    ASSERT_EQ(pConfig->GetNTMs().size(), 1U);
    EXPECT_TRUE(pConfig->GetNTMs()[0].IsActive());
    ASSERT_EQ(pConfig->GetNTMs()[0].GetJobs().size(), 1U);
    const NTM::CJob& jobNTM = pConfig->GetNTMs()[0].GetJobs()[0];
    EXPECT_EQ(jobNTM.Name(), "Static");
    EXPECT_TRUE(jobNTM.IsActive());
    ASSERT_EQ(jobNTM.GetInputs().size(), 2U);
    EXPECT_EQ(jobNTM.GetInputs()[1].RefId(), 1031U);
}

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
                         {1012, 101, -2, "North U L2"}, // a rate of its own
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
                         {"7", "-5", "+9", 7, -5, 9}, // what no one knows reaches the application, which says so
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

TEST_F(CConfigurationTest, OneEventLevelMayBeActiveAlone)
{
    std::string strText = Changed(BaseText(), R"("critical" IsActive="true")", R"("0" IsActive="0")");
    strText = Changed(strText, R"("notified" IsActive="true")", R"("2" IsActive="false")");
    const CConfiguration* pConfig = Load(strText);
    ASSERT_TRUE(pConfig);
    const OMA::CPSEvents& events = pConfig->GetOMAs()[0].GetJobs()[0].PSEvents();
    EXPECT_FALSE(events.IsActive(static_cast<ePSEventType>(0)));
    EXPECT_TRUE(events.IsActive(static_cast<ePSEventType>(1)));
    EXPECT_FALSE(events.IsActive(static_cast<ePSEventType>(2)));
    EXPECT_FALSE(events.IsActive(static_cast<ePSEventType>(3)));
}

TEST_F(CConfigurationTest, TheInstanceIsTakenFromAReaderOnceAndDeleted)
{
    EXPECT_EQ(CConfiguration::CreateInstance(nullptr), nullptr);
    EXPECT_EQ(CConfiguration::CreateInstance(&m_reader), nullptr);
    EXPECT_TRUE(Load(BaseText()));
    EXPECT_EQ(CConfiguration::CreateInstance(&m_reader), nullptr);
    CConfiguration::DeleteInstance();
    CConfiguration::DeleteInstance();
}

TEST_F(CConfigurationTest, GivesTheStreamsWithTheirDefaults)
{
    const CConfiguration* pConfig = Load(Changed(
        BaseText(), R"("4713"/>)",
        R"("4713"><Synchrophasors UnlockedLimitInS="any"><Stream Name="a" Host="::1" StreamId="60" Transport="udp">
        <Phasor Pmu="61" Name=" VA 1 " Datapoint="1012"/></Stream><Output Name="o" Port="4722"/></Synchrophasors></VDS>)"));
    ASSERT_TRUE(pConfig);
    const CSynchrophasors& synchrophasors = pConfig->VDS().Synchrophasors();
    EXPECT_EQ(synchrophasors.MaxWaitInMs(), 200U);
    EXPECT_EQ(synchrophasors.UnlockedLimitInS(), -1);
    const CStream& stream = synchrophasors.GetStreams().at(0);
    EXPECT_EQ(stream.Transport(), eTransportUdp);
    EXPECT_EQ(stream.UdpPort(), 4713U);
    EXPECT_EQ(stream.at(0).Pmu(), 61U);
    EXPECT_EQ(stream.at(0).Name(), "VA 1");
    EXPECT_EQ(stream.at(0).Datapoint(), 1012U);
    EXPECT_EQ(synchrophasors.GetOutputs().at(0).Listen(), "127.0.0.1");
}
