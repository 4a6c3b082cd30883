#include "pbp/package_tracks.h"

#include <cstdio>

#include "pbp/toc.h"

namespace ebf::pbp {
namespace {

constexpr uint32_t kTwoSeconds = 150;
constexpr uint32_t kFramesPerSecond = 75;

bool ValidBcd(uint8_t b) {
  return (b >> 4) < 10 && (b & 0x0F) < 10;
}

// Bytes 7-9 as sectors of absolute time; -1 when they are not BCD.
int64_t AbsoluteFrames(const TocEntry& e) {
  if (!ValidBcd(e[kTocPMin]) || !ValidBcd(e[kTocPSec]) || !ValidBcd(e[kTocPFrame])) return -1;
  return (int64_t{BcdValue(e[kTocPMin])} * 60 + BcdValue(e[kTocPSec])) * kFramesPerSecond +
         BcdValue(e[kTocPFrame]);
}

std::string Msf(uint32_t sectors) {
  char text[16];
  std::snprintf(text, sizeof text, "%02u:%02u:%02u", sectors / (60 * kFramesPerSecond),
                (sectors / kFramesPerSecond) % 60, sectors % kFramesPerSecond);
  return text;
}

std::string TrackLines(const SheetTrack& t, uint32_t at) {
  char head[40];
  if (t.track.audio)
    std::snprintf(head, sizeof head, "  TRACK %02d AUDIO\r\n", t.track.number);
  else
    std::snprintf(head, sizeof head, "  TRACK %02d MODE%d/2352\r\n", t.track.number, t.mode);
  std::string lines = head;
  if (t.track.audio && t.pregap) {
    lines += "    INDEX 00 " + Msf(at) + "\r\n";
    lines += "    INDEX 01 " + Msf(at + kPregapSectors) + "\r\n";
  } else {
    lines += "    INDEX 01 " + Msf(at) + "\r\n";
  }
  return lines;
}

}  // namespace

std::string ReadPackageDisc(const DiscImageLayout& layout, PackageDisc& out) {
  out = PackageDisc{};
  const uint64_t held = layout.blocks.size() * kSectorsPerBlock;
  const std::vector<TocEntry> entries = UsedTocEntries(layout.toc);
  if (entries.size() < 4) return "The package's table of contents lists no track.";
  for (std::size_t i = 3; i < entries.size(); ++i) {
    const TocEntry& e = entries[i];
    const int64_t frames = AbsoluteFrames(e);
    PackageTrack t;
    t.number = static_cast<int>(i - 2);
    t.audio = e[kTocControl] == 0x01;  // readers take exactly 0x01 as audio
    if (frames < kTwoSeconds || static_cast<uint64_t>(frames - kTwoSeconds) >= held)
      return "The package's table of contents puts track " + std::to_string(t.number) +
             " outside the disc image (" + std::to_string(held) + " sectors).";
    t.start = static_cast<uint32_t>(frames - kTwoSeconds);
    if (!out.tracks.empty() && t.start <= out.tracks.back().start)
      return "The package's table of contents puts track " + std::to_string(t.number) +
             " before the end of track " + std::to_string(t.number - 1) + ".";
    out.tracks.push_back(t);
  }
  // A2's bytes 7-9 hold the disc's length as sectors (no 2-second offset).
  const int64_t leadOut = AbsoluteFrames(entries[2]);
  out.sectors = static_cast<uint32_t>(held);
  if (leadOut > out.tracks.back().start && static_cast<uint64_t>(leadOut) <= held)
    out.sectors = static_cast<uint32_t>(leadOut);
  for (std::size_t i = 0; i < out.tracks.size(); ++i) {
    const uint32_t end = i + 1 < out.tracks.size() ? out.tracks[i + 1].start : out.sectors;
    out.tracks[i].length = end - out.tracks[i].start;
  }
  return {};
}

std::vector<std::string> SplitTrackNames(const std::string& stem, std::size_t trackCount) {
  if (trackCount == 1) return {stem + ".bin"};
  std::vector<std::string> names;
  for (std::size_t i = 1; i <= trackCount; ++i) {
    char number[8];
    std::snprintf(number, sizeof number, trackCount >= 10 ? "%02zu" : "%zu", i);
    names.push_back(stem + " (Track " + number + ").bin");
  }
  return names;
}

std::string SplitSheet(const std::vector<SheetTrack>& tracks,
                       const std::vector<std::string>& fileNames) {
  std::string text;
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    text += "FILE \"" + fileNames[i] + "\" BINARY\r\n";
    text += TrackLines(tracks[i], 0);
  }
  return text;
}

std::string OneFileSheet(const std::vector<SheetTrack>& tracks, const std::string& binName) {
  std::string text = "FILE \"" + binName + "\" BINARY\r\n";
  for (const SheetTrack& t : tracks) text += TrackLines(t, t.track.start);
  return text;
}

}  // namespace ebf::pbp
