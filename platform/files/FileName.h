#pragma once
#include <filesystem>
#include <string>

/// Path on this system for a name as the application knows it: wide, with drive letter "c:\" (the directory in
/// OMA_RESULT_DIR, by default the current one) or lower-cased from the command line. Backslashes separate.
/// For a file to be written.
std::filesystem::path FileNameForWriting(const std::wstring& p_wstrName);
/// For a result file, "c:\" and a name that holds words of the configuration: whatever they are, the file lies in the
/// directory of the results itself. Separators and control characters become '_', and what is too long for a name is cut
/// out ahead of its end. A name without a drive is taken as it stands.
std::filesystem::path FileNameForResult(const std::wstring& p_wstrName);
/// The same for a file to be read: the file that the user named (FileNameRemember) if this is its lower-cased name,
/// otherwise the file of exactly this name, otherwise one whose name differs only in case. If there is none, the path as
/// for writing.
std::filesystem::path FileNameForReading(const std::wstring& p_wstrName);
/// Whether FileNameForReading finds a file (no folder) that opens for reading.
bool FileCanBeRead(const std::wstring& p_wstrName);
/// Notes the spelling of a path as the user gave it, before it is lower-cased. Of two that differ only in case the later
/// one counts.
void FileNameRemember(const std::wstring& p_wstrAsGiven);
/// Conversions in UTF-8; bytes or characters that fit nothing become '?'.
std::string NarrowText(const std::wstring& p_wstrText);
std::wstring WideText(const std::string& p_strText);
