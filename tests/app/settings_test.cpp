#include <gtest/gtest.h>

#include <filesystem>

#include "app/settings.h"
#include "app/startup.h"
#include "common/files.h"
#include "support/messages.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using test::TempDir;

TEST(SettingsReader, EveryRule) {
  TempDir prog;
  prog.MakeDir("Themes/Dark");
  prog.MakeDir("Themes/Bare");
  test::WriteFileText(prog / "Themes/Dark/style.ini", "");
  Settings base;
  base.compressLevel = "5";

  auto parse = [&](const std::string& text) { return ParseSettings(text, prog.folder(), base); };

  EXPECT_EQ(parse("Default Output Dir = " + prog.path()).settings.defaultOutputDir, prog.path());
  EXPECT_TRUE(parse("ShowCust = 2").settings.showCust);
  EXPECT_FALSE(parse("ShowCust = 10").settings.showCust);
  EXPECT_FALSE(parse("ShowCust = 0").settings.showCust);
  EXPECT_FALSE(parse("showcust=x").settings.showCust);  // Val("x") is 0
  EXPECT_TRUE(parse("  H i d e N a m e T a g s=1").settings.hideNameTags);
  EXPECT_EQ(parse("DefaultOutDirOpt = 3").settings.defaultOutDirOpt, 3);
  EXPECT_EQ(parse("DefaultOutDirOpt = -1").settings.defaultOutDirOpt, 0);
  EXPECT_EQ(parse("DefaultOutDirOpt = 4").settings.defaultOutDirOpt, 0);
  EXPECT_EQ(parse("CompressLevel = 7").settings.compressLevel, "7");
  EXPECT_EQ(parse("CompressLevel = 10").settings.compressLevel, "5");  // two characters
  EXPECT_EQ(parse("AutoTransfer = 9").settings.autoTransfer, 9);       // not range-checked
  EXPECT_EQ(parse("AutoTransfer = 12").settings.autoTransfer, 0);
  EXPECT_EQ(parse("EBOOT_TOC_Extract = 2").settings.ebootTocExtract, 2);
  EXPECT_EQ(parse("ImgResMode = 3").settings.imgResMode, 3);
  EXPECT_EQ(parse("PreviewDelay = 1500").settings.previewDelay, 1500);
  EXPECT_EQ(parse("Theme = Dark").settings.theme, "Dark");
  EXPECT_EQ(parse("Theme = Bare").settings.theme, "Default");  // no style.ini
  EXPECT_EQ(parse("Theme = Missing").settings.theme, "Default");
  EXPECT_EQ(parse("DefaultImagePath = /no/such/folder").settings.defaultImagePath, "");
  EXPECT_EQ(parse("DefGameID = SCUS9447").settings.defGameId, "");
  EXPECT_EQ(parse("DefGameID = SCUS-94476\r\nDefGameID = SCUS94476").settings.defGameId,
            "SCUS94476");
  EXPECT_EQ(parse(";ShowCust = 1\r\nUnknown = 1\r\n\r\n").settings, base);

  // A later line for a key wins; the value keeps its case and loses its blanks at the ends.
  auto both = parse("LastUsedImage = /a/One.bin\nlastusedimage=  /b/Two Words.BIN  ");
  EXPECT_EQ(both.lastUsedImage.value_or(""), "/b/Two Words.BIN");
  // A value may itself hold "=".
  EXPECT_EQ(parse("LastUsedImage = /x/a=b.iso").lastUsedImage.value_or(""), "/x/a=b.iso");
  EXPECT_FALSE(parse("").lastUsedImage.has_value());
}

