#include "vds/core/CElements.h"
#include <gtest/gtest.h>

namespace
{
struct SCase
{
    std::int32_t eKey;
    std::int32_t eElemType;
    std::uint64_t nElemId;
    std::uint64_t nOwner;
    bool bOwn;
    bool bHears;
    bool bLeftOver;
};

TEST(CElements, AnApplicationHearsOfItselfAndOfOtherKindsNotOfItsSiblings)
{
    CElements elements;
    elements.Declare(3, {900, 901, 500, 601});
    for (const SCase& c : {
             SCase{4204, 3, 601, 0, true, true, false},     // its own mode, whoever posted the event
             SCase{4204, 3, 699, 900, true, true, false},   // of an earlier configuration
             SCase{4204, 3, 651, 950, false, false, false}, // another application's
             SCase{4204, 3, 651, 0, false, false, false},   // of an unknown element
             SCase{4201, 3, 0, 900, true, true, true},      // its own, posted before it knew its id
             SCase{4201, 3, 0, 950, false, false, false},   // the same of another application
             SCase{4201, 3, 901, 0, true, true, true},      // an operator's, for its instance
             SCase{4202, 3, 500, 900, true, true, true},    //
             SCase{4202, 3, 505, 950, false, false, false}, //
             SCase{4003, 2, 601, 2, false, true, false},    // about the grid: for all
             SCase{7, 0, 0, 0, false, true, false},         // from the platform: for all
         })
    {
        SEvent event;
        event.eKey = c.eKey;
        event.eTrans = 1;
        event.eElemType = c.eElemType;
        event.nElemId = c.nElemId;
        event.nOwner = c.nOwner;
        EXPECT_EQ(elements.IsOwn(event), c.bOwn) << c.eKey << " " << c.nElemId << " " << c.nOwner;
        EXPECT_EQ(elements.Hears(event), c.bHears) << c.eKey << " " << c.nElemId << " " << c.nOwner;
        EXPECT_EQ(elements.IsLeftOver(event), c.bLeftOver) << c.eKey << " " << c.nElemId << " " << c.nOwner;
        EXPECT_TRUE(CElements().Hears(event)) << "without a declaration: all";
        EXPECT_FALSE(CElements().IsLeftOver(event));
    }
}
} // namespace
