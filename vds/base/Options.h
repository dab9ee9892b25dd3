#pragma once
#include <string>
#include <vector>

/// What a program accepts, names without the dashes.
struct SOptionNames
{
    std::vector<std::string> vecstrFlag;   ///< --NAME
    std::vector<std::string> vecstrValued; ///< --NAME VALUE or --NAME=VALUE
    bool bXml = false;                     ///< -xml:FILE, the spelling that all programs share
};

/// Name of -xml:FILE in an SArgument.
inline constexpr const char* g_pXmlOption = "xml:";

/// An option of a command line, or a word that belongs to none.
struct SArgument
{
    std::string strOption; ///< without the dashes; empty: a word
    std::string strValue;  ///< of the option, or the word; empty: the option takes none
};

/// Options and words in the order of the line. Names cannot be shortened; an option may come more than once.
/// @throws std::runtime_error with one line that names the option and what was expected.
std::vector<SArgument> ReadArguments(const std::vector<std::string>& p_vecstrArg, const SOptionNames& p_names);
