#pragma once
// The disc-image writer: one disc image in, one "PSISOIMG0000" section out. A package of
// one disc holds one such section as its DATA.PSAR (followed by the STARTDAT block).

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "common/file_io.h"
#include "pbp/psar.h"
#include "tarnwick/disc_toc.h"

namespace ebf::tarnwick {

// Offsets within the section; the rest of the layout is in pbp/psar.h.
inline constexpr uint32_t kSectionMagicSize = 12;  // readers compare 8 to 12 of these
inline constexpr char kSectionMagic[] = "PSISOIMG0000";
inline constexpr uint32_t kStartDatField = 0x0C;  // u32: STARTDAT offset = section size
inline constexpr uint32_t kDiscIdOffset = 0x400;  // "_SLUS_00594", NUL-filled
inline constexpr uint32_t kDiscIdSize = 16;
inline constexpr uint32_t kDataStartField = 0xBFC;  // u32: where block data starts
inline constexpr uint32_t kTocOffset = pbp::kPsarTocPos;
inline constexpr uint32_t kSaveNameOffset = pbp::kPsarSaveNamePos;
inline constexpr uint32_t kSaveNameSize = pbp::kPsarSaveNameSize;
inline constexpr uint32_t kIndexOffset = pbp::kPsarIndexPos;
inline constexpr uint32_t kIndexEntrySize = pbp::kIndexEntrySize;
inline constexpr uint32_t kDataOffset = pbp::kPsarBlockDataPos;
inline constexpr uint32_t kIndexSlots = pbp::kIndexSlots;
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
