#include "pbp/toc.h"

#include <algorithm>
#include <cstdio>

#include "common/cd_sector.h"
#include "common/files.h"

namespace ebf::pbp {
namespace {

constexpr std::size_t kLeadEntries = 3;  // A0, A1, A2
constexpr std::size_t kA1 = 1;
constexpr const char* kCrLf = "\r\n";

std::string Hex(uint8_t v) {
  char buf[4];
  std::snprintf(buf, sizeof buf, "%X", v);
  return buf;
}

}  // namespace

int BcdValue(uint8_t b) {
  return (b >> 4) * 10 + (b & 0x0F);
}

namespace {

// Bytes 7-9 of an entry as frames from 00:00:00.
int PointFrames(const uint8_t* e) {
  return (BcdValue(e[kTocPMin]) * static_cast<int>(kSecondsPerMinute) + BcdValue(e[kTocPSec])) *
             static_cast<int>(kFramesPerSecond) +
         BcdValue(e[kTocPFrame]);
}

}  // namespace

std::vector<TocEntry> UsedTocEntries(const TocArea& area) {
  std::size_t tracks = static_cast<std::size_t>(BcdValue(area[kA1 * kTocEntrySize + kTocPMin]));
  std::size_t count = std::min(tracks + kLeadEntries, kTocEntries);
  std::vector<TocEntry> out(count);
  for (std::size_t i = 0; i < count; ++i)
    std::copy_n(area.begin() + i * kTocEntrySize, kTocEntrySize, out[i].begin());
  return out;
}

bool IsDataEntry(const TocEntry& e) {
  return e[kTocControl] == kTocDataControl && e[kTocTrackNo] == 0;
}

int EntryPlba(const TocEntry& e) {
  return PointFrames(e.data()) - static_cast<int>(kLeadInSectors);
}

TocArea PackageToc(const TocArea& area) {
  auto valid = [](uint8_t b) { return (b >> 4) <= 9 && (b & 0x0F) <= 9; };
  TocArea out = area;
  for (std::size_t i = kLeadEntries; i < kTocEntries; ++i) {
    uint8_t* e = out.data() + i * kTocEntrySize;
    const uint8_t point = e[kTocPoint];
    if (point == 0 || !valid(point) || !valid(e[kTocPMin]) || !valid(e[kTocPSec]) ||
        !valid(e[kTocPFrame]))
      continue;
    const int frames = PointFrames(e) - static_cast<int>(kLeadInSectors);
    const auto msf = BcdMsf(static_cast<uint32_t>(std::max(frames, 0)));
    std::copy(msf.begin(), msf.end(), e + kTocAMin);
  }
  return out;
}

std::string FormatCcd(const std::vector<TocEntry>& entries) {
  std::string s;
  auto line = [&s](const std::string& text) { s += text + kCrLf; };
  line("[CloneCD]");
  line("Version=3");
  line("[Disc]");
  line("TocEntries=" + std::to_string(entries.size()));
  line("Sessions=1");
  line("DataTracksScrambled=0");
  line("CDTextLength=0");
  line("[Session 1]");
  line("PreGapMode=1");
  line("PreGapSubC=0");
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const TocEntry& e = entries[i];
    line("[Entry " + std::to_string(i) + "]");
    line("Session=1");
    line("Point=0x" + Hex(e[kTocPoint]));
    line("ADR=0x01");
    line(std::string("Control=0x0") + (IsDataEntry(e) ? "4" : "0"));
    line("TrackNo=0");
    line("AMin=" + std::to_string(BcdValue(e[kTocAMin])));
    line("ASec=" + std::to_string(BcdValue(e[kTocASec])));
    line("AFrame=" + std::to_string(BcdValue(e[kTocAFrame])));
    line("ALBA=-150");
    line("Zero=" + std::to_string(e[kTocZero]));
    line("PMin=" + std::to_string(BcdValue(e[kTocPMin])));
    line("PSec=" + std::to_string(BcdValue(e[kTocPSec])));
    line("PFrame=" + std::to_string(BcdValue(e[kTocPFrame])));
    line("PLBA=" + std::to_string(EntryPlba(e)));
  }
  // Track sections count from 0 and data tracks get mode 1; other tools number them
  // differently, and files written so far must stay as they are.
  for (std::size_t i = kLeadEntries; i < entries.size(); ++i) {
    line("[TRACK " + std::to_string(i - kLeadEntries) + "]");
    line("MODE=" + std::to_string(IsDataEntry(entries[i]) ? 1 : 0));
    line("INDEX 1=" + std::to_string(EntryPlba(entries[i])));
  }
  return s;
}

std::string DiscTocFileName(int disc) {
  return disc <= 1 ? "ISO.TOC" : "ISO" + std::to_string(disc) + ".TOC";
}

std::string TocFilePath(const std::string& outputPath, bool conversionLayout, int disc) {
  if (conversionLayout) return FolderOf(outputPath) + DiscTocFileName(disc);
  return WithoutExtension(outputPath) + ".TOC";
}

std::string CcdFilePath(const std::string& outputPath) {
  return WithoutExtension(outputPath) + ".ccd";
}

std::vector<TocOutput> TocOutputs(const TocArea& area, const std::string& outputPath,
                                  bool conversionLayout, int tocSetting, int disc) {
  std::vector<TocOutput> out;
  if (tocSetting <= kTocNone) return out;
  const std::vector<TocEntry> entries = UsedTocEntries(area);
  if (conversionLayout || tocSetting == kTocFile) {
    std::string raw;
    for (const TocEntry& e : entries) raw.append(e.begin(), e.end());
    out.push_back({TocFilePath(outputPath, conversionLayout, disc), std::move(raw)});
  }
  if (tocSetting == kTocCcd) out.push_back({CcdFilePath(outputPath), FormatCcd(entries)});
  return out;
}

}  // namespace ebf::pbp
