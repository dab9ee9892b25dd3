#include "spectrum/data/TPool.h"
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace
{
struct SPiece
{
    explicit SPiece(std::size_t p_nSize) : vecnPlace(p_nSize) { ++s_nMade; }
    ~SPiece() { --s_nMade; }
    static inline std::atomic<int> s_nMade = 0; ///< not freed yet
    std::vector<int> vecnPlace;
};
} // namespace

TEST(Pool, PieceUsedLastIsLentFirstAndComesAsItWasLeft)
{
    TPool<SPiece> pool;
    const SPiece* pFirst = nullptr;
    {
        const auto pLoan = pool.Lend(3);
        pFirst = pLoan.get();
        EXPECT_EQ(pLoan->vecnPlace.size(), 3U);
        const auto pOther = pool.Lend(3);
        EXPECT_NE(pOther.get(), pFirst) << "an object is lent only once";
        pLoan->vecnPlace[1] = 42;
    } // the first one is returned last
    EXPECT_EQ(SPiece::s_nMade, 2);
    const auto pAgain = pool.Lend(3);
    EXPECT_EQ(pAgain.get(), pFirst);
    EXPECT_EQ(pAgain->vecnPlace[1], 42);
    EXPECT_EQ(pool.Lend(4)->vecnPlace.size(), 4U);
    EXPECT_EQ(pool.Lend(4)->vecnPlace.size(), 4U);
    EXPECT_EQ(SPiece::s_nMade, 3);
}

TEST(Pool, KeepsNoMoreThanSixteenOfASize)
{
    {
        TPool<SPiece> pool;
        std::vector<TPool<SPiece>::Loan> vecLoan;
        for (int i = 0; i < 40; ++i)
            vecLoan.push_back(pool.Lend(1));
        EXPECT_EQ(SPiece::s_nMade, 40);
        vecLoan.clear();
        EXPECT_EQ(SPiece::s_nMade, 16);
    }
    EXPECT_EQ(SPiece::s_nMade, 0);
}

TEST(Pool, ThreadsNeverShareAPiece)
{
    TPool<SPiece> pool;
    std::vector<std::thread> vecThread;
    std::atomic<int> nWrong = 0;
    for (int nThread = 0; nThread < 4; ++nThread)
        vecThread.emplace_back(
            [&pool, &nWrong, nThread]
            {
                for (std::size_t i = 0; i < 2000; ++i)
                {
                    const auto pLoan = pool.Lend(1 + i % 2);
                    pLoan->vecnPlace[0] = nThread;
                    std::this_thread::yield();
                    nWrong += pLoan->vecnPlace[0] != nThread || pLoan->vecnPlace.size() != 1 + i % 2;
                }
            });
    for (std::thread& r_thread : vecThread)
        r_thread.join();
    EXPECT_EQ(nWrong, 0);
}
