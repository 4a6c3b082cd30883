#include "support/disc_sets.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>

#include <gtest/gtest.h>

#include "common/files.h"
#include "support/cd_sets.h"
#include "support/chdman.h"
#include "support/disc_builder.h"
#include "support/ecm_writer.h"
#include "support/temp_dir.h"

namespace ebf::test {
namespace {

constexpr uint32_t kSector = 2352;

// A Mode 2 game disc (SLUS_012.34) of `sectors` sectors, its boot file `exeSize` bytes of noise.
Bytes DataTrack(uint32_t sectors = 300, std::size_t exeSize = 20000, uint32_t seed = 77) {
  IsoOptions disc = GameDisc("SLUS_012.34", NoiseBytes(exeSize, seed));
  disc.minSectors = sectors;
  return BuildDiscImage(disc, SectorLayout::Mode2Raw);
}

Bytes Zeros(uint32_t sectors) {
  return Bytes(size_t{sectors} * kSector, 0);
}

std::string Join(const std::string& folder, const std::string& name) {
  return folder + "/" + name;
}

Bytes Concat(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& p : parts) Append(all, p);
  return all;
}

// Sectors [from, to) of a disc.
Bytes Range(const Bytes& disc, uint32_t from, uint32_t to) {
  return Bytes(disc.begin() + from * kSector, disc.begin() + to * kSector);
}

// A pregap of quiet noise, told apart from zeros and from the track's audio.
Bytes Pregap(uint32_t seed) {
  Bytes b = AudioSectors(150, seed);
  for (uint8_t& v : b) v &= 0x03;
  return b;
}

// Track 3's pregap: quiet noise, or silence.
Bytes ThirdPregap(bool silent) {
  return silent ? Zeros(150) : Pregap(31);
}

// The 1,125-sector disc of the CloneCD and Alcohol sets: data, then two audio tracks, each
// with 150 sectors of pregap.
Bytes IndexedDisc(bool silentThirdPregap) {
  return Concat({DataTrack(), Pregap(21), AudioSectors(225, 2), ThirdPregap(silentThirdPregap),
                 AudioSectors(300, 3)});
}

// Writes the files and the descriptor `sheet` beside them (the input); the disc is the files
// one after the other.
DiscSet WriteFiles(const std::string& folder,
                   const std::vector<std::pair<std::string, Bytes>>& files,
                   const std::string& sheetName, const std::string& sheet) {
  DiscSet set;
  for (const auto& [name, bytes] : files) {
    WriteFileBytes(Join(folder, name), bytes);
    Append(set.disc, bytes);
    set.files.push_back(Join(folder, name));
  }
  set.input = Join(folder, sheetName);
  WriteFileText(set.input, sheet);
  set.files.push_back(set.input);
  return set;
}

// The same disc with track 3's silent pregap as a PREGAP line: one file of 975 sectors.
DiscSet WritePregapLineSet(const std::string& folder) {
  const Bytes disc = IndexedDisc(true);
  DiscSet set =
      WriteFiles(folder, {{"Gap Line.bin", Concat({Range(disc, 0, 675), Range(disc, 825, 1125)})}},
                 "Gap Line.cue",
                 "FILE \"Gap Line.bin\" BINARY\n  TRACK 01 MODE2/2352\n    INDEX 01 00:00:00\n"
                 "  TRACK 02 AUDIO\n    INDEX 00 00:04:00\n    INDEX 01 00:06:00\n"
                 "  TRACK 03 AUDIO\n    PREGAP 00:02:00\n    INDEX 01 00:09:00\n");
  set.disc = disc;
  return set;
}

// A CHD that chdman makes of a set's sheet, in the set's folder.
DiscSet Chd(DiscSet set) {
  const std::string chd = FolderOf(set.input) + "Disc.chd";
  EXPECT_TRUE(CreateChd(set.input, chd, ""));
  set.input = chd;
  set.files = {chd};
  return set;
}

}  // namespace

