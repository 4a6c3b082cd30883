#pragma once
// A game on several discs, given as one "(Disc N)" file whose siblings are found beside it,
// or as an .m3u playlist naming every disc in order.

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace ebf {

// The disc menu of the PSP sees at most five.
inline constexpr std::size_t kMaxDiscsInSet = 5;

// N of the last "(Disc N)" in a file name or title, case-blind, 1 to 9; 0 when there is none.
int DiscNumberOf(std::string_view name);

// The title without its " (Disc N)" part: the package is the whole game.
std::string WithoutDiscNumber(std::string_view title);

struct SetMember {
  int number = 0;    // from the name
  std::string path;  // as found in the folder
};

struct DiscSet {
  std::vector<SetMember> discs;  // by disc number
  std::vector<int> missing;      // numbers below the highest found that have no file
};

// The files of the same folder whose names differ from `path` only in the disc number and
// whose extension `accepted` takes, one per disc: a file with `path`'s own extension first,
// else the first by name. A path without "(Disc N)" is a set of one.
DiscSet FindDiscSet(const std::string& path,
                    const std::function<bool(const std::string& path)>& accepted);

// The entries of an .m3u playlist as written: blank lines and '#' comments skipped, a
// byte-order mark and surrounding blanks dropped.
std::vector<std::string> ParseM3u(std::string_view text);

struct PlaylistDiscs {
  std::vector<std::string> paths;  // absolute, in playlist order
  std::string error;               // "" when every entry names an existing file
};

// Reads a playlist; relative entries are taken from the playlist's own folder.
PlaylistDiscs ReadM3u(const std::string& playlistPath);

}  // namespace ebf
