#pragma once
// The disc-image writer: one disc image in, one "PSISOIMG0000" section out. A package of
// one disc holds one such section as its DATA.PSAR (followed by the STARTDAT block).

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "common/file_io.h"
#include "tarnwick/disc_toc.h"

namespace ebf::tarnwick {

// Offsets within the section.
inline constexpr uint32_t kSectionMagicSize = 12;
inline constexpr char kSectionMagic[] = "PSISOIMG0000";
inline constexpr uint32_t kStartDatField = 0x0C;  // u32: STARTDAT offset = section size
inline constexpr uint32_t kDiscIdOffset = 0x400;
inline constexpr uint32_t kDiscIdSize = 16;
inline constexpr uint32_t kTocOffset = 0x800;
inline constexpr uint32_t kDataStartField = 0xBFC;
inline constexpr uint32_t kSaveNameOffset = 0x122C;
inline constexpr uint32_t kSaveNameSize = 128;
inline constexpr uint32_t kIndexOffset = 0x4000;
inline constexpr uint32_t kIndexEntrySize = 32;
inline constexpr uint32_t kDataOffset = 0x100000;
inline constexpr uint32_t kIndexSlots = (kDataOffset - kIndexOffset) / kIndexEntrySize;
// Every real block, the padding block and the all-zero terminator need a slot.
inline constexpr uint32_t kMaxImageBlocks = kIndexSlots - 2;

struct DiscInput {
  std::string imagePath;       // raw 2,352-byte sectors
  std::string discId;          // "SLUS00594"
  std::string title;           // save name, bytes as given, at most 127 kept
  std::optional<TocArea> toc;  // ISO.TOC's bytes; none = the default single-track table
  int level = 9;               // 0 stores every block
  unsigned threads = 0;        // 0 = one per core
  // Called after each image block is written (done of total).
  std::function<void(uint32_t done, uint32_t total)> progress;
};

struct DiscSectionResult {
  bool ok = false;
  std::string error;         // one line
  uint64_t size = 0;         // bytes written = the STARTDAT offset from the section start
  uint32_t imageBlocks = 0;  // blocks of image data, without the padding block
};

// Bytes of image that fit into one section.
uint64_t MaxImageBytes();

// "_SLUS_00594" as the header holds it.
std::string SectionDiscId(const std::string& discId);

// Writes the section at out's current position and leaves out positioned at its end. The
// image is streamed; memory use does not depend on its size.
DiscSectionResult WriteDiscSection(File& out, const DiscInput& input);

}  // namespace ebf::tarnwick
