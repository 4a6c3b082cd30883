// --json and the global flags as a script uses them: standard output read by python3's
// json module (an independent parser), standard error kept apart.
#include <gtest/gtest.h>

#include <cctype>
#include <map>
#include <set>
#include <sstream>

#include "common/bytes.h"
#include "common/files.h"
#include "imaging/png_writer.h"
#include "support/cd_sets.h"
#include "support/chdman.h"
#include "support/disc_builder.h"
#include "support/ecm_writer.h"
#include "support/picture_tools.h"
#include "support/process_run.h"
#include "support/program_tree.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using test::ShellQuote;
using test::TempDir;

struct Ran {
  int exit = -1;
  std::string out, err;
};

// `args` are put on a shell line as they are (quote paths with Q).
Ran Cli(const TempDir& dir, const std::string& args) {
  const std::string out = dir / "stdout.txt", err = dir / "stderr.txt";
  const std::string code = test::Shell(ShellQuote(test::PrivateCli()) + " " + args + " >" +
                                       ShellQuote(out) + " 2>" + ShellQuote(err) + "; echo $?");
  return {std::stoi(code), test::ReadFileText(out), test::ReadFileText(err)};
}

std::string Q(const std::string& path) {
  return ShellQuote(path);
}

// python3 parses `text`, as one document or as one document per line, and prints `expr`
// of it (`d`: the document, or the list of them).
std::string Python(const TempDir& dir, const std::string& text, bool perLine,
                   const std::string& expr) {
  const std::string file = dir / "parsed.json";
  test::WriteFileText(file, text);
  const std::string program =
      std::string("import json, sys\nt = open(sys.argv[1], encoding=\"utf-8\").read()\n") +
      (perLine ? "d = [json.loads(line) for line in t.splitlines()]\n" : "d = json.loads(t)\n") +
      "print(repr((" + expr + ")))\n";
  return test::Shell("python3 -c " + ShellQuote(program) + " " + ShellQuote(file) + " 2>&1");
}

std::string SizeOf(const std::string& path) {
  return std::to_string(FileSize(path).value_or(0));
}

TEST(CliJson, ConvertAndBatchPrintOneObjectPerFinishedJob) {
  TempDir dir;
  test::WriteFileBytes(dir / "game.iso", test::BuildIsoSectors(test::GameDisc("SLUS_005.94")));

  Ran done = Cli(
      dir, "convert " + Q(dir / "game.iso") + " -o " + Q(dir / "out") + " --level 0 --json --yes");
  ASSERT_EQ(done.exit, 0) << done.err;
  const std::string eboot = dir / "out/EBOOT.PBP";
  EXPECT_EQ(Python(dir, done.out, true,
                   "len(d), d[0][\"outcome\"], d[0][\"output\"], d[0][\"gameId\"], "
                   "d[0][\"sizes\"][\"input\"], d[0][\"sizes\"][\"output\"], "
                   "type(d[0][\"seconds\"]).__name__, d[0][\"input\"]"),
            "(1, 'success', '" + eboot + "', 'SLUS00594', " + SizeOf(dir / "game.iso") + ", " +
                SizeOf(eboot) + ", 'float', '" + (dir / "game.iso") + "')\n");

  // Without --yes the ISO question stops the job: declined, exit 2, nothing written.
  Ran declined = Cli(dir, "--json convert " + Q(dir / "game.iso") + " -o " + Q(dir / "out2"));
  EXPECT_EQ(declined.exit, 2);
  EXPECT_EQ(Python(dir, declined.out, true, "d[0][\"outcome\"], d[0][\"output\"]"),
            "('declined', None)\n");
  EXPECT_NE(declined.err.find("It appears that you're using an ISO."), std::string::npos);
  EXPECT_FALSE(FileExists(dir / "out2/EBOOT.PBP"));

  Ran failed =
      Cli(dir, "convert " + Q(dir / "missing.iso") + " -o " + Q(dir / "out3") + " --yes --json");
  EXPECT_EQ(failed.exit, 1);
  EXPECT_EQ(Python(dir, failed.out, true, "d[0][\"outcome\"], d[0][\"sizes\"][\"output\"]"),
            "('failed', 0)\n");

  dir.MakeDir("games");
  for (const char* id : {"SLUS_012.34", "SCES_003.44"})
    test::WriteFileBytes(dir / (std::string("games/") + id + ".bin"),
                         test::BuildDiscImage(test::GameDisc(id), test::SectorLayout::Mode2Raw));
  Ran batch =
      Cli(dir, "batch " + Q(dir / "games") + " -o " + Q(dir / "many") + " --level 1 --yes --json");
  EXPECT_EQ(batch.exit, 0) << batch.err;
  // Only the objects reach standard output: no table, no "[1/2]" lines.
  EXPECT_EQ(Python(dir, batch.out, true,
                   "[(j[\"gameId\"], j[\"outcome\"], j[\"output\"].endswith(\"EBOOT.PBP\")) "
                   "for j in d]"),
            "[('SCES00344', 'success', True), ('SLUS01234', 'success', True)]\n");
  EXPECT_NE(batch.err.find("[2/2]"), std::string::npos) << batch.err;
}

