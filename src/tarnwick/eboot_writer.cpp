#include "tarnwick/eboot_writer.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <optional>

#include "common/ansi.h"
#include "common/bytes.h"
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

// ISO.TOC for disc 1, ISO2.TOC to ISO5.TOC for the later discs.
std::string TocFileName(size_t disc) {
  if (disc == 1) return kTocName;
  return "ISO" + std::to_string(disc) + ".TOC";
}

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
  ConverterFiles files;  // every path filled in
  PackageTemplate tmpl;
  std::vector<DiscInput> discs;  // disc 1 first
  std::array<uint64_t, pbp::kLeadingSectionCount> lengths{};
  uint64_t psarOffset = 0;
  bool dataPspFromFile = false;
  uint64_t bootSize = 0;
};

std::string Prepare(const ConverterArgs& args, File& base, Plan& plan) {
  const std::string& basePath = plan.files.templatePackage;
  if (!FileExists(basePath) || IsDirectory(basePath))
    return std::string(kTemplateName) + " is missing: " + basePath;
  if (!base.Open(basePath, File::Mode::Read))
    return "Cannot read " + std::string(kTemplateName) + ": " + base.LastError();
  std::string error;
  if (!ReadPackageTemplate(base, plan.tmpl, error)) return error;
  error = pbp::PatchSfo(plan.tmpl.sfo, args.title, args.gameId);
  if (!error.empty()) return std::string(kTemplateName) + ": " + error;

  std::vector<LaterDisc> discs{{args.gameId, args.imagePath}};
  discs.insert(discs.end(), args.laterDiscs.begin(), args.laterDiscs.end());
  for (size_t i = 0; i < discs.size(); ++i) {
    const std::string& image = discs[i].imagePath;
    if (SameFile(image, plan.files.output) || SameFile(image, basePath))
      return "The image " + image + " cannot be the package being written or its template";
    if (std::string e = CheckImage(image); !e.empty()) return e;
    DiscInput& disc = plan.discs.emplace_back();
    disc.imagePath = image;
    disc.discId = discs[i].gameId;
    disc.title = Utf8ToAnsi(args.title);
    disc.level = args.level;
    const std::string& tocPath = plan.files.tocs[i];
    if (FileExists(tocPath)) {
      TocArea toc;
      if (!LoadTocFile(tocPath, toc, error)) return error;
      disc.toc = toc;
    }
  }

  // Sections before DATA.PSAR. An asset that is missing or empty is an empty section.
  plan.lengths[pbp::kParamSfo] = plan.tmpl.sfo.size();
  for (size_t i = 0; i < kAssetNames.size(); ++i)
    plan.lengths[pbp::kIcon0 + i] = SizeOrZero(plan.files.assets[i]);
  const uint64_t dataPspFileSize = SizeOrZero(plan.files.dataPsp);
  plan.dataPspFromFile = dataPspFileSize > 0;
  plan.lengths[pbp::kDataPsp] = plan.dataPspFromFile ? dataPspFileSize : plan.tmpl.dataPspSize;
  plan.bootSize = SizeOrZero(plan.files.boot);
  if (plan.bootSize > UINT32_MAX) return std::string(kBootName) + " is too large";
  auto header = pbp::HeaderForLengths(plan.lengths);
  if (!header) return "The files to be packed are too large for one package";
  plan.psarOffset = header->psarOffset();
  return {};
}

std::string WriteSections(const Plan& plan, File& base, File& out) {
  std::string error;
  if (!pbp::WritePbpHeader(out, plan.lengths) || !out.Write(plan.tmpl.sfo))
    return "Cannot write " + std::string(kOutputName) + ": " + out.LastError();
  for (size_t i = 0; i < kAssetNames.size(); ++i) {
    if (!CopyFileExactly(plan.files.assets[i], plan.lengths[pbp::kIcon0 + i], out, kAssetNames[i],
                         error))
      return error;
  }
  bool copied = plan.dataPspFromFile
                    ? CopyFileExactly(plan.files.dataPsp, plan.lengths[pbp::kDataPsp], out,
                                      kDataPspName, error)
                    : CopyRange(base, plan.tmpl.dataPspStart, plan.tmpl.dataPspSize, out,
                                std::string(kTemplateName) + "'s DATA.PSP", error);
  if (!copied) return error;
  if (out.Tell() != plan.psarOffset)
    return "Cannot write " + std::string(kOutputName) +
           ": the sections did not come out at their planned offsets";
  return {};
}