std::string RedumpSheet(const std::vector<std::string>& names) {
  return "FILE \"" + names[0] + "\" BINARY\r\n  TRACK 01 MODE2/2352\r\n    INDEX 01 00:00:00\r\n" +
         "FILE \"" + names[1] + "\" BINARY\r\n  TRACK 02 AUDIO\r\n    INDEX 00 00:00:00\r\n" +
         "    INDEX 01 00:02:00\r\n" + "FILE \"" + names[2] +
         "\" BINARY\r\n  TRACK 03 AUDIO\r\n    INDEX 00 00:00:00\r\n    INDEX 01 00:02:00\r\n";
}

DiscSet WriteRedumpSet(const std::string& folder, bool silentThirdPregap) {
  std::vector<std::string> names;
  for (char n : {'1', '2', '3'}) names.push_back(std::string("Game (USA) (Track ") + n + ").bin");
  // The sheet names a file in another case than it has, as sheets made on Windows do.
  std::vector<std::string> written = names;
  written[2] = "GAME (USA) (TRACK 3).BIN";
  return WriteFiles(folder,
                    {{names[0], DataTrack()},
                     {names[1], Concat({Pregap(21), AudioSectors(225, 2)})},
                     {names[2], Concat({ThirdPregap(silentThirdPregap), AudioSectors(300, 3)})}},
                    "Game (USA).cue", RedumpSheet(written));
}

DiscSet WritePregapSheet(const std::string& folder) {
  const Bytes file = Concat({DataTrack(), AudioSectors(225, 4), AudioSectors(300, 5)});
  DiscSet set =
      WriteFiles(folder, {{"gap.bin", file}}, "gap.cue",
                 "FILE \"gap.bin\" BINARY\n TRACK 01 MODE2/2352\n  INDEX 01 00:00:00\n"
                 "  POSTGAP 00:01:00\n TRACK 02 AUDIO\n  PREGAP 00:02:00\n  INDEX 01 00:04:00\n"
                 " TRACK 03 AUDIO\n  PREGAP 00:02:00\n  INDEX 01 00:07:00\n");
  set.disc = Concat({Range(file, 0, 300), Zeros(75 + 150), Range(file, 300, 525), Zeros(150),
                     Range(file, 525, 825)});
  return set;
}

DiscSet WriteOneFileSheet(const std::string& folder, bool silentThirdPregap) {
  return WriteFiles(folder, {{"One File.bin", IndexedDisc(silentThirdPregap)}}, "One File.cue",
                    "FILE \"One File.bin\" BINARY\n  TRACK 01 MODE2/2352\n    INDEX 01 00:00:00\n"
                    "  TRACK 02 AUDIO\n    INDEX 00 00:04:00\n    INDEX 01 00:06:00\n"
                    "  TRACK 03 AUDIO\n    INDEX 00 00:09:00\n    INDEX 01 00:11:00\n");
}

DiscSet WriteCloneCdSet(const std::string& folder, bool silentThirdPregap) {
  // As CloneCD writes it: lead entries, the three tracks at PLBA = INDEX 01, then the
  // track sections with both indexes.
  std::string ccd =
      "[CloneCD]\r\nVersion=3\r\n[Disc]\r\nTocEntries=6\r\nSessions=1\r\n"
      "DataTracksScrambled=0\r\nCDTextLength=0\r\n[Session 1]\r\nPreGapMode=2\r\n"
      "PreGapSubC=0\r\n";
  struct E {
    const char* point;
    int control, pmin, psec, plba;
  };
  const E entries[] = {{"0xa0", 4, 1, 32, 0}, {"0xa1", 0, 3, 0, 0},   {"0xa2", 0, 0, 17, 1125},
                       {"0x01", 4, 0, 2, 0},  {"0x02", 0, 0, 8, 450}, {"0x03", 0, 0, 13, 825}};
  for (int i = 0; i < 6; ++i) {
    const E& e = entries[i];
    ccd += "[Entry " + std::to_string(i) + "]\r\nSession=1\r\nPoint=" + e.point +
           "\r\nADR=0x01\r\nControl=0x0" + std::to_string(e.control) +
           "\r\nTrackNo=0\r\nAMin=0\r\nASec=0\r\nAFrame=0\r\nALBA=-150\r\nZero=0\r\nPMin=" +
           std::to_string(e.pmin) + "\r\nPSec=" + std::to_string(e.psec) +
           "\r\nPFrame=0\r\nPLBA=" + std::to_string(e.plba) + "\r\n";
  }
  ccd +=
      "[TRACK 1]\r\nMODE=2\r\nINDEX 1=0\r\n[TRACK 2]\r\nMODE=0\r\nINDEX 0=300\r\n"
      "INDEX 1=450\r\n[TRACK 3]\r\nMODE=0\r\nINDEX 0=675\r\nINDEX 1=825\r\n";
  DiscSet set = WriteFiles(folder, {{"game.img", IndexedDisc(silentThirdPregap)}}, "GAME.CCD", ccd);
  set.input = set.files[0];
  return set;
}