TEST(CliJson, QueriesPrintOneDocument) {
  TempDir dir;
  const std::string bin = dir / "Metal.bin";
  test::WriteFileBytes(
      bin, test::BuildDiscImage(test::GameDisc("SLUS_005.94"), test::SectorLayout::Mode2Raw));
  test::WriteFileText(dir / "Metal.cue",
                      "FILE \"METAL.BIN\" BINARY\n  TRACK 01 MODE2/2352\n    INDEX 01 00:00:00\n");

  Ran id = Cli(dir, "gameid " + Q(bin) + " --json");
  EXPECT_EQ(id.exit, 0);
  EXPECT_EQ(Python(dir, id.out, false, "d[\"gameId\"], d[\"image\"]"),
            "('SLUS00594', '" + bin + "')\n");

  Ran lookup = Cli(dir, "--json lookup SLUS00776");
  EXPECT_EQ(lookup.exit, 0);
  EXPECT_EQ(Python(dir, lookup.out, false, "d[\"saveName\"], d[\"packageId\"], d[\"region\"]"),
            "('Metal Gear Solid', 'SLUS00594', 'NTSC')\n");

  // --yes after the subcommand answers the BIN/CUE question.
  Ran resolve = Cli(dir, "resolve " + Q(bin) + " --json --yes");
  EXPECT_EQ(resolve.exit, 0) << resolve.err;
  EXPECT_EQ(Python(dir, resolve.out, false,
                   "d[\"input\"], d[\"dataFile\"], d[\"gameId\"], d[\"message\"]"),
            "('" + (dir / "Metal.cue") + "', '" + bin + "', 'SLUS00594', '')\n");

  const std::string pal = dir / "pal.bin";
  Bytes data(100000, 0x55);
  StoreLe32(&data[4097], 0x24910013);
  StoreLe32(&data[70001], 0x3C028007);
  StoreLe32(&data[70005], 0x8C42EC90);
  test::WriteFileBytes(pal, data);
  Ran palfix = Cli(dir, "palfix " + Q(pal) + " --gfx --json");
  EXPECT_EQ(palfix.exit, 0) << palfix.err;
  EXPECT_EQ(Python(dir, palfix.out, false,
                   "d[\"count\"], d[\"applied\"], d[\"patches\"][0][\"offset\"], "
                   "d[\"patches\"][0][\"rule\"]"),
            "(1, False, 70001, 'graphics 0x3C028007')\n");
  EXPECT_EQ(test::ReadFileBytes(pal), data);

  test::WriteFileBytes(dir / "game.iso", test::BuildIsoSectors(test::GameDisc("SCES_003.44")));
  ASSERT_EQ(Cli(dir, "convert " + Q(dir / "game.iso") + " -o " + Q(dir / "out") +
                         " --title '\xE3\x83\x95\xE3\x82\xA1\xE3\x82\xA4\xE3\x83\x8A\xE3\x83\xAB "
                         "\xE2\x98\x86 Caf\xC3\xA9' --level 1 --yes")
                .exit,
            0);
  Ran info = Cli(dir, "info " + Q(dir / "out/EBOOT.PBP") + " --json");
  EXPECT_EQ(info.exit, 0) << info.err;
  EXPECT_EQ(Python(dir, info.out, false,
                   "d[\"title\"], d[\"gameId\"], [s[\"name\"] for s in d[\"sections\"]], "
                   "d[\"fileSize\"], [t[\"type\"] for t in d[\"tracks\"]]"),
            "('\xE3\x83\x95\xE3\x82\xA1\xE3\x82\xA4\xE3\x83\x8A\xE3\x83\xAB \xE2\x98\x86 "
            "Caf\xC3\xA9', 'SCES00344', ['PARAM.SFO', 'ICON0.PNG', 'ICON1.PMF', "
            "'PIC0.PNG', 'PIC1.PNG', 'SND0.AT3', 'DATA.PSP', 'DATA.PSAR'], " +
                SizeOf(dir / "out/EBOOT.PBP") + ", ['data'])\n");
}

