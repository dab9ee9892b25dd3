#include "JobBench.h"
#include <boost/json.hpp>
#include <cmath>
#include <fstream>
#include <sstream>

// Recorded streams, and the results of an independent program for each pass.

namespace
{
namespace json = boost::json;
constexpr std::int64_t g_nTicksStart = 638452296000000000; // 2024-03-05T10:00:00Z, first row of the streams
constexpr std::int64_t g_nTicksPerRow = 200000;            // 50 rows a second, without a gap
constexpr unsigned g_nPhasors = 6;

std::string Path(const std::string& p_strName, const char* p_pszEnd)
{
    return std::string(OMA_TEST_DATA) + "/reference/" + p_strName + p_pszEnd;
}

double Num(const json::value& p_value)
{
    return p_value.to_number<double>();
}

class JobReference : public JobBench, public ::testing::WithParamInterface<const char*>
{
  protected:
    void SetUp() override
    {
        std::ifstream stream(Path(GetParam(), ".job.json"));
        ASSERT_TRUE(stream) << Path(GetParam(), ".job.json");
        std::ostringstream text;
        text << stream.rdbuf();
        const json::value root = json::parse(text.str());
        const json::value& job = root.at("job");
        const double fNominal = Num(job.at("magnitude").at("nominal"));
        SJobSettings settings;
        settings.eJobMode = static_cast<std::int32_t>(job.at("mode").as_int64());
        settings.fMagnWarn = Num(job.at("magnitude").at("warning")) * fNominal;
        settings.fMagnAlarm = Num(job.at("magnitude").at("alarm")) * fNominal;
        settings.vecMode_Hz.clear();
        for (const json::value& mode : job.at("modes").at("list").as_array())
            settings.vecMode_Hz.emplace_back(Num(mode.at("min")), Num(mode.at("max")));
        const json::value& spectral = job.at("spectral");
        for (unsigned i = 0; i < 3; ++i)
        {
            const json::value& set = spectral.at("sets").at(i);
            settings.vecnSamples[i] =
                static_cast<std::uint32_t>(spectral.at("samples").as_int64() * set.at("multiplier").as_int64());
            settings.vecfFreqEnd_Hz[i] = Num(set.at("upper"));
        }
        MakeJob(settings);
        StartMeas();
    }

    /// Sets the phasors of a row, as 32-bit floats like in a sample record.
    void TakeRow(const std::string& p_strRow)
    {
        std::istringstream row(p_strRow);
        std::string strField;
        std::getline(row, strField, ';');
        for (unsigned i = 0; i < g_nPhasors; ++i)
        {
            double vecfField[3] = {};
            for (double& fField : vecfField)
                if (std::getline(row, strField, ';'))
                    fField = static_cast<float>(std::stod(strField));
            SetPhasor(i < 3 ? m_pmu1st : m_pmu2nd, i % 3, vecfField[0], vecfField[1]);
        }
    }

    /// Runs one measurement cycle as the read callback does. @return true if a pass ran.
    bool RunCycle(std::int64_t p_nTicks)
    {
        m_time.SetTicks(p_nTicks);
        m_pJob->m_pTimeInp = &m_time;
        EXPECT_TRUE(m_pJob->CalcActualValue() && m_pJob->WriteCalcdValue() && m_pJob->AddMeasToBuf());
        if (!m_time.IsAlignedTo(m_pJob->m_nRepRate) || m_pJob->m_pdeqMeas->Size() < m_pJob->RetrveMinSpecSize())
            return false;
        m_pJob->RunWorker(nullptr, nullptr);
        return true;
    }

    void CheckMode(CPsmOut* p_pMode, const json::value& p_expect)
    {
        EXPECT_EQ(p_pMode->GetId(), p_expect.at("id").as_int64());
        EXPECT_EQ(p_pMode->GetStatz(), p_expect.at("status").as_int64());
        EXPECT_EQ(p_pMode->GetCntr(), p_expect.at("cntr").as_int64());
        EXPECT_EQ(p_pMode->GetCntrInc(), p_expect.at("cntr_inc").as_int64());
        const double fLastValid = Num(p_expect.at("last_valid_freq"));
        EXPECT_NEAR(p_pMode->GetLastValidFreq(), fLastValid, 1e-8 * std::fabs(fLastValid));
        EXPECT_EQ(p_pMode->GetVdsOutPS()->GetCB()->IsStarted(), p_expect.at("writing").as_bool());
        EXPECT_EQ(p_pMode->GetEventData()->GetLastEvent(), p_expect.at("event").as_int64());
        if (!p_expect.at("out").is_null())
            CheckOutput(p_pMode, p_expect);
        else
            EXPECT_FALSE(p_pMode->IsOutpValid());
    }

