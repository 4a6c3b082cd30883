// The input resolver, CUE sheets and drop classification on real files in a temporary
// program folder with its own game database.
#include "disc/resolver.h"

#include <gtest/gtest.h>

#include <optional>
#include <tuple>

#include "common/files.h"
#include "common/text.h"
#include "disc/classify.h"
#include "disc/cue_sheet.h"
#include "disc/disc_set.h"
#include "support/disc_builder.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"

namespace ebf::test {
namespace {

using Strings = std::vector<std::string>;

// Title, save name, region and game ID: what the window shows of a resolved input.
Strings Names(const ResolvedInput& r) {
  return {r.title, r.saveName, r.region, r.gameId};
}

// The IDs of the asset passes, the second pass (the database's own ID) marked.
Strings Passes(const ResolvedInput& r) {
  Strings ids;
  for (const AssetPass& p : r.assetPasses) ids.push_back(p.gameId + (p.second ? " second" : ""));
  return ids;
}

class Resolver : public ::testing::Test {
 protected:
  void SetUp() override {
    context.programFolder = program.folder();
    program.MakeDir("Data");
    WriteFileText(program / "Data/TarnwickPS1ID.db",
                  "SLUS-00594;SLUS00594;Metal Game;Metal Game [NTSC-U];NTSC;SLUS00594\r\n"
                  "SLES-12081;SLES02081;Euro Save;Euro Game [PAL-E];PAL;SLES12081\r\n"
                  "SCUS-94476;SCUS94476;;;NTSC;SCUS94476\r\n");
    std::tie(context.currentOutput, context.currentGameId, context.currentRegion,
             context.currentSaveName) =
        std::make_tuple("old out", "OLDX00000", "old region", "old save");
  }
  std::string Image(const std::string& name, const std::string& exe,
                    SectorLayout layout = SectorLayout::Plain2048) {
    std::string path = images / name;
    WriteFileBytes(path, BuildDiscImage(GameDisc(exe), layout));
    return path;
  }
  ResolvedInput Resolve(const std::string& path) { return ResolveInput(path, context, host); }

