#include "disc/libcrypt.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "common/file_io.h"
#include "common/files.h"
#include "common/text.h"

namespace ebf {
namespace {

constexpr uint64_t kMaxSubchannelList = 1 << 20;  // .sbi and .lsd files are a few KB
constexpr std::size_t kSubSectorSize = 96, kQAt = 12;
constexpr uint32_t kLeadIn = 150;

bool FromBcd(uint8_t b, uint32_t& v) {
  if ((b >> 4) > 9 || (b & 15) > 9) return false;
  v = (b >> 4) * 10u + (b & 15);
  return true;
}

// A BCD minute, second and frame as an absolute sector number.
bool SectorOf(const uint8_t* msf, uint32_t& sector) {
  uint32_t m, s, f;
  if (!FromBcd(msf[0], m) || !FromBcd(msf[1], s) || !FromBcd(msf[2], f) || s > 59 || f > 74)
    return false;
  sector = (m * 60 + s) * 75 + f;
  return true;
}

void PutMsf(uint8_t* out, uint32_t sector) {
  out[0] = ToBcd(static_cast<uint16_t>(sector / 4500));
  out[1] = ToBcd(static_cast<uint16_t>(sector / 75 % 60));
  out[2] = ToBcd(static_cast<uint16_t>(sector % 75));
}

// The Q a sector of a one-track data disc has when nothing is modified: data, track 1,
// index 1, its position in the track and on the disc.
QBlock NormalQ(uint32_t absolute) {
  QBlock q{};
  q[0] = 0x41;
  q[1] = 0x01;
  q[2] = 0x01;
  PutMsf(q.data() + 3, absolute - std::min(absolute, kLeadIn));
  PutMsf(q.data() + 7, absolute);
  return q;
}

std::string Named(const std::string& path, const std::string& what) {
  return FileNameOf(path) + ": " + what;
}

}  // namespace

bool IsLibCryptSector(uint32_t absolute) {
  return std::any_of(kLibCryptSectors.begin(), kLibCryptSectors.end(),
                     [&](uint32_t s) { return absolute == s || absolute == s + kLibCryptPartner; });
}

bool HasLibCrypt(const SubchannelData& data) {
  return std::any_of(data.modified.begin(), data.modified.end(),
                     [](const auto& entry) { return IsLibCryptSector(entry.first); });
}

uint16_t LibCryptKey(const SubchannelData& data) {
  uint16_t key = 0;
  for (std::size_t i = 0; i < kLibCryptSectors.size(); ++i)
    if (data.modified.count(kLibCryptSectors[i])) key |= static_cast<uint16_t>(1u << (15 - i));
  return key;
}

std::string LibCryptKeyText(uint16_t key) {
  char t[8];
  std::snprintf(t, sizeof t, "0x%04X", key);
  return t;
}

uint16_t SubchannelQCrc(const uint8_t* q10) {
  uint16_t crc = 0;
  for (int i = 0; i < 10; ++i) {
    crc ^= static_cast<uint16_t>(q10[i] << 8);
    for (int bit = 0; bit < 8; ++bit)
      crc = static_cast<uint16_t>((crc & 0x8000) ? (crc << 1) ^ 0x1021 : crc << 1);
  }
  return static_cast<uint16_t>(~crc);
}

std::string ReadSbi(const std::string& path, SubchannelData& data) {
  Bytes bytes;
  if (!ReadWholeFile(path, bytes, kMaxSubchannelList)) return Named(path, "it cannot be read");
  if (bytes.size() < 4 || std::memcmp(bytes.data(), "SBI\0", 4) != 0)
    return Named(path, "it is no SBI file");
  for (std::size_t at = 4; at < bytes.size();) {
    uint32_t sector = 0;
    if (bytes.size() - at < 4 || !SectorOf(&bytes[at], sector))
      return Named(path, "the record at byte " + std::to_string(at) + " is damaged");
    const uint8_t type = bytes[at + 3];
    const std::size_t length = type == 1 ? 10 : 3;
    if (type < 1 || type > 3 || bytes.size() - at - 4 < length)
      return Named(path, "the record at byte " + std::to_string(at) + " is damaged");
    QBlock q = NormalQ(sector);
    const uint8_t* payload = &bytes[at + 4];
    if (type == 1) std::copy(payload, payload + 10, q.begin());
    if (type == 2) std::copy(payload, payload + 3, q.begin() + 3);
    if (type == 3) std::copy(payload, payload + 3, q.begin() + 7);
    data.modified[sector] = q;
    at += 4 + length;
  }
  return {};
}

std::string ReadLsd(const std::string& path, SubchannelData& data) {
  Bytes bytes;
  if (!ReadWholeFile(path, bytes, kMaxSubchannelList)) return Named(path, "it cannot be read");
  constexpr std::size_t kRecord = 15;
  if (bytes.size() % kRecord != 0) return Named(path, "it is no LSD file (its length is wrong)");
  for (std::size_t at = 0; at < bytes.size(); at += kRecord) {
    uint32_t sector = 0;
    if (!SectorOf(&bytes[at], sector))
      return Named(path, "the record at byte " + std::to_string(at) + " is damaged");
    QBlock q;
    std::copy(&bytes[at + 3], &bytes[at + 13], q.begin());
    data.modified[sector] = q;
  }
  return {};
}

std::string ReadCloneCdSub(const std::string& path, SubchannelData& data) {
  File file(path, File::Mode::Read);
  if (!file) return Named(path, file.LastError());
  const uint64_t size = file.Size();
  // A scratch elsewhere on the disc is no concern of the protection's: only its sectors are
  // read, and a sector the file does not reach is left out.
  for (uint32_t first : kLibCryptSectors) {
    for (uint32_t sector : {first, first + kLibCryptPartner}) {
      const uint64_t at = uint64_t{sector - kLeadIn} * kSubSectorSize;
      if (at + kSubSectorSize > size) continue;
      uint8_t block[kSubSectorSize];
      if (!file.Seek(at) || !file.ReadExact(block)) return Named(path, file.LastError());
      const uint8_t* q = block + kQAt;
      const uint16_t stored = static_cast<uint16_t>((q[10] << 8) | q[11]);
      if (SubchannelQCrc(q) == stored) continue;
      QBlock modified;
      std::copy(q, q + 10, modified.begin());
      data.modified[sector] = modified;
    }
  }
  return {};
}

std::string ReadSubchannelFile(const std::string& path, SubchannelData& data) {
  const std::string ext = Extension4(path);
  if (ext == ".SBI") return ReadSbi(path, data);
  if (ext == ".LSD") return ReadLsd(path, data);
  if (ext == ".SUB") return ReadCloneCdSub(path, data);
  return Named(path, "it is no subchannel file (.sbi, .lsd or .sub)");
}

Bytes SbiBytes(const SubchannelData& data) {
  Bytes out = {'S', 'B', 'I', 0};
  for (const auto& [sector, q] : data.modified) {
    if (!IsLibCryptSector(sector)) continue;
    uint8_t msf[3];
    PutMsf(msf, sector);
    out.insert(out.end(), msf, msf + 3);
    out.push_back(1);
    out.insert(out.end(), q.begin(), q.end());
  }
  return out;
}

std::string FindSubchannelFile(const std::string& input, const std::string& dataFile) {
  std::vector<std::string> stems = {WithoutExtension(input)};
  if (!dataFile.empty() && WithoutExtension(dataFile) != stems[0])
    stems.push_back(WithoutExtension(dataFile));
  for (const char* ext : {".sbi", ".lsd"})
    for (const std::string& stem : stems)
      if (const std::string p = ResolveCaseBlind(stem + ext); IsRegularFile(p)) return p;
  // A CloneCD set keeps the whole subchannel beside its sheet and image.
  for (const std::string& stem : stems) {
    const std::string sub = ResolveCaseBlind(stem + ".sub");
    if (IsRegularFile(sub) && IsRegularFile(ResolveCaseBlind(stem + ".ccd"))) return sub;
  }
  return {};
}

}  // namespace ebf
