#include "tarnwick/eboot_writer.h"

#include <array>
#include <optional>

#include "common/ansi.h"
#include "common/file_io.h"
#include "common/files.h"
#include "pbp/container.h"
#include "pbp/sfo.h"
#include "tarnwick/disc_section.h"
#include "tarnwick/startdat.h"
#include "tarnwick/stream_copy.h"
#include "tarnwick/template_package.h"

namespace ebf::tarnwick {
namespace {

// Sections 1-5, in package order.
constexpr std::array<const char*, 5> kAssetNames = {"ICON0.PNG", "ICON1.PMF", "PIC0.PNG",
                                                    "PIC1.PNG", "SND0.AT3"};

uint64_t SizeOrZero(const std::string& path) {
  if (IsDirectory(path)) return 0;
  return FileSize(path).value_or(0);
}

// Deletes the partial output unless the write got to its end.
class PartialOutput {
 public:
  explicit PartialOutput(std::string path) : path_(std::move(path)) {}
  ~PartialOutput() {
    if (!kept_) {
      file.Close();
      DeleteFileIfExists(path_);
    }
  }
  void Keep() { kept_ = true; }
  File file;

 private:
  std::string path_;
  bool kept_ = false;
};

std::string CheckImage(const std::string& path) {
  if (IsDirectory(path)) return "Cannot read the image " + path + ": it is a folder";
  File image(path, File::Mode::Read);
  if (!image) return "Cannot read the image " + path + ": " + image.LastError();
  uint64_t size = image.Size();
  if (size == 0) return "The image " + path + " is empty";
  uint8_t probe[1];
  if (!image.ReadExact(probe)) return "Cannot read the image " + path + ": " + image.LastError();
  if (size > MaxImageBytes())
    return "The image " + path + " is too large for one package (" + std::to_string(size) +
           " bytes, at most " + std::to_string(MaxImageBytes()) + ")";
  return {};
}

}  // namespace

std::string WriteEboot(const std::string& folderIn, const ConverterArgs& args,
                       const WriteOptions& options) {
  const std::string folder = WithTrailingSep(folderIn);
  auto say = [&](const std::string& line) {
    if (options.say) options.say(line);
  };

  // Template.
  const std::string basePath = folder + kTemplateName;
  if (!FileExists(basePath) || IsDirectory(basePath))
    return std::string(kTemplateName) + " is missing from " + folder;
  File base(basePath, File::Mode::Read);
  if (!base) return "Cannot read " + std::string(kTemplateName) + ": " + base.LastError();
  PackageTemplate tmpl;
  std::string error;
  if (!ReadPackageTemplate(base, tmpl, error)) return error;
  std::string sfoError = pbp::PatchSfo(tmpl.sfo, args.title, args.gameId);
  if (!sfoError.empty()) return std::string(kTemplateName) + ": " + sfoError;

  // Image and table of contents.
  if (std::string e = CheckImage(args.imagePath); !e.empty()) return e;
  DiscInput disc;
  disc.imagePath = args.imagePath;
  disc.discId = args.gameId;
  disc.title = Utf8ToAnsi(args.title);
  disc.level = args.level;
  disc.threads = options.threads;
  const std::string tocPath = folder + kTocName;
  if (FileExists(tocPath)) {
    TocArea toc;
    if (!LoadTocFile(tocPath, toc, error)) return error;
    disc.toc = toc;
  }

  // Sections before DATA.PSAR. An asset that is missing or empty is an empty section.
  std::array<uint64_t, pbp::kLeadingSectionCount> lengths{};
  lengths[pbp::kParamSfo] = tmpl.sfo.size();
  for (size_t i = 0; i < kAssetNames.size(); ++i)
    lengths[pbp::kIcon0 + i] = SizeOrZero(folder + kAssetNames[i]);
  const std::string dataPspPath = folder + kDataPspName;
  const uint64_t dataPspFileSize = SizeOrZero(dataPspPath);
  const bool dataPspFromFile = dataPspFileSize > 0;
  lengths[pbp::kDataPsp] = dataPspFromFile ? dataPspFileSize : tmpl.dataPspSize;
  const std::string bootPath = folder + kBootName;
  const uint64_t bootSize = SizeOrZero(bootPath);
  if (bootSize > UINT32_MAX) return std::string(kBootName) + " is too large";
  auto header = pbp::HeaderForLengths(lengths);
  if (!header) return "The files to be packed are too large for one package";

  const std::string outPath = folder + kOutputName;
  PartialOutput output(outPath);
  File& out = output.file;
  if (!out.Open(outPath, File::Mode::Write))
    return "Cannot write " + std::string(kOutputName) + " in " + folder + ": " + out.LastError();

  uint64_t imageSize = FileSize(args.imagePath).value_or(0);
  say("Image: " + args.imagePath + " (" + std::to_string(imageSize) + " bytes)");
  say("Writing " + std::string(kOutputName) + " for " + args.gameId + " at compression level " +
      std::to_string(args.level) + "...");

  const std::string writeError = "Cannot write " + std::string(kOutputName) + ": ";
  if (!pbp::WritePbpHeader(out, lengths) || !out.Write(tmpl.sfo))
    return writeError + out.LastError();
  for (size_t i = 0; i < kAssetNames.size(); ++i) {
    if (!CopyFileExactly(folder + kAssetNames[i], lengths[pbp::kIcon0 + i], out, kAssetNames[i],
                         error))
      return error;
  }
  bool copied = dataPspFromFile
                    ? CopyFileExactly(dataPspPath, dataPspFileSize, out, kDataPspName, error)
                    : CopyRange(base, tmpl.dataPspStart, tmpl.dataPspSize, out,
                                std::string(kTemplateName) + "'s DATA.PSP", error);
  if (!copied) return error;
  if (out.Tell() != header->psarOffset())
    return writeError + "the sections did not come out at their planned offsets";

  int shownQuarter = 0;
  disc.progress = [&](uint32_t done, uint32_t total) {
    int quarter = static_cast<int>(uint64_t{done} * 4 / total);
    if (quarter > shownQuarter && quarter < 4) {
      shownQuarter = quarter;
      say(std::to_string(quarter * 25) + "% of the image written");
    }
  };
  DiscSectionResult section = WriteDiscSection(out, disc);
  if (!section.ok) return section.error;

  if (!out.Write(StartDatHeader(static_cast<uint32_t>(bootSize))))
    return writeError + out.LastError();
  if (!CopyFileExactly(bootPath, bootSize, out, kBootName, error)) return error;
  if (!CopyRange(base, tmpl.tailStart, tmpl.tailSize, out,
                 std::string(kTemplateName) + "'s STARTDAT tail", error))
    return error;
  if (!out.Close()) return writeError + out.LastError();
  output.Keep();
  say(std::string(kOutputName) + ": " + std::to_string(FileSize(outPath).value_or(0)) + " bytes, " +
      std::to_string(section.imageBlocks) + " blocks");
  return {};
}

}  // namespace ebf::tarnwick