// The commands `--help` lists: the first word of each line under "Subcommands:" up to the
// next blank line.
std::set<std::string> ListedCommands(const std::string& help) {
  std::set<std::string> commands;
  std::istringstream lines(help);
  std::string line;
  bool inList = false;
  while (std::getline(lines, line)) {
    if (line == "Subcommands:" || line == "SUBCOMMANDS:") {
      inList = true;
    } else if (inList) {
      std::istringstream words(line);
      std::string name;
      if (!(words >> name)) break;
      commands.insert(name);
    }
  }
  return commands;
}

TEST(CliJson, EveryCommandPrintsOneObjectAndEveryFailureTooEvenOnABadLine) {
  TempDir dir;
  const std::string help = Cli(dir, "--help").out;
  const std::set<std::string> commands = ListedCommands(help);
  ASSERT_GE(commands.size(), 17u) << help;

  // A run of every command, made of files built here.
  test::WriteFileBytes(dir / "game.iso", test::BuildIsoSectors(test::GameDisc("SLUS_005.94")));
  dir.MakeDir("discs");
  test::WriteFileBytes(dir / "discs/other.iso",
                       test::BuildIsoSectors(test::GameDisc("SCES_003.44")));
  const test::CdSet set = test::WriteDataOnlySet(dir.path());
  ASSERT_TRUE(test::CreateChd(set.cuePath, dir / "Data Disc.chd", ""));
  test::WriteFileBytes(dir / "Data Disc.bin.ecm", test::EncodeEcm(set.disc));
  Bytes pal(100000, 0x55);
  StoreLe32(&pal[70001], 0x3C028007);
  StoreLe32(&pal[70005], 0x8C42EC90);
  test::WriteFileBytes(dir / "pal.bin", pal);
  test::WriteFileText(dir / "fix.ips", std::string("PATCH\0\0\x10\0\x01!EOF", 14));
  ASSERT_TRUE(test::DrawWithImageMagick("-size 480x272 xc:white", dir / "page.png"));
  ASSERT_EQ(
      Cli(dir, "convert " + Q(dir / "game.iso") + " -o " + Q(dir / "made") + " --level 0 --yes")
          .exit,
      0);
  const std::string eboot = Q(dir / "made/EBOOT.PBP");
  const std::string ini = " --ini " + Q(dir / "my.ini");
  // Per command: its line, and what python3 reads in what it printed (`d`: the object, or
  // the list of them when there are several lines).
  const std::map<std::string, std::pair<std::string, std::string>> runs = {
      {"batch",
       {"batch " + Q(dir / "discs") + " -o " + Q(dir / "batch") + " --level 0 --yes",
        "[j['gameId'] for j in d]"}},
      {"chd", {"chd " + Q(dir / "Data Disc.chd"), "d['sectors'], d['tracks'][0]['type']"}},
      {"completion", {"completion bash", "d['shell'], d['script'][:17]"}},
      {"convert",
       {"convert " + Q(dir / "game.iso") + " -o " + Q(dir / "out") + " --level 0 --yes",
        "[j['outcome'] for j in d]"}},
      {"doc",
       {"doc make " + Q(dir / "DOCUMENT.DAT") + " --id SLUS00594 " + Q(dir / "page.png"),
        "d['pagesStored'], d['pages']"}},
      // The machine's CD drives are whatever it has, often none.
      {"drives",
       {"drives",
        "'drives' in d or d == {'error': 'No CD drive was found.', "
        "'exitStatus': 1}"}},
      {"ecm",
       {"ecm " + Q(dir / "Data Disc.bin.ecm") + " -o " + Q(dir / "decoded.bin"),
        "d['written'][-11:]"}},
      {"extract",
       {"extract " + eboot + " " + Q(dir / "extracted.bin"),
        "d['outputs'][0][-13:], d['message']"}},
      {"gameid", {"gameid " + Q(dir / "game.iso"), "d['gameId']"}},
      {"info", {"info " + eboot, "d['gameId']"}},
      {"lookup", {"lookup SLUS00776", "d['saveName']"}},
      {"palfix", {"palfix " + Q(dir / "pal.bin") + " --gfx", "d['count']"}},
      {"patch",
       {"patch " + Q(dir / "game.iso") + " " + Q(dir / "fix.ips") + " -o " +
            Q(dir / "patched.iso"),
        "d['patches'][0]['format']"}},
      {"png",
       {"png " + Q(dir / "page.png") + " " + Q(dir / "pic1.png") + " --slot pic1",
        "d['slot'], d['converted']"}},
      {"resolve", {"resolve " + Q(set.cuePath), "d['gameId']"}},
      {"rip",
       {"rip " + Q(set.cuePath) + " -o " + Q(dir / "ripped"), "d['written'].split('/')[-1]"}},
      {"settings", {"settings set PreviewDelay 250" + ini, "d['setting'], d['value']"}},
      {"verify", {"verify " + eboot, "d['ok'], len(d['tracks'])"}},
      // A failure prints its message and exit status, a bad command line too.
      {"error: a bad value", {"settings set ShowCust 10" + ini, "d['error'], d['exitStatus']"}},
      {"error: no such file", {"info " + Q(dir / "none.pbp"), "d['error'], d['exitStatus']"}},
      {"error: cancelled",
       {"convert " + Q(dir / "game.iso") + " -o " + Q(dir / "out4"),
        "d[0]['outcome'], d[0]['message'][:28]"}},
      {"error: the line", {"bogus", "d['error'][:25], d['exitStatus']"}},
  };
  std::string said, expected;
  for (const std::string& command : commands)
    if (!runs.count(command)) ADD_FAILURE() << "no run of the new command '" << command << "'";
  for (const auto& [name, run] : runs) {
    const Ran ran = Cli(dir, run.first + " --json");
    const bool lines = name == "batch" || name == "convert" || name == "error: cancelled";
    said += name + ": " + Python(dir, ran.out, lines, run.second);
  }
  EXPECT_EQ(said,
            "batch: ['SCES00344']\n"
            "chd: (419, 'MODE2_RAW')\n"
            "completion: ('bash', '# bash completion')\n"
            "convert: ['success']\n"
            "doc: (1, 1)\n"
            "drives: True\n"
            "ecm: 'decoded.bin'\n"
            "error: a bad value: ('ShowCust takes 1 (on) or 0 (off), not \"10\".', 1)\n"
            "error: cancelled: ('declined', \"It appears that you're using\")\n"
            "error: no such file: (\"File doesn't exist!\", 1)\n"
            "error: the line: ('\"bogus\" is not a command.', 1)\n"
            "extract: ('extracted.bin', 'Done :)')\n"
            "gameid: 'SLUS00594'\n"
            "info: 'SLUS00594'\n"
            "lookup: 'Metal Gear Solid'\n"
            "palfix: 1\n"
            "patch: 'IPS'\n"
            "png: ('pic1', False)\n"
            "resolve: 'SLUS01234'\n"
            "rip: 'ripped.cue'\n"
            "settings: ('PreviewDelay', '250')\n"
            "verify: (True, 1)\n");
}

