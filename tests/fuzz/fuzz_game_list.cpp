// libFuzzer target: lines of the game list (Data/TarnwickPS1ID.db) and the name-tag rule.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "common/text.h"
#include "disc/game_db.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  for (const std::string& line : ebf::SplitLines(text)) {
    if (auto entry = ebf::ParseGameDbLine(line)) ebf::RemoveNameTag(entry->title);
    ebf::RemoveNameTag(line);
  }
  return 0;
}
