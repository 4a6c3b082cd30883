#pragma once
// The converter's command line: "<title>" <GAMEID> <level 0-9> "<image>".

#include <optional>
#include <string>
#include <vector>

namespace ebf::tarnwick {

inline constexpr char kUsage[] = "Usage: tarnwick.exe \"<title>\" <GAMEID> <level 0-9> \"<image>\"";

struct ConverterArgs {
  std::string title;      // UTF-8, at most 127 characters
  std::string gameId;     // nine characters, such as SLUS00594
  int level = 9;          // 0 = no compression
  std::string imagePath;  // raw 2,352-byte sectors
};

// `args` excludes the program name. Arguments are single-byte ANSI text as the program
// passes them; valid UTF-8 (typed in a terminal) is taken as it is. On failure `message`
// holds the usage line (wrong count) or the one line saying what is wrong.
std::optional<ConverterArgs> ParseConverterArgs(const std::vector<std::string>& args,
                                                std::string& message);

}  // namespace ebf::tarnwick
