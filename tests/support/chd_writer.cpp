#include "support/chd_writer.h"

#include <zstd.h>

#include <cstring>
#include <map>
#include <stdexcept>
#include <vector>

#include "support/disc_builder.h"
#include "support/temp_dir.h"

namespace ebf::test {
namespace {

uint64_t Be(const Bytes& b, std::size_t at, int n) {
  uint64_t v = 0;
  for (int i = 0; i < n; ++i) v = v << 8 | b.at(at + static_cast<std::size_t>(i));
  return v;
}

void PutBe(Bytes& b, std::size_t at, uint64_t v, int n) {
  for (int i = 0; i < n; ++i)
    b.at(at + static_cast<std::size_t>(i)) = static_cast<uint8_t>(v >> (8 * (n - 1 - i)));
}

void AppendBe(Bytes& b, uint64_t v, int n) {
  b.resize(b.size() + static_cast<std::size_t>(n));
  PutBe(b, b.size() - static_cast<std::size_t>(n), v, n);
}

uint16_t Crc16(const uint8_t* p, std::size_t n) {
  uint16_t crc = 0xFFFF;
  for (std::size_t i = 0; i < n; ++i) {
    crc ^= static_cast<uint16_t>(p[i] << 8);
    for (int k = 0; k < 8; ++k)
      crc = static_cast<uint16_t>(crc & 0x8000 ? (crc << 1) ^ 0x1021 : crc << 1);
  }
  return crc;
}

// Bits, most significant first.
struct BitWriter {
  Bytes bytes;
  uint64_t used = 0;
  void Put(uint32_t value, int bits) {
    for (int i = bits - 1; i >= 0; --i, ++used) {
      if (used % 8 == 0) bytes.push_back(0);
      if ((value >> i) & 1) bytes.back() |= static_cast<uint8_t>(0x80 >> (used % 8));
    }
  }
};

Bytes Zstd(const uint8_t* p, std::size_t n) {
  Bytes out(ZSTD_compressBound(n));
  std::size_t got = ZSTD_compress(out.data(), out.size(), p, n, 19);
  if (ZSTD_isError(got)) throw std::runtime_error("zstd");
  out.resize(got);
  return out;
}

// The CD front end: ECC bitmap, base length, zstd of the sectors, zstd of the subcode.
Bytes CdZstd(const uint8_t* hunk, uint32_t hunkBytes, uint32_t& stripped) {
  const uint32_t frames = hunkBytes / 2448;
  Bytes ecc((frames + 7) / 8, 0), base, sub;
  for (uint32_t i = 0; i < frames; ++i) {
    const uint8_t* frame = hunk + i * 2448;
    Bytes sector(frame, frame + 2352), check = sector;
    SectorEcc(check.data(), sector[15] == 2);
    if (std::memcmp(sector.data(), "\0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\0", 12) == 0 &&
        check == sector) {
      ecc[i / 8] |= static_cast<uint8_t>(1 << (i % 8));
      std::memset(sector.data(), 0, 12);
      std::memset(sector.data() + 0x81C, 0, 0x92F - 0x81C + 1);
      ++stripped;
    }
    Append(base, sector);
    sub.insert(sub.end(), frame + 2352, frame + 2448);
  }
  Bytes b = Zstd(base.data(), base.size()), out = ecc;
  AppendBe(out, b.size(), 2), Append(out, b), Append(out, Zstd(sub.data(), sub.size()));
  return out;
}

}  // namespace

Bytes RecompressChd(const Bytes& in, const RecompressOptions& options, RecompressCounts* counts) {
  RecompressCounts c;
  const uint32_t hunkBytes = static_cast<uint32_t>(Be(in, 56, 4));
  const uint64_t logical = Be(in, 32, 8);
  const uint32_t hunks = static_cast<uint32_t>((logical + hunkBytes - 1) / hunkBytes);
  const uint64_t mapAt = Be(in, 40, 8);
  if (Be(in, 12, 4) != 5 || Be(in, 16, 4) != 0 || hunkBytes >= 65536)
    throw std::runtime_error("not an uncompressed v5 CHD with small hunks");

  // Header, then the metadata entries copied and relinked, then hunks, then the map.
  Bytes out(in.begin(), in.begin() + 124);
  PutBe(out, 16, 0x63647A73, 4), PutBe(out, 20, 0x7A737464, 4);  // cdzs, zstd
  if (!options.digestsFrom.empty())
    std::copy(options.digestsFrom.begin() + 64, options.digestsFrom.begin() + 104,
              out.begin() + 64);
  std::vector<std::size_t> links;
  for (uint64_t at = Be(in, 48, 8); at != 0; at = Be(in, at + 8, 8)) {
    const std::size_t length = static_cast<std::size_t>(Be(in, at + 5, 3));
    if (!links.empty()) PutBe(out, links.back(), out.size(), 8);
    links.push_back(out.size() + 8);
    out.insert(out.begin() + static_cast<std::ptrdiff_t>(out.size()),
               in.begin() + static_cast<std::ptrdiff_t>(at),
               in.begin() + static_cast<std::ptrdiff_t>(at + 16 + length));
    PutBe(out, links.back(), 0, 8);
  }
  PutBe(out, 48, links.empty() ? 0 : 124, 8);

  struct Entry {
    uint32_t type;
    uint64_t length, offset;
    uint16_t crc;
  };
  std::vector<Entry> entries;
  std::map<Bytes, uint32_t> seen;
  const uint64_t firstOffset = out.size();
  for (uint32_t i = 0; i < hunks; ++i) {
    const uint64_t block = Be(in, mapAt + 4 * i, 4);
    Bytes hunk(hunkBytes, 0);
    if (block) std::memcpy(hunk.data(), &in.at(block * hunkBytes), hunkBytes);
    const uint16_t crc = Crc16(hunk.data(), hunk.size());
    auto found = seen.find(hunk);
    if (found != seen.end()) {
      entries.push_back({5, 0, found->second, 0});
      ++c.self;
      continue;
    }
    seen.emplace(hunk, i);
    // Raw, CD (cdzs) and zstd hunks in turn.
    const uint32_t type = i % 3 == 0 ? 4 : i % 3 == 1 ? 0 : 1;
    const Bytes stored = type == 4   ? hunk
                         : type == 0 ? CdZstd(hunk.data(), hunkBytes, c.eccStripped)
                                     : Zstd(hunk.data(), hunk.size());
    ++(type == 4 ? c.raw : type == 0 ? c.cdzs : c.zstd);
    const uint16_t mapCrc = static_cast<int>(i) == options.wrongCrcHunk ? crc ^ 0x1111 : crc;
    entries.push_back({type, stored.size(), out.size(), mapCrc});
    Append(out, stored);
  }

  // The map: 16 symbols of 4 bits each (sent as lengths of 4), then one symbol a hunk with
  // symbol 7 for runs of 3 to 18 hunks of the previous type, then each hunk's fields.
  BitWriter bits;
  for (int s = 0; s < 16; ++s) bits.Put(4, 4);
  uint32_t last = 0;
  for (uint32_t i = 0; i < hunks;) {
    uint32_t run = 0;
    while (i + run < hunks && entries[i + run].type == last && run < 18) ++run;
    if (run >= 3) {
      bits.Put(7, 4), bits.Put(run - 3, 4), i += run, ++c.runs;
      continue;
    }
    bits.Put(entries[i].type, 4), last = entries[i++].type;
  }
  Bytes expanded;
  for (const Entry& e : entries) {
    if (e.type <= 3) bits.Put(static_cast<uint32_t>(e.length), 24);
    if (e.type <= 4) bits.Put(e.crc, 16);
    if (e.type == 5) bits.Put(static_cast<uint32_t>(e.offset), 16);
    AppendBe(expanded, e.type, 1), AppendBe(expanded, e.type == 4 ? hunkBytes : e.length, 3);
    AppendBe(expanded, e.offset, 6), AppendBe(expanded, e.crc, 2);
  }
  const uint64_t newMapAt = out.size();
  AppendBe(out, bits.bytes.size(), 4), AppendBe(out, firstOffset, 6);
  AppendBe(out, Crc16(expanded.data(), expanded.size()), 2);
  // Bits of a length, of a self reference and of a parent reference, and a zero.
  Append(out, {24, 16, 0, 0}), Append(out, bits.bytes), PutBe(out, 40, newMapAt, 8);
  if (counts) *counts = c;
  return out;
}

}  // namespace ebf::test
