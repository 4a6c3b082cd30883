// libFuzzer target: the game list (Data/TarnwickPS1ID.db): its lines and the name-tag rule
// on text in memory, and the file read line by line through the fixed buffer, as the
// lookup and the selection list read it.

#include <string_view>

#include "common/text.h"
#include "disc/game_db.h"
#include "scratch_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  for (const std::string& line : ebf::SplitLines(text)) {
    if (auto entry = ebf::ParseGameDbLine(line)) ebf::RemoveNameTag(entry->title);
    ebf::RemoveNameTag(line);
  }
  static const ebf::fuzz::ScratchFile scratch("input.db");
  ebf::LookupGame(scratch.Write(data, size), "SLUS00594", true);
  ebf::LoadGameList(scratch.path, size % 2 == 0, "SLUS00594");
  return 0;
}
