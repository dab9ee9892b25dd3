#include "spectrum/data/CDeqMeas.h"
#include <deque>
#include <gtest/gtest.h>
#include <random>

// Compares the ring with a plain queue while limits rise and fall, so that it grows with its oldest value at any index.
TEST(CDeqMeas, HoldsWhatAPlainQueueHolds)
{
    std::mt19937 engine(5);
    std::deque<double> deqWant;
    CDeqMeas deqMeas;
    for (unsigned nTurn = 0; nTurn < 400; ++nTurn)
    {
        const std::size_t nMax = engine() % 300;
        for (unsigned i = engine() % 100; i > 0; --i)
        {
            const double fValue = engine();
            if (nTurn % 5 == 0)
                deqMeas.Append({fValue, eQualValid});
            else
            {
                if (!deqWant.empty() && deqWant.size() >= nMax)
                    deqWant.pop_front();
                deqMeas.Push({fValue, eQualValid}, nMax);
            }
            deqWant.push_back(fValue);
        }
        if (nTurn % 50 == 49)
        {
            deqMeas.Clear();
            deqWant.clear();
        }
        ASSERT_EQ(deqMeas.Size(), deqWant.size());
        const std::size_t nCount = engine() % (deqWant.size() + 1);
        std::vector<double> vecfOut(nCount + 1, -1.0);
        ASSERT_TRUE(deqMeas.CopyNewest(vecfOut.data(), nCount));
        EXPECT_TRUE(std::equal(deqWant.end() - static_cast<std::ptrdiff_t>(nCount), deqWant.end(), vecfOut.begin()));
        EXPECT_EQ(vecfOut.back(), -1.0);
        EXPECT_FALSE(deqMeas.CopyNewest(vecfOut.data(), deqWant.size() + 1));
    }
}
