#pragma once

/// Include this in the one source file that defines wmain: here the run-time library calls main.
int wmain(int p_nArgc, wchar_t* p_ppArgv[]);
/// Calls p_fnMain with the arguments as wide text. SIGPIPE is ignored from here on, and so is SIGXFSZ: a file at its
/// size limit is handled like a full disk.
int RunWideMain(int p_nArgc, char* p_ppArgv[], int (*p_fnMain)(int p_nArgc, wchar_t* p_ppArgv[]));

#ifndef OMA_NO_MAIN
int main(int p_nArgc, char* p_ppArgv[])
{
    return RunWideMain(p_nArgc, p_ppArgv, &wmain);
}
#endif
