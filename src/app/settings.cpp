#include "app/settings.h"

#include <array>

#include "app/theme.h"
#include "common/ansi.h"
#include "common/file_io.h"
#include "common/files.h"
#include "common/pattern.h"
#include "common/text.h"

namespace ebf {
namespace {

enum Key {
  kLastUsedImage,
  kDefaultImagePath,
  kDefaultOutputDir,
  kDefaultOutDirOpt,
  kDefaultCustDir,
  kUseSourceDirAsCust,
  kCompressLevel,
  kShowCust,
  kAutoTransfer,
  kHideNameTags,
  kDefGameId,
  kImgResMode,
  kImgResCentre,
  kEbootTocExtract,
  kAddIsoPadding,
  kPreviewDelay,
  kTheme,
  kResourceRoot,
  kResourceTemplate,
  kThumbnailsRoot,
  kNameTemplate,
  kKeyCount
};

// Compared in this order against the line lower-cased with its blanks removed.
constexpr std::array<const char*, kKeyCount> kPrefixes = {
    "lastusedimage=",  "defaultimagepath=",   "defaultoutputdir=", "defaultoutdiropt=",
    "defaultcustdir=", "usesourcedirascust=", "compresslevel=",    "showcust=",
    "autotransfer=",   "hidenametags=",       "defgameid=",        "imgresmode=",
    "imgrescentre=",   "eboot_toc_extract=",  "addisopadding=",    "previewdelay=",
    "theme=",          "resourceroot=",       "resourcetemplate=", "thumbnailsroot=",
    "nametemplate="};

bool OneChar(const std::string& v) {
  return CharCount(v) == 1;
}

// A flag and a one-digit number are taken only from a value of one character.
bool TakeFlag(bool& flag, const std::string& value) {
  if (!OneChar(value)) return false;
  flag = Val(value) != 0;
  return true;
}

bool TakeDigit(int& number, const std::string& value) {
  if (!OneChar(value)) return false;
  number = ValInt(value);
  return true;
}

}  // namespace

bool TakeSettingValue(Settings& s, int key, const std::string& value,
                      const ProgramFolders& folders) {
  switch (key) {
    case kDefaultImagePath:
      if (!IsDirectory(value)) return false;
      s.defaultImagePath = value;
      return true;
    case kDefaultOutputDir:
      if (!IsDirectory(value)) return false;
      s.defaultOutputDir = value;
      return true;
    case kDefaultCustDir:
      if (!IsDirectory(value)) return false;
      s.defaultCustDir = value;
      return true;
    case kDefaultOutDirOpt: {
      const int v = ValInt(value);
      s.defaultOutDirOpt = (v < 0 || v > 3) ? 0 : v;
      return v == s.defaultOutDirOpt;
    }
    case kUseSourceDirAsCust:
      return TakeFlag(s.useSourceDirAsCust, value);
    case kShowCust:
      return TakeFlag(s.showCust, value);
    case kHideNameTags:
      return TakeFlag(s.hideNameTags, value);
    case kImgResCentre:
      return TakeFlag(s.imgResCentre, value);
    case kAddIsoPadding:
      return TakeFlag(s.addIsoPadding, value);
    case kCompressLevel:
      if (!OneChar(value)) return false;
      s.compressLevel = std::to_string(ValInt(value));
      return true;
    case kAutoTransfer:
      return TakeDigit(s.autoTransfer, value);
    case kImgResMode:
      return TakeDigit(s.imgResMode, value);
    case kEbootTocExtract:
      return TakeDigit(s.ebootTocExtract, value);
    case kDefGameId:
      if (value.size() != 9 || !Matches(value, "????#####")) return false;
      s.defGameId = value;
      return true;
    case kPreviewDelay:
      s.previewDelay = ValInt(value);
      return true;
    case kResourceRoot:
      if (!IsDirectory(value)) return false;
      s.resourceRoot = value;
      return true;
    case kThumbnailsRoot:
      if (!IsDirectory(value)) return false;
      s.thumbnailsRoot = value;
      return true;
    case kResourceTemplate:
      if (value.empty()) return false;
      s.resourceTemplate = value;
      return true;
    case kNameTemplate:
      s.nameTemplate = value;
      return true;
    case kTheme:
      if (value.empty() || !FileExists(ThemeFilePath(folders, value))) return false;
      s.theme = value;
      return true;
    default:
      return false;
  }
}

int SettingsKeyOfLine(std::string_view line) {
  const std::string key = ToLowerAscii(RemoveBlanks(line));
  for (int k = 0; k < kKeyCount; ++k)
    if (key.rfind(kPrefixes[k], 0) == 0) return k;
  return -1;
}

SettingsFileContents ParseSettings(std::string_view text, const ProgramFolders& folders,
                                   const Settings& base) {
  SettingsFileContents out;
  out.settings = base;
  for (const std::string& line : SplitLines(text)) {
    const int which = SettingsKeyOfLine(line);
    if (which < 0) continue;
    const std::string value = Trim(line.substr(line.find('=') + 1));
    if (which == kLastUsedImage)
      out.lastUsedImage = value;
    else
      TakeSettingValue(out.settings, which, value, folders);
  }
  return out;
}

std::string FormatSettings(const Settings& s, const std::string& lastUsedImage) {
  const auto flag = [](bool b) { return std::string(b ? "1" : "0"); };
  const std::vector<std::string> lines = {
      ";erm, the last file used",
      "LastUsedImage = " + lastUsedImage,
      "",
      ";the default path, which is shown when you click",
      ";the Browse button for the PSX Image File",
      ";leave this blank to use the above option",
      "DefaultImagePath = " + s.defaultImagePath,
      "",
      ";the default output path",
      "DefaultOutputDir = " + s.defaultOutputDir,
      "",
      ";the default folder creation action taken for the",
      ";output folder after an input file is selected",
      ";0 = do nothing",
      ";1 = use original Image file name",
      ";2 = use Game Title",
      ";3 = use Game ID",
      "DefaultOutDirOpt = " + std::to_string(s.defaultOutDirOpt),
      "",
      ";the default PNG/PMF/AT3 path",
      "DefaultCustDir = " + s.defaultCustDir,
      "",
      ";1 = use the source directory (where ISO is)",
      ";    and auto-load ICON0.PNG etc from there",
      "UseSourceDirAsCust = " + flag(s.useSourceDirAsCust),
      "",
      ";last used compression level",
      "CompressLevel = " + s.compressLevel,
      "",
      ";1 = Customisation shown",
      ";0 = Customisation hidden",
      "ShowCust = " + flag(s.showCust),
      "",
      ";0 = disable prompt to transfer files to the PSP",
      ";    after conversion",
      ";1 = transfer using Game Title",
      ";2 = transfer using Game ID",
      "AutoTransfer = " + std::to_string(s.autoTransfer),
      "",
      ";Shows/hides the [NTSC-*] and [PAL-*] tags in",
      ";Game Titles",
      "HideNameTags = " + flag(s.hideNameTags),
      "",
      ";default Game ID to use if none is found in",
      ";the PSX Image or EBOOT",
      "DefGameID = " + s.defGameId,
      "",
      ";Resize mode when converting images",
      ";0 = No resizing (crop",
      ";1 = Zoomed resize (fits one dimension, other",
      ";    is cropped)",
      ";2 = Stretch image (ignores aspect ratio)",
      ";3 = Fits the image - aspect ratio maintained",
      "; (Note, resizing may upscale the resolution)",
      "ImgResMode = " + std::to_string(s.imgResMode),
      "",
      ";Causes the image to be centred - will also give a",
      ";black background :/",
      "ImgResCentre = " + flag(s.imgResCentre),
      "",
      ";0 = don't extract TOC from EBOOT",
      ";1 = extract TOC as TOC file",
      ";2 = extract TOC and convert to CCD",
      ";NOTE: for batch conversions, the TOC will be lost",
      ";if not set to 2",
      "EBOOT_TOC_Extract = " + std::to_string(s.ebootTocExtract),
      "",
      ";Convert ISOs to BINs (add RAW padding)",
      "AddISOPadding = " + flag(s.addIsoPadding),
      "",
      ";The time (in miliseconds) between transitions in",
      ";the Preview window",
      "PreviewDelay = " + std::to_string(s.previewDelay),
      "",
      ";The current theme",
      "Theme = " + s.theme,
      "",
      ";folder of pictures for every game: one folder per",
      ";game, found by ResourceTemplate",
      "ResourceRoot = " + s.resourceRoot,
      "",
      ";where a game's pictures lie under ResourceRoot,",
      ";tried in order, separated by ;",
      ";%GAMEID% (SLUS-00594 and SLUS00594 both tried),",
      ";%TITLE%, %FILENAME%, %REGION%, %RESOURCE% (ICON0,",
      ";ICON1, PIC0, PIC1, SND0, BOOT), %EXT% (png, jpg ...)",
      "ResourceTemplate = " + s.resourceTemplate,
      "",
      ";RetroArch thumbnails folder (Named_Boxarts for",
      ";ICON0, Named_Titles and Named_Snaps for PIC1)",
      "ThumbnailsRoot = " + s.thumbnailsRoot,
      "",
      ";name of the output folder; blank = DefaultOutDirOpt",
      ";%GAMEID%, %TITLE%, %FILENAME%, %REGION%",
      "NameTemplate = " + s.nameTemplate,
      "",
  };
  std::string text;
  for (const auto& line : lines) text += line + "\r\n";
  return text;
}

std::vector<std::pair<std::string, std::string>> SettingsAsPairs(const Settings& s) {
  std::vector<std::pair<std::string, std::string>> pairs;
  for (const std::string& line : SplitLines(FormatSettings(s, ""))) {
    if (line.empty() || line[0] == ';') continue;
    auto eq = line.find(" = ");
    std::string key = line.substr(0, eq);
    if (key == "LastUsedImage") continue;
    pairs.emplace_back(key, eq == std::string::npos ? "" : line.substr(eq + 3));
  }
  return pairs;
}

static std::optional<std::string> ReadText(const std::string& path) {
  File f(path, File::Mode::Read);
  if (!f) return std::nullopt;
  uint64_t size = f.Size();
  if (size > (16u << 20)) return std::nullopt;  // not a settings file
  std::vector<uint8_t> bytes(static_cast<std::size_t>(size));
  if (!f.ReadExact(bytes)) return std::nullopt;
  return TextFileToUtf8(
      std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

SettingsFileContents LoadSettingsFile(const std::string& path, const ProgramFolders& folders,
                                      const Settings& base) {
  auto text = ReadText(path);
  if (!text) return SettingsFileContents{base, std::nullopt};
  return ParseSettings(*text, folders, base);
}

std::string SaveSettingsFile(const std::string& path, const Settings& settings,
                             const std::string& lastUsedImage) {
  std::string text = FormatSettings(settings, lastUsedImage);
  std::string ansi = Utf8ToAnsi(text);
  if (AnsiToUtf8(ansi) != text) ansi = text;  // a character the code page lacks: keep UTF-8
  if (const std::string folder = FolderOf(path); !folder.empty() && !IsDirectory(folder))
    MakeFolders(folder);
  File f(path, File::Mode::Write);
  if (!f || !f.Write(ansi) || !f.Close())
    return "The settings file could not be written: " + path + " (" + f.LastError() + ")";
  return "";
}

std::string ReadLastUsedImage(const std::string& path) {
  auto text = ReadText(path);
  if (!text) return "";
  return ParseSettings(*text, "").lastUsedImage.value_or("");
}

}  // namespace ebf
