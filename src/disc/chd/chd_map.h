#pragma once
// The hunk map of a CHD v5 file: where each hunk is stored and how. Compressed files carry
// it Huffman-coded with a CRC-16 over the expanded entries; uncompressed files as plain
// 4-byte hunk numbers.

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "disc/chd/chd_header.h"

namespace ebf::chd {

enum class HunkKind : uint8_t {
  Codec0 = 0,  // compressed with compressors[0] ... [3]
  Codec1 = 1,
  Codec2 = 2,
  Codec3 = 3,
  Raw = 4,     // stored as it is
  Self = 5,    // same data as an earlier hunk of this file (offset = its number)
  Parent = 6,  // in the parent file (offset = unit number)
  Zero = 7,    // uncompressed file, hunk never written: all zeros
};

struct MapEntry {
  uint64_t offset = 0;  // file offset, or a hunk / unit number
  uint32_t length = 0;  // bytes stored
  uint16_t crc = 0;     // CRC-16 of the decompressed hunk
  HunkKind kind = HunkKind::Raw;
};

// CRC-16/CCITT-FALSE, as CHD uses everywhere.
uint16_t Crc16(std::span<const uint8_t> data, uint16_t crc = 0xFFFF);

// Size of the map's bytes at mapOffset: the 16-byte header and the bit stream it announces
// (compressed), or 4 bytes a hunk. `head` holds the first 16 bytes of the map. 0 when the
// size is impossible for the header's hunk count.
uint64_t MapBytes(const Header& h, std::span<const uint8_t> head);

// Expands the map. `map` holds MapBytes() bytes from the map offset. Every entry is
// checked against the file's size; self references are resolved to the hunk that holds
// the data. Returns "" or what is wrong (a sentence that follows the file's name).
std::string DecodeMap(const Header& h, std::span<const uint8_t> map, uint64_t fileSize,
                      std::vector<MapEntry>& out);

}  // namespace ebf::chd
