#pragma once
#include <string>

/// Program name and configuration file of the command line.
class CShellBAS
{
  public:
    /// First pass: -xml:, the trace filter and the trace data switches.
    /// @return 0 no arguments, 1 no -xml:, 2 the file cannot be opened, 3 nothing but -xml:, 4 more options follow.
    int ExtractCmdLineParsBAS(int p_nArgc, wchar_t* p_ppArgv[]);
    /// Console window of the given screen buffer size. Nobody calls it at present.
    bool SetupCmdwindow(int p_nColumns, int p_nLines);

    /// Path as stored: in lower case. Opening it finds the file that the user named (platform/files).
    std::wstring GetConfigFile() const { return m_wstrConfigFile; }

  protected:
    std::wstring m_wstrProgName;
    std::wstring m_wstrConfigFile;
    std::wstring m_wstrReserved;
};