DiscSet WriteAlcoholSet(const std::string& folder, uint32_t sectorSize, bool offsetAtPregap,
                        bool silentThirdPregap) {
  const Bytes disc = IndexedDisc(silentThirdPregap);
  const uint32_t sectors = static_cast<uint32_t>(disc.size() / kSector);
  Bytes mdf;
  for (uint32_t s = 0; s < sectors; ++s) {
    Append(mdf, Range(disc, s, s + 1));
    if (sectorSize == 2448) Append(mdf, SubchannelFor(s));
  }

  // Header, one session, three lead-in blocks and three track blocks, the extra blocks,
  // the footer and the file name.
  constexpr uint32_t kSession = 0x58, kTracks = kSession + 24, kExtras = kTracks + 6 * 80,
                     kFooter = kExtras + 3 * 8, kName = kFooter + 16;
  Bytes mds(kName + 6, 0);
  std::memcpy(mds.data(), "MEDIA DESCRIPTOR\1\3", 18);
  StoreLe16(&mds[0x14], 1), StoreLe32(&mds[0x50], kSession);
  // The session: start, end, number, six blocks, three of them tracks, tracks 1 to 3.
  uint8_t* s = &mds[kSession];
  StoreLe32(s, static_cast<uint32_t>(-150)), StoreLe32(s + 4, sectors), StoreLe16(s + 8, 1);
  s[10] = 6, s[11] = 3, StoreLe16(s + 12, 1), StoreLe16(s + 14, 3), StoreLe32(s + 20, kTracks);
  struct T {
    uint8_t mode, control, point;
    uint32_t start, pregap, length;
  };
  const T blocks[] = {{0, 0x14, 0xA0, 0, 0, 0},       {0, 0x10, 0xA1, 0, 0, 0},
                      {0, 0x10, 0xA2, 0, 0, 0},       {0xAB, 0x14, 1, 0, 150, 300},
                      {0xA9, 0x10, 2, 450, 150, 225}, {0xA9, 0x10, 3, 825, 150, 300}};
  for (int i = 0; i < 6; ++i) {
    const T& b = blocks[i];
    uint8_t* t = &mds[kTracks + i * 80];
    t[0] = b.mode, t[1] = sectorSize == 2448 ? 0x08 : 0x00, t[2] = b.control, t[4] = b.point;
    if (b.point > 99) continue;
    const uint32_t msf = b.start + 150, extra = kExtras + (i - 3) * 8;
    t[9] = static_cast<uint8_t>(msf / 4500), t[10] = static_cast<uint8_t>(msf / 75 % 60);
    t[11] = static_cast<uint8_t>(msf % 75);
    StoreLe32(t + 12, extra), StoreLe16(t + 16, static_cast<uint16_t>(sectorSize));
    StoreLe32(t + 36, b.start);
    StoreLe32(t + 40, (offsetAtPregap && b.point > 1 ? b.start - b.pregap : b.start) * sectorSize);
    StoreLe32(t + 48, 1), StoreLe32(t + 52, kFooter);
    StoreLe32(&mds[extra], b.pregap), StoreLe32(&mds[extra + 4], b.length);
  }
  StoreLe32(&mds[kFooter], kName);
  std::memcpy(&mds[kName], "*.mdf", 6);
  DiscSet set =
      WriteFiles(folder, {{"game.mdf", mdf}}, "Game.MDS", std::string(mds.begin(), mds.end()));
  set.input = set.files[0], set.disc = disc;
  return set;
}

// The image readers' sets: their sheet, the files it names, the disc.
static CdSet AsCdSet(const DiscSet& set) {
  return {set.input, std::vector<std::string>(set.files.begin(), set.files.end() - 1), set.disc};
}

