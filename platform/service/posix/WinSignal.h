#pragma once

/// Console signals under the platform's numbers: 2 interrupt, 4 illegal instruction, 8 floating-point error, 15
/// termination, 21 console break, 22 abort.
using SignalFunction = void (*)(int p_nSignal);

/// From now on the first signal of this number calls the function on a thread of this layer, where ordinary code is
/// allowed; the second one takes the platform's default action. Call before any other thread is created.
/// @return false for an unknown number.
bool InstallSignalHandler(int p_nSignal, SignalFunction p_fnHandler);
/// Ends the thread; later signals stay pending. For the end of the process.
void StopSignalThread();