TEST(CliFlags, AnywhereOnTheLineAndPlainProgressInALog) {
  TempDir dir;
  test::WriteFileBytes(dir / "game.iso", test::BuildIsoSectors(test::GameDisc("SLUS_005.94")));
  // Standard error is a file here, not a terminal: lines only.
  Ran run =
      Cli(dir, "convert " + Q(dir / "game.iso") + " -o " + Q(dir / "out") + " --level 1 --yes");
  EXPECT_EQ(run.exit, 0) << run.err;
  EXPECT_EQ(run.err.find('\r'), std::string::npos) << run.err;
  EXPECT_EQ(run.err.find('\x1b'), std::string::npos) << run.err;
  EXPECT_NE(run.err.find("  Converting to EBOOT... \n"), std::string::npos) << run.err;
  EXPECT_NE(run.out.find("Conversion Done :)"), std::string::npos);

  Ran quiet =
      Cli(dir, "convert " + Q(dir / "game.iso") + " -o " + Q(dir / "out2") + " -q --level 1 -y");
  EXPECT_EQ(quiet.exit, 0);
  EXPECT_EQ(quiet.err, "");
  EXPECT_NE(quiet.out.find("Conversion Done :)"), std::string::npos);

  Ran help = Cli(dir, "--help");
  EXPECT_EQ(help.exit, 0);
  EXPECT_NE(help.out.find("  2  cancelled (Ctrl+C), or stopped at a question"), std::string::npos)
      << help.out;
  EXPECT_EQ(Cli(dir, "convert").exit, 1);  // INPUT missing
  EXPECT_EQ(Cli(dir, "info " + Q(dir / "game.iso") + " --no-such-flag").exit, 1);
}

