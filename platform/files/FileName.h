#pragma once
#include <filesystem>
#include <string>

/// Path on this system for a name as the application knows it: wide, with drive letter "c:\" (the directory in
/// OMA_RESULT_DIR, by default the current one) or lower-cased from the command line. Backslashes are separators. For a
/// file to be written.
std::filesystem::path FileNameForWriting(const std::wstring& p_wstrName);
/// The same for a result file, "c:\" and a name that contains text from the configuration: whatever the text, the file
/// is placed directly in the result directory. Separators and control characters become '_', and a name that is too
/// long loses characters before its end. A name without a drive is used unchanged.
std::filesystem::path FileNameForResult(const std::wstring& p_wstrName);
/// The same for a file to be read: the file that the user named (FileNameRemember) if this is its lower-cased name,
/// otherwise the file of exactly this name, otherwise one whose name differs only in case. If there is none, the path
/// as for writing.
std::filesystem::path FileNameForReading(const std::wstring& p_wstrName);
/// Whether FileNameForReading finds a file (not a folder) that opens for reading.
bool FileCanBeRead(const std::wstring& p_wstrName);
/// Records the spelling of a path as the user gave it, before it is lower-cased. Of two that differ only in case the
/// later one wins.
void FileNameRemember(const std::wstring& p_wstrAsGiven);
/// Conversions from and to UTF-8; invalid bytes or characters become '?'.
std::string NarrowText(const std::wstring& p_wstrText);
std::wstring WideText(const std::string& p_strText);
