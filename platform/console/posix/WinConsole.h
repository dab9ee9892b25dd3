#pragma once
#include "WinEvents.h"

/// Console calls under the platform's own names. All return 0 on failure; GetLastError returns the reason.
using SHORT = std::int16_t;

struct COORD
{
    SHORT X = 0;
    SHORT Y = 0;
};
struct SMALL_RECT
{
    SHORT Left = 0, Top = 0, Right = 0, Bottom = 0;
};
struct CONSOLE_SCREEN_BUFFER_INFO
{
    COORD dwSize;           ///< of the buffer
    COORD dwCursorPosition; ///< unknown here: 0, 0
    std::uint16_t wAttributes = 0;
    SMALL_RECT srWindow;
    COORD dwMaximumWindowSize;
};

inline constexpr DWORD STD_OUTPUT_HANDLE = static_cast<DWORD>(-11);
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;

/// @return handle of the standard output; null for anything else.
HANDLE GetStdHandle(DWORD p_nStdHandle);
BOOL SetConsoleScreenBufferSize(HANDLE p_hConsole, COORD p_size);
BOOL GetConsoleScreenBufferInfo(HANDLE p_hConsole, CONSOLE_SCREEN_BUFFER_INFO* p_pInfo);
/// @param p_bAbsolute 0: the edges are offsets from those of the current window.
BOOL SetConsoleWindowInfo(HANDLE p_hConsole, BOOL p_bAbsolute, const SMALL_RECT* p_pWindow);
/// Error of the last call of this layer that failed on this thread.
DWORD GetLastError();
