#include "fake/TempDir.h"
#include "vds/base/CJsonLog.h"
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace
{
std::string TextOf(const fs::path& p_path)
{
    std::ostringstream text;
    text << std::ifstream(p_path).rdbuf();
    return text.str();
}

/// Limits the file size, to simulate a full disk; the bytes that still fit are written.
class CFullDisk
{
  public:
    explicit CFullDisk(rlim_t p_nBytes)
    {
        std::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &m_old);
        const rlimit limit{p_nBytes, m_old.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~CFullDisk() { ::setrlimit(RLIMIT_FSIZE, &m_old); }

  private:
    rlimit m_old{};
};

class JsonLog : public testing::Test
{
  protected:
    void Open()
    {
        m_log.Open(m_path / "log.jsonl", [this](const std::string& p_strLine) { m_vecstrTold.push_back(p_strLine); });
    }
    const CTempDir m_dir;
    const fs::path m_path = m_dir.Path();
    std::vector<std::string> m_vecstrTold;
    CJsonLog m_log;
};

TEST_F(JsonLog, FullDiskLeavesWholeLinesAndOneLineAMinute)
{
    const CJsonLog::TTime tBegin{};
    Open();
    m_log.Write("{\"n\":1}");
    {
        const CFullDisk disk(12);
        for (int i = 0; i < 100; ++i)
            m_log.Write("{\"n\":22222222}", tBegin + std::chrono::seconds(i));
        EXPECT_EQ(TextOf(m_path / "log.jsonl"), "{\"n\":1}\n");
    }
    ASSERT_EQ(m_vecstrTold.size(), 2U);
    EXPECT_NE(m_vecstrTold[0].find("cannot be written: File too large; lines lost: 1"), std::string::npos);
    EXPECT_NE(m_vecstrTold[1].find("lines lost: 61"), std::string::npos);
    m_log.Write("{\"n\":3}", tBegin + std::chrono::seconds(100));
    EXPECT_EQ(TextOf(m_path / "log.jsonl"), "{\"n\":1}\n{\"n\":3}\n");
    ASSERT_EQ(m_vecstrTold.size(), 3U);
    EXPECT_NE(m_vecstrTold[2].find("writing resumed; lines lost: 100"), std::string::npos);
}

TEST_F(JsonLog, PieceOfALineThatACrashHasLeftIsTakenOff)
{
    std::ofstream(m_path / "log.jsonl") << "{\"n\":1}\n" << std::string(100000, 'x');
    Open();
    m_log.Write("{\"n\":2}");
    EXPECT_EQ(TextOf(m_path / "log.jsonl"), "{\"n\":1}\n{\"n\":2}\n");
}

TEST_F(JsonLog, ReopenGoesOnInANewFileIfThereCanBeOne)
{
    Open();
    m_log.Write("1");
    fs::rename(m_path / "log.jsonl", m_path / "log.jsonl.1");
    m_log.Reopen();
    m_log.Write("2");
    EXPECT_EQ(TextOf(m_path / "log.jsonl.1"), "1\n");
    EXPECT_EQ(TextOf(m_path / "log.jsonl"), "2\n");
    fs::rename(m_path / "log.jsonl", m_path / "log.jsonl.2");
    fs::create_directory(m_path / "log.jsonl");
    m_log.Reopen();
    m_log.Write("3");
    EXPECT_EQ(TextOf(m_path / "log.jsonl.2"), "2\n3\n");
    EXPECT_EQ(m_vecstrTold.size(), 1U);
}

TEST(LineText, ShowsWhatWouldSteerATerminal)
{
    EXPECT_EQ(LineText("0.42 Hz\n\x1b[31m\x7f", 100), "0.42 Hz\\x0a\\x1b[31m\\x7f");
    EXPECT_EQ(LineText("Zürich \xc2\x9b \xe2\x80\xae \xff€", 100), "Zürich \\u009b \\u202e \\xff€");
    EXPECT_EQ(LineText(std::string(1000, 'x'), 10), "xxxxxxxxxx... (1000 bytes)");
}
} // namespace
