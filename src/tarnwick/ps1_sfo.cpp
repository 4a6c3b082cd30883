#include "tarnwick/ps1_sfo.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "pbp/sfo.h"

namespace ebf::tarnwick {
namespace {

constexpr uint32_t kPsfMagic = 0x46535000;  // bytes 00 50 53 46
constexpr uint32_t kPsfVersion = 0x00000101;
constexpr uint32_t kPsfHeaderSize = 20;
constexpr uint32_t kPsfIndexEntrySize = 16;
constexpr uint16_t kFormatText = 0x0204;  // UTF-8 text whose length counts the NUL
constexpr uint16_t kFormatU32 = 0x0404;

struct Entry {
  const char* key;
  uint16_t format;
  Bytes value;    // bytes used, NUL included for text
  uint32_t slot;  // bytes reserved in the data table
};

Entry Text(const char* key, const std::string& text, uint32_t slot) {
  Bytes value(text.begin(), text.begin() + std::min<size_t>(text.size(), slot - 1));
  value.push_back(0);
  return {key, kFormatText, std::move(value), slot};
}

Entry Number(const char* key, uint32_t n) {
  Bytes value(4);
  StoreLe32(value.data(), n);
  return {key, kFormatU32, std::move(value), 4};
}

}  // namespace

Bytes BuildPs1Sfo(const Ps1SfoValues& v) {
  // Alphabetical, as the format wants; the slot sizes fix every later offset.
  std::vector<Entry> entries;
  entries.push_back(Number("BOOTABLE", 1));
  entries.push_back(Text("CATEGORY", "ME", 4));
  entries.push_back(Text("DISC_ID", v.discId, 16));
  entries.push_back(Text("DISC_VERSION", v.discVersion, 8));
  entries.push_back(Text("LICENSE", v.license, 512));
  entries.push_back(Number("PARENTAL_LEVEL", v.parentalLevel));
  entries.push_back(Text("PSP_SYSTEM_VER", v.systemVersion, 8));
  entries.push_back(Number("REGION", v.region));
  entries.push_back(Text("TITLE", pbp::SfoTitle(v.title), 128));

  Bytes keys;
  for (const Entry& e : entries) {
    keys.insert(keys.end(), e.key, e.key + std::strlen(e.key) + 1);
  }
  uint32_t keyTable = kPsfHeaderSize + kPsfIndexEntrySize * static_cast<uint32_t>(entries.size());
  uint32_t dataTable = (keyTable + static_cast<uint32_t>(keys.size()) + 3) & ~3u;
  uint32_t dataSize = 0;
  for (const Entry& e : entries) dataSize += e.slot;

  Bytes sfo(dataTable + dataSize, 0);
  StoreLe32(&sfo[0], kPsfMagic);
  StoreLe32(&sfo[4], kPsfVersion);
  StoreLe32(&sfo[8], keyTable);
  StoreLe32(&sfo[12], dataTable);
  StoreLe32(&sfo[16], static_cast<uint32_t>(entries.size()));
  std::copy(keys.begin(), keys.end(), sfo.begin() + keyTable);
  uint32_t keyOffset = 0;
  uint32_t dataOffset = 0;
  for (size_t i = 0; i < entries.size(); ++i) {
    const Entry& e = entries[i];
    uint8_t* index = &sfo[kPsfHeaderSize + kPsfIndexEntrySize * i];
    StoreLe16(index, static_cast<uint16_t>(keyOffset));
    StoreLe16(index + 2, e.format);
    StoreLe32(index + 4, static_cast<uint32_t>(e.value.size()));
    StoreLe32(index + 8, e.slot);
    StoreLe32(index + 12, dataOffset);
    std::copy(e.value.begin(), e.value.end(), sfo.begin() + dataTable + dataOffset);
    keyOffset += static_cast<uint32_t>(std::strlen(e.key) + 1);
    dataOffset += e.slot;
  }
  return sfo;
}

}  // namespace ebf::tarnwick