TEST(CliJson, ConvertTakesPicturesFromTheUsersFoldersAndNamesTheFolder) {
  TempDir dir;
  test::WriteFileBytes(dir / "game.iso", test::BuildIsoSectors(test::GameDisc("SLUS_005.94")));
  dir.MakeDir("res/SLUS-00594");
  dir.MakeDir("thumbs/Named_Titles");
  ASSERT_TRUE(
      WritePngFromDrawingContext(Surface(144, 80), dir / "res/SLUS-00594/icon0.png", 144, 80));
  ASSERT_TRUE(WritePngFromDrawingContext(Surface(640, 480), dir / "thumbs/Named_Titles/GAME.png",
                                         640, 480));
  Ran done = Cli(dir, "convert " + Q(dir / "game.iso") + " -o " + Q(dir / "out") + " --resources " +
                          Q(dir / "res") + " --thumbnails " + Q(dir / "thumbs") +
                          " --name '%GAMEID% %REGION%' --level 0 --json --yes");
  ASSERT_EQ(done.exit, 0) << done.err;
  EXPECT_EQ(Python(dir, done.out, true,
                   "d[0][\"output\"], [(k, v[\"source\"]) for k, v in d[0][\"assets\"].items()], "
                   "d[0][\"assets\"][\"ICON0\"][\"file\"], d[0][\"assets\"][\"PIC1\"][\"file\"]"),
            "('" + dir / "out/SLUS00594 NTSC/EBOOT.PBP" +
                "', [('ICON0', 'resource folder'), ('ICON1', 'default'), ('PIC0', 'default'), "
                "('PIC1', 'thumbnails'), ('SND0', 'default'), ('Gameboot', 'default')], '" +
                dir / "res/SLUS-00594/icon0.png" + "', '" + dir / "thumbs/Named_Titles/GAME.png" +
                "')\n");
}

}  // namespace
}  // namespace ebf
