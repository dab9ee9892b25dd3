#include "offline/CReadFile.h"
#include "unit/job/ResultDir.h"

namespace
{
struct Files : testing::Test
{
    /// Lines that a reader gives of a file with this content.
    std::vector<std::string> LinesOf(const std::string& p_strContent)
    {
        std::ofstream(dir.Path("in.txt"), std::ios::binary) << p_strContent;
        CReadFile file(L"c:\\in.txt", nullptr);
        EXPECT_TRUE(file.Open());
        std::vector<std::string> vecstrLine;
        while (file.ReadLine())
            vecstrLine.push_back(file.GetLine());
        EXPECT_FALSE(file.ReadLine()) << "the end stays the end";
        EXPECT_TRUE(file.Close());
        return vecstrLine;
    }
    CResultDir dir;
};
using Lines = std::vector<std::string>;
} // namespace

TEST_F(Files, LinesWithoutWhiteSpaceAtBothEnds)
{
    EXPECT_EQ(LinesOf("a;b\n"), (Lines{"a;b"}));
    EXPECT_EQ(LinesOf(" \t a b\v\f\r\n\n  \nlast"), (Lines{"a b", "", "", "last"}));
    EXPECT_EQ(LinesOf(""), Lines{});
    EXPECT_EQ(LinesOf("\n"), Lines{""});
    EXPECT_EQ(LinesOf("\xa0x\xa0\n"), Lines{"\xa0x\xa0"}) << "white space of the classic locale only";
}

TEST_F(Files, LineLongerThanTheLimitEndsTheReading)
{
    EXPECT_EQ(LinesOf("a\n" + std::string(16383, 'x') + "\nb\n"), (Lines{"a", std::string(16383, 'x'), "b"}));
    EXPECT_EQ(LinesOf("a\n" + std::string(16384, 'x') + "\nb\n"), Lines{"a"});
}
