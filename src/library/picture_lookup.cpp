#include "library/picture_lookup.h"

#include <algorithm>

#include "common/files.h"
#include "common/text.h"

namespace ebf {
namespace {

// What a slot's file is called in the user's folders (%RESOURCE%) and the extensions it
// may have (%EXT%), most likely first. The picture slots take what the slot converts.
struct SlotNames {
  std::vector<std::string> resources;
  std::vector<std::string> extensions;
};

const SlotNames& NamesOf(int slot) {
  static const std::vector<std::string> kPictures = {"png", "jpg", "jpeg", "bmp", "gif", "ico"};
  static const std::array<SlotNames, kSlotCount> kNames = {{
      {{"ICON0"}, kPictures},
      {{"ICON1"}, {"pmf"}},
      {{"PIC0"}, {"png"}},
      {{"PIC1"}, kPictures},
      {{"SND0"}, {"at3"}},
      {{"BOOT", "GAMEBOOT"}, kPictures},
  }};
  return kNames.at(static_cast<std::size_t>(slot));
}

void AddOnce(std::vector<std::string>& list, const std::string& value) {
  if (!value.empty() && std::find(list.begin(), list.end(), value) == list.end())
    list.push_back(value);
}

bool HasSeparator(const std::string& text) {
  return text.find_first_of("/\\") != std::string::npos;
}

std::vector<std::string> SplitTemplates(const std::string& text) {
  std::vector<std::string> out;
  std::size_t pos = 0;
  while (pos <= text.size()) {
    const std::size_t semi = std::min(text.find(';', pos), text.size());
    AddOnce(out, Trim(text.substr(pos, semi - pos)));
    pos = semi + 1;
  }
  return out;
}

}  // namespace

const char* SlotSourceCaption(SlotSource source) {
  switch (source) {
    case SlotSource::CustomFolder:
      return "from custom folder";
    case SlotSource::ResourceFolder:
      return "from resource folder";
    case SlotSource::Thumbnails:
      return "from thumbnails";
    default:
      return "";
  }
}

PictureFolders PictureFoldersOf(const Settings& settings) {
  return {settings.resourceRoot, settings.resourceTemplate, settings.thumbnailsRoot};
}

PictureFinder::PictureFinder(PictureFolders folders)
    : folders_(std::move(folders)), templates_(SplitTemplates(folders_.resourceTemplate)) {
  if (!folders_.thumbnailsRoot.empty() && IsDirectory(folders_.thumbnailsRoot)) {
    // The thumbnails folder, or the set inside it.
    thumbnailSet_ = cache_.Index(folders_.thumbnailsRoot).Find(kThumbnailSet, true);
    if (thumbnailSet_.empty()) thumbnailSet_ = folders_.thumbnailsRoot;
  }
}

std::vector<std::string> PictureFinder::ThumbnailNames(const GameNames& game) {
  std::vector<std::string> names;
  const std::string stem = game.image.empty() ? std::string() : ImageStem(game.image);
  const std::string fileName = game.image.empty() ? std::string() : FileNameToken(game.image);
  for (const std::string& name : {stem, fileName, game.title}) AddOnce(names, ThumbnailName(name));
  for (const std::string& name : {stem, game.title})
    AddOnce(names, ThumbnailName(CutAtFirstBracket(name)));
  return names;
}

std::string PictureFinder::FromResourceRoot(int slot, const GameNames& game) {
  if (folders_.resourceRoot.empty()) return "";
  std::vector<std::string> ids, titles;
  for (const std::string& id : game.gameIds)
    for (const std::string& form : GameIdForms(id)) AddOnce(ids, form);
  // A folder named after a title may have kept characters a FAT volume cannot hold.
  if (!HasSeparator(game.title)) AddOnce(titles, game.title);
  AddOnce(titles, FatSafeName(game.title));
  std::vector<std::string> fileNames;
  if (!game.image.empty()) AddOnce(fileNames, FileNameToken(game.image));
  std::vector<std::string> regions;
  AddOnce(regions, game.region);
  const SlotNames& names = NamesOf(slot);
  const TokenValues values = {{"GAMEID", ids},
                              {"TITLE", titles},
                              {"FILENAME", fileNames},
                              {"REGION", regions},
                              {"RESOURCE", names.resources},
                              {"EXT", names.extensions}};
  for (const std::string& pattern : templates_)
    for (const std::string& relative : ExpandTemplate(pattern, values))
      if (std::string found = cache_.Resolve(folders_.resourceRoot, relative); !found.empty())
        return found;
  return "";
}

std::string PictureFinder::BesideImage(int slot, const GameNames& game) {
  if (game.image.empty()) return "";
  std::vector<std::string> stems;
  AddOnce(stems, ImageStem(game.image));
  AddOnce(stems, FileNameToken(game.image));
  const FolderIndex& folder = cache_.Index(FolderOf(AbsolutePath(game.image)));
  const SlotNames& names = NamesOf(slot);
  for (const std::string& stem : stems)
    for (const std::string& resource : names.resources)
      for (const std::string& ext : names.extensions)
        if (std::string found = folder.Find(stem + "." + ToLowerAscii(resource) + "." + ext);
            !found.empty())
          return found;
  return "";
}

std::string PictureFinder::FromThumbnails(int slot, const GameNames& game) {
  if (thumbnailSet_.empty()) return "";
  std::vector<const char*> kinds;
  if (slot == kSlotIcon0) kinds = {"Named_Boxarts"};
  if (slot == kSlotPic1) kinds = {"Named_Titles", "Named_Snaps"};
  if (kinds.empty()) return "";
  for (const std::string& name : ThumbnailNames(game))
    for (const char* kind : kinds)
      if (std::string found =
              cache_.Resolve(thumbnailSet_, std::string(kind) + "/" + name + ".png");
          !found.empty())
        return found;
  return "";
}

std::array<FoundPicture, kSlotCount> PictureFinder::Find(const GameNames& game) {
  std::array<FoundPicture, kSlotCount> found{};
  for (int slot = 0; slot < kSlotCount; ++slot) {
    FoundPicture& f = found[slot];
    f.path = FromResourceRoot(slot, game);
    if (f.path.empty()) f.path = BesideImage(slot, game);
    if (!f.path.empty()) {
      f.source = SlotSource::ResourceFolder;
      continue;
    }
    f.path = FromThumbnails(slot, game);
    if (!f.path.empty()) f.source = SlotSource::Thumbnails;
  }
  return found;
}

void FillFoundSlots(const std::array<FoundPicture, kSlotCount>& found,
                    std::array<std::string, kSlotCount>& texts,
                    std::array<SlotSource, kSlotCount>& sources,
                    const std::array<bool, kSlotCount>& ticked) {
  for (int i = 0; i < kSlotCount; ++i) {
    if (!ticked[i] || !Trim(texts[i]).empty() || found[i].path.empty()) continue;
    texts[i] = found[i].path;
    sources[i] = found[i].source;
  }
}

}  // namespace ebf