TEST(SettingsWriter, ExactBytes) {
  Settings s;
  s.defaultImagePath = "/img";
  s.defaultOutputDir = "/out";
  s.defaultOutDirOpt = 2;
  s.compressLevel = "9";
  s.showCust = true;
  s.autoTransfer = 1;
  s.defGameId = "SLUS00594";
  s.ebootTocExtract = 2;
  s.previewDelay = 250;
  s.resourceRoot = "/res";
  s.nameTemplate = "%GAMEID%";
  const std::string expected =
      ";erm, the last file used\r\nLastUsedImage = /in/game.cue\r\n\r\n"
      ";the default path, which is shown when you click\r\n"
      ";the Browse button for the PSX Image File\r\n"
      ";leave this blank to use the above option\r\nDefaultImagePath = /img\r\n\r\n"
      ";the default output path\r\nDefaultOutputDir = /out\r\n\r\n"
      ";the default folder creation action taken for the\r\n"
      ";output folder after an input file is selected\r\n"
      ";0 = do nothing\r\n;1 = use original Image file name\r\n;2 = use Game Title\r\n"
      ";3 = use Game ID\r\nDefaultOutDirOpt = 2\r\n\r\n"
      ";the default PNG/PMF/AT3 path\r\nDefaultCustDir = \r\n\r\n"
      ";1 = use the source directory (where ISO is)\r\n"
      ";    and auto-load ICON0.PNG etc from there\r\nUseSourceDirAsCust = 0\r\n\r\n"
      ";last used compression level\r\nCompressLevel = 9\r\n\r\n"
      ";1 = Customisation shown\r\n;0 = Customisation hidden\r\nShowCust = 1\r\n\r\n"
      ";0 = disable prompt to transfer files to the PSP\r\n;    after conversion\r\n"
      ";1 = transfer using Game Title\r\n;2 = transfer using Game ID\r\nAutoTransfer = 1\r\n\r\n"
      ";Shows/hides the [NTSC-*] and [PAL-*] tags in\r\n;Game Titles\r\nHideNameTags = 0\r\n\r\n"
      ";default Game ID to use if none is found in\r\n;the PSX Image or EBOOT\r\n"
      "DefGameID = SLUS00594\r\n\r\n"
      ";Resize mode when converting images\r\n;0 = No resizing (crop\r\n"
      ";1 = Zoomed resize (fits one dimension, other\r\n;    is cropped)\r\n"
      ";2 = Stretch image (ignores aspect ratio)\r\n"
      ";3 = Fits the image - aspect ratio maintained\r\n"
      "; (Note, resizing may upscale the resolution)\r\nImgResMode = 0\r\n\r\n"
      ";Causes the image to be centred - will also give a\r\n;black background :/\r\n"
      "ImgResCentre = 0\r\n\r\n"
      ";0 = don't extract TOC from EBOOT\r\n;1 = extract TOC as TOC file\r\n"
      ";2 = extract TOC and convert to CCD\r\n"
      ";NOTE: for batch conversions, the TOC will be lost\r\n;if not set to 2\r\n"
      "EBOOT_TOC_Extract = 2\r\n\r\n"
      ";Convert ISOs to BINs (add RAW padding)\r\nAddISOPadding = 0\r\n\r\n"
      ";The time (in miliseconds) between transitions in\r\n;the Preview window\r\n"
      "PreviewDelay = 250\r\n\r\n"
      ";The current theme\r\nTheme = Default\r\n\r\n"
      ";folder of pictures for every game: one folder per\r\n;game, found by ResourceTemplate\r\n"
      "ResourceRoot = /res\r\n\r\n"
      ";where a game's pictures lie under ResourceRoot,\r\n;tried in order, separated by ;\r\n"
      ";%GAMEID% (SLUS-00594 and SLUS00594 both tried),\r\n"
      ";%TITLE%, %FILENAME%, %REGION%, %RESOURCE% (ICON0,\r\n"
      ";ICON1, PIC0, PIC1, SND0, BOOT), %EXT% (png, jpg ...)\r\n"
      "ResourceTemplate = %GAMEID%/%RESOURCE%.%EXT%;%FILENAME%/%RESOURCE%.%EXT%\r\n\r\n"
      ";RetroArch thumbnails folder (Named_Boxarts for\r\n"
      ";ICON0, Named_Titles and Named_Snaps for PIC1)\r\nThumbnailsRoot = \r\n\r\n"
      ";name of the output folder; blank = DefaultOutDirOpt\r\n"
      ";%GAMEID%, %TITLE%, %FILENAME%, %REGION%\r\nNameTemplate = %GAMEID%\r\n\r\n";
  EXPECT_EQ(FormatSettings(s, "/in/game.cue"), expected);
}

