#include "support/realistic_image.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <random>

#include "common/bytes.h"
#include "common/file_io.h"
#include "support/disc_builder.h"
#include "support/temp_dir.h"

namespace ebf::test {

// Fills 2,048 bytes of user data of one kind.
static void FillUser(int kind, std::mt19937& rng, uint32_t lba, uint8_t* p) {
  static const char* words[] = {"the ",    "player ",  "SCORE ", "level ",  "stage ",
                                "enemy ",  "texture ", "sound ", "0x1F ",   "VRAM ",
                                "memory ", "card ",    "save ",  "world ",  "boss ",
                                "item ",   "potion ",  "magic ", "attack ", "\r\n"};
  // Code: 32-bit words from a small vocabulary of opcodes and registers.
  static const auto ops = [] {
    std::array<uint32_t, 64> o;
    std::mt19937 r(42);
    for (auto& op : o) op = r();
    return o;
  }();
  if (kind == 0) std::fill(p, p + 2048, 0);          // padding, unused space
  for (std::size_t o = 0; kind == 1 && o < 2048;) {  // text: scripts, dialogue, tables
    const char* w = words[std::min<uint32_t>(
        19, static_cast<uint32_t>(std::exponential_distribution<>(0.25)(rng)))];
    for (; *w && o < 2048; ++w) p[o++] = static_cast<uint8_t>(*w);
  }
  for (int i = 0; kind == 2 && i < 2048; i += 4)
    StoreLe32(p + i, ops[rng() % 64] ^ (rng() % 4 == 0 ? (rng() & 0xFFFF) : 0));
  for (int i = 0; kind == 3 && i < 2048; i += 2)  // pictures: 16-bit gradients, a little noise
    StoreLe16(p + i, static_cast<uint16_t>(((i / 2 + lba) & 0x1F) | (((i / 64) & 0x1F) << 5) |
                                           ((rng() & 3) << 10)));
  for (int i = 0; kind == 4 && i < 2048; i += 4) StoreLe32(p + i, rng());  // compressed, video
}

uint64_t WriteRealisticImage(const std::string& path, uint64_t bytes) {
  File out(path, File::Mode::Write);
  std::mt19937 rng(2024);
  const uint32_t sectors = static_cast<uint32_t>(bytes / 2352);
  uint8_t user[2048];
  Bytes chunk;
  // Kinds: zeros 20%, text 25%, code 20%, pictures 15%, random 15%, CD audio 5%.
  const int weights[] = {20, 25, 20, 15, 15, 5};
  std::discrete_distribution<int> pick(std::begin(weights), std::end(weights));
  for (uint32_t lba = 0; lba < sectors;) {
    const int kind = pick(rng);
    const uint32_t run = std::min<uint32_t>(sectors - lba, 8 + rng() % 400);
    if (kind == 5) Append(chunk, AudioSectors(run, lba));
    for (uint32_t i = 0; kind != 5 && i < run; ++i) {
      FillUser(kind, rng, lba + i, user);
      Append(chunk, RawSector(lba + i, SectorLayout::Mode2Raw, user));
    }
    lba += run;
    if (chunk.size() > (8u << 20)) {
      out.Write(chunk);
      chunk.clear();
    }
  }
  out.Write(chunk);
  out.Close();
  return uint64_t{sectors} * 2352;
}

}  // namespace ebf::test
