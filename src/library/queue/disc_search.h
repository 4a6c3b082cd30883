#pragma once
// What a library holds: the disc images under the files and folders the user names, and
// the games among them, each game one row of the queue (the "(Disc N)" files of a game
// together, or the discs an .m3u playlist names).

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "common/cancel.h"

namespace ebf {

// A disc image or a playlist by its extension: CUE, ISO, BIN, IMG, MDF, CCD, CHD, ECM, M3U.
bool IsDiscImageName(const std::string& path);

struct DiscSearch {
  CancelToken* cancel = nullptr;  // a folder scan stops at its next entry
  // Called with the number of images found so far, after each one.
  std::function<void(std::size_t found)> onFound;
};

// Every disc image under the given files and folders (folders searched recursively, each in
// name order), a CUE taking the place of the data files it names, a CCD turned into its
// IMG, each once. A file given by name whose extension is not a disc image's is left out.
// Empty when the search was cancelled.
std::vector<std::string> FindDiscImages(const std::vector<std::string>& paths,
                                        const DiscSearch& search = {});

// One game: the discs it is made of, in disc order.
struct FoundGame {
  std::vector<std::string> discs;
  bool wholeGame = false;  // grouped by its "(Disc N)" names: a gap in the numbering counts
  std::string playlist;    // the .m3u it came from, if any
  std::string problem;     // why its playlist cannot be taken (it names a file not there ...)
};

// The games among the images found: a playlist's discs together (and not again on their
// own), the "(Disc N)" files of one game together in disc order, every other image alone.
// With `separate` every disc is a game of its own and playlists are passed over.
std::vector<FoundGame> GamesAmong(const std::vector<std::string>& images, bool separate);

// Why a disc image holds no PlayStation disc ("" when its first track is data with an ISO
// 9660 volume descriptor where every such disc has one, or when it cannot be opened at all:
// the conversion then says what is wrong with it).
std::string NotADiscMessage(const std::string& path);

// The bytes of every file a game is made of (all the files a sheet names).
uint64_t SourceBytes(const std::vector<std::string>& discs);

}  // namespace ebf
