#pragma once
#include "host/base/AppState.h"
#include "host/base/CTraceOMA.h"
#include <cstdint>
#include <string>

class CReadFileMeas;

/// Main sequence of the process: trace, command line, passes, final wait. Runs on the main thread in console mode and
/// on the service thread in service mode. @return always 0.
std::uint32_t RunApplication(int p_nArgc, wchar_t* p_ppArgv[]);
/// One pass: builds everything from the configuration file, runs it, frees it. Always true; only the state changes.
bool RunApplicationLoop(const std::string& p_strConfigFile, int p_nReserved, CReadFileMeas* p_pReadFile,
                        CTraceOMA* p_pTrace);
/// Sets the stop state and wakes the event thread. Any thread.
void StopApplication();
/// -study takes precedence over an accepted -measfile:.
EDataSource GetDataSource();
