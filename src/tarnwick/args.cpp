#include "tarnwick/args.h"

#include "common/ansi.h"
#include "common/text.h"
#include "pbp/sfo.h"

namespace ebf::tarnwick {
namespace {

bool CheckGameId(const std::string& id, std::string& message) {
  bool idOk = id.size() == 9;
  for (char c : id) idOk = idOk && c > ' ' && static_cast<unsigned char>(c) < 0x7F;
  if (!idOk)
    message =
        "The game ID must be 9 characters such as SLUS00594, not \"" + TextFileToUtf8(id) + "\"";
  return idOk;
}

// The option that names `name`'s file, or null.
std::string* FileOption(ConverterFiles& files, const std::string& name) {
  static const char* const kAssets[] = {"--icon0", "--icon1", "--pic0", "--pic1", "--snd0"};
  if (name == "--output") return &files.output;
  if (name == "--template") return &files.templatePackage;
  if (name == "--data-psp") return &files.dataPsp;
  if (name == "--boot") return &files.boot;
  for (std::size_t i = 0; i < files.assets.size(); ++i)
    if (name == kAssets[i]) return &files.assets[i];
  if (name == "--toc") return &files.tocs[0];
  for (std::size_t disc = 2; disc <= kMaxDiscs; ++disc)
    if (name == "--toc" + std::to_string(disc)) return &files.tocs[disc - 1];
  return nullptr;
}

}  // namespace

std::optional<ConverterArgs> ParseConverterArgs(const std::vector<std::string>& given,
                                                std::string& message) {
  ConverterFiles files;
  std::size_t first = 0;
  // Options come first; "--" ends them, so that a title may begin with dashes.
  while (first < given.size() && given[first].rfind("--", 0) == 0) {
    if (given[first] == "--") {
      ++first;
      break;
    }
    std::string* file = FileOption(files, given[first]);
    if (!file) {
      message = "Unknown option " + TextFileToUtf8(given[first]) + ". " + kUsage;
      return std::nullopt;
    }
    if (first + 1 >= given.size() || given[first + 1].empty()) {
      message = "No file was given for " + given[first];
      return std::nullopt;
    }
    *file = TextFileToUtf8(given[first + 1]);
    first += 2;
  }
  const std::vector<std::string> args(given.begin() + static_cast<std::ptrdiff_t>(first),
                                      given.end());
  if (args.size() < 4 || args.size() % 2 != 0 || args.size() > 4 + 2 * (kMaxDiscs - 1)) {
    message = kUsage;
    return std::nullopt;
  }
  ConverterArgs out;
  out.files = std::move(files);
  out.title = LeftChars(TextFileToUtf8(args[0]), pbp::kMaxTitleChars);

  if (!CheckGameId(args[1], message)) return std::nullopt;
  out.gameId = args[1];

  const std::string& level = args[2];
  if (level.size() != 1 || level[0] < '0' || level[0] > '9') {
    message =
        "The compression level must be a digit from 0 to 9, not \"" + TextFileToUtf8(level) + "\"";
    return std::nullopt;
  }
  out.level = level[0] - '0';

  out.imagePath = TextFileToUtf8(args[3]);
  if (out.imagePath.empty()) {
    message = "No image was given";
    return std::nullopt;
  }
  for (size_t i = 4; i < args.size(); i += 2) {
    LaterDisc disc{args[i], TextFileToUtf8(args[i + 1])};
    const std::string discNo = std::to_string(2 + (i - 4) / 2);
    if (!CheckGameId(disc.gameId, message)) {
      message = "Disc " + discNo + ": " + message;
      return std::nullopt;
    }
    if (disc.imagePath.empty()) {
      message = "No image was given for disc " + discNo;
      return std::nullopt;
    }
    out.laterDiscs.push_back(std::move(disc));
  }
  return out;
}

}  // namespace ebf::tarnwick
