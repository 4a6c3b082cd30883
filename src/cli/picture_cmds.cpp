// Picture and manual commands: `png` makes a slot's PNG through the asset slots' own
// routine, `doc make` and `doc extract` write and take apart DOCUMENT.DAT files.

#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>

#include "assets/slot_file.h"
#include "cli/json_out.h"
#include "cli/registry.h"
#include "common/files.h"
#include "docmaker/document_dat.h"

namespace ebf::cli {
namespace {

struct PngOptions {
  std::string input, output, slot;
  std::optional<int> mode;
  bool centre = false, noCentre = false;
};

// The picture slots by the names the convert command gives them.
constexpr std::pair<const char*, int> kPictureSlots[] = {
    {"icon0", kSlotIcon0}, {"pic0", kSlotPic0}, {"pic1", kSlotPic1}, {"boot", kSlotGameboot}};

int RunPng(PngOptions o, CliContext& ctx) {
  LoadCliSettings(ctx);
  // The slot's rules are made for the full paths the window hands it: "p.jpg" typed in a
  // terminal is the same file as "./p.jpg".
  o.input = AbsolutePath(o.input);
  o.output = AbsolutePath(o.output);
  int slot = kSlotIcon0;
  for (const auto& [name, index] : kPictureSlots)
    if (o.slot == name) slot = index;
  // The PNG is drawn beside the output under a passing name and only then takes its place,
  // so a refused picture leaves an existing output as it was.
  const std::string part = o.output + ".part";
  const SlotTake take = TakeSlotFile(slot, o.input, part, o.mode.value_or(ctx.settings.imgResMode),
                                     o.centre || (!o.noCentre && ctx.settings.imgResCentre));
  if (!take.message.empty()) {
    DeleteFileIfExists(part);
    std::cerr << take.message << "\n";
    return 1;
  }
  std::error_code ec;
  if (take.converted) {
    std::filesystem::rename(std::filesystem::u8path(part), std::filesystem::u8path(o.output), ec);
  } else if (!std::filesystem::equivalent(std::filesystem::u8path(o.input),
                                          std::filesystem::u8path(o.output), ec)) {
    ec.clear();
    if (!CopyFileTo(o.input, o.output)) ec = std::make_error_code(std::errc::io_error);
  }
  if (ec) {
    DeleteFileIfExists(part);
    std::cerr << "Could not write " << o.output << "\n";
    return 1;
  }
  PrintResult(ctx, {{"output", o.output}, {"slot", o.slot}, {"converted", take.converted}},
              o.output + ": " +
                  (take.converted ? "converted as the " + o.slot + " slot converts it"
                                  : "taken as it is, as the " + o.slot + " slot takes it"));
  return 0;
}

}  // namespace

void AddPngCommand(CLI::App& app, CliContext& ctx) {
  auto opts = std::make_shared<PngOptions>();
  auto* cmd = app.add_subcommand(
      "png", "Make a slot's PNG from a picture as the asset slot does (or say why not)");
  cmd->add_option("INPUT", opts->input, "Picture (PNG, BMP, GIF, JPEG, ICO, CUR)")->required();
  cmd->add_option("OUTPUT", opts->output, "PNG to write")->required();
  std::vector<std::string> names;
  for (const auto& [name, index] : kPictureSlots) names.push_back(name);
  cmd->add_option("--slot", opts->slot, "The asset slot: icon0, pic0, pic1 or boot")
      ->required()
      ->check(CLI::IsMember(names));
  cmd->add_option("--mode", opts->mode,
                  "0 original, 1 fill, 2 stretch, 3 fit (default: the imgresmode setting)")
      ->check(CLI::Range(0, 3));
  auto* centre = cmd->add_flag("--centre", opts->centre,
                               "Centre on a black background (default: the imgrescentre setting)");
  cmd->add_flag("--no-centre", opts->noCentre, "Do not centre")->excludes(centre);
  cmd->add_option("--ini", ctx.iniPath, "Settings file to read (default: the program's own)");
  cmd->callback([opts, &ctx] { ctx.exitCode = RunPng(*opts, ctx); });
}

struct DocOptions {
  std::string output, id, datPath, folder;
  std::vector<std::string> pages;
};

void AddDocCommand(CLI::App& app, CliContext& ctx) {
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
    Stage stage(*ctx.progress, "Creating Documentation...");
    DocResult r = WriteDocumentDat(ctx.folders, opts->output, opts->id.substr(0, 4),
                                   opts->id.substr(4), opts->pages, *ctx.progress, *ctx.cancel);
    if (!r.outcome.succeeded()) {
      std::cerr << r.outcome.text() << "\n";
      ctx.exitCode = kExitFailed;
      return;
    }
    stage.Done();
    PrintResult(
        ctx,
        {{"output", opts->output}, {"pagesStored", r.pagesStored}, {"pages", opts->pages.size()}},
        opts->output + ": " + std::to_string(r.pagesStored) + " of " +
            std::to_string(opts->pages.size()) + " pages stored");
  });

  auto* extract = doc->add_subcommand("extract", "Write the pages of a DOCUMENT.DAT as PNG files");
  extract->add_option("DOCUMENT.DAT", opts->datPath, "Manual to read")->required();
  extract->add_option("FOLDER", opts->folder, "Folder for the pages")->required();
  extract->callback([opts, &ctx] {
    if (!IsDirectory(opts->folder)) MakeFolders(opts->folder);
    Stage stage(*ctx.progress, "Extracting DOCUMENT.DAT...");
    DocResult r = ExtractDocumentDat(opts->datPath, opts->folder, *ctx.progress, *ctx.cancel);
    if (!r.outcome.succeeded()) {
      std::cerr << r.outcome.text() << "\n";
      ctx.exitCode = kExitFailed;
      return;
    }
    stage.Done();
    PrintResult(ctx, {{"folder", opts->folder}, {"pagesWritten", r.pagesStored}},
                std::to_string(r.pagesStored) + " pages written to " + opts->folder);
  });
}

}  // namespace ebf::cli
