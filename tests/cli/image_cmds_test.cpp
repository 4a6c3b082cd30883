// The CHD, ECM and rip commands as a user runs them.
#include <gtest/gtest.h>

#include <filesystem>

#include "support/cd_sets.h"
#include "support/chdman.h"
#include "support/ecm_writer.h"
#include "support/process_run.h"
#include "support/program_tree.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

test::ProcessResult Cli(const std::vector<std::string>& args) {
  return test::RunProcess(test::PrivateCli(), args, {});
}

TEST(ImageCommands, ChdShowsTracksAndWritesTheDisc) {
  test::TempDir dir;
  test::CdSet set = test::WriteMixedSet(dir.path());
  ASSERT_TRUE(test::CreateChd(set.cuePath, dir / "Mixed.chd", ""));
  auto r = Cli({"chd", dir / "Mixed.chd"});
  EXPECT_EQ(r.exitCode, 0) << r.output;
  EXPECT_NE(r.output.find("compression: cdlz cdzl cdfl"), std::string::npos) << r.output;
  EXPECT_NE(r.output.find("Sectors in disc order: 875"), std::string::npos) << r.output;
  EXPECT_NE(r.output.find("3      AUDIO                 670       745       205 75 (not stored)"),
            std::string::npos)
      << r.output;
  r = Cli({"chd", dir / "Mixed.chd", "--bin", dir / "out.bin"});
  EXPECT_EQ(r.exitCode, 0) << r.output;
  EXPECT_TRUE(test::ReadFileBytes(dir / "out.bin") == set.disc);
  r = Cli({"chd", set.cuePath});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.output.find("\"Mixed.cue\" is not a CHD file."), std::string::npos) << r.output;
}

TEST(ImageCommands, EcmDecodesBesideTheFile) {
  test::TempDir dir;
  test::CdSet set = test::WriteDataOnlySet(dir.path());
  test::WriteFileBytes(dir / "game.bin.ecm", test::EncodeEcm(set.disc));
  auto r = Cli({"ecm", dir / "game.bin.ecm"});
  EXPECT_EQ(r.exitCode, 0) << r.output;
  EXPECT_TRUE(test::ReadFileBytes(dir / "game.bin") == set.disc);
}

TEST(ImageCommands, RipMakesASetNamedAfterItsFolder) {
  test::TempDir dir;
  test::CdSet set = test::WriteDataOnlySet(dir.path());
  auto r = Cli({"rip", set.cuePath, "-o", dir / "Some Game/"});
  EXPECT_EQ(r.exitCode, 0) << r.output;
  EXPECT_TRUE(test::ReadFileBytes(dir / "Some Game/Some Game.bin") == set.disc);
  EXPECT_TRUE(std::filesystem::exists(dir / "Some Game/Some Game.cue"));
  r = Cli({"rip", dir / "nothing.cue", "-o", dir / "x"});
  EXPECT_EQ(r.exitCode, 1);
}

}  // namespace
}  // namespace ebf