std::string WriteFailure(File& out) {
  return "Cannot write " + std::string(kOutputName) + ": " + out.LastError();
}

// Offsets inside DATA.PSAR and the whole file are 32-bit.
constexpr uint64_t kMaxPackageBytes = uint64_t{1} << 32;

std::string TooLarge() {
  return "The discs are too large for one package: it must stay under 4 GiB";
}

// A game on several discs: the title header, then each disc's own section on a 1 KiB
// boundary. Where the sections start and end is known only once each is written, so the
// header and each section's size field are filled in afterwards.
std::string WriteDiscSet(const std::vector<DiscInput>& discs, uint64_t psar, File& out,
                         const std::function<void(size_t)>& before, uint32_t& blocks) {
  Bytes title(pbp::kTitleHeaderSize, 0);
  if (!out.Write(title)) return WriteFailure(out);
  std::vector<uint64_t> starts, sizes;
  for (size_t i = 0; i < discs.size(); ++i) {
    const uint64_t at = out.Tell() - psar;
    const uint64_t start =
        (at + pbp::kDiscSectionAlign - 1) / pbp::kDiscSectionAlign * pbp::kDiscSectionAlign;
    if (!out.Write(Bytes(start - at, 0))) return WriteFailure(out);
    before(i);
    DiscSectionResult section = WriteDiscSection(out, discs[i]);
    if (!section.ok) return section.error;
    if (out.Tell() >= kMaxPackageBytes) return TooLarge();
    starts.push_back(start);
    sizes.push_back(section.size);
    blocks += section.imageBlocks;
  }
  const uint64_t end = out.Tell();

  std::memcpy(title.data(), pbp::kTitleMagic.data(), pbp::kTitleMagic.size());
  for (size_t i = 0; i < starts.size(); ++i)
    StoreLe32(title.data() + pbp::kTitleDiscTablePos + 4 * i, static_cast<uint32_t>(starts[i]));
  const std::string id = SectionDiscId(discs[0].discId);
  std::memcpy(title.data() + pbp::kTitleGameIdPos, id.data(),
              std::min<size_t>(id.size(), pbp::kTitleGameIdSize - 1));
  if (!out.Seek(psar) || !out.Write(title)) return WriteFailure(out);
  // Each section's size runs to the next section; the last one's to STARTDAT, as written.
  uint8_t size[4];
  for (size_t i = 0; i + 1 < starts.size(); ++i) {
    StoreLe32(size, static_cast<uint32_t>(starts[i + 1] - starts[i]));
    if (!out.Seek(psar + starts[i] + kStartDatField) || !out.Write(size)) return WriteFailure(out);
  }
  if (!out.Seek(end)) return WriteFailure(out);
  return {};
}

std::string WriteDiscs(const Plan& plan, File& out,
                       const std::function<void(const std::string&)>& say, uint32_t& blocks) {
  size_t disc = 0;
  int shownQuarter = 0;
  auto progress = [&](uint32_t done, uint32_t total) {
    int quarter = static_cast<int>(uint64_t{done} * 4 / total);
    if (quarter > shownQuarter && quarter < 4) {
      shownQuarter = quarter;
      const std::string of =
          plan.discs.size() > 1 ? " of disc " + std::to_string(disc + 1) : " of the image";
      say(std::to_string(quarter * 25) + "%" + of + " written");
    }
  };
  if (plan.discs.size() == 1) {
    DiscInput only = plan.discs[0];
    only.progress = progress;
    DiscSectionResult section = WriteDiscSection(out, only);
    if (!section.ok) return section.error;
    blocks = section.imageBlocks;
    return {};
  }
  std::vector<DiscInput> discs = plan.discs;
  for (DiscInput& d : discs) d.progress = progress;
  return WriteDiscSet(
      discs, plan.psarOffset, out,
      [&](size_t i) {
        disc = i;
        shownQuarter = 0;
        if (i > 0) say("Disc " + std::to_string(i) + " written");
      },
      blocks);
}