Bytes ToneSectors(uint32_t count, double hertz, uint32_t seed) {
  std::mt19937 rng(seed);
  const std::size_t frames = std::size_t{count} * 588;
  Bytes out(frames * 4);
  for (std::size_t i = 0; i < frames; ++i) {
    const double t = static_cast<double>(i) / 44100.0;
    const int left =
        static_cast<int>(9000 * std::sin(2 * M_PI * hertz * t)) + static_cast<int>(rng() % 7) - 3;
    const int right = static_cast<int>(7000 * std::sin(2 * M_PI * hertz * 1.5 * t)) +
                      static_cast<int>(rng() % 7) - 3;
    StoreLe16(&out[4 * i], static_cast<uint16_t>(left));
    StoreLe16(&out[4 * i + 2], static_cast<uint16_t>(right));
  }
  return out;
}

CdSet WriteDataOnlySet(const std::string& folder) {
  return AsCdSet(WriteFiles(
      folder, {{"Data Disc.bin", DataTrack(419, 30000, 5)}}, "Data Disc.cue",
      "FILE \"Data Disc.bin\" BINARY\r\n  TRACK 01 MODE2/2352\r\n    INDEX 01 00:00:00\r\n"));
}

CdSet WriteMixedSet(const std::string& folder) {
  std::vector<std::string> names;
  for (char n : {'1', '2', '3'}) names.push_back("Mixed (Track " + std::string(1, n) + ").bin");
  // Track 3 has no INDEX 00 in its file, but a second of PREGAP before it.
  std::string sheet = RedumpSheet(names);
  sheet.resize(sheet.rfind("    INDEX 00"));
  CdSet set =
      AsCdSet(WriteFiles(folder,
                         {{names[0], DataTrack(300, 30000, 5)},
                          {names[1], Concat({Zeros(150), ToneSectors(220, 440, 1)})},
                          {names[2], ToneSectors(130, 330, 2)}},
                         "Mixed.cue", sheet + "    PREGAP 00:01:00\r\n    INDEX 01 00:00:00\r\n"));
  set.disc.insert(set.disc.end() - 130 * kSector, 75 * kSector, 0);
  return set;
}

DiscSet WriteSameDisc(SameDiscLayout layout, const std::string& folder) {
  // clang-format off
  switch (layout) {
    case SameDiscLayout::OneFileSheet: return WriteOneFileSheet(folder, true);
    case SameDiscLayout::RedumpSet: return WriteRedumpSet(folder, true);
    case SameDiscLayout::PregapLine: return WritePregapLineSet(folder);
    case SameDiscLayout::CloneCd: return WriteCloneCdSet(folder, true);
    case SameDiscLayout::Alcohol: return WriteAlcoholSet(folder, 2352, false, true);
    case SameDiscLayout::ChdOfPregapLine: return Chd(WritePregapLineSet(folder));
      // clang-format on
    case SameDiscLayout::CloneCdBin:
    case SameDiscLayout::CloneCdIso: {
      // The names extractions give the image beside their .ccd; the sheet or the image chosen.
      DiscSet set = WriteCloneCdSet(folder, true);
      const bool bin = layout == SameDiscLayout::CloneCdBin;
      const std::string image = Join(folder, bin ? "game.bin" : "game.iso");
      std::rename(set.input.c_str(), image.c_str());
      set.input = bin ? set.files[1] : image;
      set.files[0] = image;
      return set;
    }
    case SameDiscLayout::ChdOfRedumpSet: {
      // chdman takes the names as the sheet spells them.
      DiscSet set = WriteRedumpSet(folder, true);
      WriteFileText(set.input, RedumpSheet({FileNameOf(set.files[0]), FileNameOf(set.files[1]),
                                            FileNameOf(set.files[2])}));
      return Chd(set);
    }
    case SameDiscLayout::EcmRedumpSet: {
      DiscSet set = WriteRedumpSet(folder, true);
      for (std::size_t i = 0; i < 3; ++i) {
        WriteFileBytes(set.files[i] + ".ecm", EncodeEcm(ReadFileBytes(set.files[i])));
        DeleteFileIfExists(set.files[i]);
        set.files[i] += ".ecm";
      }
      return set;
    }
  }
  return {};
}

}  // namespace ebf::test
