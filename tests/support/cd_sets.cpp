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
  Bytes user = BuildIsoSectors(o);
  user.resize(std::size_t{sectors} * 2048);
  return EncodeSectors(user, SectorLayout::Mode2Raw, 0);
}

void Append(Bytes& to, const Bytes& from) {
  to.insert(to.end(), from.begin(), from.end());
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
  CdSet set;
  set.disc = GameTrack(419);
  set.binPaths = {folder + "/Data Disc.bin"};
  set.cuePath = folder + "/Data Disc.cue";
  WriteFileBytes(set.binPaths[0], set.disc);
  WriteFileText(
      set.cuePath,
      "FILE \"Data Disc.bin\" BINARY\r\n  TRACK 01 MODE2/2352\r\n    INDEX 01 00:00:00\r\n");
  return set;
}

CdSet WriteMixedSet(const std::string& folder) {
  CdSet set;
  Bytes t1 = GameTrack(300);
  Bytes t2(150 * 2352, 0);
  Append(t2, ToneSectors(220, 440, 1));
  Bytes t3 = ToneSectors(130, 330, 2);
  set.binPaths = {folder + "/Mixed (Track 1).bin", folder + "/Mixed (Track 2).bin",
                  folder + "/Mixed (Track 3).bin"};
  WriteFileBytes(set.binPaths[0], t1);
  WriteFileBytes(set.binPaths[1], t2);
  WriteFileBytes(set.binPaths[2], t3);
  set.cuePath = folder + "/Mixed.cue";
  WriteFileText(set.cuePath,
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
  set.disc = t1;
  Append(set.disc, t2);
  Append(set.disc, Bytes(75 * 2352, 0));
  Append(set.disc, t3);
  return set;
}

}  // namespace ebf::test
