#include "support/picture_tools.h"

#include <cstdlib>
#include <sstream>

#include "common/files.h"
#include "support/temp_dir.h"

namespace ebf::test {
namespace {

// Runs a shell command quietly; true when it exits with 0.
bool RunQuiet(const std::string& command) {
  return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

// `convert <arguments>`; fails, naming the tool or the command line, when convert is missing
// or refused.
::testing::AssertionResult RunConvert(const std::string& arguments) {
  if (::testing::AssertionResult installed = Installed("convert"); !installed) return installed;
  if (RunQuiet("convert " + arguments)) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "ImageMagick failed: convert " << arguments;
}

::testing::AssertionResult Convert(const std::string& input, const std::string& options,
                                   const std::string& output) {
  return RunConvert(ShellQuote(input) + " " + options + " " + ShellQuote(output));
}

}  // namespace

::testing::AssertionResult Installed(const std::string& tool) {
  if (RunQuiet("command -v " + tool)) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << tool << " is not installed (./build.sh installs it)";
}

::testing::AssertionResult PngcheckAccepts(const std::string& path) {
  if (::testing::AssertionResult installed = Installed("pngcheck"); !installed) return installed;
  if (RunQuiet("pngcheck -q " + ShellQuote(path))) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "pngcheck rejects " << path;
}

std::string ShellQuote(const std::string& text) {
  std::string out = "'";
  for (char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

::testing::AssertionResult DrawWithImageMagick(const std::string& recipe,
                                               const std::string& output) {
  return RunConvert(recipe + " " + ShellQuote(output));
}

std::string MakeWithImageMagick(const std::string& source, const std::string& target,
                                const std::string& options, const std::string& folder) {
  const std::size_t colon = target.find(':');
  const std::string format = colon == std::string::npos ? "" : target.substr(0, colon + 1);
  const std::string path = JoinPath(folder, target.substr(format.size()));
  return Convert(source, options, format + path) ? path : "";
}

// PAM holds RGBA; pictures hold BGRA: the same swap both ways.
static void SwapRedBlue(Bytes& pixels, std::size_t from) {
  for (std::size_t i = from; i + 3 < pixels.size(); i += 4) std::swap(pixels[i], pixels[i + 2]);
}

Picture ReadWithImageMagick(const std::string& path, int frame) {
  TempDir dir;
  const std::string pam = dir / "out.pam";
  Picture out;
  if (!Convert(path + "[" + std::to_string(frame) + "]", "-colorspace sRGB -alpha on -depth 8",
               "pam:" + pam))
    return out;
  Bytes bytes = ReadFileBytes(pam);
  const std::string text(bytes.begin(), bytes.end());
  const std::size_t end = text.find("ENDHDR\n");
  if (end == std::string::npos) return out;
  std::istringstream header(text.substr(0, end));
  std::string key;
  int width = 0, height = 0, depth = 0;
  while (header >> key) {
    if (key == "WIDTH") header >> width;
    if (key == "HEIGHT") header >> height;
    if (key == "DEPTH") header >> depth;
  }
  const std::size_t start = end + 7;
  if (depth != 4 || !AllocatePicture(out, width, height) || bytes.size() < start + out.bgra.size())
    return Picture{};
  SwapRedBlue(bytes, start);
  std::copy_n(bytes.begin() + start, out.bgra.size(), out.bgra.begin());
  return out;
}

int MaxPixelDifference(const Picture& a, const Picture& b) {
  if (a.width != b.width || a.height != b.height || a.bgra.size() != b.bgra.size()) return -1;
  int worst = 0;
  for (std::size_t i = 0; i < a.bgra.size(); i += 4) {
    const int first = (a.bgra[i + 3] == 0 && b.bgra[i + 3] == 0) ? 3 : 0;
    for (std::size_t c = first; c < 4; ++c)
      worst = std::max(worst, std::abs(int(a.bgra[i + c]) - int(b.bgra[i + c])));
  }
  return worst;
}

Picture GradientPicture(int width, int height, bool withAlpha) {
  Picture p;
  AllocatePicture(p, width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      uint8_t* q = p.Row(y) + x * 4;
      q[0] = static_cast<uint8_t>(255 * x / std::max(1, width - 1));
      q[1] = static_cast<uint8_t>(255 * y / std::max(1, height - 1));
      q[2] = static_cast<uint8_t>((x * 7 + y * 13) & 0xFF);
      q[3] =
          withAlpha ? static_cast<uint8_t>(255 * (x + y) / std::max(1, width + height - 2)) : 255;
    }
  }
  return p;
}

void WritePam(const std::string& path, const Picture& picture) {
  const std::string header = "P7\nWIDTH " + std::to_string(picture.width) + "\nHEIGHT " +
                             std::to_string(picture.height) +
                             "\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n";
  Bytes bytes(header.begin(), header.end());
  Append(bytes, picture.bgra);
  SwapRedBlue(bytes, header.size());
  WriteFileBytes(path, bytes);
}

}  // namespace ebf::test
