#pragma once

/// Console signals under the numbers of the platform: 2 interrupt, 4 illegal instruction, 8 floating-point error,
/// 15 termination, 21 console break, 22 abort.
using SignalFunction = void (*)(int p_nSignal);

/// From now on the first signal of this number calls the function, on a thread of this layer, so that it may do what
/// ordinary code may do; the second one takes the platform's default action. Call before any other thread is made.
/// @return false for an unknown number.
bool InstallSignalHandler(int p_nSignal, SignalFunction p_fnHandler);
/// Ends the thread; signals that come later wait. For the end of the process.
void StopSignalThread();
