#pragma once
// Writes small (or, from a block generator, large) EBOOT.PBP packages for tests and
// benchmarks, independently of the code under test: chosen sections, stored and deflated
// blocks, a chosen TOC, index holes, STARTDAT with a boot picture and a tail.

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "common/bytes.h"

namespace ebf::test {

inline constexpr uint64_t kTestBlockSize = 37632;

using TestTocArea = std::array<uint8_t, 1020>;

struct PackageRecipe {
  std::string title = "Test Game";  // SFO title, ASCII
  std::string discId = "SLUS01234";
  std::string saveName = "Test Save";  // at DATA.PSAR + 0x122C
  std::optional<Bytes> sfo;            // replaces the generated SFO
  Bytes icon0, icon1, pic0, pic1, snd0, dataPsp;
  uint32_t magic = 0x50425000;

  // The disc image: raw bytes, zero-padded to whole blocks ...
  Bytes image;
  // ... or, when blockCount > 0, a generator that fills block i (37,632 bytes).
  uint64_t blockCount = 0;
  std::function<void(uint64_t block, uint8_t* out)> blockSource;

  int level = 9;                             // 0 stores every block
  std::function<bool(uint64_t)> storeBlock;  // true forces block i to be stored
  std::set<uint64_t> holeBeforeBlock;        // an all-zero index slot before these blocks
  bool paddingBlock = false;                 // 16 zero sectors after the last real block
  bool digests = false;            // SHA-1 of each block's plain bytes in its index entry, as ours
  std::optional<TestTocArea> toc;  // default: one data track over the image

  Bytes bootPng = Bytes{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 1, 2, 3};
  Bytes tail = Bytes{'P', 'G', 'D', 0, 9, 8, 7};
};

struct PbpWritten {
  std::array<uint64_t, 8> offsets{};  // section offsets as written
  uint64_t psar = 0;
  uint64_t startData = 0;  // absolute
  uint64_t fileSize = 0;
  std::vector<uint64_t> blockSlots;  // index slot of each block
  std::vector<uint32_t> blockLengths;
  uint64_t compressedBlocks = 0;
  // Absolute file offset of index slot i.
  uint64_t SlotPos(uint64_t slot) const { return psar + 0x4000 + slot * 32; }
};

// Writes the package; gtest assertion failures on I/O errors.
PbpWritten WritePbp(const std::string& path, const PackageRecipe& recipe);

struct DiscSetWritten {
  uint64_t psar = 0;
  std::vector<uint64_t> sections;  // each disc's section, from the file start
  uint64_t startData = 0;
  // Each disc as WritePbp wrote it on its own (its block lengths; offsets in that file).
  std::vector<PbpWritten> discs;
};

// A package of several discs: disc 1's sections before DATA.PSAR, a title header listing
// the discs' sections (each as WritePbp makes it for its recipe) on 1 KiB boundaries, then
// disc 1's STARTDAT block.
DiscSetWritten WriteDiscSetPbp(const std::string& path, const std::vector<PackageRecipe>& discs);

// The nine-key, 944-byte PARAM.SFO of a PS1 package.
Bytes MakeSfo(const std::string& title, const std::string& discId);

// The lead entries and tracks given as (control, track start in sectors from image start);
// A2 holds the image length in sectors. Track positions are written the way the program's
// own ISO.TOC has them (bytes 3-5 = bytes 7-9 = start + 2 s).
TestTocArea MakeToc(const std::vector<std::pair<uint8_t, uint64_t>>& tracks, uint64_t sectors);

// The journal a patch in place leaves beside `package` ("<package>.undo") when the program is
// killed in the middle of it, written byte for byte as the format lays it out: "EBFUNDO1",
// the package's old length (u64), each region's offset, length and saved bytes, "DONE" and
// the region count. With `pointerFolder`, Temp/PATCH.UNDO there names the package too.
struct SavedRegion {
  uint64_t offset = 0;
  Bytes bytes;
};
void WritePatchJournal(const std::string& package, uint64_t oldSize,
                       const std::vector<SavedRegion>& regions,
                       const std::string& pointerFolder = {});

}  // namespace ebf::test
