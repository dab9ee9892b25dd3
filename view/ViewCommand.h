#pragma once
#include <string>
#include <vector>

extern const char* const g_pViewUsage;

struct SViewCommand
{
    std::string strConfig;
    std::string strListen;     ///< empty: as the configuration says
    int nPort = -1;            ///< -1: as the configuration says; 0: chosen by the system
    std::string strDatabase;   ///< empty: as the configuration says
    std::string strPage;       ///< folder of the page; empty: beside the program
    std::string strTestNotice; ///< name of a receiver
    std::string strAddUser;    ///< "NAME" of --add-user or --add-machine
    std::string strRole;
    bool bMachine = false;
};

/// @throws std::runtime_error with one line.
SViewCommand ParseViewCommand(const std::vector<std::string>& p_vecstrArg);
