#pragma once
// The PBP container: a 40-byte header (magic, version, eight section offsets) followed by
// the sections end to end. DATA.PSAR runs from the last offset to the end of the file.

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "common/file_io.h"
#include "common/questions.h"

namespace ebf::pbp {

inline constexpr uint32_t kPbpMagic = 0x50425000;    // bytes 00 50 42 50
inline constexpr uint32_t kPbpVersion = 0x00010000;  // bytes 00 00 01 00
inline constexpr uint64_t kPbpHeaderSize = 40;
inline constexpr uint64_t kPbpMagicPos = 0;
inline constexpr uint64_t kPbpVersionPos = 4;
inline constexpr uint64_t kPbpOffsetsPos = 8;
inline constexpr int kSectionCount = 8;
// Sections before DATA.PSAR: their lengths are what a writer needs.
inline constexpr int kLeadingSectionCount = 7;

enum Section : int {
  kParamSfo = 0,
  kIcon0 = 1,
  kIcon1 = 2,
  kPic0 = 3,
  kPic1 = 4,
  kSnd0 = 5,
  kDataPsp = 6,
  kDataPsar = 7,
};

// File offsets of the named sections' offset fields.
inline constexpr uint64_t OffsetFieldPos(Section s) {
  return kPbpOffsetsPos + 4u * s;
}
inline constexpr uint64_t kPsarOffsetPos = OffsetFieldPos(kDataPsar);  // 36

// Names of sections 0-6 when taken apart (DATA.PSP is stored as BASE.PSP).
inline constexpr std::array<const char*, kLeadingSectionCount> kSectionFileNames = {
    "PARAM.SFO", "ICON0.PNG", "ICON1.PMF", "PIC0.PNG", "PIC1.PNG", "SND0.AT3", "BASE.PSP"};
// Names of the sections as the format calls them (DATA.PSP, DATA.PSAR).
inline constexpr std::array<const char*, kSectionCount> kSectionNames = {
    "PARAM.SFO", "ICON0.PNG", "ICON1.PMF", "PIC0.PNG",
    "PIC1.PNG",  "SND0.AT3",  "DATA.PSP",  "DATA.PSAR"};

// Start-data block (the tail of DATA.PSAR that holds the boot picture). Offsets are from
// the block's start; its own position is stored at DATA.PSAR + 12.
inline constexpr uint64_t kPsarStartDataPos = 12;
inline constexpr uint64_t kStartDataHeaderSizePos = 16;
inline constexpr uint64_t kStartDataPngLengthPos = 20;
// Readers take the boot picture from here whatever the header size field says.
inline constexpr uint64_t kStartDataAssumedHeaderSize = 80;

struct PbpHeader {
  uint32_t magic = kPbpMagic;
  uint32_t version = kPbpVersion;
  std::array<uint32_t, kSectionCount> offsets{};

  uint32_t psarOffset() const { return offsets[kDataPsar]; }
  // Section i spans [offsets[i], offsets[i+1]); DATA.PSAR spans [offsets[7], fileSize).
  // The end of a section is never before its start here: a backwards pair is empty.
  uint64_t SectionStart(int i) const { return offsets[i]; }
  uint64_t SectionEnd(int i, uint64_t fileSize) const;
  uint64_t SectionSize(int i, uint64_t fileSize) const;
};

std::array<uint8_t, kPbpHeaderSize> EncodePbpHeader(const PbpHeader& header);
PbpHeader DecodePbpHeader(std::span<const uint8_t, kPbpHeaderSize> bytes);

// Reads the 40-byte header at offset 0. Magic and version are not checked. nullopt when
// the file is shorter than a header.
std::optional<PbpHeader> ReadPbpHeader(File& file);

// The header a writer puts in front of seven sections of the given lengths: offset 0 is
// 40 and each next one adds the previous section's length. nullopt when the sections
// would run past what a 32-bit offset can hold.
std::optional<PbpHeader> HeaderForLengths(
    const std::array<uint64_t, kLeadingSectionCount>& lengths);

// Writes that header at the file's current position.
bool WritePbpHeader(File& out, const std::array<uint64_t, kLeadingSectionCount>& lengths);

// Reads a 32-bit little-endian value at `offset`; nullopt when the file does not hold all
// four bytes.
std::optional<uint32_t> ReadLe32At(File& file, uint64_t offset);
bool WriteLe32At(File& file, uint64_t offset, uint32_t value);

// The absolute offset of the start-data block: DATA.PSAR offset (at 36) plus the value
// at DATA.PSAR + 12. nullopt only when either value is missing from the file; whether the
// sum lies within the file is the caller's test.
std::optional<uint64_t> FindStartData(File& file);

enum class CopyOutcome {
  Done,     // the copy ran to its end (possibly past errors the user chose to ignore)
  Stopped,  // the user chose to stop after an error, or the destination could not be made
};

// Copies source bytes [start, end) into a new file at destPath (deleted first). An empty
// or backwards range gives an empty file. Bytes go through a 32 KB buffer that is shrunk
// only when fewer than 32,767 bytes remain, so when exactly 32,767 remain the copy takes
// one byte past `end`. Files taken apart by this program have always carried that byte,
// so it stays. Reads stop at the end of the source file. Read and write failures ask
// whether to go on.
CopyOutcome ReadSectionToFile(uint64_t start, uint64_t end, const std::string& destPath,
                              File& source, Questions& questions);

}  // namespace ebf::pbp
