#include "vds/base/IsoTime.h"
#include <gtest/gtest.h>

TEST(IsoTime, KnownTimesAndTheWayBack)
{
    constexpr std::int64_t nTenOClock = 638'452'296'000'000'000; // 2024-03-05T10:00:00Z
    EXPECT_EQ(TicksFromIso("1970-01-01T00:00:00Z"), 621'355'968'000'000'000);
    EXPECT_EQ(TicksFromIso("0001-01-01T00:00:00Z"), 0);
    EXPECT_EQ(TicksFromIso("2024-03-05T10:00:00.02Z"), nTenOClock + 200'000);
    EXPECT_EQ(TicksFromIso("2024-03-05 10:00:00.12345678"), nTenOClock + 1'234'567);
    EXPECT_EQ(TicksFromIso("9999-12-31T23:59:59.9999999Z"), g_nTicksMax);
    EXPECT_EQ(IsoFromTicks(nTenOClock + 333'333), "2024-03-05T10:00:00.0333333Z");
    EXPECT_EQ(IsoFromTicks(*TicksFromIso("2000-02-29T23:59:59.9999999Z")), "2000-02-29T23:59:59.9999999Z");
    for (const char* strBad : {"", "2024-03-05", "2024-02-30T00:00:00Z", "2024-03-05T24:00:00Z", "2024-03-05T10:60:00Z",
                               "2024-03-05T10:00:00.Z", "2024-03-05T10:00:00+02:00", "2024-3-05T10:00:00Z",
                               "0000-01-01T00:00:00Z", "-024-03-05T10:00:00Z"})
    {
        EXPECT_FALSE(TicksFromIso(strBad).has_value()) << strBad;
    }
}