    /// Compares the output values in full precision, and their 32-bit form on the channels.
    void CheckOutput(CPsmOut* p_pMode, const json::value& p_expect)
    {
        const json::value& out = p_expect.at("out");
        double fFreq = -1.0;
        double fMagn = -1.0;
        double fDamp = -1.0;
        double fDOE = -1.0;
        std::int32_t eQual = eQualError;
        const CSpecDyn* const pSpec = p_pMode->RetrveOutpSpec(&m_time, eQual);
        ASSERT_TRUE(pSpec);
        EXPECT_EQ(pSpec->GetReso(), p_expect.at("chosen").as_int64());
        ASSERT_TRUE(p_pMode->CreateOutputValues(&m_time, fFreq, fMagn, fDamp, fDOE, eQual));
        EXPECT_NEAR(fFreq, Num(out.at("freq")), 1e-8 * Num(out.at("freq")));
        EXPECT_NEAR(fMagn, Num(out.at("magn")), 1e-9 * Num(out.at("magn")));
        EXPECT_NEAR(fDamp, Num(out.at("damp")), 1e-9);
        EXPECT_NEAR(fDOE, Num(out.at("doe")), 1e-7);
        EXPECT_EQ(std::floor(fDOE), std::floor(Num(out.at("doe"))));
        EXPECT_EQ(eQual, out.at("qual").as_int64());
        EXPECT_EQ(p_pMode->GetVdsOutPS()->GetValue(0), static_cast<float>(fFreq));
        EXPECT_EQ(p_pMode->GetVdsOutPS()->GetValue(3), static_cast<float>(fDOE));
    }

    void CheckPass(const json::value& p_expect)
    {
        const SMeas meas = m_pJob->GetActValue();
        EXPECT_NEAR(meas.fValue, Num(p_expect.at("value")), 1e-12 * std::fabs(Num(p_expect.at("value"))) + 1e-11);
        EXPECT_EQ(meas.eQual, p_expect.at("quality").as_int64());
        for (unsigned i = 0; i < p_expect.at("modes").as_array().size(); ++i)
            CheckMode(Mode(i), p_expect.at("modes").at(i));
        const std::vector<FakeDli::SPost> vecPost = FakeDli::Posts();
        for (const json::value& event : p_expect.at("events").as_array())
        {
            ASSERT_LT(m_nPosts, vecPost.size());
            const FakeDli::SPost& post = vecPost[m_nPosts++];
            EXPECT_EQ(post.nTicks, event.at("ticks").as_int64());
            EXPECT_EQ(post.eKey, event.at("key").as_int64());
            EXPECT_EQ(post.eTrans == FakeDli::Dli::eAPP ? "APP" : "DIS", event.at("transition").as_string());
            EXPECT_EQ(post.nElemId, event.at("elem_id").to_number<unsigned long>());
            EXPECT_EQ(post.strText, event.at("text").as_string());
        }
        EXPECT_EQ(m_nPosts, vecPost.size());
    }

    std::size_t m_nPosts = 0;
};

TEST_P(JobReference, PassesAreThoseOfTheIndependentProgram)
{
    std::ifstream streamRows(Path(GetParam(), ".csv"));
    std::ifstream streamExpect(Path(GetParam(), ".expected.jsonl"));
    std::string strRow;
    std::string strExpect;
    ASSERT_TRUE(std::getline(streamRows, strRow));
    unsigned nPasses = 0;
    for (std::int64_t nTicks = g_nTicksStart; std::getline(streamRows, strRow); nTicks += g_nTicksPerRow)
    {
        TakeRow(strRow);
        if (!RunCycle(nTicks))
            continue;
        ASSERT_TRUE(std::getline(streamExpect, strExpect));
        const json::value expect = json::parse(strExpect);
        SCOPED_TRACE("ticks " + std::to_string(nTicks));
        ASSERT_EQ(nTicks, expect.at("ticks").as_int64());
        CheckPass(expect);
        if (HasFailure())
            return;
        ++nPasses;
    }
    EXPECT_FALSE(std::getline(streamExpect, strExpect));
    EXPECT_GT(nPasses, 200U);
}

INSTANTIATE_TEST_SUITE_P(Runs, JobReference, ::testing::Values("04_two_modes", "07_vpad_wrap"),
                         [](const auto& p_info) { return "Run_" + std::string(p_info.param); });
} // namespace
