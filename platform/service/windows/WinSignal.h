#pragma once
#include <csignal>

/// Here the run-time library accepts the numbers directly.
using SignalFunction = void (*)(int p_nSignal);
inline bool InstallSignalHandler(int p_nSignal, SignalFunction p_fnHandler)
{
    return std::signal(p_nSignal, p_fnHandler) != SIG_ERR;
}
