// libFuzzer target: the ISO 9660 walk that finds the game ID (volume descriptor, root
// directory, SYSTEM.CNF, the boot file's name) over a disc held in memory.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "disc/byte_source.h"
#include "disc/game_id.h"

namespace {

struct MemorySource : ebf::ByteSource {
  MemorySource(const uint8_t* data, std::size_t size) : bytes(data, size) {}
  uint64_t Size() override { return bytes.size(); }
  std::size_t ReadAt(uint64_t offset, std::span<uint8_t> out) override {
    if (offset >= bytes.size()) return 0;
    const std::size_t n = std::min<std::size_t>(out.size(), bytes.size() - offset);
    std::memcpy(out.data(), bytes.data() + offset, n);
    return n;
  }
  const std::span<const uint8_t> bytes;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  MemorySource source(data, size);
  ebf::GameIdProbe probe;
  ebf::DetectGameId(source, &probe);
  return 0;
}
