// patch: a disc image with patches applied, written as an image of its own, for users who
// want the patched disc itself. The disc is prepared as a conversion prepares it (a sheet's
// files joined, a CHD or ECM decoded); the patches get the checks a conversion gives them.
#include <filesystem>
#include <iostream>
#include <memory>

#include "cli/json_out.h"
#include "cli/registry.h"
#include "common/files.h"
#include "common/run_lock.h"
#include "common/text.h"
#include "engine/converter_run.h"
#include "engine/image_prep.h"
#include "engine/plan.h"
#include "patches/patch.h"
#include "pbp/toc.h"

namespace ebf::cli {
namespace {

struct PatchArgs {
  std::string image, output;
  std::vector<std::string> patches;
};

bool SameFile(const std::string& a, const std::string& b) {
  std::error_code ec;
  return std::filesystem::equivalent(std::filesystem::u8path(a), std::filesystem::u8path(b), ec);
}

Outcome PatchImage(CliContext& ctx, const PatchArgs& args, Json& applied) {
  if (std::string refused = NotAFileMessage(args.image); !refused.empty())
    return Outcome::Failed(refused);
  if (!FileExists(args.image)) return Outcome::Failed(kMsgInputMissing);
  if (SameFile(args.image, args.output))
    return Outcome::Failed(
        "The patched image cannot take the place of the image it is made "
        "from: name another file with -o.");
  std::vector<std::unique_ptr<patches::Patch>> opened;
  for (const std::string& path : args.patches) {
    if (!FileExists(path)) return Outcome::Failed("The patch \"" + path + "\" doesn't exist!");
    patches::OpenedPatch p = patches::OpenPatch(path);
    if (!p.outcome.succeeded()) return p.outcome;
    opened.push_back(std::move(p.patch));
  }
  const std::string out = AbsolutePath(args.output);
  if (ConfirmOverwrite(*ctx.questions, FolderOf(out), FileNameOf(out), ""))
    return Outcome::Declined();
  RunLock lock(ctx.folders.work, RunLockMode::Shared, kRunLockPatience);
  if (!lock.held()) return Outcome::Failed(RunLockBusyMessage(ctx.folders.work));
  const std::string temp = TempFolder(ctx.folders.work);
  const std::string work = temp + TempImageName("TempBIN", ".bin", 1);
  DiscPreparation prep = PrepareDiscImage(args.image, temp, work, ctx.settings.addIsoPadding, false,
                                          *ctx.progress, *ctx.cancel, pbp::DiscTocFileName(1));
  if (!prep.outcome.succeeded()) return prep.outcome;
  // Every patch but the last goes onto the work image; the last one writes the output.
  std::string source = prep.imagePath;
  for (std::size_t i = 0; i < opened.size(); ++i) {
    patches::Patch& patch = *opened[i];
    ctx.progress->Log("Patch " + FileNameOf(patch.path()) + " (" + patch.FormatName() + ")\n");
    for (const std::string& note : patch.Notes()) ctx.progress->Log("  " + note + "\n");
    const std::string target = i + 1 == opened.size() ? out : work;
    Outcome done = patches::ApplyPatchFile(patch, source, target, *ctx.progress, *ctx.cancel);
    if (!done.succeeded()) return done;
    applied.push_back({{"path", patch.path()}, {"format", patch.FormatName()}});
    source = target;
  }
  DeleteFileIfExists(work);
  return Outcome::Success();
}

}  // namespace

void AddPatchCommand(CLI::App& app, CliContext& ctx) {
  auto args = std::make_shared<PatchArgs>();
  auto* cmd = app.add_subcommand(
      "patch", "Apply patches (PPF, IPS, BPS, xdelta) to a disc image and write the patched image");
  cmd->add_option("IMAGE", args->image,
                  "The disc image, prepared as a conversion prepares it (BIN, IMG, ISO, or a "
                  "CUE, CCD, MDF, CHD or ECM disc)")
      ->required();
  cmd->add_option("PATCH", args->patches, "The patches, applied in order")->required();
  cmd->add_option("-o,--output", args->output, "The patched image to write")->required();
  cmd->add_option("--ini", ctx.iniPath, "Settings file to read (AddISOPadding)");
  cmd->callback([args, &ctx] {
    LoadCliSettings(ctx);
    Json applied = Json::array();
    const Outcome result = PatchImage(ctx, *args, applied);
    ctx.progress->FinishLine();
    switch (result.kind()) {
      case OutcomeKind::Success: {
        const std::string out = AbsolutePath(args->output);
        if (ctx.json)
          PrintJson({{"image", args->image},
                     {"patches", applied},
                     {"output", out},
                     {"size", FileSize(out).value_or(0)}});
        else
          std::cout << out << " (" << FormatSize(FileSize(out).value_or(0)) << ")\n";
        break;
      }
      case OutcomeKind::Cancelled:
        std::cerr << "Cancelled.\n";
        ctx.exitCode = kExitCancelled;
        break;
      case OutcomeKind::Declined:
        AnswerableRefusal(ctx);
        break;
      case OutcomeKind::Failed:
        std::cerr << ReplaceAll(result.text(), "\r\n", "\n") << "\n";
        ctx.exitCode = kExitFailed;
        break;
    }
  });
}

}  // namespace ebf::cli
