#include <gtest/gtest.h>

#include <filesystem>
#include <tuple>
#ifndef _WIN32
#include <unistd.h>
#endif

#include "common/files.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using test::RunRecorder;
using test::TempDir;

TEST(FormatSize, ThresholdsAndHalfEvenRounding) {
  // clang-format off
  const std::pair<uint64_t, const char*> rows[] = {
      {0, "0 bytes"}, {999, "999 bytes"},
      {1000, "1 KB"},  // 0.98 rounds to 1.0
      {1023999, "1000 KB"}, {1024000, "1 MB"}, {1536, "1.5 KB"},
      {1280, "1.2 KB"}, {1792, "1.8 KB"},  // exact ties: to the even tenth
      {1048575999, "1000 MB"},
      {1048576000, "1 GB"},  // 0.977 GB rounds up to 1
      {734003200, "700 MB"}, {5ull << 40, "5120 GB"}};
  // clang-format on
  for (const auto& [size, text] : rows) EXPECT_EQ(FormatSize(size), text) << size;
}

TEST(Msf, BcdAndCarries) {
  const std::pair<uint16_t, int> bcd[] = {{0, 0x00}, {59, 0x59}, {74, 0x74}, {99, 0x99}};
  for (auto [n, b] : bcd) EXPECT_EQ(ToBcd(n), b) << n;
  // clang-format off
  const std::tuple<Msf, Msf, Msf> sums[] = {
      {{0, 2, 0}, {0, 0, 0}, {0, 2, 0}},
      {{0, 0, 74}, {0, 0, 1}, {0, 1, 0}},   // 75 frames carry
      {{0, 0, 74}, {0, 0, 0}, {0, 0, 74}},  // 74 does not
      {{0, 59, 74}, {0, 0, 1}, {1, 0, 0}},  // chained carry
      {{1, 30, 40}, {2, 45, 50}, {4, 16, 15}}};
  // clang-format on
  for (const auto& [a, b, sum] : sums) EXPECT_EQ(AddMsf(a, b), sum);
}

TEST(MakeFolders, CreatesChainAndReportsOnlyMiddleFailures) {
  TempDir dir;
  const std::string deep = dir / "a/b/c";
  EXPECT_TRUE(MakeFolders(deep));
  EXPECT_TRUE(IsDirectory(deep));
  EXPECT_TRUE(MakeFolders(deep + kSep));  // existing, trailing separator: fine

  // A file in the middle of the path cannot become a folder: false at once.
  test::WriteFileText(dir / "file", "x");
  EXPECT_FALSE(MakeFolders(dir / "file/sub/leaf"));

  // The last component failing is ignored: still true, nothing made.
  EXPECT_TRUE(MakeFolders(dir / "file/leaf"));
  EXPECT_FALSE(IsDirectory(dir / "file/leaf"));
}

TEST(FileExists, FilesFoldersAndWildcards) {
  TempDir dir;
  test::WriteFileText(dir / "Game.bin", "x");
  EXPECT_TRUE(FileExists(dir / "Game.bin"));
  EXPECT_TRUE(FileExists(dir.path()));  // a folder counts
  EXPECT_TRUE(FileExists(dir / "*.bin"));
  EXPECT_TRUE(FileExists(dir / "Gam?.bin"));
  EXPECT_FALSE(FileExists(dir / "*.cue"));
  EXPECT_FALSE(FileExists(dir / "missing"));
  EXPECT_FALSE(FileExists(""));
  EXPECT_FALSE(IsDirectory(dir / "Game.bin"));
  EXPECT_FALSE(IsDirectory(dir / "missing"));
}

TEST(ReadWholeFile, ContentEmptyAndMissing) {
  TempDir dir;
  test::WriteFileText(dir / "f", "abc");
  test::WriteFileText(dir / "empty", "");
  std::vector<uint8_t> data;
  ASSERT_TRUE(ReadWholeFile(dir / "f", data));
  EXPECT_EQ(std::string(data.begin(), data.end()), "abc");
  ASSERT_TRUE(ReadWholeFile(dir / "empty", data));
  EXPECT_EQ(data.size(), 1u);  // a single element stands for "nothing"
  EXPECT_FALSE(ReadWholeFile(dir / "missing", data));
  EXPECT_FALSE(ReadWholeFile(dir / "f", data, 2));  // over the cap
}

