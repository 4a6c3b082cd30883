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
      uint32_t j = (i << 1) ^ ((i & 0x80) ? 0x11D : 0), e = i;
      f[i] = static_cast<uint8_t>(j);
      b[i ^ j] = static_cast<uint8_t>(i);
      for (int k = 0; k < 8; ++k) e = (e >> 1) ^ ((e & 1) ? 0xD8018001u : 0);
      edc[i] = e;
    }
  }
};

const EccTables& Tables() {
  static const EccTables t;
  return t;
}

void EccBlock(const uint8_t* src, uint32_t majorCount, uint32_t minorCount, uint32_t majorMult,
              uint32_t minorInc, uint8_t* dest) {
  const auto& t = Tables();
  const uint32_t size = majorCount * minorCount;
  for (uint32_t major = 0; major < majorCount; ++major) {
    uint32_t index = (major >> 1) * majorMult + (major & 1);
    uint8_t a = 0, b = 0;
    for (uint32_t minor = 0; minor < minorCount; ++minor) {
      const uint8_t v = src[index];
      index += minorInc;
      if (index >= size) index -= size;
      a = t.f[a ^ v];
      b ^= v;
    }
    a = t.b[t.f[a] ^ b];
    dest[major] = a;
    dest[major + majorCount] = a ^ b;
  }
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

std::size_t RecordLength(const std::string& name) {
  return 33 + name.size() + (name.size() % 2 == 0);
}

// A directory record; returns its length.
std::size_t DirRecord(uint8_t* p, uint32_t extent, uint32_t size, bool dir,
                      const std::string& name) {
  const std::size_t len = RecordLength(name);
  std::memset(p, 0, len);
  p[0] = static_cast<uint8_t>(len), PutBoth32(p + 2, extent), PutBoth32(p + 10, size);
  std::memcpy(p + 18, "\x63\x0C\x03\x0C\0\0", 7);  // 1999-12-03 12:00:00, GMT
  p[25] = dir ? 2 : 0, PutBoth16(p + 28, 1), p[32] = static_cast<uint8_t>(name.size());
  std::memcpy(p + 33, name.data(), name.size());
  return len;
}

}  // namespace

uint32_t SectorEdc(const uint8_t* p, std::size_t n) {
  uint32_t e = 0;
  for (std::size_t i = 0; i < n; ++i) e = (e >> 8) ^ Tables().edc[(e ^ p[i]) & 0xFF];
  return e;
}

void SectorEcc(uint8_t* sector, bool zeroAddress) {
  uint8_t saved[4];
  std::memcpy(saved, sector + 12, 4);
  if (zeroAddress) std::memset(sector + 12, 0, 4);
  EccBlock(sector + 0xC, 86, 24, 2, 86, sector + 0x81C);
  EccBlock(sector + 0xC, 52, 43, 86, 88, sector + 0x8C8);
  std::memcpy(sector + 12, saved, 4);
}

