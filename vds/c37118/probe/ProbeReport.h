#pragma once
#include "vds/c37118/probe/CProbe.h"

/// What a probe has found, in plain words.
std::string ProbeText(const CProbe& p_probe);

/// The pieces of configuration for it: Synchrophasors with a Stream, and the MeasurementUnits of its data points. Ids
/// follow from the stream's ID, so that several devices can stand in one file.
std::string ProbePieces(const CProbe& p_probe);

/// A whole configuration with one job: active power where a PMU has voltage and current, else the angle between two
/// PMUs. @return an empty text if the stream has neither.
std::string ProbeConfiguration(const CProbe& p_probe);

/// vdsctl probe HOST:PORT[/ID] [--udp] [--seconds N] [--xml FILE]. @param p_vecstrArg what follows "probe".
/// @return the exit status; failures are one line on stderr.
int RunProbe(const std::vector<std::string>& p_vecstrArg);
