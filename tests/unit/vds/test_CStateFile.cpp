#include "fake/TempDir.h"
#include "vds/core/CStateFile.h"
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <vector>

namespace
{
using Lines = std::vector<std::string>;

class StateFile : public testing::Test
{
  protected:
    void Write(const std::string& p_strText, const std::string& p_strEnd = {}) const
    {
        std::ofstream(m_strPath + p_strEnd, std::ios::binary) << p_strText;
    }
    std::string Text() const
    {
        std::ifstream file(m_strPath, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    Lines Open(CStateFile& r_file) const
    {
        Lines vecstrLine;
        r_file.Open(m_strPath,
                    [&](const std::string& p_strLine, unsigned p_nLine)
                    {
                        vecstrLine.push_back(p_strLine);
                        EXPECT_EQ(p_nLine, vecstrLine.size());
                    });
        EXPECT_EQ(r_file.Size(), std::filesystem::file_size(m_strPath));
        return vecstrLine;
    }
    const CTempDir m_dir;
    const std::string m_strPath = m_dir.Path() / "state";
};
} // namespace

TEST_F(StateFile, WholeLinesAreReadWhatFollowsThemIsTakenOff)
{
    const std::string strZeros(5, '\0');
    const std::tuple<std::string, Lines, std::string> vecCase[] = {
        {"", {}, ""},   {"a\n\nb\n", {"a", "", "b"}, "a\n\nb\n"}, {"a\nb", {"a"}, "a\n"},
        {"ab", {}, ""}, {"a\n" + strZeros, {"a"}, "a\n"},         {"a\nb" + strZeros + "\n", {"a"}, "a\n"}};
    for (const auto& [strText, vecstrWant, strLeft] : vecCase)
    {
        Write(strText);
        CStateFile file;
        EXPECT_FALSE(file.IsOpen());
        EXPECT_EQ(Open(file), vecstrWant) << strText;
        EXPECT_EQ(Text(), strLeft);
        file.Append("next");
        EXPECT_EQ(Text(), strLeft + "next\n");
        EXPECT_EQ(file.Size(), strLeft.size() + 5);
    }
    CStateFile file;
    EXPECT_THROW(file.Open(m_dir.Path() / "none/state", {}), std::runtime_error);
    EXPECT_FALSE(file.IsOpen());
}

TEST_F(StateFile, ReplacementTakesThePlaceOfAllLines)
{
    Write("a\nb\n");
    Write("left by a crash", ".new");
    CStateFile file;
    Open(file);
    file.Replace("c\n");
    EXPECT_EQ(Text(), "c\n");
    EXPECT_EQ(file.Size(), 2U);
    file.Append("d");
    EXPECT_EQ(Text(), "c\nd\n");
    EXPECT_FALSE(std::filesystem::exists(m_strPath + ".new"));
    std::filesystem::create_directories(m_strPath + ".new/full"); // blocks the new file
    EXPECT_THROW(file.Replace("e\n"), std::runtime_error);
    file.Append("f");
    EXPECT_EQ(Text(), "c\nd\nf\n") << "the old file stays in use";
}

TEST_F(StateFile, LineThatDoesNotFitOnTheDiskLeavesNoPiece)
{
    CStateFile file;
    Open(file);
    file.Append("first");
    std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit limitOld;
    ::getrlimit(RLIMIT_FSIZE, &limitOld);
    struct rlimit limit = limitOld;
    limit.rlim_cur = 10; // part of the line can be written
    ::setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_THROW(file.Append("too long for it"), std::runtime_error);
    ::setrlimit(RLIMIT_FSIZE, &limitOld);
    std::signal(SIGXFSZ, SIG_DFL);
    EXPECT_EQ(Text(), "first\n");
    EXPECT_EQ(file.Size(), 6U);
    file.Append("next");
    EXPECT_EQ(Text(), "first\nnext\n");
}
