#include "tarnwick/args.h"

#include "common/ansi.h"
#include "common/text.h"
#include "pbp/sfo.h"

namespace ebf::tarnwick {

std::optional<ConverterArgs> ParseConverterArgs(const std::vector<std::string>& args,
                                                std::string& message) {
  if (args.size() != 4) {
    message = kUsage;
    return std::nullopt;
  }
  ConverterArgs out;
  out.title = LeftChars(TextFileToUtf8(args[0]), pbp::kMaxTitleChars);

  const std::string& id = args[1];
  bool idOk = id.size() == 9;
  for (char c : id) idOk = idOk && c > ' ' && static_cast<unsigned char>(c) < 0x7F;
  if (!idOk) {
    message =
        "The game ID must be 9 characters such as SLUS00594, not \"" + TextFileToUtf8(id) + "\"";
    return std::nullopt;
  }
  out.gameId = id;

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
  return out;
}

}  // namespace ebf::tarnwick