TEST(SettingsFile, WriteThenReadReproducesEverySetting) {
  TempDir prog, img, out, cust;
  prog.MakeDir("Themes/Night");
  test::WriteFileText(prog / "Themes/Night/style.ini", "");
  Settings s;
  s.defaultImagePath = img.path();
  s.defaultOutputDir = out.path();
  s.defaultOutDirOpt = 3;
  s.defaultCustDir = cust.path();
  s.useSourceDirAsCust = true;
  s.compressLevel = "4";
  s.showCust = true;
  s.autoTransfer = 2;
  s.hideNameTags = true;
  s.defGameId = "SCES00344";
  s.imgResMode = 3;
  s.imgResCentre = true;
  s.ebootTocExtract = 1;
  s.addIsoPadding = true;
  s.previewDelay = 1200;
  s.theme = "Night";
  s.resourceRoot = img.path();
  s.resourceTemplate = "%TITLE%/%RESOURCE%.%EXT%";
  s.thumbnailsRoot = cust.path();
  s.nameTemplate = "%REGION%/%TITLE%";
  const std::string ini = prog / "ebootforge.ini";
  ASSERT_EQ(SaveSettingsFile(ini, s, "/games/Caf\xC3\xA9.cue"), "");
  // Single-byte text on disk when the code page can hold it.
  EXPECT_NE(test::ReadFileText(ini).find("Caf\xE9.cue"), std::string::npos);

  auto back = LoadSettingsFile(ini, prog.folder());
  EXPECT_EQ(back.settings, s);
  EXPECT_EQ(back.lastUsedImage.value_or(""), "/games/Caf\xC3\xA9.cue");
  EXPECT_EQ(ReadLastUsedImage(ini), "/games/Caf\xC3\xA9.cue");

  // A path the code page cannot hold survives as UTF-8.
  ASSERT_EQ(SaveSettingsFile(ini, s, "/games/\xE3\x81\x82.cue"), "");
  EXPECT_EQ(ReadLastUsedImage(ini), "/games/\xE3\x81\x82.cue");

  // A missing file keeps the defaults.
  EXPECT_EQ(LoadSettingsFile(prog / "none.ini", prog.folder()).settings, Settings{});
  // A fresh user's config folder is made on the first save; a file in its place fails.
  EXPECT_EQ(SaveSettingsFile(prog / "config/ebootforge/x.ini", s, ""), "");
  EXPECT_TRUE(FileExists(prog / "config/ebootforge/x.ini"));
  EXPECT_NE(SaveSettingsFile(ini + "/x.ini", s, ""), "");
}

TEST(Startup, ConverterAndRequiredFiles) {
  TempDir prog;
  EXPECT_EQ(CheckConverterPresent(prog.folder()), test::ConverterMissingMessage());
  EXPECT_EQ(CheckRequiredFiles(prog.folder()), test::MissingFilesMessage());
  prog.MakeDir("Data");
  prog.MakeDir("PSXCust/Default");
  test::WriteFileText(prog / "Data/tarnwick.exe", "");
  EXPECT_EQ(CheckConverterPresent(prog.folder()), "");
  for (const char* f : {"Data/BASE.PBP", "Data/DATA.PSP", "PSXCust/Default/Gameboot.png",
                        "PSXCust/Default/ICON0.PNG", "PSXCust/Default/ICON1.PMF",
                        "PSXCust/Default/PIC0.PNG", "PSXCust/Default/PIC1.PNG"})
    test::WriteFileText(prog / f, "");
  EXPECT_EQ(CheckRequiredFiles(prog.folder()),
            test::MissingFilesMessage());  // SND0.AT3 still missing
  test::WriteFileText(prog / "PSXCust/Default/SND0.AT3", "");
  EXPECT_EQ(CheckRequiredFiles(prog.folder()), "");

  // The user's files stand in for the shipped ones; the converter is where the folders say.
  ProgramFolders f;
  f.tree = prog.folder();
  f.user = prog.MakeDir("user") + "/";
  f.converter = prog / "libexec/tarnwick.exe";
  prog.MakeDir("user/Data");
  std::filesystem::rename(prog / "Data/BASE.PBP", prog / "user/Data/BASE.PBP");
  EXPECT_EQ(CheckRequiredFiles(f), "");  // BASE.PBP from the user's, DATA.PSP shipped
  std::filesystem::remove(prog / "user/Data/BASE.PBP");
  EXPECT_EQ(CheckRequiredFiles(f), test::MissingFilesMessage());  // BASE.PBP in neither tree
  // A converter in the shipped Data/ does not count when the folders put it elsewhere.
  EXPECT_EQ(CheckConverterPresent(f), test::ConverterMissingMessage());
  prog.MakeDir("libexec");
  test::WriteFileText(prog / "libexec/tarnwick.exe", "");
  EXPECT_EQ(CheckConverterPresent(f), "");

  test::WriteFileText(prog / "My Game.cue", "");
  EXPECT_EQ(CommandLineInput("\"" + (prog / "My Game.cue") + "\""), prog / "My Game.cue");
  for (const std::string& none : {prog / "missing.cue", prog.path(), std::string()})
    EXPECT_EQ(CommandLineInput(none), "") << none;
}

}  // namespace
}  // namespace ebf
