// libFuzzer target: the game list (Data/TarnwickPS1ID.db): its lines and the name-tag rule
// on text in memory, and the file read line by line through the fixed buffer, as the
// lookup and the selection list read it.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "common/text.h"
#include "disc/game_db.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  for (const std::string& line : ebf::SplitLines(text)) {
    if (auto entry = ebf::ParseGameDbLine(line)) ebf::RemoveNameTag(entry->title);
    ebf::RemoveNameTag(line);
  }
  // One scratch file a process, removed when the fuzzer ends.
  static const struct Scratch {
    std::string path = "/tmp/ebf-fuzz-gamedb-" + std::to_string(getpid()) + ".db";
    ~Scratch() { std::remove(path.c_str()); }
  } scratch;
  if (std::FILE* f = std::fopen(scratch.path.c_str(), "wb")) {
    std::fwrite(data, 1, size, f);
    std::fclose(f);
  }
  ebf::LookupGame(scratch.path, "SLUS00594", true);
  ebf::LoadGameList(scratch.path, size % 2 == 0, "SLUS00594");
  return 0;
}
