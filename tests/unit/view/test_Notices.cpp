#include "view/notice/Notice.h"
#include <gtest/gtest.h>

TEST(NoticePattern, StarsAndQuestionMarks)
{
    for (const char* pPattern : {"*", "NORTH*", "*POWER", "N*_P*R", "NORTH_POWE?", "NORTH_POWER", "**N*"})
        EXPECT_TRUE(IsLike("NORTH_POWER", pPattern)) << pPattern;
    for (const char* pPattern : {"", "NORTH", "*NORTH", "NORTH_POWER?", "n*", "*X*"})
        EXPECT_FALSE(IsLike("NORTH_POWER", pPattern)) << pPattern;
    EXPECT_TRUE(IsLike("", "*"));
    EXPECT_FALSE(IsLike("", "?"));
    EXPECT_FALSE(IsLike(std::string(5000, 'a').c_str(), "*a*a*a*a*a*a*a*b")); // and it takes no time
}
