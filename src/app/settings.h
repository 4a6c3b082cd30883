#pragma once
// The settings file beside the executable: a commented key = value text that users also
// edit by hand. Parsing and formatting work on text; the file functions only move bytes.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/program_folders.h"

namespace ebf {

// The compression level used when the file names none: the converter's best level.
inline constexpr const char* kDefaultCompressLevel = "9";
// Where a game's pictures lie under the resource root, tried in order.
inline constexpr const char* kDefaultResourceTemplate =
    "%GAMEID%/%RESOURCE%.%EXT%;%FILENAME%/%RESOURCE%.%EXT%";

struct Settings {
  std::string defaultImagePath;
  std::string defaultOutputDir;
  int defaultOutDirOpt = 0;
  std::string defaultCustDir;
  bool useSourceDirAsCust = false;
  std::string compressLevel = kDefaultCompressLevel;
  bool showCust = false;
  int autoTransfer = 0;
  bool hideNameTags = false;
  std::string defGameId;
  int imgResMode = 0;
  bool imgResCentre = false;
  int ebootTocExtract = 0;
  bool addIsoPadding = false;
  long previewDelay = 0;
  std::string theme = "Default";
  // Pictures for every game from the user's own folders, and the output folder's name
  // ("" = DefaultOutDirOpt's rule).
  std::string resourceRoot;
  std::string resourceTemplate = kDefaultResourceTemplate;
  std::string thumbnailsRoot;
  std::string nameTemplate;

  bool operator==(const Settings&) const = default;
};

struct SettingsFileContents {
  Settings settings;
  // The last "LastUsedImage" line's value, when any (whether the file exists is the
  // caller's test, made at start-up).
  std::optional<std::string> lastUsedImage;
};

// The setting a line of the file sets, as reading matches it (the line lower-cased without
// its blanks, compared with each key's "name=" in turn): an index into the writer's order,
// 0 being LastUsedImage, or -1 for a comment, a blank line or an unknown key.
int SettingsKeyOfLine(std::string_view line);

// Takes `value` for the setting `key` (not LastUsedImage) into `s` as reading does. False
// when reading does not take the value as given: `s` then keeps its earlier value, except
// DefaultOutDirOpt, which reading sets to 0 when out of range.
bool TakeSettingValue(Settings& s, int key, const std::string& value,
                      const ProgramFolders& folders);

// Reads settings text over `base`. Folder values and the theme are checked against the
// file system (the theme's Themes/<name>/style.ini in either tree).
SettingsFileContents ParseSettings(std::string_view text, const ProgramFolders& folders,
                                   const Settings& base = {});

// The whole file as written, CR LF line ends, UTF-8 text.
std::string FormatSettings(const Settings& settings, const std::string& lastUsedImage);

// A missing file leaves the defaults (and `base`) standing.
SettingsFileContents LoadSettingsFile(const std::string& path, const ProgramFolders& folders,
                                      const Settings& base = {});
// Rewrites the file whole, making its folder when missing. Text that the single-byte code page can
// hold is stored in it; otherwise UTF-8, so that no path is lost. Returns "" or an error text.
std::string SaveSettingsFile(const std::string& path, const Settings& settings,
                             const std::string& lastUsedImage);

// The value of the file's "lastusedimage=" line, read so that rewriting the file from the
// options keeps it.
std::string ReadLastUsedImage(const std::string& path);

// key = value pairs in the writer's order, for display.
std::vector<std::pair<std::string, std::string>> SettingsAsPairs(const Settings& settings);

}  // namespace ebf
