#include "CLinkStream.h"
#include "vds/core/CAccess.h"
#include "vds/core/CEventStore.h"
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

TEST(CAccess, RefusalsOfAnAddressWaitLongerEachTime)
{
    CAccess access;
    const CAccess::TTime tBegin{};
    const auto fnWait_ms = [&](const char* p_pAddr, CAccess::TTime p_tNow)
    { return access.NoteRefusal(p_pAddr, p_tNow).count(); };
    for (const int nWait_ms : {100, 200, 400, 800, 1600, 3200, 6400, 8000, 8000})
        EXPECT_EQ(fnWait_ms("10.0.0.1", tBegin), nWait_ms);
    EXPECT_EQ(fnWait_ms("10.0.0.2", tBegin), 100);
    EXPECT_EQ(fnWait_ms("10.0.0.1", tBegin + std::chrono::seconds(60)), 8000);
    EXPECT_EQ(fnWait_ms("10.0.0.1", tBegin + std::chrono::seconds(121)), 100) << "forgotten";
    for (int i = 0; i < 2000; ++i)
        access.NoteRefusal(std::to_string(i), tBegin + std::chrono::seconds(121));
    EXPECT_EQ(fnWait_ms("1999", tBegin + std::chrono::seconds(121)), 8000) << "a full list still delays";
}

} // namespace
