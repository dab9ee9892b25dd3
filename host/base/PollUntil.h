#pragma once
#include "WinEvents.h"
#include <cstdint>

/// Polls a condition p_nPasses times, spread evenly over p_nTotal_ms, and once more at the end. Used for handshakes
/// between threads that set plain flags. The thread that sets the flag may signal the event afterwards to end the
/// current pass early; a spurious signal only costs one extra check. @return false on timeout.
template <class TDone>
bool PollUntil(TDone p_fnDone, unsigned p_nPasses, DWORD p_nTotal_ms, HANDLE p_hBell = nullptr)
{
    const auto fnUntil_ms = [=](unsigned p_nPass) { return std::uint64_t{p_nTotal_ms} * p_nPass / p_nPasses; };
    for (unsigned nPass = 0; nPass < p_nPasses; ++nPass)
    {
        if (p_fnDone())
            return true;
        const auto nPass_ms = static_cast<DWORD>(fnUntil_ms(nPass + 1) - fnUntil_ms(nPass));
        if (p_hBell)
            WaitForSingleObject(p_hBell, nPass_ms);
        else
            Sleep(nPass_ms);
    }
    return p_fnDone();
}
