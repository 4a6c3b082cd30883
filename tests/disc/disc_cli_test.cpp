// The disc subcommands of ebootforge-cli, run as a user would run them.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>

#include "common/bytes.h"
#include "common/files.h"
#include "support/disc_builder.h"
#include "support/program_tree.h"
#include "support/temp_dir.h"

namespace ebf::test {
namespace {

struct Output {
  std::string text;  // stdout
  int code = -1;
};

Output Cli(const std::string& args) {
  Output out;
  std::string cmd = test::PrivateCli() + " " + args + " 2>/dev/null";
  FILE* pipe = popen(cmd.c_str(), "r");
  if (!pipe) return out;
  std::array<char, 512> buf;
  while (fgets(buf.data(), buf.size(), pipe)) out.text += buf.data();
  int status = pclose(pipe);
  out.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return out;
}

std::string Q(const std::string& path) {
  return "'" + path + "'";
}

TEST(DiscCli, GameIdLookupAndResolve) {
  TempDir dir;
  std::string bin = dir / "Metal.bin";
  WriteFileBytes(bin, BuildDiscImage(GameDisc("SLUS_005.94"), SectorLayout::Mode2Raw));
  Output o = Cli("gameid " + Q(bin));
  EXPECT_EQ(o.text, "SLUS00594\n");
  EXPECT_EQ(o.code, 0);
  WriteFileText(dir / "Metal.cue", "FILE \"METAL.BIN\" BINARY\n");
  EXPECT_EQ(Cli("gameid " + Q(dir / "Metal.cue")).text, "SLUS00594\n");
  WriteFileBytes(dir / "junk.iso", NoiseBytes(50000, 1));
  o = Cli("gameid " + Q(dir / "junk.iso"));
  EXPECT_EQ(o.text, "");
  EXPECT_EQ(o.code, 1);

  // The shipped database sits beside the program.
  o = Cli("lookup SLUS00776");
  EXPECT_NE(o.text.find("save name = Metal Gear Solid\n"), std::string::npos) << o.text;
  EXPECT_NE(o.text.find("package ID = SLUS00594\n"), std::string::npos);
  EXPECT_NE(o.text.find("region = NTSC\n"), std::string::npos);
  EXPECT_EQ(Cli("lookup NONE00000").code, 1);

  std::string ini = dir / "test.ini";
  WriteFileText(ini, "DefaultOutDirOpt=3\r\n");
  o = Cli("resolve " + Q(bin) + " --ini " + Q(ini));
  EXPECT_NE(o.text.find("input = " + bin + "\n"), std::string::npos) << o.text;
  EXPECT_NE(o.text.find("game ID = SLUS00594\n"), std::string::npos);
  EXPECT_NE(o.text.find("output folder = " + dir.path() + kSep + "SLUS00594\n"), std::string::npos);
  o = Cli("resolve " + Q(bin) + " --yes --ini " + Q(ini));
  EXPECT_NE(o.text.find("input = " + (dir / "Metal.cue") + "\n"), std::string::npos) << o.text;
  EXPECT_NE(o.text.find("data file = " + bin + "\n"), std::string::npos);

  WriteFileText(dir / "bad.cue", "FILE \"NOPE.BIN\" BINARY\n");
  o = Cli("resolve " + Q(dir / "bad.cue"));
  EXPECT_EQ(o.code, 1);
  EXPECT_NE(o.text.find("inspection = no"), std::string::npos);
}

TEST(DiscCli, PalFixListsThenApplies) {
  TempDir dir;
  std::string image = dir / "pal.bin";
  Bytes data(100000, 0x55);
  StoreLe32(&data[4097], 0x24910013);
  StoreLe32(&data[4101], 0x24910010);
  StoreLe32(&data[70001], 0x3C028007);
  StoreLe32(&data[70005], 0x8C42EC90);
  WriteFileBytes(image, data);

  EXPECT_EQ(Cli("palfix " + Q(image)).code, 1);  // neither fix chosen
  Output o = Cli("palfix " + Q(image) + " --screen --gfx");
  EXPECT_EQ(o.text, "0x00001001 screen height 0x24910013\n0x00011171 graphics 0x3C028007\n");
  EXPECT_EQ(ReadFileBytes(image), data);
  o = Cli("palfix " + Q(image) + " --gfx --apply");
  EXPECT_EQ(o.text, "0x00011171 graphics 0x3C028007\n");
  Bytes after = ReadFileBytes(image);
  EXPECT_EQ(LoadLe32(&after[70001]), 0x20020000u);
  EXPECT_EQ(LoadLe32(&after[4097]), 0x24910013u);
  EXPECT_EQ(Cli("palfix " + Q(dir / "missing.bin") + " --screen").code, 1);
}

}  // namespace
}  // namespace ebf::test
