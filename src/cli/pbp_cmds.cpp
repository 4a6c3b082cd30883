// `info` and `extract`: what a package holds, and its disc image back out.

#include <cstdio>
#include <iostream>
#include <map>
#include <sstream>

#include "cli/registry.h"
#include "cli/terminal_host.h"
#include "common/cancel.h"
#include "common/files.h"
#include "pbp/extract.h"
#include "pbp/info.h"
#include "pbp/toc.h"

namespace ebf::cli {
namespace {

constexpr int kExitCancelled = 130;

std::string JsonString(const std::string& s) {
  std::string out = "\"";
  for (unsigned char c : s) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (c < 0x20) {
          char buf[8];
          std::snprintf(buf, sizeof buf, "\\u%04x", c);
          out += buf;
        } else {
          out += static_cast<char>(c);
        }
    }
  }
  return out + "\"";
}

void PrintJson(const pbp::EbootInfo& info) {
  std::ostringstream o;
  o << "{\n  \"title\": " << JsonString(info.title)
    << ",\n  \"gameId\": " << JsonString(info.gameId)
    << ",\n  \"saveName\": " << JsonString(info.saveName) << ",\n  \"fileSize\": " << info.fileSize
    << ",\n  \"sections\": [\n";
  for (int i = 0; i < pbp::kSectionCount; ++i) {
    o << "    {\"name\": " << JsonString(pbp::kSectionNames[i])
      << ", \"offset\": " << info.header.offsets[i] << ", \"size\": " << info.sectionSizes[i] << "}"
      << (i + 1 < pbp::kSectionCount ? "," : "") << "\n";
  }
  o << "  ],\n  \"discImageProblem\": " << JsonString(info.discImageProblem)
    << ",\n  \"blocks\": " << info.blocks << ",\n  \"compressedBlocks\": " << info.compressedBlocks
    << ",\n  \"bootPictureSize\": " << info.bootPngSize << ",\n  \"tracks\": [\n";
  for (std::size_t i = 0; i < info.tracks.size(); ++i) {
    const auto& t = info.tracks[i];
    o << "    {\"number\": " << t.number << ", \"type\": \"" << (t.data ? "data" : "audio")
      << "\", \"start\": \"" << pbp::FormatMsf(t.minute, t.second, t.frame) << "\"}"
      << (i + 1 < info.tracks.size() ? "," : "") << "\n";
  }
  o << "  ]\n}\n";
  std::cout << o.str();
}

void PrintText(const pbp::EbootInfo& info) {
  std::cout << "Title:     " << info.title << "\n"
            << "Game ID:   " << info.gameId << "\n"
            << "Save name: " << info.saveName << "\n\n"
            << "Section      Offset        Size\n";
  for (int i = 0; i < pbp::kSectionCount; ++i) {
    char line[96];
    std::snprintf(line, sizeof line, "%-10s %10llu  %10llu\n", pbp::kSectionNames[i],
                  static_cast<unsigned long long>(info.header.offsets[i]),
                  static_cast<unsigned long long>(info.sectionSizes[i]));
    std::cout << line;
  }
  if (info.discImageProblem.empty())
    std::cout << "\nDisc blocks: " << info.blocks << " (" << info.compressedBlocks
              << " compressed)";
  else
    std::cout << "\nDisc image: " << info.discImageProblem;
  std::cout << "\nBoot picture: " << info.bootPngSize << " bytes\n\nTracks:\n";
  for (const auto& t : info.tracks) {
    char line[64];
    std::snprintf(line, sizeof line, "  %2d  %-5s  %s\n", t.number, t.data ? "data" : "audio",
                  pbp::FormatMsf(t.minute, t.second, t.frame).c_str());
    std::cout << line;
  }
}

struct InfoArgs {
  std::string path;
  bool json = false;
};

struct ExtractArgs {
  std::string path, output, toc;
};

CommandRegistrar infoCommand(40, [](CLI::App& app, CliContext& ctx) {
  static InfoArgs args;
  auto* cmd = app.add_subcommand("info", "Show what an EBOOT.PBP holds");
  cmd->add_option("EBOOT", args.path, "The package")->required();
  cmd->add_flag("--json", args.json, "Print JSON");
  cmd->callback([&ctx] {
    pbp::EbootInfo info;
    std::string err = pbp::ReadEbootInfo(args.path, info);
    if (!err.empty()) {
      std::cerr << err << "\n";
      ctx.exitCode = 1;
      return;
    }
    if (args.json)
      PrintJson(info);
    else
      PrintText(info);
  });
});

CommandRegistrar extractCommand(41, [](CLI::App& app, CliContext& ctx) {
  static ExtractArgs args;
  auto* cmd = app.add_subcommand("extract", "Take the disc image out of an EBOOT.PBP");
  cmd->add_option("EBOOT", args.path, "The package")->required();
  cmd->add_option("OUTPUT", args.output, "The raw disc image to write")->required();
  cmd->add_option("--toc", args.toc, "TOC output: none, toc or ccd (default: the setting)")
      ->check(CLI::IsMember({"none", "toc", "ccd"}));
  cmd->add_option("--ini", ctx.iniPath, "Settings file to read (default: the program's own)");
  cmd->callback([&ctx] {
    LoadCliSettings(ctx);
    static const std::map<std::string, int> tocModes = {
        {"none", pbp::kTocNone}, {"toc", pbp::kTocFile}, {"ccd", pbp::kTocCcd}};
    int toc = args.toc.empty() ? ctx.settings.ebootTocExtract : tocModes.at(args.toc);
    if (std::string question = pbp::CcdOverwriteQuestion(args.output);
        !question.empty() && !ctx.host->AskYesNo(question, false, MsgIcon::Exclamation)) {
      std::cerr << "Not overwriting " << pbp::CcdFilePath(args.output) << " (use --yes).\n";
      ctx.exitCode = 1;
      return;
    }
    CancelRequested = false;
    std::string result = pbp::ExtractDiscImage(args.path, args.output, false, toc, *ctx.host);
    if (auto* terminal = dynamic_cast<TerminalHost*>(ctx.host)) terminal->FinishLine();
    if (result == "Success.") {
      std::cout << pbp::kExtractDone << "\n";
    } else if (result == "Cancelled.") {
      std::cerr << "\nCancelled.\n";
      ctx.exitCode = kExitCancelled;
    } else {
      if (!result.empty()) std::cerr << "\n" << result << "\n";
      ctx.exitCode = 1;
    }
  });
});

}  // namespace
}  // namespace ebf::cli
