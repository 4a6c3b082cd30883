// CHD and ECM images and CD drives from the command line: what a CHD holds, a CHD or ECM
// written out as a raw image, the drives there are, and a disc ripped into BIN+CUE.
#include <cstdio>
#include <iostream>
#include <memory>

#include "cli/json_out.h"
#include "cli/registry.h"
#include "common/cancel.h"
#include "common/files.h"
#include "disc/chd/chd_cd_image.h"
#include "disc/chd/chd_to_bin.h"
#include "disc/ecm_reader.h"
#include "disc/rip/rip.h"

namespace ebf::cli {
namespace {

struct Args {
  std::string input, output, name;
  bool overwrite = false;
};

// Progress in the stage on the terminal; Ctrl+C cancels.
DiscJobHooks TerminalHooks(CliContext& ctx, Stage& stage) {
  DiscJobHooks hooks;
  hooks.cancel = ctx.cancel;
  hooks.progress = [&stage](uint64_t done, uint64_t total) {
    stage.Advance(total ? done : 1, total ? total : 1);
  };
  return hooks;
}

// "Games/Disc/" -> "Disc".
std::string FolderName(std::string folder) {
  folder = AbsolutePath(folder);
  while (folder.size() > 1 && IsSeparator(folder.back())) folder.pop_back();
  return FileNameOf(folder);
}

int Finish(const CliContext& ctx, const Outcome& result, const std::string& written) {
  if (result.succeeded()) {
    PrintResult(ctx, {{"written", written}}, "Written: " + written);
    return kExitSuccess;
  }
  std::cerr << result.text() << "\n";
  return result.kind() == OutcomeKind::Cancelled ? kExitCancelled : kExitFailed;
}

void PrintChdJson(const std::string& path, chd::ChdCdImage& image) {
  const chd::Header& h = image.file().header();
  Json codecs = Json::array(), tracks = Json::array();
  for (uint32_t c : h.compressors)
    if (c) codecs.push_back(chd::CodecName(c));
  for (const chd::CdTrackLayout& t : image.tracks())
    tracks.push_back({{"number", t.number},
                      {"type", t.type},
                      {"start", t.start},
                      {"index1", t.index1},
                      {"sectors", t.end - t.start},
                      {"pregap", t.pregap},
                      {"pregapStored", t.pregapStored}});
  PrintJson({{"file", path},
             {"version", h.version},
             {"hunks", h.hunkCount},
             {"hunkBytes", h.hunkBytes},
             {"compression", codecs},
             {"sectors", image.SectorCount()},
             {"tracks", tracks}});
}

void PrintChd(const std::string& path, CliContext& ctx) {
  chd::ChdCdImage image;
  std::string error = image.Open(path);
  if (!error.empty()) {
    std::cerr << error << "\n";
    ctx.exitCode = 1;
    return;
  }
  const chd::Header& h = image.file().header();
  if (ctx.json) return PrintChdJson(path, image);
  std::cout << "CHD version " << h.version << ", " << h.hunkCount << " hunks of " << h.hunkBytes
            << " bytes, compression:";
  std::string codecs;
  for (uint32_t c : h.compressors)
    if (c) codecs += " " + chd::CodecName(c);
  std::cout << (codecs.empty() ? " none" : codecs) << "\n";
  std::cout << "Sectors in disc order: " << image.SectorCount() << "\n";
  std::printf("%-6s %-15s %9s %9s %9s %s\n", "track", "type", "start", "index 1", "sectors",
              "pregap");
  for (const chd::CdTrackLayout& t : image.tracks())
    std::printf("%-6d %-15s %9u %9u %9u %u%s\n", t.number, t.type.c_str(), t.start, t.index1,
                t.end - t.start, t.pregap,
                t.pregap ? (t.pregapStored ? " (stored)" : " (not stored)") : "");
  std::fflush(stdout);
}

}  // namespace

void AddImageCommands(CLI::App& app, CliContext& ctx) {
  auto args = std::make_shared<Args>();

  auto* chd = app.add_subcommand("chd", "Show a CHD CD image's tracks, or write it out as BIN");
  chd->add_option("CHD", args->input, "CHD file (version 5, CD)")->required();
  chd->add_option("--bin", args->output, "Write the disc as one raw image of 2,352-byte sectors");
  chd->callback([args, &ctx] {
    if (args->output.empty()) return PrintChd(args->input, ctx);
    if (!MayReplace(ctx, args->output)) return;
    Stage stage(*ctx.progress, "Decoding " + FileNameOf(args->input));
    ctx.exitCode =
        Finish(ctx, chd::WriteChdAsBin(args->input, args->output, TerminalHooks(ctx, stage)),
               args->output);
  });

  auto* ecm = app.add_subcommand("ecm", "Decode an ECM file back to the original image");
  ecm->add_option("ECM", args->input, "ECM file")->required();
  ecm->add_option("-o,--output", args->output, "Output file (default: the name without .ecm)");
  ecm->callback([args, &ctx] {
    std::string out = args->output;
    if (out.empty()) {
      out = WithoutExtension(args->input);
      if (out == args->input) out += ".bin";
    }
    if (!MayReplace(ctx, out)) return;
    Stage stage(*ctx.progress, "Decoding " + FileNameOf(args->input));
    ctx.exitCode = Finish(ctx, DecodeEcmFile(args->input, out, TerminalHooks(ctx, stage)), out);
  });

  auto* drives = app.add_subcommand("drives", "List the CD drives");
  drives->callback([args, &ctx] {
    auto list = rip::ListDrives();
    if (list.empty()) {
      std::cerr << "No CD drive was found.\n";
      ctx.exitCode = 1;
      return;
    }
    std::string text;
    for (const std::string& d : list) text += d + "\n";
    PrintResult(ctx, {{"drives", list}}, text);
  });

  auto* ripCmd = app.add_subcommand("rip", "Rip the disc in a drive into BIN+CUE (Redump names)");
  ripCmd->add_option("DEVICE", args->input, "Drive (see `drives`), or a CUE sheet")->required();
  ripCmd->add_option("-o,--output", args->output, "Folder for the set")->required();
  ripCmd->add_option("--name", args->name, "Name of the files (default: the folder's name)");
  ripCmd->add_flag("--overwrite", args->overwrite, "Replace files of the same names");
  ripCmd->callback([args, &ctx] {
    rip::RipRequest request;
    request.source = args->input;
    request.folder = args->output;
    request.name = args->name.empty() ? FolderName(args->output) : args->name;
    request.overwrite = args->overwrite;
    rip::RipResult result;
    Stage stage(*ctx.progress, "Reading " + args->input);
    const Outcome message = rip::RipToBinCue(request, TerminalHooks(ctx, stage), &result);
    ctx.exitCode = Finish(ctx, message, result.cuePath);
  });
}

}  // namespace ebf::cli
