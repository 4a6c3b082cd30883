// Conversions with patches and LibCrypt data, through the real converter: the package's disc
// is the image Debian's xdelta3 makes from the same patch, and the LibCrypt data go beside
// the package under the names emulators look for.
#include <gtest/gtest.h>

#include <algorithm>

#include "common/files.h"
#include "engine_job.h"
#include "support/conversion_job.h"
#include "support/disc_builder.h"
#include "support/process_run.h"

namespace ebf {
namespace {

using namespace test;

Bytes Disc(uint32_t seed) {
  IsoOptions o = GameDisc("SLES_012.34", NoiseBytes(200000, seed));
  o.minSectors = 500;
  return BuildDiscImage(o, SectorLayout::Mode2Raw);
}

TEST(PatchedConversion, TheDiscIsWhatXdelta3MakesOfThePatchAndLibCryptDataGoBeside) {
  for (const char* secondary : {"none", "lzma"}) {
    SCOPED_TRACE(secondary);
    ConversionJob r;
    const Bytes image = Disc(5);
    // A translation: text changed in place, single bytes here and there, a sector's worth
    // moved, two sectors added.
    Bytes changed = image;
    std::fill(changed.begin() + 60000, changed.begin() + 60400, 'T');
    for (std::size_t at = 100000; at < 180000; at += at < 140000 ? 6 : 97) changed[at] ^= 0x5A;
    std::rotate(changed.begin() + 200000, changed.begin() + 202352, changed.begin() + 400000);
    Append(changed, NoiseBytes(2 * 2352, 9));
    WriteFileBytes(r.work / "game.bin", image);
    WriteFileBytes(r.work / "new.bin", changed);
    // Windows of 64 KiB: the patch holds many, each with its own Adler-32.
    const std::string s = std::string("-S ") + secondary + " -W 65536 -s '" + r.work / "game.bin";
    Shell("xdelta3 -e -f " + s + "' '" + r.work / "new.bin" + "' '" + r.work / "fix.xdelta'");
    Shell("xdelta3 -d -f " + s + "' '" + r.work / "fix.xdelta" + "' '" + r.work / "witness.bin'");
    const Bytes witness = ReadFileBytes(r.work / "witness.bin");
    ASSERT_TRUE(witness == changed);

    r.job.input = r.work / "game.bin";
    r.job.patches = {{1, r.work / "fix.xdelta"}};
    ASSERT_EQ(r.Go(), Outcome::Success());
    EXPECT_TRUE(ReadPackage(r.Out("EBOOT.PBP")).disc == witness);
    EXPECT_TRUE(ReadFileBytes(r.work / "game.bin") == image);
    const std::string format = std::string("Patch fix.xdelta (VCDIFF") +
                               (std::string(secondary) == "lzma" ? " (LZMA))\r\n" : ")\r\n");
    EXPECT_EQ(std::count(r.host.logLines.begin(), r.host.logLines.end(), format), 1);
  }

  // LibCrypt data go beside the package for each protected disc.
  // An .sbi of one type-1 record for sector 14105 (03:08:05), which sets key bit 15.
  Bytes sbi = {'S', 'B', 'I', 0, 0x03, 0x08, 0x05, 1};
  for (uint8_t q : {0x41, 0x01, 0x01, 0x03, 0x06, 0x06, 0x00, 0x03, 0x08, 0x15}) sbi.push_back(q);
  // The discs, those protected, the files written beside the package and those not.
  const std::tuple<int, std::vector<int>, std::vector<std::string>, std::vector<std::string>>
      rows[] = {{1, {1}, {"EBOOT.sbi"}, {"EBOOT_1.sbi"}},
                {3, {1, 3}, {"EBOOT_1.sbi", "EBOOT_3.sbi"}, {"EBOOT.sbi", "EBOOT_2.sbi"}}};
  for (const auto& [discs, protectedDiscs, written, absent] : rows) {
    SCOPED_TRACE(discs);
    ConversionJob r;
    for (int d = 1; d <= discs; ++d) {
      const std::string name = "Game (Disc " + std::to_string(d) + ")";
      WriteFileBytes(r.work / (name + ".bin"), Disc(d));
      if (std::count(protectedDiscs.begin(), protectedDiscs.end(), d))
        WriteFileBytes(r.work / (name + ".sbi"), sbi);
      (d == 1 ? r.job.input : r.job.laterDiscs.emplace_back()) = r.work / (name + ".bin");
    }
    // A file of the name from an earlier run is replaced only when the question says so.
    MakeFolders(r.work / "out");
    WriteFileText(r.Out(written[0]), "older");
    r.host.answers = {false};
    EXPECT_EQ(r.Go(), Outcome::Declined());
    EXPECT_EQ(ReadFileText(r.Out(written[0])), "older");
    EXPECT_FALSE(FileExists(r.Out("EBOOT.PBP")));

    ASSERT_EQ(r.Go(), Outcome::Success());
    for (const std::string& name : written) EXPECT_TRUE(ReadFileBytes(r.Out(name)) == sbi) << name;
    for (const std::string& name : absent) EXPECT_FALSE(FileExists(r.Out(name))) << name;
    EXPECT_EQ(std::count(r.host.logLines.begin(), r.host.logLines.end(),
                         "LibCrypt key 0x8000 (from Game (Disc 1).sbi)\r\n"),
              1);  // the declined run stopped at its question, before any disc was read
    std::string names = written[0];
    if (written.size() > 1) names += " and " + written[1];
    const std::string notice =
        "This game is protected by LibCrypt. A PSP starts it only from a disc patched against "
        "the protection: convert it with an anti-LibCrypt patch. Emulators read the protection "
        "from " +
        names + " beside the package.\r\n";
    EXPECT_EQ(std::count(r.host.logLines.begin(), r.host.logLines.end(), notice), 1);
  }
}

}  // namespace
}  // namespace ebf
