// The CHD, ECM and rip commands as a user runs them. (Their refusals: the disc tests; a
// refusal's exit: the JSON test.)
#include "cli/cli_run.h"

#include "support/cd_sets.h"
#include "support/chdman.h"
#include "support/ecm_writer.h"

namespace ebf {
namespace {

using test::Cli;

TEST(ImageCommands, ChdEcmAndRip) {
  test::TempDir dir;
  test::CdSet set = test::WriteMixedSet(dir.path());
  ASSERT_TRUE(test::CreateChd(set.cuePath, dir / "Mixed.chd", ""));
  auto r = Cli({"chd", dir / "Mixed.chd"});
  EXPECT_TRUE(test::Said(r, 0,
                         {"compression: cdlz cdzl cdfl", "Sectors in disc order: 875",
                          "3      AUDIO                 670       745       205 75 (not stored)"}));
  r = Cli({"chd", dir / "Mixed.chd", "--bin", dir / "out.bin"});
  EXPECT_TRUE(test::Said(r, 0));
  EXPECT_TRUE(test::ReadFileBytes(dir / "out.bin") == set.disc);

  // ECM decodes beside the file; a rip makes a set named after its folder.
  const test::CdSet data = test::WriteDataOnlySet(dir.MakeDir("data"));
  test::WriteFileBytes(dir / "game.bin.ecm", test::EncodeEcm(data.disc));
  r = Cli({"ecm", dir / "game.bin.ecm"});
  EXPECT_TRUE(test::Said(r, 0));
  EXPECT_TRUE(test::ReadFileBytes(dir / "game.bin") == data.disc);
  r = Cli({"rip", data.cuePath, "-o", dir / "Some Game/"});
  EXPECT_TRUE(test::Said(r, 0));
  EXPECT_TRUE(test::ReadFileBytes(dir / "Some Game/Some Game.bin") == data.disc);
  EXPECT_TRUE(std::filesystem::exists(dir / "Some Game/Some Game.cue"));
}

}  // namespace
}  // namespace ebf
