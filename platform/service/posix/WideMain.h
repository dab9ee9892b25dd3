#pragma once

/// To be included by the one source file that makes a program: the run time here calls main, the program has wmain.
int wmain(int p_nArgc, wchar_t* p_ppArgv[]);
/// Calls p_fnMain with the arguments in wide text; SIGPIPE is ignored from here on, and
/// SIGXFSZ: a file that may not grow is like a full disk.
int RunWideMain(int p_nArgc, char* p_ppArgv[], int (*p_fnMain)(int p_nArgc, wchar_t* p_ppArgv[]));

#ifndef OMA_NO_MAIN
int main(int p_nArgc, char* p_ppArgv[])
{
    return RunWideMain(p_nArgc, p_ppArgv, &wmain);
}
#endif
