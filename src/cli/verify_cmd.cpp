// `verify`: every block of a package read and checked, the figures of each track, and
// optionally the source disc and a DAT compared with them.

#include <cstdio>
#include <iostream>
#include <memory>

#include "cli/json_out.h"
#include "cli/registry.h"
#include "cli/terminal_host.h"
#include "common/cancel.h"
#include "engine/verify.h"

namespace ebf::cli {
namespace {

struct VerifyArgs {
  std::string path;
  VerifyOptions options;
};

const char* DigestKey(DigestCheck d) {
  switch (d) {
    case DigestCheck::Checked:
      return "checked";
    case DigestCheck::Absent:
      return "absent";
    case DigestCheck::Foreign:
      return "foreign";
  }
  return "";
}

void PrintVerifyJson(const VerifyReport& r, const VerifyOptions& o) {
  Json tracks = Json::array();
  for (const VerifiedTrack& t : r.tracks) {
    Json track = {{"number", t.number},
                  {"type", t.audio ? "audio" : "data"},
                  {"firstSector", t.firstSector},
                  {"size", t.size},
                  {"crc32", t.crc32},
                  {"md5", t.md5},
                  {"sha1", t.sha1}};
    if (r.discs > 1) track["disc"] = t.disc;
    tracks.push_back(track);
  }
  Json out = {{"ok", r.ok()},
              {"blocks", r.blocks},
              {"digests", DigestKey(r.digests)},
              {"digestText", DigestCheckText(r)},
              {"problems", r.problems},
              {"tracks", tracks}};
  if (r.discs > 1) out["discs"] = r.discs;
  if (r.againstChecked)
    out["against"] = {{"source", o.against}, {"equal", r.againstEqual}, {"text", r.againstText}};
  if (r.datChecked)
    out["dat"] = {{"file", o.dat},
                  {"matched", r.datMatched},
                  {"game", r.datGame},
                  {"differingTracks", r.datDiffering},
                  {"text", r.datText}};
  PrintJson(out);
}

void PrintVerifyText(const VerifyReport& r, const VerifyOptions& o) {
  std::cout << "Blocks: " << r.blocks << " read; " << DigestCheckText(r) << "\n";
  int disc = 0;
  for (const VerifiedTrack& t : r.tracks) {
    // A table a disc when several were checked.
    if (disc == 0 || (r.discs > 1 && t.disc != disc)) {
      disc = t.disc;
      std::cout << "\n";
      if (r.discs > 1) std::cout << "Disc " << disc << "\n";
      std::cout << "Track  Type         Size  CRC32     MD5                               SHA-1\n";
    }
    char line[160];
    std::snprintf(line, sizeof line, "%5d  %-5s %12llu  %s  %s  %s\n", t.number,
                  t.audio ? "audio" : "data", static_cast<unsigned long long>(t.size),
                  t.crc32.c_str(), t.md5.c_str(), t.sha1.c_str());
    std::cout << line;
  }
  if (r.againstChecked) std::cout << "\nAgainst " << o.against << ": " << r.againstText << "\n";
  if (r.datChecked) std::cout << "\nDAT: " << r.datText << "\n";
  if (!r.problems.empty()) {
    std::cout << "\nProblems:\n";
    for (const std::string& p : r.problems) std::cout << "  " << p << "\n";
  }
  std::cout << "\n"
            << (r.ok() ? "Verified: everything checked agrees." : "NOT verified: see above.")
            << "\n";
}

}  // namespace

void AddVerifyCommand(CLI::App& app, CliContext& ctx) {
  auto args = std::make_shared<VerifyArgs>();
  auto* cmd = app.add_subcommand(
      "verify",
      "Read every block of an EBOOT.PBP and print each track's size, CRC32, MD5 and SHA-1");
  cmd->add_option("EBOOT", args->path, "The package")->required();
  cmd->add_option("--disc", args->options.disc,
                  "Only this disc (from 1) of a package of several (default: every disc)")
      ->check(CLI::Range(1, 5));
  cmd->add_option(
      "--against", args->options.against,
      "Compare with the source disc (CUE, CCD/IMG, MDS/MDF, ISO/BIN) sector for sector");
  cmd->add_option("--dat", args->options.dat, "Look the tracks up in a Redump/No-Intro XML DAT");
  cmd->add_option("--ini", ctx.iniPath, "Settings file to read (default: the program's own)");
  cmd->callback([args, &ctx] {
    LoadCliSettings(ctx);
    VerifyReport r = VerifyPackage(args->path, args->options, *ctx.progress, *ctx.cancel);
    ctx.progress->FinishLine();
    if (!r.error.empty()) {
      std::cerr << r.error << "\n";
      ctx.exitCode = kExitFailed;
      return;
    }
    if (r.cancelled) {
      std::cerr << "\nCancelled.\n";
      ctx.exitCode = kExitCancelled;
      return;
    }
    if (ctx.json)
      PrintVerifyJson(r, args->options);
    else
      PrintVerifyText(r, args->options);
    ctx.exitCode = r.ok() ? kExitSuccess : kExitFailed;
  });
}

}  // namespace ebf::cli
