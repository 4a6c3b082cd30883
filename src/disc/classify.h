#pragma once
// What to do with files dropped on the main window, decided by the extension alone.

#include <string>
#include <vector>

namespace ebf {

inline constexpr const char* kMoreThanOneFileMessage =
    "More than one file was dropped - only the first file will be used.";
inline constexpr const char* kNoImgFileMessage = "It appears that you don't have the .IMG file. :(";
inline constexpr const char* kMdsMessage =
    "Sorry, currently MDS isn't available yet.  MDF is, but using it will cause loss of TOC "
    "information.  It is recommended you convert this image to IMG+CCD or BIN+CUE instead.";
inline constexpr const char* kUnsupportedFormatMessage =
    "This image format isn't supported by tarnwick - please use a program such as UltraISO to "
    "convert your image file to .ISO format.";
inline constexpr const char* kNotAnImageMessage = "Doesn't appear to be a valid image file.";

enum class DropAction {
  Ignore,  // nothing dropped, or the file is gone: do nothing, say nothing
  Accept,  // hand `path` to the input resolver
  Refuse,  // show `message`; the current input stays
};

struct DropDecision {
  DropAction action = DropAction::Ignore;
  bool moreThanOne = false;  // show kMoreThanOneFileMessage first
  std::string path;          // the accepted path (a CCD's image in its place)
  std::string message;       // the refusal
};

// Classifies one path by its extension (the file is assumed to exist).
DropDecision ClassifyInputPath(const std::string& path);
// The whole drop: warns about extra files, ignores a vanished first file, classifies it.
DropDecision ClassifyDrop(const std::vector<std::string>& files);

// The image an Alcohol descriptor (.mds) describes: the .mdf of the same name beside it,
// found case-blind; "" when there is none.
std::string DescribedMdfPath(const std::string& mdsPath);

// A CCD's image: the path with its last three characters replaced by "IMG", "BIN" or
// "ISO" (CloneCD keeps it as .img, extractions write .bin or .iso), the first that exists,
// found case-blind; the "IMG" name when none does.
std::string CcdImagePath(const std::string& ccdPath);

}  // namespace ebf
