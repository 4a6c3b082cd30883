// Discs through a package and back: a one-file sheet comes back as the same sectors and
// converts again to the same package (every layout, and Redump sets split file for file: the
// engine's disc layout tests); converting twice gives the same bytes at every level.
#include "cli/cli_run.h"

#include "support/disc_sets.h"
#include "support/realistic_image.h"

namespace ebf {
namespace {

using test::Cli;

using test::ReadFileBytes;
using test::ReadFileText;
using test::TempDir;

// Converts `input` into `folder` and returns the package's bytes.
Bytes Convert(const std::string& input, const std::string& folder, int level,
              const std::vector<std::string>& more = {}) {
  return ReadFileBytes(test::Convert(input, folder, level, more));
}

TEST(RoundTripCli, AOneFileSheetComesBackAsTheSameSectors) {
  TempDir dir;
  const test::DiscSet one = test::WriteOneFileSheet(dir.MakeDir("one"));
  const Bytes package = Convert(one.input, dir / "one-pkg", 5);
  test::Ran r = Cli(
      {"--quiet", "extract", dir / "one-pkg/EBOOT.PBP", dir / "one-back/Disc.cue", "--toc", "cue"});
  ASSERT_EQ(r.exit, 0) << r.out;
  EXPECT_TRUE(ReadFileBytes(dir / "one-back/Disc.bin") == one.disc);
  // Tracks 2 and 3 start at their INDEX 00, 300 and 675; INDEX 01 stays two seconds in.
  EXPECT_EQ(ReadFileText(dir / "one-back/Disc.cue"),
            "FILE \"Disc.bin\" BINARY\r\n  TRACK 01 MODE2/2352\r\n    INDEX 01 00:00:00\r\n"
            "  TRACK 02 AUDIO\r\n    INDEX 00 00:04:00\r\n    INDEX 01 00:06:00\r\n"
            "  TRACK 03 AUDIO\r\n    INDEX 00 00:09:00\r\n    INDEX 01 00:11:00\r\n");
  EXPECT_TRUE(Convert(dir / "one-back/Disc.cue", dir / "one-again", 5) == package);
}

TEST(RoundTripCli, ConvertingTwiceGivesTheSameBytesAtEveryLevel) {
  TempDir dir;
  const test::DiscSet set = test::WriteRedumpSet(dir.MakeDir("set"));
  // A disc of some size as well, so that the converter's threads take blocks in varying
  // order.
  const std::string big = dir / "big.bin";
  test::WriteRealisticImage(big, 12u << 20);
  for (const std::string& input : {set.input, big}) {
    for (int level : {0, 5, 9}) {
      SCOPED_TRACE(input + " level " + std::to_string(level));
      // The image has no game ID of its own.
      const std::vector<std::string> id = {"--id", "SLUS01234", "--save-name", "Same"};
      const Bytes first = Convert(input, dir / ("a" + std::to_string(level)), level, id);
      const Bytes second = Convert(input, dir / ("b" + std::to_string(level)), level, id);
      ASSERT_GT(first.size(), 0x100000u);
      EXPECT_TRUE(first == second);
    }
  }
}

}  // namespace
}  // namespace ebf
