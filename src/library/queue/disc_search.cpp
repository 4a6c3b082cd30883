#include "library/queue/disc_search.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <set>

#include "common/files.h"
#include "common/text.h"
#include "disc/classify.h"
#include "disc/cue_sheet.h"
#include "disc/disc_image.h"
#include "disc/disc_set.h"

namespace ebf {
namespace {

namespace fs = std::filesystem;

constexpr uint32_t kFirstDescriptorSector = 16;
constexpr uint32_t kRawSector = 2352;

bool IsImageOnly(const std::string& path) {
  return IsDiscImageName(path) && Extension4(path) != ".M3U";
}

std::string Utf8(const fs::path& p) {
  const auto u8 = p.u8string();
  return std::string(u8.begin(), u8.end());
}

// The images in one folder and below it, in name order; false when cancelled.
bool SearchFolder(const std::string& folder, const DiscSearch& search, std::size_t& count,
                  std::vector<std::string>& found) {
  std::vector<std::string> inFolder;
  std::error_code ec;
  for (auto it = fs::recursive_directory_iterator(
           fs::u8path(folder), fs::directory_options::skip_permission_denied, ec);
       !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
    if (search.cancel && search.cancel->Requested()) return false;
    if (!it->is_regular_file(ec)) continue;
    std::string file = Utf8(it->path());
    if (!IsDiscImageName(file)) continue;
    inFolder.push_back(std::move(file));
    if (search.onFound) search.onFound(++count);
  }
  std::sort(inFolder.begin(), inFolder.end());
  found.insert(found.end(), inFolder.begin(), inFolder.end());
  return true;
}

}  // namespace

bool IsDiscImageName(const std::string& path) {
  static constexpr std::array<const char*, 9> kExtensions = {".CUE", ".ISO", ".BIN", ".IMG", ".MDF",
                                                             ".CCD", ".CHD", ".ECM", ".M3U"};
  const std::string ext = Extension4(path);
  return std::any_of(kExtensions.begin(), kExtensions.end(),
                     [&](const char* e) { return ext == e; });
}

std::vector<std::string> FindDiscImages(const std::vector<std::string>& paths,
                                        const DiscSearch& search) {
  std::vector<std::string> found;
  std::size_t count = 0;
  for (const std::string& p : paths) {
    std::error_code ec;
    if (fs::is_directory(fs::u8path(p), ec)) {
      if (!SearchFolder(p, search, count, found)) return {};
    } else if (IsDiscImageName(p)) {
      found.push_back(p);
      if (search.onFound) search.onFound(++count);
    }
  }
  std::set<std::string> covered, seen;
  for (std::string& f : found) {
    if (Extension4(f) == ".CCD") f = CcdImagePath(f);
    // A sheet stands for every file it names (a set has one per track).
    if (Extension4(f) == ".CUE")
      for (const std::string& data : FindCueDataFiles(f)) covered.insert(CanonicalPath(data));
  }
  std::vector<std::string> images;
  for (const std::string& f : found) {
    const std::string key = CanonicalPath(f);
    if (!FileExists(f) || covered.count(key) || !seen.insert(key).second) continue;
    images.push_back(f);
  }
  return images;
}

std::vector<FoundGame> GamesAmong(const std::vector<std::string>& images, bool separate) {
  std::vector<FoundGame> games;
  std::set<std::string> found, grouped;
  // A playlist's discs belong to it, wherever they come in the list.
  std::vector<std::pair<std::string, PlaylistDiscs>> playlists;
  for (const std::string& image : images) {
    if (Extension4(image) != ".M3U") {
      found.insert(CanonicalPath(image));
    } else if (!separate) {
      PlaylistDiscs discs = ReadM3u(image);
      for (const std::string& disc : discs.paths) grouped.insert(CanonicalPath(disc));
      playlists.emplace_back(image, std::move(discs));
    }
  }
  std::size_t playlist = 0;
  for (const std::string& image : images) {
    if (Extension4(image) == ".M3U") {
      if (separate) continue;
      const auto& [path, discs] = playlists[playlist++];
      FoundGame game{discs.paths, false, path, discs.error};
      if (game.discs.empty() && game.problem.empty()) game.problem = "The playlist names no disc.";
      if (game.discs.empty()) game.discs = {path};
      games.push_back(std::move(game));
      continue;
    }
    if (grouped.count(CanonicalPath(image))) continue;
    if (separate || DiscNumberOf(StemOf(image)) == 0) {
      games.push_back({{image}, false, {}, {}});
      continue;
    }
    const DiscSet set = FindDiscSet(image, [&](const std::string& path) {
      const std::string key = CanonicalPath(path);
      return found.count(key) > 0 && !grouped.count(key) && IsImageOnly(path);
    });
    FoundGame game{{}, true, {}, {}};
    for (const SetMember& member : set.discs) {
      game.discs.push_back(member.path);
      grouped.insert(CanonicalPath(member.path));
    }
    games.push_back(std::move(game));
  }
  return games;
}

std::string NotADiscMessage(const std::string& path) {
  DiscOpenResult opened = OpenDiscImage(path);
  if (!opened.disc) return {};
  const DiscInfo& info = opened.disc->info();
  const std::string name = FileNameOf(path);
  if (info.tracks.empty() || info.tracks.front().audio())
    return name + " is not a PlayStation disc: its first track is not a data track.";
  const uint32_t sector = info.tracks.front().start + kFirstDescriptorSector;
  std::array<uint8_t, kRawSector> raw{};
  if (sector >= info.sectorCount || !opened.disc->Read(sector, 1, raw).empty())
    return name + " is not a PlayStation disc: it is too short to hold one.";
  // A volume descriptor's "CD001" in the user data of a mode 1 or a mode 2 sector.
  for (std::size_t data : {16, 24})
    if (std::equal(raw.begin() + data + 1, raw.begin() + data + 6, "CD001")) return {};
  return name + " is not a PlayStation disc: it holds no ISO 9660 file system.";
}

uint64_t SourceBytes(const std::vector<std::string>& discs) {
  uint64_t total = 0;
  for (const std::string& disc : discs) {
    if (Extension4(disc) == ".CUE") {
      for (const std::string& file : FindCueDataFiles(disc)) total += FileSize(file).value_or(0);
    } else {
      total += FileSize(disc).value_or(0);
    }
  }
  return total;
}

}  // namespace ebf
