// Picture and manual commands: `png` converts any picture the way an asset slot does,
// `doc make` and `doc extract` write and take apart DOCUMENT.DAT files.

#include <iostream>
#include <regex>

#include "assets/convert.h"
#include "cli/registry.h"
#include "common/files.h"
#include "docmaker/document_dat.h"
#include "imaging/dib.h"
#include "imaging/png_writer.h"

namespace ebf::cli {
namespace {

struct PngOptions {
  std::string input, output, size;
  int mode = 0;
  bool centre = false;
};

int RunPng(const PngOptions& o) {
  std::smatch m;
  const std::regex sizePattern("([0-9]{1,5})x([0-9]{1,5})");
  if (!std::regex_match(o.size, m, sizePattern)) {
    std::cerr << "--size must be WIDTHxHEIGHT, for example 480x272\n";
    return 2;
  }
  const int w = std::stoi(m[1]), h = std::stoi(m[2]);
  if (w < 1 || h < 1 || w > 16384 || h > 16384) {
    std::cerr << "--size sides must lie between 1 and 16384\n";
    return 2;
  }
  c32bppDIB image;
  Surface surface(w, h);
  const DrawnSize drawn = DrawScaledPicture(o.input, surface, image, static_cast<int16_t>(w),
                                            static_cast<int16_t>(h), o.mode, o.centre, 0, 0);
  if (!image.IsLoaded()) {
    std::cerr << "Could not read a picture from " << o.input << "\n";
    return 1;
  }
  const int saveW = static_cast<int>(std::min<int64_t>(drawn.width, w));
  const int saveH = static_cast<int>(std::min<int64_t>(drawn.height, h));
  if (!WritePngFromDrawingContext(surface, o.output, saveW, saveH)) {
    std::cerr << "Could not write " << o.output << "\n";
    return 1;
  }
  std::cout << o.output << ": " << saveW << "x" << saveH << "\n";
  return 0;
}

CommandRegistrar pngCommand(60, [](CLI::App& app, CliContext& ctx) {
  auto opts = std::make_shared<PngOptions>();
  auto* cmd = app.add_subcommand("png", "Convert a picture to a PNG as an asset slot does");
  cmd->add_option("INPUT", opts->input, "Picture (PNG, BMP, GIF, JPEG, ICO, CUR)")->required();
  cmd->add_option("OUTPUT", opts->output, "PNG to write")->required();
  cmd->add_option("--size", opts->size, "Target size WIDTHxHEIGHT")->required();
  cmd->add_option("--mode", opts->mode, "0 original, 1 fill, 2 stretch, 3 fit")
      ->check(CLI::Range(0, 3));
  cmd->add_flag("--centre", opts->centre, "Centre on a black background");
  cmd->callback([opts, &ctx] { ctx.exitCode = RunPng(*opts); });
});

struct DocOptions {
  std::string output, id, datPath, folder;
  std::vector<std::string> pages;
};

CommandRegistrar docCommand(61, [](CLI::App& app, CliContext& ctx) {
  auto opts = std::make_shared<DocOptions>();
  auto* doc = app.add_subcommand("doc", "Write or take apart a DOCUMENT.DAT manual");
  doc->require_subcommand(1);

  auto* make = doc->add_subcommand("make", "Write a DOCUMENT.DAT from page pictures");
  make->add_option("OUTPUT", opts->output, "DOCUMENT.DAT to write")->required();
  make->add_option("--id", opts->id, "Game ID, 9 characters (ABCD12345)")->required();
  make->add_option("PAGE", opts->pages, "Page pictures in order")->required();
  make->callback([opts, &ctx] {
    if (opts->id.size() != 9) {
      std::cerr << "Please enter a valid Game ID (must be 9 characters according to tarnwick)!\n";
      ctx.exitCode = kExitFailed;
      return;
    }
    DocResult r = WriteDocumentDat(ctx.folders, opts->output, opts->id.substr(0, 4),
                                   opts->id.substr(4), opts->pages, *ctx.host);
    if (r.outcome != DocOutcome::Done) {
      std::cerr << (r.message.empty() ? "Cancelled." : r.message) << "\n";
      ctx.exitCode = 1;
      return;
    }
    std::cout << opts->output << ": " << r.pagesStored << " of " << opts->pages.size()
              << " pages stored\n";
  });

  auto* extract = doc->add_subcommand("extract", "Write the pages of a DOCUMENT.DAT as PNG files");
  extract->add_option("DOCUMENT.DAT", opts->datPath, "Manual to read")->required();
  extract->add_option("FOLDER", opts->folder, "Folder for the pages")->required();
  extract->callback([opts, &ctx] {
    if (!IsDirectory(opts->folder)) MakeFolders(opts->folder);
    DocResult r = ExtractDocumentDat(opts->datPath, opts->folder, *ctx.host);
    if (r.outcome != DocOutcome::Done) {
      std::cerr << (r.message.empty() ? "Cancelled." : r.message) << "\n";
      ctx.exitCode = 1;
      return;
    }
    std::cout << r.pagesStored << " pages written to " << opts->folder << "\n";
  });
});

}  // namespace
}  // namespace ebf::cli
