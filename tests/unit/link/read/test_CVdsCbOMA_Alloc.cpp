#include "ReadBench.h"
#include <cstdlib>
#include <new>

// A cycle without a PS cycle, a message or a switch for data lines must not allocate.

namespace
{
std::atomic<bool> g_bCount{false};
std::atomic<std::size_t> g_nAllocs{0};

void* Allocate(std::size_t p_nSize)
{
    if (g_bCount)
        ++g_nAllocs;
    if (void* const pMem = std::malloc(p_nSize ? p_nSize : 1))
        return pMem;
    throw std::bad_alloc();
}
} // namespace

void* operator new(std::size_t p_nSize)
{
    return Allocate(p_nSize);
}
void* operator new[](std::size_t p_nSize)
{
    return Allocate(p_nSize);
}
void operator delete(void* p_pMem) noexcept
{
    std::free(p_pMem);
}
void operator delete[](void* p_pMem) noexcept
{
    std::free(p_pMem);
}
void operator delete(void* p_pMem, std::size_t) noexcept
{
    std::free(p_pMem);
}
void operator delete[](void* p_pMem, std::size_t) noexcept
{
    std::free(p_pMem);
}

using CVdsCbOMA_Alloc = CallbackBench;

TEST_F(CVdsCbOMA_Alloc, NormalCycleAllocatesNothing)
{
    Connect();
    ReceivePlaces(1, 40); // the queue of the job is full: from here on it takes turns with its blocks
    MakeSamples(g_nStart);
    std::size_t nCycles = 0;
    for (int nPlace = 41; nPlace < 49; ++nPlace)
    {
        for (const auto& pSample : m_vecpOwned)
            pSample->SetTime(g_nStart + nPlace * (g_nSec / 50));
        const std::size_t nDeqBefore = Job().m_nMeasSinceShift;
        g_bCount = true;
        m_pCb->Receive(m_vecpSample);
        g_bCount = false;
        nCycles += Job().m_nMeasSinceShift - nDeqBefore;
    }
    EXPECT_EQ(nCycles, 8U);
    EXPECT_EQ(g_nAllocs, 0U);
}
