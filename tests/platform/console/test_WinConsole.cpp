#include "WinConsole.h"
#include <cstdio>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace
{
/// Puts another file in the place of the standard output while it lives.
class COutputAs
{
  public:
    explicit COutputAs(int p_nFile) : m_nSaved((std::fflush(stdout), dup(STDOUT_FILENO)))
    {
        dup2(p_nFile, STDOUT_FILENO);
    }
    ~COutputAs()
    {
        dup2(m_nSaved, STDOUT_FILENO);
        close(m_nSaved);
    }
    COutputAs(const COutputAs&) = delete;
    COutputAs& operator=(const COutputAs&) = delete;

  private:
    int m_nSaved;
};

struct STerminal
{
    explicit STerminal(unsigned short p_nColumns, unsigned short p_nLines)
    {
        winsize size{};
        size.ws_col = p_nColumns;
        size.ws_row = p_nLines;
        EXPECT_EQ(openpty(&nMaster, &nSlave, nullptr, nullptr, &size), 0);
    }
    ~STerminal()
    {
        close(nMaster);
        close(nSlave);
    }
    int nMaster = -1;
    int nSlave = -1;
};
} // namespace

TEST(WinConsole, WindowMustLieWithinTheBuffer)
{
    const STerminal terminal(100, 40);
    const SMALL_RECT low{0, 60, 149, 99};
    const SMALL_RECT moved{0, -10, -50, -10};
    CONSOLE_SCREEN_BUFFER_INFO before;
    CONSOLE_SCREEN_BUFFER_INFO after;
    BOOL bTooSmall = 1;
    DWORD nError = 0;
    BOOL bBuffer = 0;
    BOOL bLow = 0;
    BOOL bMoved = 0;
    BOOL bShrink = 1;
    {
        const COutputAs output(terminal.nSlave);
        const HANDLE hConsole = GetStdHandle(STD_OUTPUT_HANDLE);
        GetConsoleScreenBufferInfo(hConsole, &before);
        bTooSmall = SetConsoleWindowInfo(hConsole, 1, &low);
        nError = GetLastError();
        bBuffer = SetConsoleScreenBufferSize(hConsole, {150, 300});
        bLow = SetConsoleWindowInfo(hConsole, 1, &low);
        bMoved = SetConsoleWindowInfo(hConsole, 0, &moved);
        GetConsoleScreenBufferInfo(hConsole, &after);
        bShrink = SetConsoleScreenBufferSize(hConsole, {150, 60});
    }
    EXPECT_EQ(before.dwSize.X, 100);
    EXPECT_EQ(before.srWindow.Bottom, 39);
    EXPECT_FALSE(bTooSmall);
    EXPECT_EQ(nError, ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(bBuffer);
    EXPECT_TRUE(bLow);
    EXPECT_TRUE(bMoved);
    EXPECT_EQ(after.dwSize.Y, 300);
    EXPECT_EQ(after.srWindow.Top, 50);
    EXPECT_EQ(after.srWindow.Right, 99);
    EXPECT_FALSE(bShrink) << "the window would lie outside";
    winsize size{};
    ASSERT_EQ(ioctl(terminal.nMaster, TIOCGWINSZ, &size), 0);
    EXPECT_EQ(size.ws_col, 100);
    EXPECT_EQ(size.ws_row, 40);
}
