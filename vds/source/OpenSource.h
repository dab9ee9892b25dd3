#pragma once
#include "vds/base/ISource.h"

#include <cstdint>
#include <memory>
#include <string>

/// Opens a recording; checks its header and its first lines.
/// @param p_nStartTicks time of second 0 where the file counts seconds; 0: 2000-01-01T00:00:00Z.
/// @return null with one line in *p_pstrError that names the file, the line, the column and what was expected.
std::unique_ptr<ISource> OpenReplay(const std::string& p_strPath, std::int64_t p_nStartTicks, std::string* p_pstrError);

/// Opens a scenario for the simulator.
/// @return null with one line in *p_pstrError that names the file, the member and what was expected.
std::unique_ptr<ISource> OpenSimulator(const std::string& p_strPath, std::string* p_pstrError);
