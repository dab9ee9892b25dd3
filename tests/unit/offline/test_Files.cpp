#include "offline/CReadFile.h"
#include "offline/CWriteFile.h"
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

TEST_F(Files, PositionsLeadBackToALine)
{
    std::ofstream(dir.Path("in.txt")) << "head\none\ntwo";
    CReadFile file(L"c:\\in.txt", nullptr);
    ASSERT_TRUE(file.Open());
    ASSERT_TRUE(file.ReadLine());
    EXPECT_EQ(file.GetPos(), 5U);
    ASSERT_TRUE(file.ReadLine() && file.ReadLine());
    EXPECT_EQ(file.GetLine(), "two");
    EXPECT_FALSE(file.ReadLine());
    EXPECT_EQ(file.GetLine(), "two") << "the line before stays";
    EXPECT_TRUE(file.SetPos(5));
    ASSERT_TRUE(file.ReadLine());
    EXPECT_EQ(file.GetLine(), "one") << "also after the end was reached";
    ASSERT_TRUE(file.Open());
    ASSERT_TRUE(file.ReadLine());
    EXPECT_EQ(file.GetLine(), "head") << "opened anew";
}

TEST_F(Files, WhatDoesNotOpenSaysFalse)
{
    CReadFile fileIn(L"c:\\missing.txt", nullptr);
    EXPECT_FALSE(fileIn.Open());
    EXPECT_FALSE(fileIn.ReadLine());
    EXPECT_TRUE(fileIn.Close());
    CWriteFile fileOut(L"c:\\no_folder\\out.txt", nullptr);
    EXPECT_FALSE(fileOut.Open());
    fileOut.WriteLine("goes nowhere");
    EXPECT_TRUE(fileOut.Close());
}

TEST_F(Files, NamedValuesAndText)
{
    CWriteFile file(L"c:\\out.txt", nullptr);
    ASSERT_TRUE(file.Open());
    file.WriteLine("dropped by the second opening");
    ASSERT_TRUE(file.Open());
    EXPECT_TRUE(file.WriteValue("TimeStep", 10, 0.02, 6, 3));
    EXPECT_TRUE(file.WriteValue("Exact", 5, -1234567.875, 8, 3));
    EXPECT_TRUE(file.WriteArray("Magn", 10, {1.0, -0.0005, 12345678.9}, 5, 10, 3));
    EXPECT_TRUE(file.WriteArray("None", 4, {}, 3, 10, 3));
    EXPECT_FALSE(file.WriteValue("TooLong", 6, 1.0, 6, 3));
    EXPECT_FALSE(file.WriteArray("TooLong", 6, {1.0}, 5, 10, 3));
    file.WriteText("a");
    file.WriteText("b\n");
    file.WriteLine("c");
    EXPECT_TRUE(file.Close());
    EXPECT_EQ(dir.Text("out.txt"), "TimeStep   0.020\n"
                                   "Exact-1234567.875\n"
                                   "Magn          3      1.000     -0.001 12345678.900\n"
                                   "None  0\n"
                                   "ab\n"
                                   "c\n");
}
