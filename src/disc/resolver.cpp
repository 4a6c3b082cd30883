#include "disc/resolver.h"

#include <array>
#include <string_view>

#include "common/files.h"
#include "common/text.h"
#include "disc/classify.h"
#include "disc/cue_sheet.h"
#include "disc/disc_file.h"
#include "disc/disc_image.h"
#include "disc/disc_set.h"
#include "disc/game_db.h"
#include "disc/game_id.h"

namespace ebf {
namespace {

// The path less its last four characters (an extension such as ".bin").
std::string LessLastFour(const std::string& text) {
  std::size_t n = CharCount(text);
  return n >= 4 ? LeftChars(text, n - 4) : std::string();
}

bool IsScannedImage(const std::string& ext) {
  constexpr std::array<std::string_view, 7> kImages = {".CUE", ".ISO", ".BIN", ".IMG",
                                                       ".MDF", ".CHD", ".ECM"};
  for (auto e : kImages)
    if (ext == e) return true;
  return false;
}

// The data file's folder without its trailing separator (a root folder keeps it).
std::string FolderWithoutSep(const std::string& file) {
  std::string folder = FolderOf(file);
  if (folder.size() > 1 && IsSeparator(folder.back())) {
    std::string trimmed = folder.substr(0, folder.size() - 1);
    if (!trimmed.empty() && !(trimmed.size() == 2 && trimmed[1] == ':')) return trimmed;
  }
  return folder;
}

std::string OutputFolder(const ResolvedInput& r, const ResolveContext& settings,
                         bool discSet = false) {
  std::string base =
      settings.defaultOutputDir.empty() ? FolderWithoutSep(r.dataFile) : settings.defaultOutputDir;
  int opt = settings.defaultOutDirOpt;
  if (opt > 0 && !base.empty() && !IsSeparator(base.back())) base += kSep;
  switch (opt) {
    case 1: {
      std::string name = FileNameOf(r.dataFile);
      name = name.substr(0, name.find('.'));
      return base + (discSet ? WithoutDiscNumber(name) : name);
    }
    case 2:
      return base + r.title;
    case 3:
      return base + r.gameId;
    default:
      return base;
  }
}

}  // namespace

std::string DetectInputGameId(const std::string& input, const std::string& dataFile) {
  // Through the disc, so that the ID is found in whatever form the sectors are kept; a
  // disc that cannot be opened is read as its data file is.
  DiscOpenResult opened = OpenDiscImage(input);
  if (!opened.disc) return DetectGameId(dataFile);
  return DetectGameId(*DiscBytes(*opened.disc));
}

ResolvedInput ResolveInput(const std::string& chosen, const ResolveContext& context,
                           Questions& questions) {
  ResolvedInput r;
  r.gameId = context.currentGameId;
  r.region = context.currentRegion;
  r.outputFolder = context.currentOutput;
  r.saveName = context.currentSaveName;

  std::string path = chosen;
  if (std::string refused = NotAFileMessage(path); !refused.empty()) {
    r.message = refused;
    return r;
  }
  std::string ext = Extension4(path);
  if (ext == ".CCD") {
    path = CcdImagePath(path);
  } else if (ext == ".BIN") {
    std::string cue = ResolveCaseBlind(LessLastFour(path) + ".cue");
    if (FileSize(cue) && questions.AskYesNo(kBinHasCueQuestion, false)) path = cue;
  }
  ext = Extension4(path);

  r.input = path;
  r.dataFile = path;
  r.title = LessLastFour(FileNameOf(path));
  // game.bin.ecm is named after the file it was made from.
  if (ext == ".ECM" && IsScannedImage(Extension4(r.title))) r.title = LessLastFour(r.title);
  r.saveName = r.title;

  if (ext == ".CUE") {
    auto data = FindCueDataFile(path);
    if (!data) {
      r.message = CueInvalidMessage(path);
      return r;
    }
    r.dataFile = *data;
    if (std::string refused = NotAFileMessage(r.dataFile); !refused.empty()) {
      r.message = refused;
      return r;
    }
  }

  if (IsScannedImage(ext)) {
    r.gameId.clear();
    // A CHD is scanned whatever its size: a small disc packs into fewer bytes than it holds.
    auto size =
        ext == ".CHD" ? std::optional<uint64_t>(kMinScannedImageSize) : DiscFileSize(r.dataFile);
    if (size && *size >= kMinScannedImageSize) {
      std::string id = DetectInputGameId(path, r.dataFile);
      if (id.empty()) id = context.defGameId;
      if (!id.empty()) {
        auto entry = LookupGame(GameDbPath(context.programFolder), id, context.hideNameTags);
        if (entry) {
          r.region = entry->region;
          if (!entry->title.empty()) r.title = entry->title;
          r.saveName = entry->saveName.empty() ? r.title : entry->saveName;
        }
        r.gameId = id;
        r.assetPasses.push_back({id, false});
        if (entry && !entry->packageId.empty()) {
          r.gameId = entry->packageId;
          r.assetPasses.push_back({entry->packageId, true});
        }
      }
    }
    if (r.gameId.empty()) r.assetPasses.push_back({std::string(), false});
  }

  r.outputFolder = OutputFolder(r, context);
  r.runInspection = true;
  return r;
}

void TakeAsDiscSet(ResolvedInput& r, const ResolveContext& context) {
  if (!r.message.empty()) return;
  r.title = WithoutDiscNumber(r.title);
  r.outputFolder = OutputFolder(r, context, true);
}

}  // namespace ebf