Bytes BuildIsoSectors(const IsoOptions& options) {
  std::vector<IsoEntry> files = options.files;
  std::sort(files.begin(), files.end(),
            [](const IsoEntry& a, const IsoEntry& b) { return a.name < b.name; });

  // Lay out the root directory, records never crossing a sector.
  uint32_t dirSectors = 1;
  std::size_t used = 34 * 2;
  for (const auto& f : files) {
    if (used + RecordLength(f.name) > kSector) ++dirSectors, used = 0;
    used += RecordLength(f.name);
  }
  const uint32_t rootLba = 20, dirBytes = dirSectors * kSector;
  uint32_t next = rootLba + dirSectors;
  std::vector<uint32_t> extents;
  for (const auto& f : files) {
    extents.push_back(next);
    next += std::max<uint32_t>(1, static_cast<uint32_t>((f.data.size() + kSector - 1) / kSector));
  }
  const uint32_t total = std::max(next, options.minSectors);
  Bytes img(static_cast<std::size_t>(total) * kSector, 0);
  auto sector = [&img](uint32_t lba) { return img.data() + lba * kSector; };

  // Primary volume descriptor, terminator, path tables of just the root.
  uint8_t* pvd = sector(16);
  std::memcpy(pvd, "\1CD001\1", 7);
  PutText(pvd + 8, 32, "PLAYSTATION");
  PutText(pvd + 40, 32, options.volumeId);
  PutBoth32(pvd + 80, total), PutBoth16(pvd + 120, 1), PutBoth16(pvd + 124, 1);
  // Block size; the path table's size and its two copies, little- and big-endian.
  PutBoth16(pvd + 128, kSector), PutBoth32(pvd + 132, 10);
  StoreLe32(pvd + 140, 18), StoreBe32(pvd + 148, 19);
  DirRecord(pvd + 156, rootLba, dirBytes, true, std::string(1, '\0'));
  for (std::size_t off : {190u, 318u, 446u, 574u}) PutText(pvd + off, 128, "");
  for (std::size_t off : {702u, 739u, 776u}) PutText(pvd + off, 37, "");
  for (std::size_t off : {813u, 830u, 847u, 864u}) std::memcpy(pvd + off, "1999120312000000", 17);
  pvd[881] = 1;
  std::memcpy(sector(17),
              "\xFF"
              "CD001\1",
              7);
  sector(18)[0] = sector(19)[0] = 1;
  StoreLe32(sector(18) + 2, rootLba), StoreLe16(sector(18) + 6, 1);
  StoreBe32(sector(19) + 2, rootLba), sector(19)[7] = 1;

  // Root directory.
  uint8_t* dir = sector(rootLba);
  std::size_t pos = DirRecord(dir, rootLba, dirBytes, true, std::string(1, '\0'));
  pos += DirRecord(dir + pos, rootLba, dirBytes, true, std::string(1, '\1'));
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (pos % kSector + RecordLength(files[i].name) > kSector) pos = (pos / kSector + 1) * kSector;
    pos += DirRecord(dir + pos, extents[i], static_cast<uint32_t>(files[i].data.size()), false,
                     files[i].name);
    std::copy(files[i].data.begin(), files[i].data.end(), sector(extents[i]));
  }
  return img;
}

Bytes RawSector(uint32_t lba, SectorLayout layout, const uint8_t* user) {
  Bytes s(2352, 0);
  std::memset(s.data() + 1, 0xFF, 10);
  const uint32_t a = lba + 150;
  s[12] = Bcd(a / 4500), s[13] = Bcd(a / 75 % 60), s[14] = Bcd(a % 75);
  const bool mode1 = layout == SectorLayout::Mode1Raw;
  s[15] = mode1 ? 1 : 2;
  if (!mode1) s[18] = s[22] = 0x08;  // subheader twice: form 1 data
  std::memcpy(s.data() + (mode1 ? 16 : 24), user, kSector);
  if (mode1)
    StoreLe32(s.data() + 2064, SectorEdc(s.data(), 2064));
  else
    StoreLe32(s.data() + 2072, SectorEdc(s.data() + 16, 2056));
  SectorEcc(s.data(), !mode1);
  return s;
}

Bytes SubchannelFor(uint32_t lba) {
  Bytes q(96);
  for (std::size_t i = 0; i < q.size(); ++i) q[i] = static_cast<uint8_t>((lba * 7 + i * 13) ^ 0x5A);
  return q;
}

Bytes EncodeSectors(const Bytes& user, SectorLayout layout, uint32_t firstLba) {
  if (layout == SectorLayout::Plain2048) return user;
  Bytes out;
  for (std::size_t i = 0; i < user.size() / kSector; ++i) {
    const uint32_t lba = firstLba + static_cast<uint32_t>(i);
    Bytes raw = RawSector(lba, layout, user.data() + i * kSector);
    if (layout == SectorLayout::Raw2448) Append(raw, SubchannelFor(lba));
    Append(out, raw);
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
  const std::string cnf =
      "BOOT = cdrom:\\" + exeName + ";1\r\nTCB = 4\r\nEVENT = 10\r\nSTACK = 801FFFF0\r\n";
  IsoOptions o;
  o.files = {{"SYSTEM.CNF;1", Bytes(cnf.begin(), cnf.end())}, {exeName + ";1", exeData}};
  return o;
}

}  // namespace ebf::test
