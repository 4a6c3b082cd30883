#include "engine/cue_toc.h"

#include <algorithm>
#include <map>

#include "common/ansi.h"
#include "common/cd_sector.h"
#include "common/file_io.h"
#include "common/files.h"
#include "common/text.h"
#include "disc/disc_file.h"
#include "disc/disc_openers.h"

namespace ebf {
namespace {

uint8_t Bcd(unsigned n) {
  return ToBcd(static_cast<uint16_t>(n));
}

int TwoDigits(const std::string& s, std::size_t at) {
  return at + 2 <= s.size() ? std::max(0, ValInt(s.substr(at, 2))) : 0;
}

struct Track {
  uint16_t control = 0;
  bool indexSeen = false;
  Msf start{0, 0, 0};
};

// The table from tracks by number: each gets its control and start (already + 2 s) in
// both time fields; the lead entries follow from the first and last tracks.
Bytes TocBytes(std::map<int, Track>& tracks, int lastTrack, uint64_t leadOutSectors) {
  Bytes toc(static_cast<std::size_t>(lastTrack + 3) * pbp::kTocEntrySize, 0);
  auto entry = [&](int i) { return toc.data() + static_cast<std::size_t>(i) * pbp::kTocEntrySize; };
  for (auto& [number, t] : tracks) {
    if (number > lastTrack) continue;
    uint8_t* e = entry(number + 2);
    StoreLe16(e, t.control);
    e[2] = Bcd(static_cast<unsigned>(number));
    for (int k = 0; k < 3; ++k) e[3 + k] = e[7 + k] = Bcd(t.start[k]);
  }
  if (lastTrack > 0) {
    uint8_t* a0 = entry(0);
    StoreLe16(a0, tracks[1].control);
    a0[2] = 0xA0;
    a0[7] = 0x01;
    a0[8] = 0x20;
    uint8_t* a1 = entry(1);
    StoreLe16(a1, tracks[lastTrack].control);
    a1[2] = 0xA1;
    a1[7] = Bcd(static_cast<unsigned>(lastTrack));
    uint8_t* a2 = entry(2);
    StoreLe16(a2, 0x01);
    a2[2] = 0xA2;
    const auto leadOut =
        BcdMsf(static_cast<uint32_t>(std::min<uint64_t>(leadOutSectors, UINT32_MAX)));
    std::copy(leadOut.begin(), leadOut.end(), a2 + 7);
  }
  return toc;
}

}  // namespace

CueToc BuildCueToc(std::string_view cueText, uint64_t imageLength) {
  CueToc out;
  std::map<int, Track> tracks;
  int current = 0;
  for (const std::string& raw : SplitLines(cueText)) {
    const std::string line = ToUpperAscii(Trim(raw));
    if (line.empty()) continue;
    const std::size_t blank = line.find(' ');
    const std::string keyword = line.substr(0, blank);
    const std::string rest = blank == std::string::npos ? "" : Trim(line.substr(blank + 1));
    if (keyword == "FILE") {
      std::size_t q1 = line.find('"');
      std::size_t q2 = q1 == std::string::npos ? q1 : line.find('"', q1 + 1);
      // The first FILE line names the image, as the input resolver reads it too.
      if (q2 != std::string::npos && out.imageName.empty())
        out.imageName = line.substr(q1 + 1, q2 - q1 - 1);
    } else if (keyword == "TRACK") {
      current = ValInt(rest);
      if (current < 1 || current > 99) {
        current = 0;
        continue;
      }
      out.lastTrack = std::max(out.lastTrack, current);
      const std::string type = rest.substr(std::min(rest.size(), rest.find(' ') + 1));
      tracks[current].control = type.rfind("AUDIO", 0) == 0 ? 0x01 : 0x41;
    } else if (keyword == "INDEX" && current > 0 && !tracks[current].indexSeen) {
      // INDEX nn mm:ss:ff: whatever the index number, the first one counts.
      const std::size_t sp = rest.find(' ');
      const std::string time = sp == std::string::npos ? "" : Trim(rest.substr(sp + 1));
      Msf t{static_cast<uint8_t>(TwoDigits(time, 0)), static_cast<uint8_t>(TwoDigits(time, 3)),
            static_cast<uint8_t>(TwoDigits(time, 6))};
      tracks[current].start = AddMsf(t, Msf{0, 2, 0});
      tracks[current].indexSeen = true;
    }
  }
  out.toc = TocBytes(tracks, out.lastTrack, imageLength / kRawSectorSize);
  return out;
}

Bytes BuildDiscToc(const DiscInfo& disc) {
  std::map<int, Track> tracks;
  int last = 0;
  for (const DiscTrack& t : disc.tracks) {
    if (t.number < 1 || t.number > 99) continue;
    const uint32_t at = t.start + kLeadInSectors;
    const uint32_t minutes = std::min<uint32_t>(at / kFramesPerMinute, 99);
    tracks[t.number] = {static_cast<uint16_t>(t.audio() ? 0x01 : 0x41), true,
                        Msf{static_cast<uint8_t>(minutes),
                            static_cast<uint8_t>(at / kFramesPerSecond % kSecondsPerMinute),
                            static_cast<uint8_t>(at % kFramesPerSecond)}};
    last = std::max(last, t.number);
  }
  return TocBytes(tracks, last, disc.sectorCount);
}

std::string WriteIsoToc(const Bytes& toc, const std::string& outputFolder,
                        const std::string& tocName) {
  const std::string tocPath = outputFolder + tocName;
  DeleteFileIfExists(tocPath);
  File out(tocPath, File::Mode::Write);
  if (!out || !out.Write(toc) || !out.Close())
    return "The TOC could not be written: " + tocPath + " (" + out.LastError() + ")";
  return {};
}

CuePreparation PrepareCue(const std::string& cuePath, const std::string& outputFolder,
                          const DiscOpenOptions& options, const std::string& tocName) {
  CuePreparation prep;
  Bytes text;
  if (!ReadWholeFile(cuePath, text, 1 << 20)) return {kMsgBinNotFound, ""};
  const std::string sheet =
      TextFileToUtf8(std::string_view(reinterpret_cast<const char*>(text.data()),
                                      text.size() == 1 && text[0] == 0 ? 0 : text.size()));

  // The image's length is needed for the lead-out, so find the image first.
  CueToc first = BuildCueToc(sheet, 0);
  std::string name = first.imageName;
  for (char& c : name)
    if (c == '\\' || c == '/') c = kSep;
  std::string image = IsAbsolutePath(name) ? name : FolderOf(cuePath) + name;
  image = ResolveCaseBlind(image);
  if (!first.imageName.empty() && (!FileExists(image) || IsDirectory(image))) {
    // A sheet kept beside the ECM-packed file it was written for (game.bin.ecm).
    const std::string packed = ResolveCaseBlind(image + ".ecm");
    if (FileExists(packed) && !IsDirectory(packed)) image = packed;
  }
  if (first.imageName.empty() || !FileExists(image) || IsDirectory(image)) {
    std::string fallback =
        ResolveCaseBlind((image.size() >= 4 ? image.substr(0, image.size() - 4) : image) + ".bin");
    if (first.imageName.empty() || !FileExists(fallback) || IsDirectory(fallback))
      return {kMsgBinNotFound, ""};
    image = fallback;
  }
  prep.imagePath = image;
  // The table keeps the first reading; a sheet that would make a broken disc stops here.
  if (DiscOpenResult disc = OpenOneFileCueDisc(cuePath, sheet, image, options); !disc.disc) {
    prep.result = disc.message;
    return prep;
  }

  CueToc toc = BuildCueToc(sheet, DiscFileSize(image).value_or(0));
  prep.result = WriteIsoToc(toc.toc, outputFolder, tocName);
  return prep;
}

}  // namespace ebf
