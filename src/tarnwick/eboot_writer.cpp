#include "tarnwick/eboot_writer.h"

#include <array>
#include <filesystem>
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

// The image must not be one of the files this run writes or reads as a template.
bool SameFile(const std::string& a, const std::string& b) {
  std::error_code ec;
  return std::filesystem::equivalent(std::filesystem::u8path(a), std::filesystem::u8path(b), ec);
}

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

// Everything known before EBOOT.PBP is created.
struct Plan {
  std::string folder;
  PackageTemplate tmpl;
  DiscInput disc;
  std::array<uint64_t, pbp::kLeadingSectionCount> lengths{};
  uint64_t psarOffset = 0;
  bool dataPspFromFile = false;
  uint64_t bootSize = 0;
};

std::string Prepare(const ConverterArgs& args, const std::string& outputName, File& base,
                    Plan& plan) {
  const std::string& folder = plan.folder;
  const std::string basePath = folder + kTemplateName;
  if (!FileExists(basePath) || IsDirectory(basePath))
    return std::string(kTemplateName) + " is missing from " + folder;
  if (!base.Open(basePath, File::Mode::Read))
    return "Cannot read " + std::string(kTemplateName) + ": " + base.LastError();
  std::string error;
  if (!ReadPackageTemplate(base, plan.tmpl, error)) return error;
  error = pbp::PatchSfo(plan.tmpl.sfo, args.title, args.gameId);
  if (!error.empty()) return std::string(kTemplateName) + ": " + error;

  if (SameFile(args.imagePath, folder + outputName) || SameFile(args.imagePath, basePath))
    return "The image " + args.imagePath + " cannot be the package being written or its template";
  if (std::string e = CheckImage(args.imagePath); !e.empty()) return e;
  DiscInput& disc = plan.disc;
  disc.imagePath = args.imagePath;
  disc.discId = args.gameId;
  disc.title = Utf8ToAnsi(args.title);
  disc.level = args.level;
  const std::string tocPath = folder + kTocName;
  if (FileExists(tocPath)) {
    TocArea toc;
    if (!LoadTocFile(tocPath, toc, error)) return error;
    disc.toc = toc;
  }

  // Sections before DATA.PSAR. An asset that is missing or empty is an empty section.
  plan.lengths[pbp::kParamSfo] = plan.tmpl.sfo.size();
  for (size_t i = 0; i < kAssetNames.size(); ++i)
    plan.lengths[pbp::kIcon0 + i] = SizeOrZero(folder + kAssetNames[i]);
  const uint64_t dataPspFileSize = SizeOrZero(folder + kDataPspName);
  plan.dataPspFromFile = dataPspFileSize > 0;
  plan.lengths[pbp::kDataPsp] = plan.dataPspFromFile ? dataPspFileSize : plan.tmpl.dataPspSize;
  plan.bootSize = SizeOrZero(folder + kBootName);
  if (plan.bootSize > UINT32_MAX) return std::string(kBootName) + " is too large";
  auto header = pbp::HeaderForLengths(plan.lengths);
  if (!header) return "The files to be packed are too large for one package";
  plan.psarOffset = header->psarOffset();
  return {};
}

std::string WriteSections(const Plan& plan, File& base, File& out) {
  const std::string& folder = plan.folder;
  std::string error;
  if (!pbp::WritePbpHeader(out, plan.lengths) || !out.Write(plan.tmpl.sfo))
    return "Cannot write " + std::string(kOutputName) + ": " + out.LastError();
  for (size_t i = 0; i < kAssetNames.size(); ++i) {
    if (!CopyFileExactly(folder + kAssetNames[i], plan.lengths[pbp::kIcon0 + i], out,
                         kAssetNames[i], error))
      return error;
  }
  bool copied = plan.dataPspFromFile
                    ? CopyFileExactly(folder + kDataPspName, plan.lengths[pbp::kDataPsp], out,
                                      kDataPspName, error)
                    : CopyRange(base, plan.tmpl.dataPspStart, plan.tmpl.dataPspSize, out,
                                std::string(kTemplateName) + "'s DATA.PSP", error);
  if (!copied) return error;
  if (out.Tell() != plan.psarOffset)
    return "Cannot write " + std::string(kOutputName) +
           ": the sections did not come out at their planned offsets";
  return {};
}

std::string WriteStartDat(const Plan& plan, File& base, File& out) {
  std::string error;
  if (!out.Write(StartDatHeader(static_cast<uint32_t>(plan.bootSize))))
    return "Cannot write " + std::string(kOutputName) + ": " + out.LastError();
  if (!CopyFileExactly(plan.folder + kBootName, plan.bootSize, out, kBootName, error) ||
      !CopyRange(base, plan.tmpl.tailStart, plan.tmpl.tailSize, out,
                 std::string(kTemplateName) + "'s STARTDAT tail", error))
    return error;
  return {};
}

}  // namespace

std::string WriteEboot(const std::string& folder, const ConverterArgs& args,
                       const WriteOptions& options) {
  auto say = [&](const std::string& line) {
    if (options.say) options.say(line);
  };
  Plan plan;
  plan.folder = WithTrailingSep(folder);
  File base;
  if (std::string e = Prepare(args, options.outputName, base, plan); !e.empty()) return e;
  plan.disc.threads = options.threads;

  const std::string outPath = plan.folder + options.outputName;
  PartialOutput output(outPath);
  File& out = output.file;
  if (!out.Open(outPath, File::Mode::Write))
    return "Cannot write " + std::string(kOutputName) + " in " + plan.folder + ": " +
           out.LastError();

  say("Image: " + args.imagePath + " (" + std::to_string(FileSize(args.imagePath).value_or(0)) +
      " bytes)");
  say("Writing " + std::string(kOutputName) + " for " + args.gameId + " at compression level " +
      std::to_string(args.level) + "...");
  if (std::string e = WriteSections(plan, base, out); !e.empty()) return e;

  int shownQuarter = 0;
  plan.disc.progress = [&](uint32_t done, uint32_t total) {
    int quarter = static_cast<int>(uint64_t{done} * 4 / total);
    if (quarter > shownQuarter && quarter < 4) {
      shownQuarter = quarter;
      say(std::to_string(quarter * 25) + "% of the image written");
    }
  };
  DiscSectionResult section = WriteDiscSection(out, plan.disc);
  if (!section.ok) return section.error;

  if (std::string e = WriteStartDat(plan, base, out); !e.empty()) return e;
  if (!out.Close()) return "Cannot write " + std::string(kOutputName) + ": " + out.LastError();
  output.Keep();
  say(std::string(kOutputName) + ": " + std::to_string(FileSize(outPath).value_or(0)) + " bytes, " +
      std::to_string(section.imageBlocks) + " blocks");
  return {};
}

}  // namespace ebf::tarnwick
