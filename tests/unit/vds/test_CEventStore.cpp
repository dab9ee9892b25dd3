#include "fake/TempDir.h"
#include "vds/core/CEventStore.h"
#include "vds/core/COutputs.h"
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

namespace
{
SEvent Event(std::int64_t p_nTicks, bool p_bApp, std::uint64_t p_nElemId, std::int32_t p_eKey = 4204)
{
    SEvent event;
    event.nTicks = p_nTicks;
    event.nArrival = p_nTicks + 1000;
    event.eKey = p_eKey;
    event.eTrans = p_bApp ? 1 : 0;
    event.eElemType = 3;
    event.nElemId = p_nElemId;
    event.strText = "text " + std::to_string(p_nTicks);
    event.strFrom = "test";
    return event;
}

std::vector<std::int64_t> Times(const std::vector<SEvent>& p_vecEvent)
{
    std::vector<std::int64_t> vecnTicks;
    for (const SEvent& event : p_vecEvent)
        vecnTicks.push_back(event.nTicks);
    return vecnTicks;
}
using TTimes = std::vector<std::int64_t>;

TEST(CEventStore, AppStandsUntilTheDisOfTheSameKeyAndElement)
{
    CEventStore store;
    for (const SEvent& event : {Event(10, true, 1), Event(11, true, 2), Event(12, true, 1, 4205), Event(20, false, 3),
                                Event(21, false, 2, 4205), Event(22, false, 1)})
        store.Add(event);
    EXPECT_EQ(Times(store.Standing()), (TTimes{11, 12}));
}

TEST(CEventStore, SecondAppTakesThePlaceOfTheFirst)
{
    CEventStore store;
    store.Add(Event(10, true, 1));
    store.Add(Event(20, true, 1));
    EXPECT_EQ(Times(store.Standing()), TTimes{20});
    EXPECT_EQ(Times(store.StandingAt(15)), TTimes{10});
    store.Add(Event(30, false, 1));
    EXPECT_TRUE(store.Standing().empty());
    EXPECT_EQ(Times(store.StandingAt(29)), TTimes{20});
}

TEST(CEventStore, SinceGoesByStampAndAfterByArrival)
{
    CEventStore store;
    for (const SEvent& event : {Event(10, true, 1), Event(30, true, 2), Event(20, false, 1)})
        store.Add(event);
    EXPECT_EQ(Times(store.Since(20)), (TTimes{30, 20}));
    EXPECT_EQ(Times(store.After(1)), (TTimes{30, 20})) << "regardless of the stamps";
    EXPECT_TRUE(store.After(3).empty());
}

class CEventStoreFile : public testing::Test
{
  protected:
    const CTempDir m_dir;
    const std::string m_strPath = m_dir.Path() / "state.jsonl";
};

TEST_F(CEventStoreFile, IsReadAgainWhereverItWasCutOff)
{
    {
        CEventStore store;
        store.Open(m_strPath);
        SEvent odd = Event(10, true, 1);
        odd.strText = "#ZONE_DATA#~ \"\\ \xC3\xA4 \n";
        store.Add(odd);
        store.Add(Event(20, true, 2));
        store.Add(Event(25, true, 3, 7));
        store.Add(Event(30, false, 2));
    }
    std::ifstream file(m_strPath, std::ios::binary);
    const std::string strAll((std::istreambuf_iterator<char>(file)), {});
    const std::size_t nLast = strAll.rfind('\n', strAll.size() - 2) + 1;
    for (std::size_t nSize = nLast; nSize <= strAll.size(); ++nSize)
    {
        std::ofstream(m_strPath, std::ios::binary) << strAll.substr(0, nSize);
        CEventStore store;
        store.Open(m_strPath);
        EXPECT_EQ(Times(store.Standing()), nSize == strAll.size() ? TTimes{10} : (TTimes{10, 20}));
        EXPECT_EQ(store.Standing()[0].strText, "#ZONE_DATA#~ \"\\ \xC3\xA4 \n");
        EXPECT_EQ(store.Standing()[0].nArrival, 1010);
        EXPECT_EQ(std::filesystem::file_size(m_strPath), nSize == strAll.size() ? nSize : nLast);
    }
}

TEST_F(CEventStoreFile, BytesThatHaveNotReachedTheDiskAreTakenOff)
{
    {
        CEventStore store;
        store.Open(m_strPath);
        store.Add(Event(10, true, 1));
    }
    const auto nSize = std::filesystem::file_size(m_strPath);
    std::ofstream(m_strPath, std::ios::app | std::ios::binary) << std::string(50, '\0') << "}\n";
    CEventStore store;
    store.Open(m_strPath);
    EXPECT_EQ(Times(store.Standing()), TTimes{10});
    EXPECT_EQ(std::filesystem::file_size(m_strPath), nSize);
}

TEST_F(CEventStoreFile, IsWrittenAnewWithoutLosingWhatStands)
{
    constexpr int nEvents = 100200; // more than the history holds
    {
        std::ofstream file(m_strPath, std::ios::binary);
        for (int i = 1; i <= nEvents; ++i)
        {
            const std::string strLine =
                EventLine(Event(i, i < 10 || i % 2 == 0, i < 10 ? 1000U + static_cast<unsigned>(i) : 1U));
            file << "{\"arrival\":" << i << ",\"epoch\":4611686018427387905,\"seq\":" << i << ',' << strLine.substr(1)
                 << '\n';
        }
    }
    const auto nBefore = std::filesystem::file_size(m_strPath);
    TTimes vecStanding;
    {
        CEventStore store(1000);
        store.Open(m_strPath);
        vecStanding = Times(store.Standing());
        EXPECT_EQ(vecStanding.size(), 10U);
        EXPECT_LT(std::filesystem::file_size(m_strPath), nBefore);
        store.Add(Event(nEvents + 1, true, 77));
    }
    vecStanding.push_back(nEvents + 1);
    CEventStore store;
    store.Open(m_strPath);
    EXPECT_EQ(Times(store.Standing()), vecStanding);
    EXPECT_FALSE(std::filesystem::exists(m_strPath + ".new"));
}

TEST_F(CEventStoreFile, NumbersOfArrivalGrowOverRestartsAndOrdersThatWereNotKept)
{
    std::ofstream(m_strPath) << "{\"arrival\":1," << EventLine(Event(1, true, 1)).substr(1)
                             << '\n'; // written by an earlier version
    std::uint64_t nEpoch = 0;
    std::uint64_t nTold = 0;
    for (int i = 0; i < 3; ++i)
    {
        CEventStore store;
        store.Open(m_strPath);
        if (i > 0)
        {
            EXPECT_EQ(store.Epoch(), nEpoch);
            EXPECT_EQ(store.SeqOf(nEpoch, nTold), nTold);
            EXPECT_EQ(store.Standing().at(0).nOwner, 900U);
        }
        EXPECT_EQ(store.After(nTold).size(), i == 0 ? 1U : 0U)
            << "a client that has received the order misses nothing and gets nothing twice";
        SEvent event = Event(10, true, 1);
        event.nOwner = 900;
        EXPECT_GT(store.Add(event), nTold);
        nTold = store.Add(Event(20, true, 3, 7));
        nEpoch = store.Epoch();
        EXPECT_EQ(store.After(nTold - 1).at(0).nSeq, nTold);
    }
    CEventStore other;
    EXPECT_NE(other.Epoch(), nEpoch);
    EXPECT_EQ(other.SeqOf(nEpoch, nTold), 0U) << "another server's order is unknown";
}

TEST_F(CEventStoreFile, WrongLineInTheMiddleIsNamed)
{
    std::ofstream(m_strPath) << R"({"arrival":1,"time":2,"key":3,"transition":"APP","elementType":3,"elementId":-1})"
                             << "\n";
    CEventStore store;
    try
    {
        store.Open(m_strPath);
        FAIL();
    }
    catch (const std::runtime_error& ex)
    {
        EXPECT_EQ(std::string(ex.what()).rfind("file '" + m_strPath + "', line 1: expected an event", 0), 0U);
    }
}

} // namespace
