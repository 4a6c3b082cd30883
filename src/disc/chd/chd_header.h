#pragma once
// The 124-byte header of a MAME CHD file, version 5 (every integer big-endian), and the
// checks that decide whether this program can read the file as a CD image.

#include <array>
#include <cstdint>
#include <span>
#include <string>

#include "common/cd_sector.h"

namespace ebf::chd {

inline constexpr std::size_t kHeaderBytes = 124;
inline constexpr char kMagic[8] = {'M', 'C', 'o', 'm', 'p', 'r', 'H', 'D'};
inline constexpr std::size_t kOffVersionLength = 8, kOffVersion = 12, kOffCompressors = 16,
                             kOffLogicalBytes = 32, kOffMapOffset = 40, kOffMetaOffset = 48,
                             kOffHunkBytes = 56, kOffUnitBytes = 60, kOffRawSha1 = 64,
                             kOffOverallSha1 = 84, kOffParentSha1 = 104;

// One CD frame of a CHD: a raw sector (kRawSectorSize) and its subcode (kSubchannelSize),
// kRawSubSectorSize in all.
// Largest hunk accepted (chdman makes at most 1 MiB).
inline constexpr uint32_t kMaxHunkBytes = 1u << 20;
// More frames than any CD holds (about 100 minutes is 450,000).
inline constexpr uint64_t kMaxFrames = 1'000'000;

constexpr uint32_t FourCc(const char (&s)[5]) {
  return (uint32_t(uint8_t(s[0])) << 24) | (uint32_t(uint8_t(s[1])) << 16) |
         (uint32_t(uint8_t(s[2])) << 8) | uint32_t(uint8_t(s[3]));
}
inline constexpr uint32_t kCodecZlib = FourCc("zlib"), kCodecLzma = FourCc("lzma"),
                          kCodecHuff = FourCc("huff"), kCodecFlac = FourCc("flac"),
                          kCodecZstd = FourCc("zstd"), kCodecCdZlib = FourCc("cdzl"),
                          kCodecCdLzma = FourCc("cdlz"), kCodecCdFlac = FourCc("cdfl"),
                          kCodecCdZstd = FourCc("cdzs");

using Sha1 = std::array<uint8_t, 20>;

struct Header {
  uint32_t version = 0;
  std::array<uint32_t, 4> compressors{};
  uint64_t logicalBytes = 0;
  uint64_t mapOffset = 0;
  uint64_t metaOffset = 0;
  uint32_t hunkBytes = 0;
  uint32_t unitBytes = 0;
  Sha1 rawSha1{}, overallSha1{}, parentSha1{};
  uint32_t hunkCount = 0;

  bool Compressed() const { return compressors[0] != 0; }
  uint32_t FramesPerHunk() const { return hunkBytes / kRawSubSectorSize; }
};

// A codec tag as text: "cdlz", or hexadecimal when it is not four printable letters.
std::string CodecName(uint32_t tag);
bool IsKnownCodec(uint32_t tag);

// Reads and checks the header from the file's first bytes (at least kHeaderBytes, or all
// of a shorter file). Returns "" or what is wrong, as a sentence that follows the file's
// name ("is a version 4 CHD ...").
std::string ParseHeader(std::span<const uint8_t> bytes, uint64_t fileSize, Header& out);

}  // namespace ebf::chd
