#pragma once
#include <csignal>

/// Here the run time takes the numbers as they are.
using SignalFunction = void (*)(int p_nSignal);
inline bool InstallSignalHandler(int p_nSignal, SignalFunction p_fnHandler)
{
    return std::signal(p_nSignal, p_fnHandler) != SIG_ERR;
}
