#include "vds/base/Options.h"
#include <boost/program_options/errors.hpp>
#include <boost/program_options/options_description.hpp>
#include <boost/program_options/parsers.hpp>
#include <boost/program_options/value_semantic.hpp>
#include <stdexcept>
#include <utility>

namespace po = boost::program_options;

namespace
{
constexpr int g_nStyle = po::command_line_style::allow_long | po::command_line_style::long_allow_adjacent |
                         po::command_line_style::long_allow_next;

std::pair<std::string, std::string> ReadXml(const std::string& p_strArg)
{
    constexpr std::size_t nValue = 5;
    if (!p_strArg.starts_with("-xml:"))
        return {};
    // Without this, the library would take the next argument as the file.
    if (p_strArg.size() == nValue)
        throw std::runtime_error("option '-xml:FILE' is missing");
    return {g_pXmlOption, p_strArg.substr(nValue)};
}

po::options_description Description(const SOptionNames& p_names)
{
    po::options_description options;
    for (const std::string& strName : p_names.vecstrFlag)
        options.add_options()(strName.c_str(), "");
    for (const std::string& strName : p_names.vecstrValued)
        options.add_options()(strName.c_str(), po::value<std::string>());
    if (p_names.bXml)
        options.add_options()(g_pXmlOption, po::value<std::string>());
    return options;
}

std::vector<po::option> Parse(const std::vector<std::string>& p_vecstrArg, const SOptionNames& p_names)
{
    const po::options_description options = Description(p_names);
    const auto NoValue = [](const std::string& p_strOption)
    { return std::runtime_error("option '" + p_strOption + "': expected a value after it"); };
    try
    {
        po::command_line_parser parser(p_vecstrArg);
        parser.options(options).style(g_nStyle);
        if (p_names.bXml)
            parser.extra_parser(ReadXml);
        std::vector<po::option> vecOption = parser.run().options;
        for (const po::option& option : vecOption)
        {
            if (!option.value.empty() && option.value[0].empty() && !option.string_key.empty())
                throw NoValue("--" + option.string_key);
        }
        return vecOption;
    }
    catch (const po::unknown_option& ex)
    {
        throw std::runtime_error("option '" + ex.get_option_name() + "' is unknown");
    }
    catch (const po::invalid_command_line_syntax& ex)
    {
        if (ex.kind() == po::invalid_syntax::extra_parameter)
            throw std::runtime_error("option '" + ex.get_option_name() + "': expected no value");
        throw NoValue(ex.get_option_name());
    }
    catch (const po::error& ex)
    {
        throw std::runtime_error(ex.what());
    }
}
} // namespace

std::vector<SArgument> ReadArguments(const std::vector<std::string>& p_vecstrArg, const SOptionNames& p_names)
{
    std::vector<SArgument> vecArgument;
    for (po::option& option : Parse(p_vecstrArg, p_names))
        vecArgument.push_back({std::move(option.string_key), option.value.empty() ? "" : std::move(option.value[0])});
    return vecArgument;
}
