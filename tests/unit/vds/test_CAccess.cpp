#include "CLinkStream.h"
#include "vds/CAccess.h"
#include "vds/CEventStore.h"
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

namespace Link = Norvik::Energy::Kestrel::Link;

namespace
{
TEST(MayPost, AnApplicationPostsEventsOfItsOwnKindOnly)
{
    struct SCase
    {
        std::int32_t eHello, eKey, eElemType;
        bool bMay;
        std::int32_t eTrans = 1;
    };
    for (const SCase& c : {SCase{3, 4201, 3, true},
                           {3, 4206, 3, true},
                           {3, 4200, 3, false},
                           {3, 4207, 3, false},
                           {3, 4203, 2, false},
                           {3, 7, 3, false},
                           {3, 4003, 2, false},
                           {2, 4003, 2, true},
                           {2, 4203, 3, false},
                           {0, 7, 0, false},
                           {-1, 4203, -1, false},
                           {3, 12345, 3, true, 0},
                           {3, 12345, 2, false, 0},
                           {0, 12345, 0, false, 0}})
    {
        SEvent event;
        event.eKey = c.eKey;
        event.eElemType = c.eElemType;
        event.eTrans = c.eTrans;
        EXPECT_EQ(MayPost(c.eHello, event), c.bMay) << c.eHello << " " << c.eKey << " " << c.eElemType;
    }
}

TEST(CAccess, BarsAnAddressThatIsRefusedTooOftenForAWhile)
{
    CAccess access;
    const CAccess::TTime tBegin{};
    for (int i = 0; i < 9; ++i)
        access.NoteRefusal("10.0.0.1", tBegin);
    EXPECT_FALSE(access.IsBarred("10.0.0.1", tBegin));
    access.NoteRefusal("10.0.0.1", tBegin);
    EXPECT_TRUE(access.IsBarred("10.0.0.1", tBegin));
    EXPECT_FALSE(access.IsBarred("10.0.0.2", tBegin));
    EXPECT_FALSE(access.IsBarred("10.0.0.1", tBegin + std::chrono::seconds(1)));
}

} // namespace
