#include "support/disc_builder.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "support/temp_dir.h"

namespace ebf::test {
namespace {

constexpr uint32_t kSector = 2048;

struct EccTables {
  std::array<uint8_t, 256> f{}, b{};
  std::array<uint32_t, 256> edc{};
  EccTables() {
    for (uint32_t i = 0; i < 256; ++i) {
      uint32_t j = (i << 1) ^ ((i & 0x80) ? 0x11D : 0);
      f[i] = static_cast<uint8_t>(j);
      b[i ^ j] = static_cast<uint8_t>(i);
      uint32_t e = i;
      for (int k = 0; k < 8; ++k) e = (e >> 1) ^ ((e & 1) ? 0xD8018001u : 0);
      edc[i] = e;
    }
  }
};

const EccTables& Tables() {
  static const EccTables t;
  return t;
}

uint32_t Edc(const uint8_t* p, std::size_t n) {
  uint32_t e = 0;
  for (std::size_t i = 0; i < n; ++i) e = (e >> 8) ^ Tables().edc[(e ^ p[i]) & 0xFF];
  return e;
}

void EccBlock(const uint8_t* src, uint32_t majorCount, uint32_t minorCount, uint32_t majorMult,
              uint32_t minorInc, uint8_t* dest) {
  const auto& t = Tables();
  uint32_t size = majorCount * minorCount;
  for (uint32_t major = 0; major < majorCount; ++major) {
    uint32_t index = (major >> 1) * majorMult + (major & 1);
    uint8_t a = 0, b = 0;
    for (uint32_t minor = 0; minor < minorCount; ++minor) {
      uint8_t v = src[index];
      index += minorInc;
      if (index >= size) index -= size;
      a ^= v;
      b ^= v;
      a = t.f[a];
    }
    a = t.b[t.f[a] ^ b];
    dest[major] = a;
    dest[major + majorCount] = a ^ b;
  }
}

void Ecc(uint8_t* sector, bool zeroAddress) {
  uint8_t saved[4];
  std::memcpy(saved, sector + 12, 4);
  if (zeroAddress) std::memset(sector + 12, 0, 4);
  EccBlock(sector + 0xC, 86, 24, 2, 86, sector + 0x81C);
  EccBlock(sector + 0xC, 52, 43, 86, 88, sector + 0x8C8);
  std::memcpy(sector + 12, saved, 4);
}

uint8_t Bcd(uint32_t n) {
  return static_cast<uint8_t>((n / 10) * 16 + n % 10);
}

void PutBoth16(uint8_t* p, uint16_t v) {
  StoreLe16(p, v);
  p[2] = static_cast<uint8_t>(v >> 8);
  p[3] = static_cast<uint8_t>(v);
}

void PutBoth32(uint8_t* p, uint32_t v) {
  StoreLe32(p, v);
  StoreBe32(p + 4, v);
}

void PutText(uint8_t* p, std::size_t n, const std::string& s) {
  std::memset(p, ' ', n);
  std::memcpy(p, s.data(), std::min(n, s.size()));
}

// A directory record; returns its length.
std::size_t DirRecord(uint8_t* p, uint32_t extent, uint32_t size, bool dir,
                      const std::string& name) {
  std::size_t nameLen = name.size();
  std::size_t len = 33 + nameLen + ((nameLen % 2 == 0) ? 1 : 0);
  std::memset(p, 0, len);
  p[0] = static_cast<uint8_t>(len);
  PutBoth32(p + 2, extent);
  PutBoth32(p + 10, size);
  const uint8_t date[7] = {99, 12, 3, 12, 0, 0, 0};
  std::memcpy(p + 18, date, 7);
  p[25] = dir ? 2 : 0;
  PutBoth16(p + 28, 1);
  p[32] = static_cast<uint8_t>(nameLen);
  std::memcpy(p + 33, name.data(), nameLen);
  return len;
}

}  // namespace

Bytes BuildIsoSectors(const IsoOptions& options) {
  std::vector<IsoEntry> files = options.files;
  std::sort(files.begin(), files.end(),
            [](const IsoEntry& a, const IsoEntry& b) { return a.name < b.name; });

  // Lay out the root directory, records never crossing a sector.
  std::vector<std::size_t> recordLens;
  for (const auto& f : files) recordLens.push_back(33 + f.name.size() + (f.name.size() % 2 == 0));
  uint32_t dirSectors = 1;
  std::size_t used = 34 * 2;
  for (std::size_t len : recordLens) {
    if (used + len > kSector) {
      ++dirSectors;
      used = 0;
    }
    used += len;
  }
  const uint32_t rootLba = 20;
  uint32_t next = rootLba + dirSectors;
  std::vector<uint32_t> extents;
  for (const auto& f : files) {
    extents.push_back(next);
    next += std::max<uint32_t>(1, static_cast<uint32_t>((f.data.size() + kSector - 1) / kSector));
  }
  uint32_t total = std::max(next, options.minSectors);
  Bytes img(static_cast<std::size_t>(total) * kSector, 0);

  // Primary volume descriptor.
  uint8_t* pvd = img.data() + 16 * kSector;
  pvd[0] = 1;
  std::memcpy(pvd + 1, "CD001", 5);
  pvd[6] = 1;
  PutText(pvd + 8, 32, "PLAYSTATION");
  PutText(pvd + 40, 32, options.volumeId);
  PutBoth32(pvd + 80, total);
  PutBoth16(pvd + 120, 1);
  PutBoth16(pvd + 124, 1);
  PutBoth16(pvd + 128, kSector);
  PutBoth32(pvd + 132, 10);
  StoreLe32(pvd + 140, 18);
  StoreBe32(pvd + 148, 19);
  DirRecord(pvd + 156, rootLba, dirSectors * kSector, true, std::string(1, '\0'));
  for (std::size_t off : {190u, 318u, 446u, 574u}) PutText(pvd + off, 128, "");
  for (std::size_t off : {702u, 739u, 776u}) PutText(pvd + off, 37, "");
  for (std::size_t off : {813u, 830u, 847u, 864u}) {
    std::memcpy(pvd + off, "1999120312000000", 16);
    pvd[off + 16] = 0;
  }
  pvd[881] = 1;

  uint8_t* term = img.data() + 17 * kSector;
  term[0] = 255;
  std::memcpy(term + 1, "CD001", 5);
  term[6] = 1;

  // Path tables: just the root.
  uint8_t* lpt = img.data() + 18 * kSector;
  lpt[0] = 1;
  StoreLe32(lpt + 2, rootLba);
  StoreLe16(lpt + 6, 1);
  uint8_t* mpt = img.data() + 19 * kSector;
  mpt[0] = 1;
  StoreBe32(mpt + 2, rootLba);
  mpt[7] = 1;

  // Root directory.
  uint8_t* dir = img.data() + rootLba * kSector;
  std::size_t pos = 0;
  pos += DirRecord(dir + pos, rootLba, dirSectors * kSector, true, std::string(1, '\0'));
  pos += DirRecord(dir + pos, rootLba, dirSectors * kSector, true, std::string(1, '\1'));
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (pos % kSector + recordLens[i] > kSector) pos = (pos / kSector + 1) * kSector;
    pos += DirRecord(dir + pos, extents[i], static_cast<uint32_t>(files[i].data.size()), false,
                     files[i].name);
    std::copy(files[i].data.begin(), files[i].data.end(),
              img.begin() + static_cast<std::ptrdiff_t>(extents[i]) * kSector);
  }
  return img;
}

