#include "pbp/disc_table.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>

#include "common/bytes.h"
#include "pbp/container.h"
#include "pbp/psar.h"

namespace ebf::pbp {
namespace {

constexpr std::string_view kSectionMagic = "PSISOIMG0000";
constexpr std::string_view kStartDataMagic = "STARTDAT";
constexpr uint32_t kEncryptedTable = 0x44475000;  // "\0PGD": an official package's table
constexpr uint64_t kSectionSizeField = 0x0C;
constexpr uint64_t kSectionIdPos = 0x400;
constexpr uint64_t kSectionIdSize = 16;
constexpr std::size_t kMaxDiscs = 5;

bool ReadAt(File& file, uint64_t at, std::span<uint8_t> out) {
  return at + out.size() <= file.Size() && file.Seek(at) && file.ReadExact(out);
}

bool HasText(File& file, uint64_t at, std::string_view text) {
  Bytes got(text.size());
  return ReadAt(file, at, got) && std::memcmp(got.data(), text.data(), text.size()) == 0;
}

// "_SLUS_00594" -> "SLUS00594": the form the rest of the program uses.
std::string PlainId(const uint8_t* field, std::size_t size) {
  std::string id;
  for (std::size_t i = 0; i < size && field[i] != 0; ++i)
    if (field[i] != '_' && field[i] >= 0x20 && field[i] < 0x7F) id += static_cast<char>(field[i]);
  return id;
}

std::string DiscName(std::size_t i, std::size_t count) {
  return count > 1 ? "disc " + std::to_string(i + 1) : "the disc image";
}

// The section's header and its block index, checked; dataEnd from the index.
std::string ReadSection(File& file, DiscSection& disc, const std::string& name) {
  if (disc.start + kPsarBlockDataPos > file.Size())
    return "The section of " + name + " lies past the end of the file";
  if (!HasText(file, disc.start, kSectionMagic))
    return "The section of " + name + " has no PSISOIMG0000 header";
  uint8_t id[kSectionIdSize];
  if (!ReadAt(file, disc.start + kSectionIdPos, id)) return "Cannot read " + name;
  disc.discId = PlainId(id, sizeof id);
  Bytes index(kPsarBlockDataPos - kPsarIndexPos);
  if (!ReadAt(file, disc.start + kPsarIndexPos, index)) return "Cannot read the index of " + name;
  uint64_t end = 0;
  for (std::size_t at = 0; at + kIndexEntrySize <= index.size(); at += kIndexEntrySize) {
    const uint32_t offset = LoadLe32(&index[at]);
    const uint16_t size = LoadLe16(&index[at + 4]);
    if (offset == 0 && LoadLe32(&index[at + 4]) == 0 && at > 0) break;
    end = std::max<uint64_t>(end, uint64_t{offset} + size);
  }
  disc.dataEnd = disc.start + kPsarBlockDataPos + end;
  if (disc.dataEnd > file.Size()) return "The blocks of " + name + " run past the end of the file";
  return {};
}

}  // namespace

DiscTable ReadDiscTable(File& file, uint64_t psar) {
  DiscTable table;
  if (HasText(file, psar, kSectionMagic)) {
    table.discs.push_back({psar, 0, {}});
    table.error = ReadSection(file, table.discs[0], DiscName(0, 1));
    uint8_t field[4];
    if (table.error.empty() && ReadAt(file, psar + kSectionSizeField, field) &&
        HasText(file, psar + LoadLe32(field), kStartDataMagic))
      table.startData = psar + LoadLe32(field);
    return table;
  }
  if (!HasText(file, psar, kTitleMagic)) {
    table.error = "DATA.PSAR starts with neither a disc section nor a title header";
    return table;
  }
  table.titled = true;
  Bytes header(kTitleHeaderSize);
  if (!ReadAt(file, psar, header)) {
    table.error = "The title header is cut short";
    return table;
  }
  if (LoadLe32(&header[kTitleDiscTablePos]) == kEncryptedTable) {
    table.error = "The disc table is encrypted (an official package); it cannot be read";
    return table;
  }
  table.sharedId = PlainId(&header[kTitleGameIdPos], kTitleGameIdSize);
  std::vector<uint32_t> slots;
  for (uint64_t i = 0; i < kTitleDiscSlots; ++i) {
    const uint32_t slot = LoadLe32(&header[kTitleDiscTablePos + 4 * i]);
    if (slot == 0) break;
    slots.push_back(slot);
  }
  if (slots.empty()) {
    table.error = "The disc table lists no disc";
    return table;
  }
  if (slots.size() > kMaxDiscs) {
    table.error = "The disc table lists " + std::to_string(slots.size()) +
                  " discs; a package holds at most " + std::to_string(kMaxDiscs);
    return table;
  }
  for (std::size_t i = 0; i < slots.size(); ++i) {
    DiscSection& disc = table.discs.emplace_back();
    disc.start = psar + slots[i];
    const std::string name = DiscName(i, slots.size());
    if (slots[i] < kTitleHeaderSize) {
      table.error = "The section of " + name + " overlaps the title header";
      return table;
    }
    if (std::string e = ReadSection(file, disc, name); !e.empty()) {
      table.error = e;
      return table;
    }
  }
  // Sections may come in any order in the file, but never over one another.
  std::vector<const DiscSection*> byStart;
  for (const DiscSection& d : table.discs) byStart.push_back(&d);
  std::sort(byStart.begin(), byStart.end(),
            [](const DiscSection* a, const DiscSection* b) { return a->start < b->start; });
  for (std::size_t i = 0; i + 1 < byStart.size(); ++i) {
    if (byStart[i]->dataEnd > byStart[i + 1]->start) {
      const auto number = [&](const DiscSection* d) { return d - table.discs.data() + 1; };
      table.error = "The sections of disc " + std::to_string(number(byStart[i])) + " and disc " +
                    std::to_string(number(byStart[i + 1])) + " overlap";
      return table;
    }
  }
  // STARTDAT follows the disc that ends last, never inside a disc's data.
  const DiscSection& last = *byStart.back();
  uint64_t dataEnd = 0;
  for (const DiscSection& d : table.discs) dataEnd = std::max(dataEnd, d.dataEnd);
  uint8_t field[4];
  if (ReadAt(file, last.start + kSectionSizeField, field) &&
      last.start + LoadLe32(field) >= dataEnd &&
      HasText(file, last.start + LoadLe32(field), kStartDataMagic))
    table.startData = last.start + LoadLe32(field);
  return table;
}

bool HasTitleHeader(File& file, uint64_t psar) {
  return HasText(file, psar, kTitleMagic);
}

int PackageDiscCount(const std::string& ebootPath) {
  File file(ebootPath, File::Mode::Read);
  uint8_t field[4];
  if (!file || !ReadAt(file, kPsarOffsetPos, field) || !HasTitleHeader(file, LoadLe32(field)))
    return 1;
  const DiscTable table = ReadDiscTable(file, LoadLe32(field));
  return table.error.empty() ? static_cast<int>(table.discs.size()) : 1;
}

std::string DiscTableProblem(const std::string& error) {
  // "The disc table ..." reads on as "the disc table ..."; "DATA.PSAR ..." stays.
  std::string what = error;
  if (what.size() > 1 && std::islower(static_cast<unsigned char>(what[1])))
    what[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(what[0])));
  return what;
}

std::string DiscTableMessage(const std::string& ebootPath, const std::string& error) {
  return "The discs of the EBOOT \"" + ebootPath + "\" cannot be read: " + DiscTableProblem(error) +
         ".";
}

}  // namespace ebf::pbp
