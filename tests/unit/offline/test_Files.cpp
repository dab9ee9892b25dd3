#include "offline/CReadFile.h"
#include "offline/CWriteFile.h"
#include "unit/job/ResultDir.h"

namespace
{
struct Files : testing::Test
{
    /// The lines that a reader returns for a file with this content.
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

TEST_F(Files, NamedValuesHaveTheirNameInAField)
{
    CWriteFile file(L"c:\\out.txt", nullptr);
    ASSERT_TRUE(file.Open());
    EXPECT_TRUE(file.WriteValue("abc", 5, -1.25, 7, 1));
    EXPECT_TRUE(file.WriteValue("abcde", 5, 1.0, 0, 3)) << "as long as the field";
    EXPECT_FALSE(file.WriteValue("abcdef", 5, 1.0, 0, 3));
    EXPECT_TRUE(file.WriteArray("xy", 2, {1.0, 1234.5678}, 3, 6, 2));
    EXPECT_FALSE(file.WriteArray("xyz", 2, {1.0}, 3, 6, 2));
    EXPECT_TRUE(file.WriteArray("none", 6, {}, 3, 6, 2));
    file.Close();
    EXPECT_EQ(dir.Text("out.txt"), "abc     -1.2\nabcde1.000\nxy  2   1.00 1234.57\nnone    0\n");
}

TEST_F(Files, LineLongerThanTheLimitEndsTheReading)
{
    EXPECT_EQ(LinesOf("a\n" + std::string(16383, 'x') + "\nb\n"), (Lines{"a", std::string(16383, 'x'), "b"}));
    EXPECT_EQ(LinesOf("a\n" + std::string(16384, 'x') + "\nb\n"), Lines{"a"});
}
