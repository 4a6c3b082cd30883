// Converting twice gives the same bytes at every level, however the converter's threads take
// the blocks. (Discs through a package and back, in every layout: the engine's disc layout
// tests.)
#include "cli/cli_run.h"

#include "support/disc_sets.h"
#include "support/realistic_image.h"

namespace ebf {
namespace {

using test::ReadFileBytes;
using test::TempDir;

// Converts `input` into `folder` and returns the package's bytes.
Bytes Convert(const std::string& input, const std::string& folder, int level,
              const std::vector<std::string>& more = {}) {
  return ReadFileBytes(test::Convert(input, folder, level, more));
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
