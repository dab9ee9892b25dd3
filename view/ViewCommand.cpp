#include "view/ViewCommand.h"
#include <charconv>
#include <map>
#include <stdexcept>

const char* const g_pViewUsage =
    "usage: omaview -xml:FILE [--listen ADDR] [--port N] [--data FILE] [--page DIR]\n"
    "       omaview -xml:FILE --test-notice NAME\n"
    "       omaview --add-user NAME viewer|operator       reads the password from the standard input\n"
    "       omaview --add-machine NAME viewer|operator    both print a line for the file of users\n"
    "       omaview --help | --version\n";

SViewCommand ParseViewCommand(const std::vector<std::string>& p_vecstrArg)
{
    SViewCommand command;
    std::string strPort;
    const std::map<std::string, std::string*> mapOption = {
        {"--listen", &command.strListen},          {"--port", &strPort},
        {"--data", &command.strDatabase},          {"--page", &command.strPage},
        {"--test-notice", &command.strTestNotice}, {"--add-user", &command.strAddUser},
        {"--add-machine", &command.strAddUser}};
    for (std::size_t i = 0; i < p_vecstrArg.size(); ++i)
    {
        const std::string& strArg = p_vecstrArg[i];
        const auto it = mapOption.find(strArg);
        if (strArg.starts_with("-xml:"))
            command.strConfig = strArg.substr(5);
        else if (it == mapOption.end())
            throw std::runtime_error("option '" + strArg + "' is unknown");
        else if (i + 1 == p_vecstrArg.size() || p_vecstrArg[i + 1].empty())
            throw std::runtime_error("option '" + strArg + "': expected a value after it");
        else
            *it->second = p_vecstrArg[++i];
        if (it == mapOption.end() || it->second != &command.strAddUser)
            continue;
        command.bMachine = strArg == "--add-machine";
        if (++i == p_vecstrArg.size())
            throw std::runtime_error("option '" + strArg + "': expected a name and viewer or operator after it");
        command.strRole = p_vecstrArg[i];
    }
    if (!strPort.empty())
    {
        const char* pEnd = strPort.data() + strPort.size();
        const auto result = std::from_chars(strPort.data(), pEnd, command.nPort);
        if (result.ec != std::errc() || result.ptr != pEnd || command.nPort < 0 || command.nPort > 65535)
            throw std::runtime_error("option '--port': expected 0 to 65535, got '" + strPort + "'");
    }
    if (command.strConfig.empty() && command.strAddUser.empty())
        throw std::runtime_error("option '-xml:FILE' is missing");
    return command;
}
