#include "ReadBench.h"
#include <cstdlib>
#include <new>

// A measurement cycle that is no PS cycle and writes no message must not allocate.

namespace
{
std::atomic<bool> g_bCount{false};
std::atomic<std::size_t> g_nAllocs{0};
} // namespace

[[gnu::noinline]] void* operator new(std::size_t p_nSize)
{
    g_nAllocs += g_bCount ? 1 : 0;
    if (void* const pMem = std::malloc(p_nSize ? p_nSize : 1))
        return pMem;
    throw std::bad_alloc();
}
// Not inlined: otherwise the compiler reports a mismatched pair.
[[gnu::noinline]] void operator delete(void* p_pMem) noexcept
{
    std::free(p_pMem);
}
[[gnu::noinline]] void operator delete(void* p_pMem, std::size_t) noexcept
{
    std::free(p_pMem);
}

using CVdsCbOMA_Alloc = CallbackBench;

TEST_F(CVdsCbOMA_Alloc, NormalCycleAllocatesNothing)
{
    Connect();
    ReceivePlaces(1, 40);
    const std::uint32_t nBefore = Job().m_nMeasSinceShift;
    // Eight cycles, which the queue of the job holds without growing.
    for (int nPlace = 41; nPlace < 49; ++nPlace)
    {
        SSamples samples(g_nStart + nPlace * g_nPlace);
        g_bCount = true;
        m_pCb->Receive(samples.vecpSample);
        g_bCount = false;
    }
    EXPECT_EQ(Job().m_nMeasSinceShift - nBefore, 8U);
    EXPECT_EQ(g_nAllocs, 0U);
}

TEST_F(CVdsCbOMA_Alloc, WritingAMeasurementAllocatesNothing)
{
    CVdsOutMeas meas(1, 7, {71}, 50, &m_trace);
    const CTime time(50);
    g_bConnected = false; // the fake library stores what is sent
    g_bCount = true;
    meas.SetActTS(&time);
    meas.SetValue(0, 2.0);
    const bool bDone = meas.DoWriteRT(&time);
    g_bCount = false;
    EXPECT_TRUE(bDone);
    EXPECT_EQ(g_nAllocs, 0U);
}