Bytes RawSector(uint32_t lba, SectorLayout layout, const uint8_t* user) {
  Bytes s(2352, 0);
  std::memset(s.data() + 1, 0xFF, 10);
  uint32_t a = lba + 150;
  s[12] = Bcd(a / 4500);
  s[13] = Bcd(a / 75 % 60);
  s[14] = Bcd(a % 75);
  if (layout == SectorLayout::Mode1Raw) {
    s[15] = 1;
    std::memcpy(s.data() + 16, user, kSector);
    StoreLe32(s.data() + 2064, Edc(s.data(), 2064));
    Ecc(s.data(), false);
  } else {
    s[15] = 2;
    const uint8_t sub[4] = {0, 0, 0x08, 0};
    std::memcpy(s.data() + 16, sub, 4);
    std::memcpy(s.data() + 20, sub, 4);
    std::memcpy(s.data() + 24, user, kSector);
    StoreLe32(s.data() + 2072, Edc(s.data() + 16, 2056));
    Ecc(s.data(), true);
  }
  return s;
}

uint32_t SectorEdc(const uint8_t* data, std::size_t n) {
  return Edc(data, n);
}

void SectorEcc(uint8_t* sector, bool zeroAddress) {
  Ecc(sector, zeroAddress);
}

Bytes SubchannelFor(uint32_t lba) {
  Bytes q(96);
  for (std::size_t i = 0; i < q.size(); ++i) q[i] = static_cast<uint8_t>((lba * 7 + i * 13) ^ 0x5A);
  return q;
}

Bytes EncodeSectors(const Bytes& user, SectorLayout layout, uint32_t firstLba) {
  if (layout == SectorLayout::Plain2048) return user;
  const std::size_t count = user.size() / kSector;
  const std::size_t unit = layout == SectorLayout::Raw2448 ? 2448 : 2352;
  Bytes out;
  out.reserve(count * unit);
  for (std::size_t i = 0; i < count; ++i) {
    uint32_t lba = firstLba + static_cast<uint32_t>(i);
    Bytes raw = RawSector(lba, layout == SectorLayout::Mode1Raw ? layout : SectorLayout::Mode2Raw,
                          user.data() + i * kSector);
    out.insert(out.end(), raw.begin(), raw.end());
    if (layout == SectorLayout::Raw2448) {
      Bytes sub = SubchannelFor(lba);
      out.insert(out.end(), sub.begin(), sub.end());
    }
  }
  return out;
}

Bytes BuildDiscImage(const IsoOptions& options, SectorLayout layout) {
  return EncodeSectors(BuildIsoSectors(options), layout);
}

Bytes AudioSectors(uint32_t count, uint32_t seed) {
  return NoiseBytes(count * 2352u, seed);
}

IsoOptions GameDisc(const std::string& exeName, const Bytes& exeData) {
  IsoOptions o;
  std::string cnf =
      "BOOT = cdrom:\\" + exeName + ";1\r\nTCB = 4\r\nEVENT = 10\r\nSTACK = 801FFFF0\r\n";
  o.files.push_back({"SYSTEM.CNF;1", Bytes(cnf.begin(), cnf.end())});
  o.files.push_back({exeName + ";1", exeData});
  return o;
}

}  // namespace ebf::test
