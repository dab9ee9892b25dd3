#pragma once
#include <filesystem>
#include <string>

/// Path on this system for a name as the application knows it: wide, with drive letter "c:\" (the directory in
/// OMA_RESULT_DIR, by default the current one) or lower-cased from the command line. Backslashes separate.
/// For a file to be written.
std::filesystem::path FileNameForWriting(const std::wstring& p_wstrName);
/// The same for a file to be read: if no file of exactly this name exists, one whose name differs only in case is taken,
/// the one that the user named first (FileNameRemember) before any other.
std::filesystem::path FileNameForReading(const std::wstring& p_wstrName);
/// Notes the spelling of a path as the user gave it, before it is lower-cased.
void FileNameRemember(const std::wstring& p_wstrAsGiven);
/// Conversions in UTF-8; bytes or characters that fit nothing become '?'.
std::string NarrowText(const std::wstring& p_wstrText);
std::wstring WideText(const std::string& p_strText);
