#pragma once

// Paths of script files. Everything goes through tvr_filesys_local(); may block on the disk.

#include <string>
#include <string_view>

inline constexpr std::string_view tvr_memory_path = "<memory>";

// The folder of a file, as in its path; empty for the working folder and for "<memory>".
std::string tvr_folder_of(const std::string& path);

// The same as an absolute path without a slash at its end; "." for "<memory>".
std::string tvr_absolute_folder_of(const std::string& path);

// One text for every way to write the path of a file.
std::string tvr_unique_path(const std::string& path);

// The file that an #include in a file of this folder means: first beside that file, then along the
// search paths, with .tvio where the name has no extension. Empty when there is none.
std::string tvr_find_include(const std::string& folder, std::string name);

// The file of a module or script by name; empty when there is none. See tvr_lexer::find_source.
std::string resolve_source_file(const std::string& name);

// Its text; false when there is none or it cannot be read.
bool resolve_source_text(const std::string& name, std::string& text);
