#pragma once
// The game database Data/TarnwickPS1ID.db: one disc per line,
//   <dashed code>;<package ID>;<save name>;<title>;<NTSC|PAL>;<disc ID>
// looked up by the ID read from a disc, and listed whole for the selection dialog.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ebf {

inline constexpr const char* kGameDbFileName = "TarnwickPS1ID.db";
inline constexpr const char* kGameDbLinePattern = "????-#####;????#####;*;*;*;????#####";
// The disc the selection dialog falls back on when the current ID is not listed.
inline constexpr const char* kFallbackSelectionId = "SCUS94476";
inline constexpr const char* kNoGamesMessage = "No games in list!";

// <program folder>Data<sep>TarnwickPS1ID.db
std::string GameDbPath(const std::string& programFolder);

struct GameDbEntry {
  std::string discId;     // the lookup key, as read from a disc
  std::string packageId;  // the ID the package gets (disc 1's, so all discs share a save)
  std::string saveName;
  std::string title;
  std::string region;  // "NTSC" or "PAL"
};

// One line of the file (UTF-8). Nothing when the line does not have the database's shape.
std::optional<GameDbEntry> ParseGameDbLine(std::string_view line);

// Removes one region tag such as "[NTSC-U]" or "[PAL-E]" from a name.
std::string RemoveNameTag(std::string_view name);

// The first line whose disc ID ends the line, compared exactly. Nothing when the file is
// missing or no line matches. Save name and title lose their tags when hideNameTags is on.
std::optional<GameDbEntry> LookupGame(const std::string& dbPath, const std::string& id,
                                      bool hideNameTags);

// Every valid line, in file order, as the selection dialog lists them.
struct GameList {
  std::vector<GameDbEntry> entries;
  // The entry to select: the last one for the current ID, else the last fallback entry,
  // else none (-1).
  int selected = -1;
};
GameList LoadGameList(const std::string& dbPath, bool hideNameTags, const std::string& currentId);

}  // namespace ebf
