#include "link/dli/EDli.h"
#include "view/state/CEventBook.h"
#include "view/state/ViewTime.h"
#include <gtest/gtest.h>

using namespace Norvik::Energy::Kestrel::VDS::Runtime;
using Norvik::Energy::Kestrel::eElemOMA;

namespace
{
class CNoMemory : public IViewMemory
{
  public:
    void OnEvent(const SViewEvent&) override {}
    void OnStep(std::int64_t, const SViewStep&) override { ++m_nSteps; }
    void OnPass(std::size_t, std::size_t, std::int64_t, const double*) override {}
    void OnSample(std::size_t, std::int64_t, float) override {}
    void OnBlind(std::int64_t, std::int64_t, const std::string&) override {}
    int m_nSteps = 0;
};

class CEventBookTest : public testing::Test
{
  protected:
    static SFeedEvent Event(std::int64_t p_nMs, ETransition p_eTrans, EIncidenceKey p_eKey, std::uint64_t p_nMode = 601)
    {
        return {TicksFromMs(p_nMs), p_eKey, p_eTrans, eElemOMA, p_nMode, "#A#|#B#~00.40|00-4.80|00-0.084|06.30", "x"};
    }
    SViewModel m_model;
    CNoMemory m_memory;
    CEventBook m_book{m_model, m_memory};
};

TEST_F(CEventBookTest, LevelsOfOneModeAreOneRecord)
{
    m_book.Take(Event(1000, eAPP, eIkPsNotified), 1);
    m_book.Take(Event(2000, eDIS, eIkPsNotified), 2);
    m_book.Take(Event(2000, eAPP, eIkPsCritical), 2); // goes on: a change of level
    m_book.Take(Event(3000, eDIS, eIkPsCritical), 3);
    m_book.Take(Event(4000, eAPP, eIkPsDistinct), 4); // a pass later: another one
    ASSERT_EQ(m_book.Records().size(), 2U);
    const SViewEvent& first = m_book.Records()[0];
    EXPECT_EQ(first.nWorst, 3);
    EXPECT_EQ(first.nBegin_ms, 1000);
    EXPECT_EQ(first.nEnd_ms, 3000);
    EXPECT_DOUBLE_EQ(first.fDampMax, -0.084);
    EXPECT_DOUBLE_EQ(first.fMagnMax, -4.8);
    EXPECT_TRUE(m_book.Records()[1].Stands());
    EXPECT_EQ(m_memory.m_nSteps, 5);
}

TEST_F(CEventBookTest, HistoryThatComesAgainChangesNothing)
{
    m_book.Take(Event(1000, eAPP, eIkPsNotified, 601), 1);
    m_book.Take(Event(1000, eAPP, eIkPsNotified, 602), 1);
    m_book.Take(Event(1000, eAPP, eIkPsNotified, 601), 1);
    m_book.Take(Event(1000, eAPP, eIkPsNotified, 602), 1);
    EXPECT_EQ(m_memory.m_nSteps, 2);
    EXPECT_EQ(m_book.LastTicks(), TicksFromMs(1000));
}

TEST_F(CEventBookTest, WhatTheServerDoesNotKnowHasEnded)
{
    m_book.Take(Event(1000, eAPP, eIkPsNotified, 601), 1);
    m_book.Take(Event(1000, eAPP, eIkPsNotified, 602), 1);
    m_book.TakeStanding({Event(1000, eAPP, eIkPsNotified, 602), Event(5000, eAPP, eIkPsCritical, 603)}, 9000, 2);
    ASSERT_EQ(m_book.Records().size(), 3U);
    EXPECT_EQ(m_book.Records()[0].nEnd_ms, 9000);
    EXPECT_FALSE(m_book.Records()[0].bEndKnown);
    EXPECT_TRUE(m_book.Records()[1].Stands());
    EXPECT_TRUE(m_book.StandingOf(603));
    EXPECT_FALSE(m_book.StandingOf(601));
}

TEST(CleanText, LeavesOnlyWhatCanBeShown)
{
    EXPECT_EQ(CleanText("a\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80"), "a\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80");
    EXPECT_EQ(CleanText(std::string("a\n\0b", 4)), "a??b");
    for (const char* pBroken : {"\xC3", "\xC0\x80", "\xED\xA0\x80", "\xF5\x80\x80\x80", "\xE0\x80\x80", "\xFF"})
        EXPECT_EQ(CleanText(pBroken), std::string(std::string(pBroken).size(), '?'));
    EXPECT_LE(CleanText(std::string(70000, 'x')).size(), 503U);
}
} // namespace
