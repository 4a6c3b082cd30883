#include "disc/classify.h"

#include <array>
#include <string_view>

#include "common/files.h"
#include "common/text.h"

namespace ebf {
namespace {

constexpr std::array<std::string_view, 8> kAccepted = {".ISO", ".IMG", ".BIN", ".CUE",
                                                       ".PBP", ".MDF", ".CHD", ".ECM"};
constexpr std::array<std::string_view, 17> kUnsupported = {
    ".B5T", ".B5I", ".BWT", ".BWI", ".LCD", ".DVD", ".000", ".DAO", ".TAO",
    ".CDI", ".CIF", ".XMF", ".XMD", ".NRG", ".NCD", ".IMA", ".BIF"};

template <std::size_t N>
bool OneOf(const std::array<std::string_view, N>& list, const std::string& ext) {
  for (auto e : list)
    if (ext == e) return true;
  return false;
}

DropDecision Refuse(const char* message) {
  DropDecision d;
  d.action = DropAction::Refuse;
  d.message = message;
  return d;
}

}  // namespace

std::string CcdImagePath(const std::string& ccdPath) {
  std::size_t n = CharCount(ccdPath);
  std::string base = n >= 3 ? LeftChars(ccdPath, n - 3) : std::string();
  for (const char* ext : {"IMG", "BIN", "ISO"}) {
    const std::string image = ResolveCaseBlind(base + ext);
    if (FileExists(image) && !IsDirectory(image)) return image;
  }
  return ResolveCaseBlind(base + "IMG");
}

std::string DescribedMdfPath(const std::string& mdsPath) {
  const std::string mdf = ResolveCaseBlind(WithoutExtension(mdsPath) + ".mdf");
  return IsRegularFile(mdf) ? mdf : std::string();
}

DropDecision ClassifyInputPath(const std::string& path) {
  std::string ext = Extension4(path);
  if (ext == ".CCD") {
    std::string img = CcdImagePath(path);
    if (!FileExists(img)) return Refuse(kNoImgFileMessage);
    return DropDecision{DropAction::Accept, false, img, {}};
  }
  if (OneOf(kAccepted, ext)) return DropDecision{DropAction::Accept, false, path, {}};
  if (ext == ".MDS") return Refuse(kMdsMessage);
  if (OneOf(kUnsupported, ext)) return Refuse(kUnsupportedFormatMessage);
  return Refuse(kNotAnImageMessage);
}

DropDecision ClassifyDrop(const std::vector<std::string>& files) {
  if (files.empty()) return {};
  DropDecision d;
  if (FileExists(files.front())) d = ClassifyInputPath(files.front());
  d.moreThanOne = files.size() > 1;
  return d;
}

}  // namespace ebf
