#include "disc/game_id.h"

#include <algorithm>
#include <array>
#include <span>
#include <string_view>

#include "common/ansi.h"
#include "common/bytes.h"
#include "common/cd_sector.h"
#include "common/file_io.h"
#include "common/pattern.h"
#include "common/text.h"

namespace ebf {
namespace {

constexpr uint32_t kSync = 0xFFFFFF00;             // 00 FF FF FF
constexpr uint32_t kDescriptorStart = 0x30444301;  // 01 'C' 'D' '0'
constexpr uint32_t kMaxDescriptorWords = 129;
constexpr uint32_t kMaxWalkSteps = 1024;
constexpr uint32_t kFirstDescriptorSector = 16;
constexpr std::size_t kUserDataSize = kIsoSectorSize;

// Directory record fields.
constexpr std::size_t kRecordMinLength = 33;
constexpr std::size_t kRecordFlags = 25;
constexpr std::size_t kRecordNameLength = 32;
constexpr std::size_t kRecordName = 33;
constexpr uint8_t kFlagDirectory = 2;

constexpr std::array<std::string_view, 11> kKnownPrefixes = {
    "SCUS", "SLUS", "SLES", "SCES", "SCED", "SLPS", "SLPM", "SCPS", "SLED", "SIPS", "ESPM"};

class CountingReader {
 public:
  CountingReader(ByteSource& source, GameIdProbe& probe) : source_(source), probe_(probe) {}

  bool ReadAt(uint64_t offset, std::span<uint8_t> out) {
    ++probe_.reads;
    std::size_t n = source_.ReadAt(offset, out);
    probe_.bytesRead += n;
    return n == out.size();
  }
  bool Le32At(uint64_t offset, uint32_t& value) {
    uint8_t b[4];
    if (!ReadAt(offset, b)) return false;
    value = LoadLe32(b);
    return true;
  }

 private:
  ByteSource& source_;
  GameIdProbe& probe_;
};

// The ID a file record's name stands for, or "".
std::string IdFromName(std::string_view rawName) {
  std::string name;
  for (char c : rawName)
    if (c != '_' && c != '.') name.push_back(c);
  name = AnsiToUtf8(name.substr(0, name.find(';')));
  if (Matches(name, "????####*") && CharCount(name) < 10) return name;
  return {};
}

// Walks the records of one directory sector; the first record that names an ID wins.
std::string IdFromDirectory(std::span<const uint8_t> sector) {
  std::size_t pos = 0;
  while (pos < sector.size()) {
    std::size_t length = sector[pos];
    if (length < kRecordMinLength) return {};
    if (!RangeFits(pos, kRecordName, sector.size())) return {};
    bool isDirectory = sector[pos + kRecordFlags] == kFlagDirectory;
    std::size_t nameLength = sector[pos + kRecordNameLength];
    if (nameLength == 0) {
      pos += kRecordName;  // the byte after the length field starts the next record
      continue;
    }
    if (!RangeFits(pos + kRecordName, nameLength, sector.size())) return {};
    if (!isDirectory) {
      auto raw = sector.subspan(pos + kRecordName, nameLength);
      std::string id = IdFromName(std::string(raw.begin(), raw.end()));
      if (!id.empty()) return id;
    }
    if (length - kRecordMinLength > nameLength)
      pos += length;
    else
      pos += kRecordName + nameLength;
  }
  return {};
}

}  // namespace

std::string DetectGameId(const std::string& imagePath, GameIdProbe* probeOut) {
  FileByteSource file(imagePath);
  if (!file.ok()) {
    if (probeOut) *probeOut = GameIdProbe{};
    return {};
  }
  return DetectGameId(file, probeOut);
}

std::string DetectGameId(ByteSource& source, GameIdProbe* probeOut) {
  GameIdProbe probe;
  std::string id;
  CountingReader in(source, probe);
  [&] {
    uint64_t size = source.Size();
    uint32_t word = 0;
    if (!in.Le32At(0, word)) return;
    uint32_t sectorSize = kIsoSectorSize;
    bool raw = word == kSync;
    if (raw) {
      if (!in.Le32At(kRawSectorSize, word)) return;
      if (word == kSync) {
        sectorSize = kRawSectorSize;
      } else {
        if (!in.Le32At(kRawSubSectorSize, word) || word != kSync) return;
        sectorSize = kRawSubSectorSize;
      }
    }
    probe.sectorSize = sectorSize;
    uint64_t dataOffset = 0;
    if (raw) {
      uint64_t pos = uint64_t{kFirstDescriptorSector} * sectorSize + 16;
      uint32_t words = 0;
      for (;;) {
        if (words == kMaxDescriptorWords) return;
        if (!in.Le32At(pos + 4ull * words, word)) return;
        ++words;
        if (word == kDescriptorStart) break;
      }
      dataOffset = 16 + 4ull * (words - 1);
    }
    probe.dataOffset = static_cast<uint32_t>(dataOffset);

    uint64_t dirStart = 0;
    bool found = false;
    for (uint32_t step = 0; step < kMaxWalkSteps && !found; ++step) {
      uint64_t sector = kFirstDescriptorSector + (step == 0 ? 0 : step - 1);
      uint64_t pos = sector * sectorSize + dataOffset;
      if (pos >= size) return;
      uint8_t type = 0;
      if (!in.ReadAt(pos, std::span<uint8_t>(&type, 1))) return;
      if (type >= 4 && type <= 254) {
        dirStart = pos;
        found = true;
      }
    }
    if (!found) return;
    probe.directoryOffset = dirStart;

    // Only the bytes of that one sector's user data are walked; a truncated sector ends
    // where the file does.
    std::array<uint8_t, kUserDataSize> sector{};
    uint64_t available = std::min<uint64_t>(kUserDataSize, size - dirStart);
    std::span<uint8_t> part(sector.data(), static_cast<std::size_t>(available));
    if (!in.ReadAt(dirStart, part)) return;
    id = IdFromDirectory(part);
  }();
  if (probeOut) *probeOut = probe;
  return id;
}

bool IsKnownGameIdShape(const std::string& gameId) {
  std::string prefix = ToUpperAscii(LeftChars(gameId, 4));
  bool known = false;
  for (auto p : kKnownPrefixes) known = known || prefix == p;
  return known && Matches(gameId, "????#####");
}

GameIdCheck CheckGameIdForConversion(const std::string& gameId, const std::string& title,
                                     const std::string& saveName, const std::string& region,
                                     bool palFixScreen, bool palFixGfx, Questions& questions) {
  if (title.empty()) return {CheckOutcome::Refused, kNoTitleMessage};
  if (saveName.empty()) return {CheckOutcome::Refused, kNoSaveNameMessage};
  if (CharCount(gameId) != 9) return {CheckOutcome::Refused, kIdLengthMessage};
  if (!IsKnownGameIdShape(gameId)) return {CheckOutcome::Refused, kIdShapeMessage};
  bool anyFix = palFixScreen || palFixGfx;
  if (region == "NTSC" && anyFix && !questions.AskYesNo(kPalFixOnNtscQuestion, true))
    return {CheckOutcome::Declined, {}};
  if (region == "PAL" && !anyFix && !questions.AskYesNo(kPalWithoutFixQuestion, true))
    return {CheckOutcome::Declined, {}};
  return {};
}

}  // namespace ebf
