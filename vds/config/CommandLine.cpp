#include "vds/config/CommandLine.h"
#include "vds/base/IsoTime.h"
#include "vds/base/Options.h"
#include <charconv>
#include <cmath>
#include <filesystem>
#include <stdexcept>

const char* const g_pVdsUsage =
    "usage: vds -xml:FILE [--simulate SCENARIO | --replay FILE.csv|FILE.pcap] [--speed N|max] [--once]\n"
    "           [--log-dir DIR] [--log-measurements] [--listen ADDR] [--start ISO] [--state FILE]\n"
    "       without a scenario or recording: the live streams of the configuration\n"
    "       vds --help | --version\n";

namespace
{
double ParseSpeed(const std::string& p_strText)
{
    if (p_strText == "max")
        return 0.0;
    double fSpeed = 0.0;
    const char* pEnd = p_strText.data() + p_strText.size();
    const std::from_chars_result result = std::from_chars(p_strText.data(), pEnd, fSpeed);
    if (result.ec != std::errc() || result.ptr != pEnd || !std::isfinite(fSpeed) || fSpeed < 0.001 || fSpeed > 1e6)
        throw std::runtime_error("option '--speed': expected a number from 0.001 to 1000000 or 'max', got '" +
                                 p_strText + "'");
    return fSpeed;
}

std::int64_t ParseStart(const std::string& p_strText)
{
    const std::optional<std::int64_t> nTicks = TicksFromIso(p_strText);
    if (!nTicks)
        throw std::runtime_error("option '--start': expected a time such as 2026-03-05T10:00:00Z, got '" + p_strText +
                                 "'");
    return *nTicks;
}

void SetSource(SVdsCommand& r_command, const std::string& p_strPath, bool p_bReplay)
{
    if (!r_command.strSource.empty())
        throw std::runtime_error("options '--simulate' and '--replay': expected only one of them, once");
    r_command.strSource = p_strPath;
    r_command.bReplay = p_bReplay;
}

void TakeOption(SVdsCommand& r_command, const std::string& p_strOption, const std::string& p_strValue)
{
    if (p_strOption == g_pXmlOption)
        r_command.strConfig = p_strValue;
    else if (p_strOption == "once")
        r_command.options.bOnce = true;
    else if (p_strOption == "log-measurements")
        r_command.options.bLogMeasurements = true;
    else if (p_strOption == "simulate" || p_strOption == "replay")
        SetSource(r_command, p_strValue, p_strOption == "replay");
    else if (p_strOption == "speed")
    {
        r_command.options.fSpeed = ParseSpeed(p_strValue);
        r_command.bPaced = true;
    }
    else if (p_strOption == "log-dir")
        r_command.options.strLogDir = p_strValue;
    else if (p_strOption == "listen")
        r_command.strListen = p_strValue;
    else if (p_strOption == "start")
        r_command.nStart = ParseStart(p_strValue);
    else if (p_strOption == "state")
        r_command.options.strStateFile = p_strValue;
    else
        throw std::runtime_error("option '" + p_strValue + "' is unknown");
}
} // namespace

SVdsCommand ParseVdsCommand(const std::vector<std::string>& p_vecstrArg)
{
    static const SOptionNames names = {
        {"once", "log-measurements"}, {"simulate", "replay", "speed", "log-dir", "listen", "start", "state"}, true};
    SVdsCommand command;
    for (const SArgument& argument : ReadArguments(p_vecstrArg, names))
        TakeOption(command, argument.strOption, argument.strValue);
    if (command.strConfig.empty())
        throw std::runtime_error("option '-xml:FILE' is missing");
    if (command.strSource.empty() && (command.bPaced || command.options.bOnce))
        throw std::runtime_error("options '--speed' and '--once': allowed only with '--simulate' or '--replay'; live "
                                 "streams have their own pace and no end");
    if (command.nStart != 0 && !command.bReplay)
        throw std::runtime_error("option '--start': allowed only with '--replay'; a scenario sets its own start");
    if (!command.options.strLogDir.empty() && !std::filesystem::is_directory(command.options.strLogDir))
        throw std::runtime_error("option '--log-dir': '" + command.options.strLogDir +
                                 "' is not a directory: expected an existing one");
    if (command.strSource.empty())
        command.options.fSpeed = 0.0; // each cycle is due when it arrives
    command.options.bLive = command.strSource.empty() || (!command.bReplay && command.options.fSpeed == 1.0);
    return command;
}
