#include "Version.h"
#include "host/check/CConfigCheck.h"
#include <boost/program_options.hpp>
#include <cstdio>
#include <string>

namespace po = boost::program_options;

namespace
{
constexpr const char* g_pUsage = "usage: omacheck FILE\n"
                                 "       omacheck --help | --version\n";

/// Empty if the options are not as the usage says.
po::variables_map ReadOptions(int p_nArgc, char* p_ppArgv[])
{
    constexpr int nStyle = po::command_line_style::allow_long | po::command_line_style::long_allow_adjacent |
                           po::command_line_style::long_allow_next;
    po::options_description options;
    options.add_options()("help", "")("version", "")("file", po::value<std::string>());
    po::variables_map mapOption;
    try
    {
        po::positional_options_description words;
        words.add("file", 1);
        po::store(po::command_line_parser(p_nArgc, p_ppArgv).options(options).positional(words).style(nStyle).run(),
                  mapOption);
    }
    catch (const po::error&)
    {
        return {};
    }
    return mapOption.size() == 1 ? mapOption : po::variables_map();
}
} // namespace

int main(int p_nArgc, char* p_ppArgv[])
{
    const po::variables_map mapOption = ReadOptions(p_nArgc, p_ppArgv);
    if (mapOption.count("help") != 0)
        return std::printf("%s", g_pUsage) < 0 ? 1 : 0;
    if (mapOption.count("version") != 0)
        return std::printf("omacheck %s\n", g_pVersion) < 0 ? 1 : 0;
    const std::string strFile = mapOption.count("file") != 0 ? mapOption["file"].as<std::string>() : "";
    if (strFile.empty())
    {
        std::fprintf(stderr, "%s", g_pUsage);
        return 2;
    }
    CConfigCheck check(strFile);
    const bool bOk = check.Run();
    std::fputs(check.Findings().c_str(), bOk ? stdout : stderr);
    std::fputs(check.Figures().c_str(), stdout);
    std::printf("%s: %s\n", strFile.c_str(), bOk ? "would be accepted" : "would be refused");
    return std::fflush(stdout) != 0 || !bOk ? 1 : 0;
}
