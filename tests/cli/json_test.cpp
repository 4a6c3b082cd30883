// --json and the global flags as a script uses them: standard output read by python3's
// json module (an independent parser), standard error kept apart.
#include <iterator>
#include <map>
#include <set>
#include <sstream>

#include "cli/cli_run.h"
#include "support/cd_sets.h"
#include "support/chdman.h"
#include "support/disc_builder.h"
#include "support/ecm_writer.h"

namespace ebf {
namespace {

using test::TempDir;

const auto& Q = test::ShellQuote;

TEST(CliJson, EveryCommandPrintsOneObjectAndEveryFailureTooEvenOnABadLine) {
  TempDir dir;
  const std::string help = test::CliSh(dir, "--help").out;
  EXPECT_NE(help.find("  2  cancelled (Ctrl+C), or stopped at a question"), std::string::npos);
  // The commands `--help` lists: the first word of each line under "Subcommands:".
  std::istringstream listed(test::Shell(
      Q(test::PrivateCli()) +
      " --help | awk '/^(Subcommands|SUBCOMMANDS):/{f=1;next} f&&!NF{exit} f{print $1}'"));
  const std::set<std::string> commands(std::istream_iterator<std::string>(listed), {});
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
  StoreLe32(&pal[4097], 0x24910013);
  StoreLe32(&pal[70001], 0x3C028007);
  StoreLe32(&pal[70005], 0x8C42EC90);
  test::WriteFileBytes(dir / "pal.bin", pal);
  test::WriteFileText(dir / "fix.ips", std::string("PATCH\0\0\x10\0\x01!EOF", 14));
  ASSERT_TRUE(test::DrawWithImageMagick("-size 480x272 xc:white", dir / "page.png"));
  dir.MakeDir("res/SLUS-00594");
  dir.MakeDir("thumbs/Named_Titles");
  ASSERT_TRUE(test::DrawWithImageMagick("-size 144x80 xc:red", dir / "res/SLUS-00594/icon0.png"));
  ASSERT_TRUE(
      test::DrawWithImageMagick("-size 640x480 xc:red", dir / "thumbs/Named_Titles/GAME.png"));
  // The runs go in the order of their names: extract, info and verify read what convert made.
  const std::string made = dir / "out/SLUS00594 NTSC/EBOOT.PBP", eboot = Q(made);
  const std::string ini = " --ini " + Q(dir / "my.ini");
  // Per command: its line, and what python3 reads in what it printed (`d`: the object, or
  // the list of them when there are several lines).
  const std::map<std::string, std::pair<std::string, std::string>> runs = {
      {"batch",
       {"batch " + Q(dir / "discs") + " -o " + Q(dir / "batch") + " --level 0 --yes",
        "[(j['gameId'], j['outcome'], j['output'][-9:]) for j in d]"}},
      {"chd", {"chd " + Q(dir / "Data Disc.chd"), "d['sectors'], d['tracks'][0]['type']"}},
      {"completion", {"completion bash", "d['shell'], d['script'][:17]"}},
      // Pictures from the user's folders, named in the record, and the folder named.
      {"convert",
       {"convert " + Q(dir / "game.iso") + " -o " + Q(dir / "out") + " --resources " +
            Q(dir / "res") + " --thumbnails " + Q(dir / "thumbs") +
            " --name '%GAMEID% %REGION%' --level 0 --yes --title "
            "'\xE3\x83\x95\xE3\x82\xA1\xE3\x82\xA4\xE3\x83\x8A\xE3\x83\xAB \xE2\x98\x86 "
            "Caf\xC3\xA9'",
        "[(j['outcome'], j['gameId'], j['input'][-8:], j['output'][-28:], "
        "j['sizes']['input'] == size(j['input']), j['sizes']['output'] == size(j['output']), "
        "type(j['seconds']).__name__, [(k, v['source']) for k, v in j['assets'].items()], "
        "j['assets']['ICON0']['file'][-24:], j['assets']['PIC1']['file'][-28:]) for j in d]"}},
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
      {"gameid", {"gameid " + Q(dir / "game.iso"), "d['gameId'], d['image'][-8:]"}},
      {"info",
       {"info " + eboot,
        "d['title'], d['gameId'], [s['name'] for s in d['sections']], "
        "d['fileSize'] == size('" +
            made + "'), [t['type'] for t in d['tracks']]"}},
      {"lookup", {"lookup SLUS00776", "d['saveName'], d['packageId'], d['region']"}},
      // -q silences standard error; the results still come.
      {"quiet",
       {"-q convert " + Q(dir / "game.iso") + " -o " + Q(dir / "out2") + " --level 1 -y",
        "d[0]['outcome']"}},
      {"palfix",
       {"palfix " + Q(dir / "pal.bin") + " --gfx",
        "d['count'], d['applied'], d['patches'][0]['offset'], d['patches'][0]['rule']"}},
      {"patch",
       {"patch " + Q(dir / "game.iso") + " " + Q(dir / "fix.ips") + " -o " + Q(dir / "patched.iso"),
        "d['patches'][0]['format']"}},
      {"png",
       {"png " + Q(dir / "page.png") + " " + Q(dir / "pic1.png") + " --slot pic1",
        "d['slot'], d['converted']"}},
      // --yes after the subcommand answers the BIN/CUE question.
      {"resolve",
       {"resolve " + Q(set.binPaths[0]) + " --yes",
        "d['gameId'], d['input'][-13:], d['dataFile'][-13:], d['message']"}},
      {"rip",
       {"rip " + Q(set.cuePath) + " -o " + Q(dir / "ripped"), "d['written'].split('/')[-1]"}},
      {"settings", {"settings set PreviewDelay 250" + ini, "d['setting'], d['value']"}},
      {"verify", {"verify " + eboot, "d['ok'], len(d['tracks'])"}},
      // A failure prints its message and exit status, a bad command line too.
      {"error: a bad value", {"settings set ShowCust 10" + ini, "d['error'], d['exitStatus']"}},
      {"error: no such file", {"info " + Q(dir / "none.pbp"), "d['error'], d['exitStatus']"}},
      {"error: cancelled",
       {"convert " + Q(dir / "game.iso") + " -o " + Q(dir / "out4"),
        "d[0]['outcome'], d[0]['output'], d[0]['message'][:28]"}},
      {"error: failed",
       {"convert " + Q(dir / "missing.iso") + " -o " + Q(dir / "out5") + " --yes",
        "d[0]['outcome'], d[0]['sizes']['output']"}},
      {"error: the line", {"bogus", "d['error'][:25], d['exitStatus']"}},
  };
  std::string said;
  for (const std::string& command : commands)
    if (!runs.count(command)) ADD_FAILURE() << "no run of the new command '" << command << "'";
  for (const auto& [name, run] : runs) {
    const test::Ran ran = test::CliSh(dir, run.first + " --json");
    const bool lines = name == "batch" || name == "convert" || name == "quiet" ||
                       name.rfind("error: c", 0) == 0 || name == "error: failed";
    // python3 prints `run.second` of what it parsed (`d`: the object, or the list of them;
    // `size`: os.path.getsize).
    test::WriteFileText(dir / "parsed.json", ran.out);
    const std::string program =
        std::string(
            "import json, os, sys\nsize = os.path.getsize\n"
            "t = open(sys.argv[1], encoding=\"utf-8\").read()\n") +
        (lines ? "d = [json.loads(line) for line in t.splitlines()]\n" : "d = json.loads(t)\n") +
        "print(repr((" + run.second + ")), end='')\n";
    said += name + ": " +
            test::Shell("python3 -c " + Q(program) + " " + Q(dir / "parsed.json") + " 2>&1") +
            (name == "drives" ? "" : " -> " + std::to_string(ran.exit)) + "\n";
    // Only the objects reach standard output: a batch's "[1/1]" lines go to standard error.
    EXPECT_TRUE(name != "batch" || ran.err.find("[1/1]") != std::string::npos) << ran.err;
    // Standard error that is a file gets plain lines (the progress view's rules are the
    // terminal host's tests').
    EXPECT_EQ(ran.err.find_first_of("\r\x1b"), std::string::npos) << name << ": " << ran.err;
    EXPECT_TRUE(name != "convert" ||
                ran.err.find("  Converting to EBOOT... \n") != std::string::npos)
        << ran.err;
    EXPECT_TRUE(name != "quiet" || ran.err.empty()) << ran.err;
  }
  EXPECT_EQ(test::ReadFileBytes(dir / "pal.bin"), pal);  // listed, not applied
  EXPECT_FALSE(FileExists(dir / "out4/EBOOT.PBP"));      // declined: nothing written
  EXPECT_EQ(said,
            "batch: [('SCES00344', 'success', 'EBOOT.PBP')] -> 0\n"
            "chd: (419, 'MODE2_RAW') -> 0\n"
            "completion: ('bash', '# bash completion') -> 0\n"
            "convert: [('success', 'SLUS00594', 'game.iso', 'out/SLUS00594 NTSC/EBOOT.PBP', True, "
            "True, 'float', [('ICON0', 'resource folder'), ('ICON1', 'default'), ('PIC0', "
            "'default'), ('PIC1', 'thumbnails'), ('SND0', 'default'), ('Gameboot', 'default')], "
            "'res/SLUS-00594/icon0.png', 'thumbs/Named_Titles/GAME.png')] -> 0\n"
            "doc: (1, 1) -> 0\n"
            "drives: True\n"
            "ecm: 'decoded.bin' -> 0\n"
            "error: a bad value: ('ShowCust takes 1 (on) or 0 (off), not \"10\".', 1) -> 1\n"
            "error: cancelled: ('declined', None, \"It appears that you're using\") -> 2\n"
            "error: failed: ('failed', 0) -> 1\n"
            "error: no such file: (\"File doesn't exist!\", 1) -> 1\n"
            "error: the line: ('\"bogus\" is not a command.', 1) -> 1\n"
            "extract: ('extracted.bin', 'Done :)') -> 0\n"
            "gameid: ('SLUS00594', 'game.iso') -> 0\n"
            "info: ('\xE3\x83\x95\xE3\x82\xA1\xE3\x82\xA4\xE3\x83\x8A\xE3\x83\xAB \xE2\x98\x86 "
            "Caf\xC3\xA9', 'SLUS00594', ['PARAM.SFO', 'ICON0.PNG', 'ICON1.PMF', 'PIC0.PNG', "
            "'PIC1.PNG', 'SND0.AT3', 'DATA.PSP', 'DATA.PSAR'], True, ['data']) -> 0\n"
            "lookup: ('Metal Gear Solid', 'SLUS00594', 'NTSC') -> 0\n"
            "palfix: (1, False, 70001, 'graphics 0x3C028007') -> 0\n"
            "patch: 'IPS' -> 0\n"
            "png: ('pic1', False) -> 0\n"
            "quiet: 'success' -> 0\n"
            "resolve: ('SLUS01234', 'Data Disc.cue', 'Data Disc.bin', '') -> 0\n"
            "rip: 'ripped.cue' -> 0\n"
            "settings: ('PreviewDelay', '250') -> 0\n"
            "verify: (True, 1) -> 0\n");
}

}  // namespace
}  // namespace ebf
