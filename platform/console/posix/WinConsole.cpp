#include "WinConsole.h"
#include <algorithm>
#include <mutex>
#include <optional>
#include <sys/ioctl.h>
#include <unistd.h>

namespace
{
thread_local DWORD g_nLastError = 0;

std::mutex g_mtxConsole;
std::optional<COORD> g_buffer;      ///< as set; nullopt: the window's size
std::optional<SMALL_RECT> g_window; ///< as set; nullopt: the terminal's size

BOOL Fail(DWORD p_nError)
{
    g_nLastError = p_nError;
    return 0;
}

HANDLE OutputHandle()
{
    static char s_cMark = 0;
    return &s_cMark;
}

/// Size of the terminal on standard output; nullopt if it is not a terminal.
std::optional<COORD> TerminalSize(HANDLE p_hConsole)
{
    winsize size{};
    if (p_hConsole != OutputHandle() || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0)
        return std::nullopt;
    return COORD{static_cast<SHORT>(std::min<int>(size.ws_col, INT16_MAX)),
                 static_cast<SHORT>(std::min<int>(size.ws_row, INT16_MAX))};
}

SMALL_RECT Window(COORD p_terminal)
{
    return g_window.value_or(
        SMALL_RECT{0, 0, static_cast<SHORT>(p_terminal.X - 1), static_cast<SHORT>(p_terminal.Y - 1)});
}
} // namespace

HANDLE GetStdHandle(DWORD p_nStdHandle)
{
    return p_nStdHandle == STD_OUTPUT_HANDLE ? OutputHandle() : nullptr;
}

BOOL SetConsoleScreenBufferSize(HANDLE p_hConsole, COORD p_size)
{
    const auto terminal = TerminalSize(p_hConsole);
    if (!terminal)
        return Fail(ERROR_INVALID_HANDLE);
    const std::lock_guard lock(g_mtxConsole);
    const SMALL_RECT window = Window(*terminal);
    if (p_size.X < 1 || p_size.Y < 1 || window.Right >= p_size.X || window.Bottom >= p_size.Y)
        return Fail(ERROR_INVALID_PARAMETER);
    g_buffer = p_size;
    return 1;
}

BOOL GetConsoleScreenBufferInfo(HANDLE p_hConsole, CONSOLE_SCREEN_BUFFER_INFO* p_pInfo)
{
    const auto terminal = TerminalSize(p_hConsole);
    if (!terminal || !p_pInfo)
        return Fail(terminal ? ERROR_INVALID_PARAMETER : ERROR_INVALID_HANDLE);
    const std::lock_guard lock(g_mtxConsole);
    *p_pInfo = {};
    p_pInfo->dwSize = g_buffer.value_or(*terminal);
    p_pInfo->srWindow = Window(*terminal);
    p_pInfo->dwMaximumWindowSize = p_pInfo->dwSize;
    return 1;
}

BOOL SetConsoleWindowInfo(HANDLE p_hConsole, BOOL p_bAbsolute, const SMALL_RECT* p_pWindow)
{
    const auto terminal = TerminalSize(p_hConsole);
    if (!terminal || !p_pWindow)
        return Fail(terminal ? ERROR_INVALID_PARAMETER : ERROR_INVALID_HANDLE);
    const std::lock_guard lock(g_mtxConsole);
    const SMALL_RECT old = p_bAbsolute ? SMALL_RECT{} : Window(*terminal);
    const int nLeft = old.Left + p_pWindow->Left;
    const int nTop = old.Top + p_pWindow->Top;
    const int nRight = old.Right + p_pWindow->Right;
    const int nBottom = old.Bottom + p_pWindow->Bottom;
    const COORD buffer = g_buffer.value_or(*terminal);
    if (nLeft < 0 || nTop < 0 || nRight < nLeft || nBottom < nTop || nRight >= buffer.X || nBottom >= buffer.Y)
        return Fail(ERROR_INVALID_PARAMETER);

    winsize size{};
    size.ws_col = static_cast<unsigned short>(nRight - nLeft + 1);
    size.ws_row = static_cast<unsigned short>(nBottom - nTop + 1);
    if (ioctl(STDOUT_FILENO, TIOCSWINSZ, &size) != 0)
        return Fail(ERROR_INVALID_HANDLE);
    g_window = SMALL_RECT{static_cast<SHORT>(nLeft), static_cast<SHORT>(nTop), static_cast<SHORT>(nRight),
                          static_cast<SHORT>(nBottom)};
    return 1;
}

DWORD GetLastError()
{
    return g_nLastError;
}
