#pragma once
// The single-byte text of package headers, disc data and old text files. On Windows this
// is the system's ANSI code page; elsewhere it is Windows-1252, where every byte is one
// character and a character with no byte becomes "?".

#include <string>
#include <string_view>

namespace ebf {

std::string Utf8ToAnsi(std::string_view utf8);
std::string AnsiToUtf8(std::string_view ansi);

bool IsValidUtf8(std::string_view text);

// Text from a file that may be either: valid UTF-8 stays as it is, anything else is read
// as ANSI.
std::string TextFileToUtf8(std::string_view bytes);

}  // namespace ebf