  TempDir program, images;
  ResolveContext context;
  RunRecorder host;
};

TEST_F(Resolver, ImagesFoundInTheDatabaseOrNotAndTheDefaultId) {
  std::string iso = Image("metal.iso", "SLUS_005.94");
  ResolvedInput r = Resolve(iso);
  EXPECT_EQ(std::tie(r.message, r.input, r.dataFile), std::make_tuple("", iso, iso));
  EXPECT_EQ(Names(r), (Strings{"Metal Game [NTSC-U]", "Metal Game", "NTSC", "SLUS00594"}));
  EXPECT_EQ(Passes(r), (Strings{"SLUS00594", "SLUS00594 second"}));
  EXPECT_EQ(std::tie(r.outputFolder, r.runInspection), std::make_tuple(images.path(), true));
  EXPECT_TRUE(host.questions.empty());

  // A second disc: the package ID replaces the disc's own for the second pass.
  context.hideNameTags = true;
  r = Resolve(Image("euro2.bin", "SLES_120.81", SectorLayout::Raw2448));
  EXPECT_EQ(Names(r), (Strings{"Euro Game", "Euro Save", "PAL", "SLES02081"}));
  EXPECT_EQ(Passes(r), (Strings{"SLES12081", "SLES02081 second"}));

  // Empty title and save name in the database: the file's name stays the title and
  // becomes the save name.
  r = Resolve(Image("golf.img", "SCUS_944.76", SectorLayout::Mode1Raw));
  EXPECT_EQ(Names(r), (Strings{"golf", "golf", "NTSC", "SCUS94476"}));

  // An ID not in the database: no region change, one pass with the ID.
  context.hideNameTags = false;
  r = Resolve(Image("other.iso", "SLPS_011.11"));
  EXPECT_EQ(Names(r), (Strings{"other", "other", "old region", "SLPS01111"}));
  EXPECT_EQ(Passes(r), Strings{"SLPS01111"});

  // No ID on the disc: DefGameID stands in and is looked up.
  std::string noId = images / "noid.iso";
  IsoOptions opts;
  opts.files = {{"README.TXT;1", Bytes(100, 'a')}};
  opts.minSectors = 30;
  WriteFileBytes(noId, BuildIsoSectors(opts));
  r = Resolve(noId);
  EXPECT_EQ(std::make_tuple(r.gameId, Passes(r)), std::make_tuple("", Strings{""}));
  context.defGameId = "SLUS00594";
  r = Resolve(noId);
  EXPECT_EQ(Names(r), (Strings{"Metal Game [NTSC-U]", "Metal Game", "NTSC", "SLUS00594"}));

  // A file shorter than 32,768 bytes is not scanned, and DefGameID is not used either.
  std::string small = images / "small.iso";
  Bytes disc = BuildIsoSectors(GameDisc("SLUS_005.94"));
  disc.resize(32767);
  WriteFileBytes(small, disc);
  r = Resolve(small);
  EXPECT_EQ(std::tie(r.gameId, r.region), std::make_tuple("", "old region"));
  disc.resize(32768);
  WriteFileBytes(small, disc);
  EXPECT_EQ(Resolve(small).gameId, "SLUS00594");
}

TEST_F(Resolver, CueSheetsFindTheirDataFile) {
  Image("Game (Track 1).bin", "SLUS_005.94", SectorLayout::Mode2Raw);
  Image("GAME.bin", "SLES_120.81", SectorLayout::Mode2Raw);
  images.MakeDir("Sub");
  Image("Sub/Track.bin", "SLUS_005.94");
  TempDir elsewhere;
  const std::string cue = images / "game.cue", abs = elsewhere / "abs.cue";
  const std::string track1 = images / "Game (Track 1).bin";
  // clang-format off
  const struct {
    std::string sheet, text, dataFile, gameId;
  } rows[] = {
      // Relative name, upper-cased by the reading, found case-blind beside the sheet.
      {cue, "\xEF\xBB\xBFREM comment\r\n\r\n  file \"Game (Track 1).bin\" BINARY\r\n"
            "  TRACK 01 MODE2/2352\r\n    INDEX 01 00:00:00\r\n", track1, "SLUS00594"},
      {abs, "FILE \"" + track1 + "\" BINARY\n", track1, "SLUS00594"},  // absolute, from anywhere
      {cue, "\xEF\xBB\xBF" "FILE \"game (track 1).BIN\" BINARY\n", track1, "SLUS00594"},  // a BOM
      // A named file that is missing falls back to the same name with ".bin".
      {cue, "FILE \"GAME.IMG\" BINARY\n", images / "GAME.bin", "SLES02081"},
      // A sub-folder written the Windows way.
      {cue, "FILE \"sub\\track.bin\" BINARY\n", images / "Sub/Track.bin", "SLUS00594"},
      // No FILE line: the sheet stands for itself (too small to scan).
      {cue, "REM nothing here\n", cue, ""},
  };
  // clang-format on
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    WriteFileText(row.sheet, row.text);
    ResolvedInput r = Resolve(row.sheet);
    // The output goes beside the data file, wherever the sheet is.
    EXPECT_EQ(std::tie(r.message, r.input, r.dataFile, r.gameId, r.outputFolder, r.runInspection),
              std::make_tuple("", row.sheet, row.dataFile, row.gameId,
                              row.dataFile.substr(0, row.dataFile.rfind(kSep)), true));
  }
  EXPECT_EQ(Names(Resolve(abs)),
            (Strings{"Metal Game [NTSC-U]", "Metal Game", "NTSC", "SLUS00594"}));
}

TEST_F(Resolver, BrokenSheetsStopTheResolver) {
  std::string cue = images / "broken.cue";
  // A sheet naming a file that is not there says which, as the sheet spells it.
  const std::string missing = std::string(kCueInvalidMessage) + "\r\n(";
  // clang-format off
  const std::pair<std::string, std::string> sheets[] = {
      {"FILE \"Missing.Bin\" BINARY\n", missing + "Missing.Bin, named by broken.cue, is not there)"},
      // the fallback names the same file
      {"FILE \"MISSING.IMG\" BINARY\n", missing + "MISSING.IMG, named by broken.cue, is not there)"},
      {"REM fine\nNOBLANK\nFILE \"X.BIN\" BINARY\n", kCueInvalidMessage},
      {"FILE X.BIN BINARY\n", kCueInvalidMessage},
      {"FILE \"X.BIN BINARY\n", kCueInvalidMessage},
      {"FILE \"\" BINARY\n", kCueInvalidMessage},
      {std::string(10000, 'A') + " x\nFILE \"X.BIN\" BINARY\n", kCueInvalidMessage},
  };
  // clang-format on
  Image("X.BIN", "SLUS_005.94");
  for (const auto& [text, message] : sheets) {
    WriteFileText(cue, text);
    ResolvedInput r = Resolve(cue);
    EXPECT_EQ(std::tie(r.message, r.input, r.outputFolder, r.runInspection),
              std::make_tuple(message, cue, "old out", false))
        << text.substr(0, 40);
    EXPECT_EQ(std::make_tuple(Names(r), r.assetPasses.empty()),
              std::make_tuple(Strings{"broken", "broken", "old region", "OLDX00000"}, true));
  }
  // Binary junk of every kind: a message or a data file, never a crash.
  for (uint32_t seed = 0; seed < 100; ++seed) {
    Bytes junk = NoiseBytes(1 + seed * 113, seed);
    if (seed % 4 == 0) junk.insert(junk.begin(), {'F', 'I', 'L', 'E', ' ', '"'});
    WriteFileBytes(cue, junk);
    const ResolvedInput r = Resolve(cue);
    EXPECT_TRUE(r.message == kCueInvalidMessage || FileExists(r.dataFile));
  }
}

TEST_F(Resolver, OutputFolderOptions) {
  const std::string bin = Image("My.Game.Disc.bin", "SLUS_005.94"), plain = images / "Plain.iso";
  WriteFileBytes(plain, Bytes(40000, 0));
  WriteFileBytes(images / "NoDotName", Bytes(100, 0));
  const std::string base = images.path() + kSep, out = std::string("/out") + kSep;
  // The file, the option, the DefaultOutputDir setting and the folder. With no ID, option 3
  // leaves the bare base with its separator; a name without "." is taken whole; the setting
  // replaces the image's folder, a separator added once.
  // clang-format off
  const std::tuple<std::string, int, std::string, std::string> rows[] = {
      {bin, 0, "", images.path()}, {bin, 1, "", base + "My"},
      {bin, 2, "", base + "Metal Game [NTSC-U]"}, {bin, 3, "", base + "SLUS00594"},
      {plain, 3, "", base}, {images / "NoDotName", 1, "", base + "NoDotName"},
      {bin, 2, "/out", out + "Metal Game [NTSC-U]"}, {bin, 2, out, out + "Metal Game [NTSC-U]"},
      {bin, 0, out, out}};
  // clang-format on
  for (const auto& [file, opt, setting, folder] : rows) {
    std::tie(context.defaultOutDirOpt, context.defaultOutputDir) = std::tie(opt, setting);
    EXPECT_EQ(Resolve(file).outputFolder, folder) << file << " " << opt << " " << setting;
  }
}

TEST_F(Resolver, TheFirstDiscOfASetNamesTheWholeGame) {
  // Not in the game list: the title is the file's, and so are the folders named after it.
  const std::string bin = Image("Quest (Disc 1).bin", "SLUS_902.01");
  const std::string base = images.path() + kSep;
  for (int opt : {1, 2}) {
    context.defaultOutDirOpt = opt;
    ResolvedInput r = Resolve(bin);
    EXPECT_EQ(std::tie(r.title, r.outputFolder),
              std::make_tuple("Quest (Disc 1)", base + "Quest (Disc 1)"))
        << opt;
    TakeAsDiscSet(r, context);
    EXPECT_EQ(std::tie(r.title, r.outputFolder), std::make_tuple("Quest", base + "Quest")) << opt;
  }
  // Named by ID, the folder stays as it was.
  context.defaultOutDirOpt = 3;
  ResolvedInput byId = Resolve(bin);
  TakeAsDiscSet(byId, context);
  EXPECT_EQ(byId.outputFolder, base + "SLUS90201");
}

TEST_F(Resolver, PackagesAndCompanionFiles) {
  // A package: a title and an output folder, no ID scan; the inspection fills the rest.
  std::string pbp = images / "EBOOT.PBP";
  WriteFileBytes(pbp, BuildIsoSectors(GameDisc("SLUS_005.94")));
  context.defaultOutDirOpt = 3;
  ResolvedInput r = Resolve(pbp);
  EXPECT_EQ(Names(r), (Strings{"EBOOT", "EBOOT", "old region", "OLDX00000"}));
  EXPECT_TRUE(r.assetPasses.empty());
  EXPECT_EQ(std::tie(r.outputFolder, r.runInspection),
            std::make_tuple(images.path() + kSep + "OLDX00000", true));
  context.defaultOutDirOpt = 0;

  // A BIN with a CUE beside it: the question, Yes takes the sheet, No keeps the BIN.
  std::string bin = Image("pair.BIN", "SLUS_005.94", SectorLayout::Mode2Raw);
  WriteFileText(images / "PAIR.cue", "FILE \"PAIR.BIN\" BINARY\n");
  host.answers = {true, false};
  r = Resolve(bin);
  ASSERT_EQ(host.questions.size(), 1u);
  EXPECT_EQ(host.questions[0].text, kBinHasCueQuestion);
  EXPECT_EQ(std::tie(r.input, r.dataFile, r.title),
            std::make_tuple(images / "PAIR.cue", bin, "Metal Game [NTSC-U]"));
  r = Resolve(bin);
  EXPECT_EQ(std::make_tuple(host.questions.size(), r.input), std::make_tuple(2u, bin));
  // No sheet, no question.
  std::string lone = Image("lone.bin", "SLUS_005.94", SectorLayout::Mode2Raw);
  Resolve(lone);
  EXPECT_EQ(host.questions.size(), 2u);

  // A CCD given to the resolver turns into its image, found case-blind.
  std::string img = Image("clone.IMG", "SLUS_005.94", SectorLayout::Mode2Raw);
  WriteFileText(images / "clone.ccd", "[CloneCD]\n");
  r = Resolve(images / "clone.ccd");
  EXPECT_EQ(std::tie(r.input, r.gameId), std::make_tuple(img, "SLUS00594"));
}

TEST(CueSheet, LinesNamesAndAbsolutePaths) {
  auto line = SplitCueLine("  file \"a b.bin\" binary ");
  ASSERT_TRUE(line);
  EXPECT_EQ(std::make_tuple(line->keyword, *CueQuotedName(line->rest)),
            std::make_tuple("FILE", "A B.BIN"));
  EXPECT_FALSE(SplitCueLine("   ") || SplitCueLine("REM"));
  EXPECT_EQ(SplitCueLine("FILE\t\"x y\"")->keyword, "FILE");
  EXPECT_FALSE(CueQuotedName("X.BIN BINARY") || CueQuotedName("\"X.BIN BINARY"));
  EXPECT_EQ(CueQuotedName("\"\" x"), "");
  EXPECT_TRUE(IsCueNameAbsolute("D:\\RIPS\\X.BIN"));
  EXPECT_FALSE(IsCueNameAbsolute("X.BIN") || IsCueNameAbsolute("D:X.BIN"));
#ifndef _WIN32
  EXPECT_TRUE(IsCueNameAbsolute("/RIPS/X.BIN"));
#endif
  EXPECT_TRUE(ReadCueFileEntry(TempDir().path() + "/missing.cue").invalid);
}

TEST(DropClassification, ExtensionsDecide) {
  TempDir dir;
  auto make = [&](const std::string& name) {
    WriteFileText(dir / name, "x");
    return dir / name;
  };
  // The names and the message they are refused with ("": accepted as they are). A CCD's IMG
  // takes its place, or the ":(" message when there is none.
  const std::pair<std::vector<const char*>, std::string> rows[] = {
      {{"a.iso", "a.IMG", "a.bin", "a.Cue", "EBOOT.PBP", "a.mdf", "x.CHD", "x.Ecm"}, ""},
      {{"a.mds"}, kMdsMessage},
      {{"a.nrg", "a.CDI", "a.b5t", "a.000", "a.bif"}, kUnsupportedFormatMessage},
      {{"a.zip", "a.jpeg", "iso", "a.is"}, kNotAnImageMessage},
      {{"game.ccd"}, kNoImgFileMessage}};
  for (const auto& [names, message] : rows)
    for (const char* name : names) {
      DropDecision d = ClassifyDrop({make(name)});
      EXPECT_EQ(std::tie(d.action, d.path, d.moreThanOne, d.message),
                std::make_tuple(message.empty() ? DropAction::Accept : DropAction::Refuse,
                                message.empty() ? dir / name : "", false, message))
          << name;
    }
  std::string img = make("game.img");
  DropDecision d = ClassifyDrop({dir / "game.ccd"});
  EXPECT_EQ(std::tie(d.action, d.path), std::make_tuple(DropAction::Accept, img));

  // Several files: one warning, then the first file as usual (which may be refused).
  d = ClassifyDrop({make("x.nrg"), make("b.iso"), make("c.iso")});
  EXPECT_EQ(std::tie(d.moreThanOne, d.message), std::make_tuple(true, kUnsupportedFormatMessage));
  // A vanished file, or nothing at all: silence.
  d = ClassifyDrop({dir / "gone.iso"});
  EXPECT_EQ(std::tie(d.action, d.message), std::make_tuple(DropAction::Ignore, ""));
  EXPECT_EQ(ClassifyDrop({}).action, DropAction::Ignore);
}

// Finding the other discs of a game beside the one the user chose, and reading playlists.
bool Images(const std::string& path) {
  const std::string ext = Extension4(path);
  return ext == ".CUE" || ext == ".BIN" || ext == ".ISO" || ext == ".CHD";
}

// "number:file" of each disc, then "-number" of each missing one.
std::vector<std::string> Names(const DiscSet& set) {
  std::vector<std::string> names;
  for (const SetMember& m : set.discs)
    names.push_back(std::to_string(m.number) + ":" + FileNameOf(m.path));
  for (int n : set.missing) names.push_back("-" + std::to_string(n));
  return names;
}

TEST(DiscNumbers, AreReadFromTheNameAndTakenOutOfTheTitle) {
  // The word alone is not a number; nor is 0, 12, a letter or an open bracket.
  // clang-format off
  for (const auto& [name, number] : std::vector<std::pair<std::string, int>>{
           {"Final Fantasy VII (USA) (Disc 2)", 2}, {"metal gear solid (disc 1).cue", 1},
           {"Game (Disc 3) (Track 02)", 3}, {"Disc Jockey (USA)", 0}, {"Game (Disc 0)", 0},
           {"Game (Disc 12)", 0}, {"Game (Disc A)", 0}, {"Game (Disc 4", 0}})
    EXPECT_EQ(DiscNumberOf(name), number) << name;
  for (const auto& [name, title] : std::vector<std::pair<std::string, std::string>>{
           {"Final Fantasy VII (Disc 1)", "Final Fantasy VII"},
           {"Parasite Eve (USA) (Disc 2)", "Parasite Eve (USA)"},
           {"Xenogears (Disc 2) (USA)", "Xenogears (USA)"},
           {"Xenogears (Disc 2)(v1.1)", "Xenogears (v1.1)"}, {"Crash", "Crash"}})
    EXPECT_EQ(WithoutDiscNumber(name), title);
  // clang-format on
}

TEST(DiscSetBeside, HoldsTheSameNameWithEveryDiscNumberOnceInOrder) {
  TempDir dir;
  for (const char* name :
       {"Game (USA) (Disc 1).cue", "Game (USA) (Disc 1).bin", "Game (USA) (Disc 2).bin",
        "game (usa) (DISC 3).CUE", "Game (USA) (Disc 3).bin", "Game (USA) (Disc 3).sub",
        "Game (USA) (Disc 4) (Track 2).bin", "Game (Europe) (Disc 2).cue",
        "Game (USA) (Disc 5).txt", "Other (USA) (Disc 2).cue"})
    WriteFileText(dir / name, "x");
  dir.MakeDir("Game (USA) (Disc 5).cue");  // a folder is no disc

  DiscSet set = FindDiscSet(dir / "Game (USA) (Disc 1).cue", Images);
  // A sheet beside a sheet; disc 2 has only its BIN; case does not matter; the Track file,
  // the other region, the text file and the folder are not discs of this set.
  EXPECT_EQ(Names(set),
            (std::vector<std::string>{"1:Game (USA) (Disc 1).cue", "2:Game (USA) (Disc 2).bin",
                                      "3:game (usa) (DISC 3).CUE"}));
  EXPECT_EQ(set.discs[0].path, dir / "Game (USA) (Disc 1).cue");

  // Chosen from disc 2's BIN, that file stands for disc 2; the others prefer BINs too.
  set = FindDiscSet(dir / "Game (USA) (Disc 2).bin", Images);
  EXPECT_EQ(Names(set),
            (std::vector<std::string>{"1:Game (USA) (Disc 1).bin", "2:Game (USA) (Disc 2).bin",
                                      "3:Game (USA) (Disc 3).bin"}));

  // A gap is reported; the discs found still make the set.
  TempDir gap;
  for (const char* name : {"RPG (Disc 1).iso", "RPG (Disc 3).iso", "RPG (Disc 4).iso"})
    WriteFileText(gap / name, "x");
  set = FindDiscSet(gap / "RPG (Disc 3).iso", Images);
  EXPECT_EQ(Names(set), (std::vector<std::string>{"1:RPG (Disc 1).iso", "3:RPG (Disc 3).iso",
                                                  "4:RPG (Disc 4).iso", "-2"}));

  // Without a disc number a file is a set of itself.
  WriteFileText(dir / "Solo.iso", "x");
  set = FindDiscSet(dir / "Solo.iso", Images);
  EXPECT_EQ(Names(set), std::vector<std::string>{"0:Solo.iso"});
}

TEST(Playlists, NameTheDiscsInOrderFromThePlaylistsFolder) {
  EXPECT_EQ(ParseM3u("\xEF\xBB\xBF# a set\r\nGame (Disc 1).cue\r\n\r\n  Game (Disc 2).cue  \n#x\n"
                     "sub/Game (Disc 3).chd"),
            (std::vector<std::string>{"Game (Disc 1).cue", "Game (Disc 2).cue",
                                      "sub/Game (Disc 3).chd"}));
  EXPECT_TRUE(ParseM3u("").empty());

  TempDir dir;
  WriteFileText(dir / "Game (Disc 1).cue", "x");
  dir.MakeDir("sub");
  WriteFileText(dir / "sub/Game (Disc 2).cue", "x");
  WriteFileText(dir / "elsewhere.iso", "x");
  WriteFileText(dir / "set.m3u",
                "Game (Disc 1).cue\nsub/Game (Disc 2).cue\n" + (dir / "elsewhere.iso") + "\n");
  PlaylistDiscs discs = ReadM3u(dir / "set.m3u");
  EXPECT_EQ(std::tie(discs.error, discs.paths),
            std::make_tuple("", std::vector<std::string>{dir / "Game (Disc 1).cue",
                                                         dir / "sub/Game (Disc 2).cue",
                                                         dir / "elsewhere.iso"}));

  // Each refused playlist: its name, its text (none: no file) and the message after its path.
  // clang-format off
  const std::tuple<std::string, std::optional<std::string>, std::string> refused[] = {
      {"gone.m3u", "Game (Disc 1).cue\nGame (Disc 2).cue\n", " names Game (Disc 2).cue, which does not exist"},
      {"six.m3u", "a\nb\nc\nd\ne\nf\n", " names 6 discs; a package holds at most 5"},
      {"empty.m3u", "", " names no disc"},
      // A playlist names disc images: not itself, not another playlist.
      {"self.m3u", "Game (Disc 1).cue\n./self.m3u\n", " names ./self.m3u: itself, not a disc"},
      {"outer.m3u", "Game (Disc 1).cue\nset.m3u\n", " names set.m3u, another playlist: a playlist names disc images"},
      {"none.m3u", std::nullopt, ""},
      {"huge.m3u", std::string(100000, 'a'), ""}};  // unreadable: "Cannot read the playlist"
  // clang-format on
  for (const auto& [name, text, message] : refused) {
    if (text) WriteFileText(dir / name, *text);
    discs = ReadM3u(dir / name);
    EXPECT_EQ(std::tie(discs.error, discs.paths),
              std::make_tuple(message.empty() ? "Cannot read the playlist " + (dir / name)
                                              : "The playlist " + (dir / name) + message,
                              std::vector<std::string>{}));
  }
}

}  // namespace
}  // namespace ebf::test
