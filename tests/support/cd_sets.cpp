#include "support/cd_sets.h"

#include <cmath>
#include <random>

#include "support/disc_builder.h"
#include "support/temp_dir.h"

namespace ebf::test {
namespace {

Bytes GameTrack(uint32_t sectors) {
  IsoOptions o = GameDisc("SLUS_012.34", NoiseBytes(30000, 5));
  o.minSectors = sectors;
  return BuildDiscImage(o, SectorLayout::Mode2Raw);
}

// Writes the files (name, bytes) into the folder, then the sheet.
CdSet WriteSet(const std::string& folder, const std::vector<std::pair<std::string, Bytes>>& files,
               const std::string& cue, const std::string& sheet) {
  CdSet set;
  for (const auto& [name, bytes] : files) {
    set.binPaths.push_back(folder + "/" + name);
    WriteFileBytes(set.binPaths.back(), bytes);
    Append(set.disc, bytes);
  }
  set.cuePath = folder + "/" + cue;
  WriteFileText(set.cuePath, sheet);
  return set;
}

}  // namespace

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
  return WriteSet(
      folder, {{"Data Disc.bin", GameTrack(419)}}, "Data Disc.cue",
      "FILE \"Data Disc.bin\" BINARY\r\n  TRACK 01 MODE2/2352\r\n    INDEX 01 00:00:00\r\n");
}

CdSet WriteMixedSet(const std::string& folder) {
  Bytes t2(150 * 2352, 0);
  Append(t2, ToneSectors(220, 440, 1));
  CdSet set = WriteSet(folder,
                       {{"Mixed (Track 1).bin", GameTrack(300)},
                        {"Mixed (Track 2).bin", t2},
                        {"Mixed (Track 3).bin", ToneSectors(130, 330, 2)}},
                       "Mixed.cue",
                       "FILE \"Mixed (Track 1).bin\" BINARY\r\n"
                       "  TRACK 01 MODE2/2352\r\n"
                       "    INDEX 01 00:00:00\r\n"
                       "FILE \"Mixed (Track 2).bin\" BINARY\r\n"
                       "  TRACK 02 AUDIO\r\n"
                       "    INDEX 00 00:00:00\r\n"
                       "    INDEX 01 00:02:00\r\n"
                       "FILE \"Mixed (Track 3).bin\" BINARY\r\n"
                       "  TRACK 03 AUDIO\r\n"
                       "    PREGAP 00:01:00\r\n"
                       "    INDEX 01 00:00:00\r\n");
  // The PREGAP line's second of silence before track 3.
  set.disc.insert(set.disc.end() - 130 * 2352, 75 * 2352, 0);
  return set;
}

}  // namespace ebf::test
