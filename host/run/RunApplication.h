#pragma once
#include "host/base/AppState.h"
#include "host/base/CTraceOMA.h"
#include <cstdint>
#include <string>

class CReadFileMeas;

/// Spine of the process: trace, command line, cycle of passes, final wait. On the main thread in console mode, on the
/// service thread in service mode. @return always 0.
std::uint32_t RunApplication(int p_nArgc, wchar_t* p_ppArgv[]);
/// One pass: builds everything from the configuration file, runs it, throws it away. Always true: the state alone tells.
bool RunApplicationLoop(const std::string& p_strConfigFile, int p_nReserved, CReadFileMeas* p_pReadFile,
                        CTraceOMA* p_pTrace);
/// From any thread: sets the stop state and wakes the event thread.
void StopApplication();
/// -study wins over an accepted -measfile:.
EDataSource GetDataSource();
