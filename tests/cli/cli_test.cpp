// The command-line program as a user runs it: real processes, real files.
#include "assets/convert.h"
#include "cli/cli_run.h"
#include "common/text.h"
#include "imaging/dib.h"
#include "support/cd_sets.h"
#include "support/chdman.h"
#include "support/disc_builder.h"
#include "support/disc_sets.h"
#include "support/ecm_writer.h"

namespace ebf {
namespace {

using test::Cli;
using test::Ran;
using test::ShellQuote;
using test::TempDir;

// Width and height from a PNG's header.
std::pair<uint32_t, uint32_t> PngSize(const std::string& path) {
  const Bytes png = test::ReadFileBytes(path);
  if (png.size() < 24) return {0, 0};
  return {LoadBe32(&png[16]), LoadBe32(&png[20])};
}

// Reading and editing the file (a refused value leaves it as it was) are the app's tests';
// here, `settings` shows the values in effect in the writer's order, and `set` edits the file
// it is given. (A refused value's words and exit: the JSON test.)
TEST(Cli, SettingsShowsTheEffectiveValuesAndSetChangesTheFile) {
  TempDir dir;
  const std::string ini = dir / "t.ini";
  test::WriteFileText(ini, "ShowCust = 10\r\nDefGameID = SCUS-94476\r\n");
  test::Ran r = Cli({"settings", "--ini", ini});
  EXPECT_TRUE(test::Said(r, 0, {"ShowCust = 0\n"}));
  EXPECT_LT(r.out.find("DefaultImagePath"), r.out.find("Theme ="));
  EXPECT_EQ(Cli({"--version"}).exit, 0);
  EXPECT_EQ(Cli({"settings", "set", "showcust", "1", "--ini", ini}).out, "ShowCust = 1\n");
  EXPECT_EQ(test::ReadFileText(ini), "ShowCust = 1\r\nDefGameID = SCUS-94476\r\n");
}

// What a batch finds and skips is the library's tests'; here, CHDs, lone ECM files and
// ECM-packed sets (found through their sheet, not their packed track files) converted once
// each, the summary lines and the report file; and the chd, ecm and rip commands on those
// discs. (A CHD's tracks and the image commands' refusals: the disc tests.)
TEST(Cli, BatchOfPackedDiscsAndTheImageCommands) {
  TempDir dir;
  const std::string games = dir.MakeDir("games"), chd = dir.MakeDir("games/chd") + "/Mixed.chd";
  const test::CdSet mixed = test::WriteMixedSet(dir.MakeDir("src"));
  ASSERT_TRUE(test::CreateChd(mixed.cuePath, chd, ""));
  EXPECT_TRUE(test::Said(Cli({"chd", chd}), 0,
                         {"compression: cdlz cdzl cdfl", "Sectors in disc order: 875",
                          "3      AUDIO                 670       745       205 75 (not stored)"}));
  EXPECT_TRUE(test::Said(Cli({"chd", chd, "--bin", dir / "out.bin"}), 0));
  EXPECT_TRUE(test::ReadFileBytes(dir / "out.bin") == mixed.disc);
  // A Redump set whose track files were packed one by one; the sheet still names the .bin.
  const test::CdSet packed = test::WriteMixedSet(dir.MakeDir("games/ecm"));
  for (const std::string& bin : packed.binPaths) {
    test::WriteFileBytes(bin + ".ecm", test::EncodeEcm(test::ReadFileBytes(bin)));
    DeleteFileIfExists(bin);
  }
  // A rip makes a set named after its folder; then the set is a lone ECM file.
  const test::CdSet data = test::WriteDataOnlySet(dir.MakeDir("games/lone"));
  EXPECT_TRUE(test::Said(Cli({"rip", data.cuePath, "-o", dir / "Some Game/"}), 0));
  EXPECT_TRUE(test::ReadFileBytes(dir / "Some Game/Some Game.bin") == data.disc);
  EXPECT_TRUE(FileExists(dir / "Some Game/Some Game.cue"));
  test::WriteFileBytes(data.binPaths[0] + ".ecm", test::EncodeEcm(data.disc));
  DeleteFileIfExists(data.binPaths[0]);
  DeleteFileIfExists(data.cuePath);

  test::Ran r = Cli({"--yes", "batch", games, "-o", dir / "out", "--level", "1"});
  EXPECT_TRUE(test::Said(
      r, 0, {"3 of 3 converted.", "SLUS01234", "Mixed.chd", "Mixed.cue", "Data Disc.bin.ecm"}));
  EXPECT_EQ(r.out.find("Track 2).bin.ecm"), std::string::npos) << r.out;
  // Again, without --yes: the packages are there already, so the games are skipped (no
  // failure), and the report says so.
  EXPECT_TRUE(test::Said(Cli({"batch", games, "-o", dir / "out", "--report", dir / "report.csv"}),
                         0, {"0 done, 0 failed, 3 skipped in "}));
  const std::string report = test::ReadFileText(dir / "report.csv");
  EXPECT_NE(report.find(",Skipped,exists,"), std::string::npos) << report;
  EXPECT_NE(report.find("\r\n0,0,3,0,0,"), std::string::npos) << report;
  // ECM decodes beside the file.
  EXPECT_TRUE(test::Said(Cli({"ecm", data.binPaths[0] + ".ecm"}), 0));
  EXPECT_TRUE(test::ReadFileBytes(data.binPaths[0]) == data.disc);
}

// The bash completion script that the program writes from its own command tree, loaded
// into a real bash and asked what it would offer.
TEST(Completion, OffersCommandsOptionsAndValuesFromTheCommandTree) {
  test::TempDir dir;
  const std::string script = dir / "ebootforge-cli.bash";
  test::Shell(ShellQuote(test::PrivateCli()) + " completion bash >" + ShellQuote(script));
  // What bash offers for the words typed, the last one being completed; one per line.
  const auto Offer = [&](const std::string& words) {
    const std::string program = "source " + ShellQuote(script) + "\nCOMP_WORDS=(" + words +
                                ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
                                "_ebootforge_cli\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n";
    return test::Shell("cd " + ShellQuote(dir.path()) + " && bash -c " + ShellQuote(program) +
                       " 2>&1");
  };
  EXPECT_EQ(Offer("ebootforge-cli conv"), "convert\n");
  EXPECT_EQ(Offer("ebootforge-cli doc ''"), "make\nextract\n");
  EXPECT_EQ(Offer("ebootforge-cli convert game.cue --le"), "--level\n");
  EXPECT_EQ(Offer("ebootforge-cli convert game.cue --level ''"), "0\n1\n2\n3\n4\n5\n6\n7\n8\n9\n");
  EXPECT_EQ(Offer("ebootforge-cli extract a.pbp b.bin --toc c"), "ccd\ncue\n");
  // The global flags are offered after a subcommand too, nested ones included.
  EXPECT_EQ(Offer("ebootforge-cli info --j"), "--json\n");
  EXPECT_EQ(Offer("ebootforge-cli doc make --i"), "--id\n");
  EXPECT_EQ(Offer("ebootforge-cli doc make --q"), "--quiet\n");
  // An argument of a few values offers them, after an option's value too; others are files.
  EXPECT_EQ(Offer("ebootforge-cli completion ''"), "bash\n");
  EXPECT_EQ(Offer("ebootforge-cli settings --ini my.ini set Sh"), "ShowCust\n");
  EXPECT_EQ(Offer("ebootforge-cli settings unset -q Def"),
            "DefaultImagePath\nDefaultOutputDir\nDefaultOutDirOpt\nDefaultCustDir\nDefGameID\n");
  test::WriteFileText(dir / "Game One.cue", "");
  EXPECT_EQ(Offer("ebootforge-cli convert Ga"), "Game One.cue\n");
  EXPECT_EQ(test::Shell("bash -c " + ShellQuote("source " + ShellQuote(script) +
                                                "\ncomplete -p ebootforge-cli")),
            "complete -o bashdefault -o filenames -F _ebootforge_cli ebootforge-cli\n");
}

// Multi-track discs from the command line: the track list `resolve` shows, and a broken
// sheet's message and exit code. The sheet rules themselves, and a conversion of a broken
// sheet leaving nothing behind, are pinned in the disc and engine tests.
TEST(DiscLayoutsCli, ResolveShowsTheJoinedTrackListOrTheSheetsFault) {
  TempDir dir;
  const test::DiscSet set = test::WriteRedumpSet(dir.path());
  Ran r = Cli({"resolve", set.input});
  EXPECT_TRUE(test::Said(r, 0,
                         {"game ID = SLUS01234\n",
                          "track 01 = MODE2/2352 at 00:00:00 (sector 0), Game (USA) (Track 1).bin\n"
                          "track 02 = AUDIO      at 00:04:00 (sector 300), INDEX 01 at 00:06:00, "
                          "Game (USA) (Track 2).bin\n"
                          "track 03 = AUDIO      at 00:09:00 (sector 675), INDEX 01 at 00:11:00, "
                          "Game (USA) (Track 3).bin\n"
                          "disc = 1125 sectors (00:15:00)\n"}));

  const test::DiscSet gaps = test::WritePregapSheet(dir.path());
  EXPECT_TRUE(
      test::Said(Cli({"resolve", gaps.input}), 0,
                 {"track 01 = MODE2/2352 at 00:00:00 (sector 0), postgap 00:01:00, gap.bin\n"
                  "track 02 = AUDIO      at 00:05:00 (sector 375), INDEX 01 at 00:07:00, "
                  "pregap 00:02:00, gap.bin\n"}));

  // A broken sheet: its message and exit, nothing of a track list.
  const test::DiscSet one = test::WriteOneFileSheet(dir.MakeDir("one"));
  const test::DiscSet alcohol = test::WriteAlcoholSet(dir.MakeDir("alcohol"), 2352, false);
  // Track 3's INDEX lines swapped; the MDS cut short in its track blocks (six blocks of 80
  // bytes from 0x70 on). (Every sheet's refusals: the disc tests.)
  test::WriteFileText(dir / "one/bad.cue", ReplaceAll(test::ReadFileText(one.input),
                                                      "INDEX 00 00:09:00\n    INDEX 01 00:11:00",
                                                      "INDEX 01 00:11:00\n    INDEX 00 00:09:00"));
  std::filesystem::resize_file(alcohol.files[1], 0x100);
  const std::pair<std::string, std::string> broken[] = {
      {dir / "one/bad.cue",
       "bad.cue, line 9: INDEX 00 of track 03 comes after INDEX 01; INDEX numbers must rise.\n"},
      {alcohol.input,
       "Game.MDS is cut short: the track blocks of session 1 run past the end of the file.\n"},
  };
  for (const auto& [input, message] : broken) {
    SCOPED_TRACE(input);
    r = Cli({"resolve", input});
    EXPECT_TRUE(test::Said(r, 1, {message}));
    EXPECT_FALSE(r.Says("track 01 =")) << r.out;
  }
  EXPECT_TRUE(test::Said(Cli({"resolve", dir / "one/bad.cue", "--json"}), 1,
                         {"\"message\": \"bad.cue, line 9: INDEX 00"}));
}

// The png and doc commands as a user runs them.
// The sizes a slot draws at and the words of its refusals are the assets tests'; here, the
// command takes what the slot takes, makes the very PNG a run makes, and refuses as it does.
TEST(PictureCommands, PngResizesAsTheSettingsSayAndAgreesWithTheSlot) {
  TempDir dir;
  const std::string jpeg = dir / "photo.jpg", out = dir / "out.png", ini = dir / "fit.ini";
  ASSERT_TRUE(test::DrawWithImageMagick("-size 640x480 xc:white", jpeg));
  auto png = [&](std::vector<std::string> more, const std::string& from) {
    std::vector<std::string> args = {"png", from, out, "--slot", "pic1"};
    args.insert(args.end(), more.begin(), more.end());
    return Cli(args);
  };
  // The resize mode and centring come from the settings file, as a slot takes them.
  test::WriteFileText(ini, "ImgResMode = 3\r\nImgResCentre = 1\r\n");
  ASSERT_TRUE(test::Said(png({"--ini", ini}, jpeg), 0));
  EXPECT_EQ(PngSize(out), (std::pair<uint32_t, uint32_t>{363, 272}));
  // Centred, the fitted 363 columns start 58 in (58.5 goes to the even neighbour), and the
  // saved corner shows the black band on the left.
  Picture centred = test::ReadWithImageMagick(out);
  ASSERT_EQ(centred.width, 363);
  EXPECT_EQ(centred.Row(100)[57 * 4], 0);
  EXPECT_EQ(centred.Row(100)[58 * 4], 255);
  ASSERT_EQ(png({"--ini", ini, "--no-centre"}, jpeg).exit, 0);
  EXPECT_EQ(test::ReadWithImageMagick(out).Row(100)[0], 255);
  // The very PNG the slot makes of the picture.
  TempDir prog;
  std::string runPath = jpeg;
  c32bppDIB image;
  ASSERT_TRUE(ConvertSlotPictureToPng(prog.folder(), runPath, "PIC1", image, 480, 272, 3, false));
  EXPECT_EQ(test::ReadFileBytes(out), test::ReadFileBytes(runPath));
  // Options win over the settings.
  ASSERT_EQ(png({"--ini", ini, "--mode", "1"}, jpeg).exit, 0);
  EXPECT_EQ(PngSize(out), (std::pair<uint32_t, uint32_t>{480, 272}));
  EXPECT_TRUE(test::PngcheckAccepts(out));
  // A PNG within the slot's limits is the slot's file as it is: not resized, not rewritten.
  ASSERT_TRUE(test::DrawWithImageMagick("-size 300x200 gradient:red-blue", dir / "wide.png"));
  test::Ran taken = png({"--mode", "2"}, dir / "wide.png");
  EXPECT_TRUE(test::Said(taken, 0, {"taken as it is"}));
  EXPECT_EQ(test::ReadFileBytes(out), test::ReadFileBytes(dir / "wide.png"));

  // A slot's refusal in its own words, and the existing output stays. PIC0 converts nothing.
  EXPECT_TRUE(test::Said(Cli({"png", jpeg, out, "--slot", "pic0"}), 1,
                         {"The selected PIC0.PNG file is not valid! (invalid signature)"}));
  EXPECT_EQ(test::ReadFileBytes(out), test::ReadFileBytes(dir / "wide.png"));
  EXPECT_FALSE(FileExists(out + ".part"));
  EXPECT_NE(png({"--mode", "4"}, jpeg).exit, 0);
  EXPECT_NE(Cli({"png", jpeg, out, "--slot", "snd0"}).exit, 0);
  EXPECT_NE(Cli({"png", jpeg, out}).exit, 0);  // no slot
}

// The manual's layout is the docmaker tests'; here, pages made, skipped, refused and taken
// out again.
TEST(PictureCommands, DocMakeAndExtract) {
  TempDir dir;
  const std::string page = dir / "page.png", dat = dir / "DOCUMENT.DAT";
  ASSERT_TRUE(test::DrawWithImageMagick("-size 2x2 xc:red", "BMP3:" + (dir / "page.bmp")));
  ASSERT_EQ(Cli({"png", dir / "page.bmp", page, "--slot", "icon0", "--mode", "0"}).exit, 0);
  test::Ran make =
      Cli({"doc", "make", dat, "--id", "SLUS01234", page, dir / "missing.png", dir / "page.bmp"});
  EXPECT_TRUE(test::Said(make, 0, {"2 of 3 pages stored"}));
  EXPECT_EQ(test::ReadFileText(dat).substr(12, 9), "SLUS01234");
  EXPECT_TRUE(
      test::Said(Cli({"doc", "make", dir / "x.dat", "--id", "SLUS1", page}), 1,
                 {"Please enter a valid Game ID (must be 9 characters according to tarnwick)!"}));
  EXPECT_FALSE(FileExists(dir / "x.dat"));

  EXPECT_TRUE(test::Said(Cli({"doc", "extract", dat, dir / "pages"}), 0));
  EXPECT_EQ(test::ReadFileBytes(dir / "pages/00000.png"), test::ReadFileBytes(page));
  EXPECT_FALSE(FileExists(dir / "pages/00001.png"));
  // The bitmap page was converted to a PNG of its own size on the way in.
  EXPECT_EQ(PngSize(dir / "pages/00002.png"), (std::pair<uint32_t, uint32_t>{2, 2}));
}

}  // namespace
}  // namespace ebf
