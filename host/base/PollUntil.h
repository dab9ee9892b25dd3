#pragma once
#include "WinEvents.h"
#include <cstdint>

/// Polls a condition: p_nPasses times, spread evenly over p_nTotal_ms, and once more at the end. For the handshakes of
/// plain flags between threads. An event that is set behind the flag saves the rest of a pass; one that is set for nothing
/// costs no more than that. @return false when the time has run out.
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
