#include "job/CPmu.h"
#include <gtest/gtest.h>

TEST(CPmu, NewPhasorIsInvalidUntilItsFirstSample)
{
    CPmu pmu;
    pmu.AddPhasor(7, 2);
    ASSERT_EQ(pmu.GetPhasors()->size(), 1U);
    const SPhasor& phasor = pmu.GetPhasors()->front();
    EXPECT_EQ(phasor.nId, 7U);
    EXPECT_EQ(phasor.nPhase, 2U);
    EXPECT_EQ(phasor.eQual.Get(), eQualInvalid);
}

TEST(CPmu, SortsThreePhasesAndRefusesAnythingElse)
{
    const struct
    {
        std::vector<std::uint32_t> vecnPhase;
        bool bOk;
    } vecCase[] = {{{2, 0, 1}, true}, {{0, 1, 2}, true}, {{0, 1, 1}, false}, {{1, 2, 3}, false}, {{0, 1}, false}};
    for (const auto& oneCase : vecCase)
    {
        CPmu pmu;
        for (const std::uint32_t nPhase : oneCase.vecnPhase)
            pmu.AddPhasor(100 + nPhase, nPhase);
        EXPECT_EQ(pmu.SortPhasors(), oneCase.bOk);
        for (std::uint32_t i = 0; oneCase.bOk && i < 3; ++i)
            EXPECT_EQ((*pmu.GetPhasors())[i].nId, 100 + i);
    }
}
