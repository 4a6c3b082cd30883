// One setting changed in a file a user edited by hand: only the key's line changes, and
// only to a value that reading takes.
#include <gtest/gtest.h>

#include <optional>

#include "app/settings.h"
#include "app/settings_edit.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using test::TempDir;

TEST(SettingsEdit, OnlyTheKeysLineChangesAndOnlyToAValueReadingTakes) {
  TempDir prog, out;
  prog.MakeDir("Themes/Dark");
  test::WriteFileText(prog / "Themes/Dark/style.ini", "");
  const std::string file =
      "; my notes\n"
      "showcust=0\n"
      "\n"
      "Default Output Dir = /old\n"
      "AddISOPadding = 1\n"
      "AddISOPadding=0\n";  // the later line is the one reading obeys
  struct Row {
    const char* key;
    std::optional<std::string> value;
    std::string text;  // the file after, or the refusal
  };
  const Row rows[] = {
      {"ShowCust", "1",
       "; my notes\nshowcust=1\n\nDefault Output Dir = /old\nAddISOPadding = 1\nAddISOPadding=0\n"},
      {"default output DIR", out.path(),
       "; my notes\nshowcust=0\n\nDefault Output Dir = " + out.path() +
           "\nAddISOPadding = 1\nAddISOPadding=0\n"},
      {"AddIsoPadding", "1",
       "; my notes\nshowcust=0\n\nDefault Output Dir = /old\nAddISOPadding = 1\nAddISOPadding=1\n"},
      {"Theme", "Dark", file + "\n;The current theme\nTheme = Dark\n\n"},
      {"AddISOPadding", std::nullopt, "; my notes\nshowcust=0\n\nDefault Output Dir = /old\n"},
      {"ShowCust", "10", "ShowCust takes 1 (on) or 0 (off), not \"10\"."},
      {"DefaultOutDirOpt", "7", "DefaultOutDirOpt takes a number from 0 to 3, not \"7\"."},
      {"CompressLevel", "x", "CompressLevel takes a number from 0 to 9, not \"x\"."},
      {"DefGameID", "SCUS-94476",
       "DefGameID takes a game ID of four characters and five digits, such as SLUS00594; "
       "\"SCUS-94476\" is not one."},
      {"DefaultImagePath", "/no/such/folder",
       "DefaultImagePath takes a folder that exists; \"/no/such/folder\" is not one."},
      {"Theme", "Missing",
       "Theme takes the name of a folder under Themes that holds a style.ini; \"Missing\" is "
       "not one."},
      {"LastUsedImage", "/a.cue",
       "There is no setting \"LastUsedImage\". The settings are: DefaultImagePath, "
       "DefaultOutputDir, DefaultOutDirOpt, DefaultCustDir, UseSourceDirAsCust, CompressLevel, "
       "ShowCust, AutoTransfer, HideNameTags, DefGameID, ImgResMode, ImgResCentre, "
       "EBOOT_TOC_Extract, AddISOPadding, PreviewDelay, Theme, ResourceRoot, ResourceTemplate, "
       "ThumbnailsRoot, NameTemplate."},
  };
  for (const Row& row : rows) {
    const SettingsEdit edit = EditSettingsText(file, row.key, row.value, prog.folder());
    EXPECT_EQ(edit.error.empty() ? edit.text : edit.error, row.text) << row.key;
  }
}

TEST(SettingsEdit, TheFileKeepsItsLineEndsAndCodePageAndReadsBack) {
  TempDir prog, games;
  const std::string ini = prog / "ebootforge.ini";
  // A missing file is started as the writer writes one.
  ASSERT_EQ(EditSettingsFile(ini, "PreviewDelay", "1500", prog.folder()).error, "");
  Settings expected;
  expected.previewDelay = 1500;
  EXPECT_EQ(test::ReadFileText(ini), FormatSettings(expected, ""));

  // CR LF and Windows-1252 ("Caf\xE9"), as an old copy of the program wrote it.
  test::WriteFileText(ini,
                      ";Caf\xE9\r\nLastUsedImage = /g/Caf\xE9.cue\r\nDefGameID = SCUS94476\r\n");
  const SettingsEdit set = EditSettingsFile(ini, "imgresmode", "3", prog.folder());
  EXPECT_TRUE(set.changed);
  EXPECT_EQ(test::ReadFileText(ini),
            ";Caf\xE9\r\nLastUsedImage = /g/Caf\xE9.cue\r\nDefGameID = SCUS94476\r\n\r\n"
            ";Resize mode when converting images\r\n;0 = No resizing (crop\r\n"
            ";1 = Zoomed resize (fits one dimension, other\r\n;    is cropped)\r\n"
            ";2 = Stretch image (ignores aspect ratio)\r\n"
            ";3 = Fits the image - aspect ratio maintained\r\n"
            "; (Note, resizing may upscale the resolution)\r\nImgResMode = 3\r\n\r\n");
  ASSERT_EQ(EditSettingsFile(ini, "DefGameID", std::nullopt, prog.folder()).error, "");
  const SettingsFileContents read = LoadSettingsFile(ini, prog.folder());
  EXPECT_EQ(read.settings.imgResMode, 3);
  EXPECT_EQ(read.settings.defGameId, "");
  EXPECT_EQ(read.lastUsedImage.value_or(""), "/g/Caf\xC3\xA9.cue");
  // A refused value leaves the file as it was.
  const std::string before = test::ReadFileText(ini);
  EXPECT_NE(EditSettingsFile(ini, "ImgResMode", "4", prog.folder()).error, "");
  EXPECT_EQ(test::ReadFileText(ini), before);
}

}  // namespace
}  // namespace ebf
