#pragma once
// Alcohol 120% media descriptors (.mds, version 1): the header, the session blocks, their
// track blocks and each track's extra block. Every offset and count is checked against the
// file's size; nothing is read from the MDF here.

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace ebf {

// Layout of the descriptor (little-endian).
namespace mds {
inline constexpr char kMagic[] = "MEDIA DESCRIPTOR";
inline constexpr std::size_t kMagicSize = 16;
inline constexpr std::size_t kVersionPos = 0x10;         // major, minor
inline constexpr std::size_t kMediumPos = 0x12;          // u16
inline constexpr std::size_t kSessionCountPos = 0x14;    // u16
inline constexpr std::size_t kSessionsOffsetPos = 0x50;  // u32
inline constexpr std::size_t kHeaderSize = 0x58;
inline constexpr std::size_t kSessionSize = 24;
inline constexpr std::size_t kTrackSize = 80;
inline constexpr std::size_t kExtraSize = 8;
inline constexpr uint16_t kMediumDvd = 0x10;  // 0x10 and up are DVDs
inline constexpr uint8_t kSubchannelInterleaved = 0x08;
}  // namespace mds

struct MdsTrackBlock {
  uint8_t mode = 0;        // 0xA9 audio, 0xAA mode 1, 0xAB-0xAD mode 2 (low nibble counts)
  uint8_t subchannel = 0;  // 0x08: 96 bytes after each sector
  uint8_t adrControl = 0;  // control in the low nibble; bit 0x04 marks a data track
  uint8_t point = 0;       // 1-99 a track; 0xA0 and up lead-in entries
  uint16_t sectorSize = 0;
  uint32_t startSector = 0;  // of INDEX 01
  uint64_t startOffset = 0;  // in the MDF
  bool hasExtra = false;
  uint32_t pregap = 0, length = 0;  // from the extra block, in sectors
};
struct MdsSession {
  int32_t start = 0, end = 0;
  uint16_t number = 0;
  uint16_t firstTrack = 0, lastTrack = 0;
  std::vector<MdsTrackBlock> blocks;  // lead-in entries included, in file order
};
struct MdsSheet {
  uint8_t versionMajor = 0, versionMinor = 0;
  uint16_t medium = 0;
  std::vector<MdsSession> sessions;
};
struct MdsParse {
  MdsSheet sheet;
  std::string error;  // names the sheet; "" when it was read
};

MdsParse ParseMdsSheet(std::span<const uint8_t> bytes, const std::string& sheetName);

}  // namespace ebf
