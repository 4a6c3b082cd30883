#pragma once
// Where a game's pictures come from when the user named none: a per-game folder under the
// resource root (found by the resource template), files beside the image named
// "<image name>.icon0.png" and the like, then a RetroArch thumbnails folder. Every folder
// is read once per finder, so a finder kept for a whole library never reads a folder
// twice.

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "app/settings.h"
#include "assets/slots.h"
#include "library/folder_index.h"
#include "library/game_names.h"

namespace ebf {

// Where a slot's file came from.
enum class SlotSource {
  Chosen,          // what the user set, or blank for the default (or the package's own)
  CustomFolder,    // the custom-assets search (PSXCust/<ID>/, the custom folder ...)
  ResourceFolder,  // the resource root, or a file beside the image
  Thumbnails,      // the RetroArch thumbnails folder
};

// What the window shows beside a slot ("from resource folder", "from thumbnails"); "" for
// a slot the user set.
const char* SlotSourceCaption(SlotSource source);

// The RetroArch thumbnail kinds of the "Sony - PlayStation" set.
inline constexpr const char* kThumbnailSet = "Sony - PlayStation";

struct FoundPicture {
  std::string path;  // "" when nothing was found
  SlotSource source = SlotSource::Chosen;
};

struct PictureFolders {
  std::string resourceRoot;      // "" = none
  std::string resourceTemplate;  // ";"-separated templates, tried in order
  std::string thumbnailsRoot;    // the thumbnails folder or its "Sony - PlayStation" set
};

// The folders the settings name.
PictureFolders PictureFoldersOf(const Settings& settings);

class PictureFinder {
 public:
  explicit PictureFinder(PictureFolders folders);

  // The first file found for every slot, in the slots' order. Thumbnails serve ICON0
  // (Named_Boxarts) and PIC1 (Named_Titles, then Named_Snaps) only.
  std::array<FoundPicture, kSlotCount> Find(const GameNames& game);

  // The names a thumbnail is looked for under, in order: the image's file name, the title,
  // each with RetroArch's replacements, then each cut at its first bracket.
  static std::vector<std::string> ThumbnailNames(const GameNames& game);

 private:
  std::string FromResourceRoot(int slot, const GameNames& game);
  std::string BesideImage(int slot, const GameNames& game);
  std::string FromThumbnails(int slot, const GameNames& game);

  PictureFolders folders_;
  std::vector<std::string> templates_;
  std::string thumbnailSet_;  // the folder that holds Named_Boxarts etc.; "" = none
  FolderIndexCache cache_;
};

// Puts each found picture into a slot the user left blank (and ticked), with its source.
void FillFoundSlots(const std::array<FoundPicture, kSlotCount>& found,
                    std::array<std::string, kSlotCount>& texts,
                    std::array<SlotSource, kSlotCount>& sources,
                    const std::array<bool, kSlotCount>& ticked);

}  // namespace ebf