std::string WriteStartDat(const Plan& plan, File& base, File& out) {
  std::string error;
  if (!out.Write(StartDatHeader(static_cast<uint32_t>(plan.bootSize))))
    return "Cannot write " + std::string(kOutputName) + ": " + out.LastError();
  if (!CopyFileExactly(plan.files.boot, plan.bootSize, out, kBootName, error) ||
      !CopyRange(base, plan.tmpl.tailStart, plan.tmpl.tailSize, out,
                 std::string(kTemplateName) + "'s STARTDAT tail", error))
    return error;
  return {};
}

}  // namespace

ConverterFiles ResolveConverterFiles(const std::string& folder, const ConverterFiles& given) {
  const std::string dir = WithTrailingSep(folder);
  auto pick = [&](const std::string& named, const std::string& usual) {
    return named.empty() ? dir + usual : named;
  };
  ConverterFiles files;
  files.output = pick(given.output, kOutputName);
  files.templatePackage = pick(given.templatePackage, kTemplateName);
  files.dataPsp = pick(given.dataPsp, kDataPspName);
  files.boot = pick(given.boot, kBootName);
  for (size_t i = 0; i < kAssetNames.size(); ++i)
    files.assets[i] = pick(given.assets[i], kAssetNames[i]);
  for (size_t disc = 1; disc <= kMaxDiscs; ++disc)
    files.tocs[disc - 1] = pick(given.tocs[disc - 1], TocFileName(disc));
  return files;
}

std::string WriteEboot(const std::string& folder, const ConverterArgs& args,
                       const WriteOptions& options) {
  auto say = [&](const std::string& line) {
    if (options.say) options.say(line);
  };
  Plan plan;
  plan.files = ResolveConverterFiles(folder, args.files);
  File base;
  if (std::string e = Prepare(args, base, plan); !e.empty()) return e;
  for (DiscInput& disc : plan.discs) disc.threads = options.threads;

  const std::string& outPath = plan.files.output;
  PartialOutput output(outPath);
  File& out = output.file;
  if (!out.Open(outPath, File::Mode::Write))
    return "Cannot write " + std::string(kOutputName) + " as " + outPath + ": " + out.LastError();

  for (size_t i = 0; i < plan.discs.size(); ++i) {
    const std::string& image = plan.discs[i].imagePath;
    say((plan.discs.size() > 1 ? "Disc " + std::to_string(i + 1) + ": " : "Image: ") + image +
        " (" + std::to_string(FileSize(image).value_or(0)) + " bytes)");
  }
  say("Writing " + std::string(kOutputName) + " for " + args.gameId + " at compression level " +
      std::to_string(args.level) + "...");
  if (std::string e = WriteSections(plan, base, out); !e.empty()) return e;

  uint32_t blocks = 0;
  if (std::string e = WriteDiscs(plan, out, say, blocks); !e.empty()) return e;

  if (std::string e = WriteStartDat(plan, base, out); !e.empty()) return e;
  if (out.Tell() >= kMaxPackageBytes) return TooLarge();
  if (!out.Close()) return "Cannot write " + std::string(kOutputName) + ": " + out.LastError();
  output.Keep();
  say(std::string(kOutputName) + ": " + std::to_string(FileSize(outPath).value_or(0)) + " bytes, " +
      std::to_string(blocks) + " blocks");
  return {};
}

}  // namespace ebf::tarnwick
