#include "support/realistic_image.h"

#include <algorithm>
#include <iterator>
#include <random>

#include "common/bytes.h"
#include "common/file_io.h"
#include "support/disc_builder.h"

namespace ebf::test {

// Fills 2,048 bytes of user data of one kind.
static void FillUser(int kind, std::mt19937& rng, uint32_t lba, uint8_t* p) {
  static const char* words[] = {"the ",    "player ",  "SCORE ", "level ",  "stage ",
                                "enemy ",  "texture ", "sound ", "0x1F ",   "VRAM ",
                                "memory ", "card ",    "save ",  "world ",  "boss ",
                                "item ",   "potion ",  "magic ", "attack ", "\r\n"};
  switch (kind) {
    case 0:  // zeros (padding, unused space)
      std::fill(p, p + 2048, 0);
      break;
    case 1: {  // text: scripts, dialogue, tables
      size_t o = 0;
      while (o < 2048) {
        const char* w = words[std::min<uint32_t>(
            19, static_cast<uint32_t>(std::exponential_distribution<>(0.25)(rng)))];
        for (; *w && o < 2048; ++w) p[o++] = static_cast<uint8_t>(*w);
      }
      break;
    }
    case 2: {  // code: 32-bit words from a small vocabulary of opcodes and registers
      static uint32_t ops[64];
      static bool init = false;
      if (!init) {
        std::mt19937 r(42);
        for (auto& op : ops) op = r();
        init = true;
      }
      for (int i = 0; i < 2048; i += 4) {
        uint32_t w = ops[rng() % 64] ^ (rng() % 4 == 0 ? (rng() & 0xFFFF) : 0);
        StoreLe32(p + i, w);
      }
      break;
    }
    case 3:  // pictures: 16-bit gradients with a little noise
      for (int i = 0; i < 2048; i += 2) {
        uint16_t v = static_cast<uint16_t>(((i / 2 + lba) & 0x1F) | (((i / 64) & 0x1F) << 5) |
                                           ((rng() & 3) << 10));
        p[i] = static_cast<uint8_t>(v);
        p[i + 1] = static_cast<uint8_t>(v >> 8);
      }
      break;
    default:  // compressed data, video frames: random
      for (int i = 0; i < 2048; i += 4) StoreLe32(p + i, rng());
  }
}

uint64_t WriteRealisticImage(const std::string& path, uint64_t bytes) {
  File out(path, File::Mode::Write);
  std::mt19937 rng(2024);
  uint32_t sectors = static_cast<uint32_t>(bytes / 2352);
  uint8_t user[2048];
  Bytes chunk;
  uint32_t lba = 0;
  // Kinds: zeros 20%, text 25%, code 20%, pictures 15%, random 15%, CD audio 5%.
  const int weights[] = {20, 25, 20, 15, 15, 5};
  std::discrete_distribution<int> pick(std::begin(weights), std::end(weights));
  while (lba < sectors) {
    int kind = pick(rng);
    uint32_t run = std::min<uint32_t>(sectors - lba, 8 + rng() % 400);
    if (kind == 5) {
      Bytes audio = AudioSectors(run, lba);
      chunk.insert(chunk.end(), audio.begin(), audio.end());
      lba += run;
    } else {
      for (uint32_t i = 0; i < run; ++i, ++lba) {
        FillUser(kind, rng, lba, user);
        Bytes s = RawSector(lba, SectorLayout::Mode2Raw, user);
        chunk.insert(chunk.end(), s.begin(), s.end());
      }
    }
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
