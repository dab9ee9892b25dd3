#pragma once
#include <string>

/// Reads the program name and the configuration file from the command line.
class CShellBAS
{
  public:
    /// First pass: -xml:, the trace filter and the trace data switches.
    /// @return 0 no arguments, 1 no -xml:, 2 the file cannot be opened, 3 nothing but -xml:, 4 more options follow.
    int ExtractCmdLineParsBAS(int p_nArgc, wchar_t* p_ppArgv[]);
    /// Console window with the given screen buffer size. Currently unused.
    bool SetupCmdwindow(int p_nColumns, int p_nLines);

    /// Path in lower case. Opening it still finds the file that the user named (platform/files).
    std::wstring GetConfigFile() const { return m_wstrConfigFile; }

  protected:
    std::wstring m_wstrProgName;
    std::wstring m_wstrConfigFile;
    std::wstring m_wstrReserved;
};
