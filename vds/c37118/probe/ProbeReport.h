#pragma once
#include "vds/c37118/probe/CProbe.h"

/// The findings of a probe as readable text.
std::string ProbeText(const CProbe& p_probe);

/// The matching parts of the configuration: Synchrophasors with a Stream, and the MeasurementUnits of its data points.
/// Ids derive from the stream's ID, so that one file can hold several devices.
std::string ProbePieces(const CProbe& p_probe);

/// A complete configuration with one job: active power if a PMU has voltage and current, otherwise the angle between
/// two PMUs. @return an empty text if the stream has neither.
std::string ProbeConfiguration(const CProbe& p_probe);

/// vdsctl probe HOST:PORT[/ID] [--udp] [--seconds N] [--xml FILE]. @param p_vecstrArg what follows "probe".
/// @return the exit status; a failure prints one line on stderr.
int RunProbe(const std::vector<std::string>& p_vecstrArg);
