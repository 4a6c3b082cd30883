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
  EXPECT_EQ(r.exit, 0) << r.out;
  EXPECT_TRUE(r.Says("compression: cdlz cdzl cdfl")) << r.out;
  EXPECT_TRUE(r.Says("Sectors in disc order: 875")) << r.out;
  EXPECT_TRUE(r.Says("3      AUDIO                 670       745       205 75 (not stored)"))
      << r.out;
  r = Cli({"chd", dir / "Mixed.chd", "--bin", dir / "out.bin"});
  EXPECT_EQ(r.exit, 0) << r.out;
  EXPECT_TRUE(test::ReadFileBytes(dir / "out.bin") == set.disc);

  // ECM decodes beside the file; a rip makes a set named after its folder.
  const test::CdSet data = test::WriteDataOnlySet(dir.MakeDir("data"));
  test::WriteFileBytes(dir / "game.bin.ecm", test::EncodeEcm(data.disc));
  r = Cli({"ecm", dir / "game.bin.ecm"});
  EXPECT_EQ(r.exit, 0) << r.out;
  EXPECT_TRUE(test::ReadFileBytes(dir / "game.bin") == data.disc);
  r = Cli({"rip", data.cuePath, "-o", dir / "Some Game/"});
  EXPECT_EQ(r.exit, 0) << r.out;
  EXPECT_TRUE(test::ReadFileBytes(dir / "Some Game/Some Game.bin") == data.disc);
  EXPECT_TRUE(std::filesystem::exists(dir / "Some Game/Some Game.cue"));
}

}  // namespace
}  // namespace ebf
