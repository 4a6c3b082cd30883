#include "disc/chd/chd_map.h"

#include "disc/chd/chd_bytes.h"
#include "disc/chd/chd_huffman.h"

namespace ebf::chd {
namespace {

constexpr std::size_t kMapHeaderBytes = 16;
constexpr std::size_t kEntryBytes = 12;  // the expanded form the CRC covers

// Types in the coded stream; 7 and up are shorthands resolved while decoding.
enum : uint32_t {
  kRleSmall = 7,
  kRleLarge = 8,
  kSelf0 = 9,
  kSelf1 = 10,
  kParentSelf = 11,
  kParent0 = 12,
  kParent1 = 13,
};

const char* kDamagedMap = "is damaged: its hunk map is invalid.";

std::string CheckStored(const Header& h, const MapEntry& e, uint64_t fileSize, uint32_t hunk) {
  if (e.length == 0 || e.length > h.hunkBytes || e.offset < kHeaderBytes || e.offset > fileSize ||
      e.length > fileSize - e.offset)
    return "is damaged: hunk " + std::to_string(hunk) + " lies outside the file.";
  return "";
}

}  // namespace

namespace {

// Table k gives the CRC of a byte followed by k zero bytes, so eight bytes take eight
// lookups and no loop over bits.
struct Crc16Tables {
  uint16_t t[8][256] = {};
  constexpr Crc16Tables() {
    for (uint32_t i = 0; i < 256; ++i) {
      uint32_t crc = i << 8;
      for (int b = 0; b < 8; ++b) crc = (crc & 0x8000) ? (crc << 1) ^ 0x1021 : crc << 1;
      t[0][i] = static_cast<uint16_t>(crc);
    }
    for (int k = 1; k < 8; ++k)
      for (uint32_t i = 0; i < 256; ++i)
        t[k][i] = static_cast<uint16_t>((t[k - 1][i] << 8) ^ t[0][t[k - 1][i] >> 8]);
  }
};
constexpr Crc16Tables kCrc16;

}  // namespace

uint16_t Crc16(std::span<const uint8_t> data, uint16_t crc) {
  const auto& t = kCrc16.t;
  const uint8_t* p = data.data();
  std::size_t n = data.size();
  for (; n >= 8; n -= 8, p += 8) {
    crc = static_cast<uint16_t>(t[7][p[0] ^ (crc >> 8)] ^ t[6][p[1] ^ (crc & 0xFF)] ^ t[5][p[2]] ^
                                t[4][p[3]] ^ t[3][p[4]] ^ t[2][p[5]] ^ t[1][p[6]] ^ t[0][p[7]]);
  }
  for (; n > 0; --n, ++p) crc = static_cast<uint16_t>((crc << 8) ^ t[0][(crc >> 8) ^ *p]);
  return crc;
}

uint64_t MapBytes(const Header& h, std::span<const uint8_t> head) {
  if (!h.Compressed()) return uint64_t{h.hunkCount} * 4;
  if (head.size() < kMapHeaderBytes) return 0;
  const uint64_t stream = LoadBe32(head.data());
  // Each hunk takes at most a few dozen bits; anything far beyond is damage.
  if (stream > uint64_t{h.hunkCount} * 16 + 4096) return 0;
  return kMapHeaderBytes + stream;
}

std::string DecodeMap(const Header& h, std::span<const uint8_t> map, uint64_t fileSize,
                      std::vector<MapEntry>& out) {
  out.assign(h.hunkCount, MapEntry{});
  if (!h.Compressed()) {
    if (map.size() < uint64_t{h.hunkCount} * 4) return kDamagedMap;
    for (uint32_t i = 0; i < h.hunkCount; ++i) {
      MapEntry& e = out[i];
      const uint64_t block = LoadBe32(&map[4 * std::size_t{i}]);
      if (block == 0) {
        e.kind = HunkKind::Zero;
        continue;
      }
      e.kind = HunkKind::Raw;
      e.offset = block * h.hunkBytes;
      e.length = h.hunkBytes;
      std::string bad = CheckStored(h, e, fileSize, i);
      if (!bad.empty()) return bad;
    }
    return "";
  }

  if (map.size() < kMapHeaderBytes) return kDamagedMap;
  const uint64_t firstOffset = LoadBe48(&map[4]);
  const uint16_t mapCrc = LoadBe16(&map[10]);
  const int lengthBits = map[12], selfBits = map[13], parentBits = map[14];
  if (lengthBits > 32 || selfBits > 32 || parentBits > 32) return kDamagedMap;

  BitReader bits(map.subspan(kMapHeaderBytes));
  HuffmanDecoder decoder(16, 8);
  if (!decoder.ImportRle(bits)) return kDamagedMap;

  // Types, one symbol per hunk, with runs of the previous type.
  std::vector<uint8_t> types(h.hunkCount);
  uint32_t last = 0, repeat = 0;
  for (uint32_t i = 0; i < h.hunkCount; ++i) {
    if (repeat > 0) {
      types[i] = static_cast<uint8_t>(last);
      --repeat;
      continue;
    }
    int s = decoder.Decode(bits);
    if (s < 0) return kDamagedMap;
    if (s == kRleSmall || s == kRleLarge) {
      int a = decoder.Decode(bits);
      if (a < 0) return kDamagedMap;
      if (s == kRleSmall) {
        repeat = 2 + static_cast<uint32_t>(a);
      } else {
        int b = decoder.Decode(bits);
        if (b < 0) return kDamagedMap;
        repeat = 18 + (static_cast<uint32_t>(a) << 4) + static_cast<uint32_t>(b);
      }
      if (repeat > h.hunkCount - i) return kDamagedMap;
      types[i] = static_cast<uint8_t>(last);
    } else {
      types[i] = static_cast<uint8_t>(s);
      last = static_cast<uint32_t>(s);
    }
    if (bits.Overrun()) return kDamagedMap;
  }

  // Then each hunk's own fields, in the same stream.
  std::vector<uint8_t> expanded(kEntryBytes * std::size_t{h.hunkCount});
  const uint64_t unitsPerHunk = h.hunkBytes / h.unitBytes;
  uint64_t cur = firstOffset, lastSelf = 0, lastParent = 0;
  for (uint32_t i = 0; i < h.hunkCount; ++i) {
    MapEntry& e = out[i];
    uint32_t type = types[i];
    switch (type) {
      case 0:
      case 1:
      case 2:
      case 3:
      case 4:
        e.kind = static_cast<HunkKind>(type);
        e.length = type == 4 ? h.hunkBytes : bits.Read(lengthBits);
        e.crc = static_cast<uint16_t>(bits.Read(16));
        e.offset = cur;
        cur += e.length;
        break;
      case 5:
        e.kind = HunkKind::Self;
        e.offset = lastSelf = bits.Read(selfBits);
        break;
      case 6:
        e.kind = HunkKind::Parent;
        e.offset = lastParent = bits.Read(parentBits);
        break;
      case kSelf1:
        ++lastSelf;
        [[fallthrough]];
      case kSelf0:
        e.kind = HunkKind::Self;
        e.offset = lastSelf;
        type = 5;
        break;
      case kParentSelf:
        e.kind = HunkKind::Parent;
        e.offset = lastParent = uint64_t{i} * unitsPerHunk;
        type = 6;
        break;
      case kParent1:
        lastParent += unitsPerHunk;
        [[fallthrough]];
      case kParent0:
        e.kind = HunkKind::Parent;
        e.offset = lastParent;
        type = 6;
        break;
      default:
        return kDamagedMap;
    }
    uint8_t* x = &expanded[kEntryBytes * i];
    x[0] = static_cast<uint8_t>(type);
    for (int k = 0; k < 3; ++k) x[1 + k] = static_cast<uint8_t>(e.length >> (16 - 8 * k));
    for (int k = 0; k < 6; ++k) x[4 + k] = static_cast<uint8_t>(e.offset >> (40 - 8 * k));
    x[10] = static_cast<uint8_t>(e.crc >> 8);
    x[11] = static_cast<uint8_t>(e.crc);
  }
  if (bits.Overrun()) return kDamagedMap;
  if (Crc16(expanded) != mapCrc) return "is damaged: its hunk map fails its checksum.";

  for (uint32_t i = 0; i < h.hunkCount; ++i) {
    MapEntry& e = out[i];
    if (e.kind == HunkKind::Parent)
      return "needs a parent CHD for hunk " + std::to_string(i) + "; such files are not read.";
    if (e.kind == HunkKind::Self) {
      // Only earlier hunks are referenced, so a chain is already resolved one step back.
      if (e.offset >= i) return kDamagedMap;
      const MapEntry& target = out[static_cast<std::size_t>(e.offset)];
      if (target.kind == HunkKind::Self) e.offset = target.offset;
      continue;
    }
    if (static_cast<int>(e.kind) < 4 && h.compressors[static_cast<int>(e.kind)] == 0)
      return "is damaged: hunk " + std::to_string(i) + " names a compression slot that is empty.";
    std::string bad = CheckStored(h, e, fileSize, i);
    if (!bad.empty()) return bad;
  }
  return "";
}

}  // namespace ebf::chd