TEST(AppendFileToOpenFile, CopiesAcrossBlockBoundaries) {
  TempDir dir;
  const Bytes payload = test::NoiseBytes(32768 * 2 + 5, 7);
  test::WriteFileBytes(dir / "src", payload);
  test::WriteFileText(dir / "empty", "");
  {
    File out(dir / "dst", File::Mode::Write);
    ASSERT_TRUE(out.Write(std::string_view("head")));
    ASSERT_TRUE(AppendFileToOpenFile(dir / "src", out));
    ASSERT_TRUE(AppendFileToOpenFile(dir / "empty", out));
  }
  Bytes got = test::ReadFileBytes(dir / "dst");
  ASSERT_EQ(got.size(), 4 + payload.size());
  EXPECT_TRUE(std::equal(payload.begin(), payload.end(), got.begin() + 4));
}

TEST(ConfirmOverwrite, AsksOnlyForAnotherExistingFile) {
  TempDir dir;
  const std::string folder = dir.folder();
  test::WriteFileText(dir / "EBOOT.PBP", "x");
  RunRecorder host;

  EXPECT_FALSE(ConfirmOverwrite(host, folder, "ICON0.PNG", ""));  // target missing
  EXPECT_FALSE(ConfirmOverwrite(host, folder, "EBOOT.PBP", folder + "EBOOT.PBP"));  // itself
  EXPECT_TRUE(host.questions.empty());

  host.answers = {false};
  EXPECT_TRUE(ConfirmOverwrite(host, folder, "EBOOT.PBP", ""));  // No: stop
  ASSERT_EQ(host.questions.size(), 1u);
  EXPECT_EQ(host.questions[0].text,
            "WARNING: the following file will be overwritten if you continue!!!\r\n" + folder +
                "EBOOT.PBP\r\nDo you wish to continue?");
  EXPECT_FALSE(host.questions[0].defaultNo);
  EXPECT_EQ(host.questions[0].icon, MsgIcon::Exclamation);

  host.answers = {true};
  EXPECT_FALSE(ConfirmOverwrite(host, folder, "EBOOT.PBP", "/elsewhere/EBOOT.PBP"));
}

TEST(ResolveCaseBlind, FindsDerivedNamesInAnyCase) {
  TempDir dir;
  dir.MakeDir("Games/Sub");
  test::WriteFileText(dir / "Games/Sub/Game (Track 1).bin", "x");
  // CUE names arrive upper-cased; folders may differ too.
  EXPECT_EQ(ResolveCaseBlind(dir / "GAMES/SUB/GAME (TRACK 1).BIN"),
            dir / "Games/Sub/Game (Track 1).bin");
  EXPECT_EQ(ResolveCaseBlind(dir / "Games/Sub/Game (Track 1).bin"),
            dir / "Games/Sub/Game (Track 1).bin");
  // Nothing matches: the path comes back with what could be resolved.
  EXPECT_EQ(ResolveCaseBlind(dir / "games/nothing.bin"), dir / "Games/nothing.bin");
  EXPECT_EQ(ResolveCaseBlind(""), "");
}

TEST(Paths, PiecesOfAPath) {
  const std::string p = std::string("x") + kSep + "y" + kSep + "Game.Disc1.bin";
  EXPECT_EQ(FileNameOf(p), "Game.Disc1.bin");
  EXPECT_EQ(FolderOf(p), std::string("x") + kSep + "y" + kSep);
  EXPECT_EQ(StemOf(p), "Game.Disc1");
  EXPECT_EQ(WithTrailingSep("a"), std::string("a") + kSep);
  EXPECT_EQ(WithTrailingSep(std::string("a") + kSep), std::string("a") + kSep);
  EXPECT_EQ(WithTrailingSep(""), "");
  EXPECT_FALSE(IsAbsolutePath("rel/x"));
  EXPECT_TRUE(IsAbsolutePath(ProgramFolder()));
  EXPECT_TRUE(IsSeparator(ProgramFolder().back()));
}

TEST(Process, RunningAndGone) {
#ifndef _WIN32
  EXPECT_TRUE(IsProcessRunning(static_cast<int64_t>(::getpid())));
#endif
  EXPECT_FALSE(IsProcessRunning(0));
  EXPECT_FALSE(IsProcessRunning(-1));
}

TEST(TempFolder, CreatedUnderProgramFolder) {
  TempDir dir;
  std::string temp = TempFolder(dir.folder());
  EXPECT_EQ(temp, dir.folder() + "Temp" + kSep);
  EXPECT_TRUE(IsDirectory(temp));
  EXPECT_TRUE(FreeSpace(temp + "not/yet/there").has_value());
}

}  // namespace
}  // namespace ebf
