#include "engine/converter_run.h"

#include <cctype>
#include <thread>
#include <vector>

#include "common/files.h"
#include "engine/process.h"

namespace ebf {

std::string TempImageName(const std::string& stem, const std::string& extension, int disc) {
  return stem + (disc <= 1 ? std::string() : std::to_string(disc)) + extension;
}

bool IsRunFileName(const std::string& name) {
  std::string upper;
  for (char c : name)
    upper.push_back(static_cast<char>(std::toupper(static_cast<unsigned char>(c))));
  if (upper.size() > 9 && upper.compare(upper.size() - 9, 9, ".PBP.PART") == 0) return true;
  // The LibCrypt data for emulators under its temporary name: "EBOOT.sbi.part".
  return upper.size() > 9 && upper.compare(upper.size() - 9, 9, ".SBI.PART") == 0;
}

std::vector<std::string> ConverterArguments(const ConverterRunOptions& o) {
  static const char* const kAssetOptions[kAssetCount] = {"--icon0", "--icon1", "--pic0",
                                                         "--pic1",  "--snd0",  "--boot"};
  std::vector<std::string> args = {o.converter, "--output", o.output, "--template",
                                   o.templatePackage};
  args.insert(args.end(), {"--data-psp", o.dataPsp});
  for (int i = 0; i < kAssetCount; ++i) args.insert(args.end(), {kAssetOptions[i], o.assets[i]});
  if (!o.toc.empty()) args.insert(args.end(), {"--toc", o.toc});
  for (std::size_t i = 0; i < o.laterDiscs.size(); ++i)
    if (!o.laterDiscs[i].toc.empty())
      args.insert(args.end(), {"--toc" + std::to_string(i + 2), o.laterDiscs[i].toc});
  args.push_back("--");
  const std::string level = std::to_string(o.level);
  if (o.title.find('"') == std::string::npos) {
    args.insert(args.end(), {o.title, o.gameId, level, o.inputPath});
  } else {
    // The title has always gone to the converter in quotes with nothing escaped, so a quote
    // inside it ends the quoted part: the converter reads the words as the quotes group them.
    for (std::string& word : SplitQuotedWords("\"" + o.title + "\" " + o.gameId + " " + level +
                                              " \"" + o.inputPath + "\""))
      args.push_back(std::move(word));
  }
  for (const ConverterRunOptions::LaterDisc& disc : o.laterDiscs) {
    args.push_back(disc.gameId);
    args.push_back(disc.inputPath);
  }
  return args;
}

bool ConverterSucceeded(const std::string& output) {
  std::string tail = output.size() > 10 ? output.substr(output.size() - 10) : output;
  std::string kept;
  for (char c : tail)
    if (c != '\r' && c != '\n') kept.push_back(c);
  return kept.size() >= 5 && kept.compare(kept.size() - 5, 5, "Done.") == 0;
}

Outcome RunConverter(const ConverterRunOptions& o, Progress& progress, CancelToken& cancel) {
  const std::string& eboot = o.output;
  // A compressed result has no foreseeable size: only the bytes written can be shown.
  const uint64_t total = o.level > 0 ? 0 : o.expectedSize;
  uint64_t imageBytes = FileSize(o.inputPath).value_or(0);
  for (const ConverterRunOptions::LaterDisc& disc : o.laterDiscs)
    imageBytes += FileSize(disc.inputPath).value_or(0);
  Stage stage(progress, "Converting to EBOOT...", 1.0, imageBytes);
  stage.Advance(0, total);

  ChildProcess child;
  switch (child.Start(ConverterArguments(o), o.workFolder, {})) {
    case ChildProcess::StartError::Pipe:
      return Outcome::Failed(kMsgPipeError);
    case ChildProcess::StartError::Spawn:
      return Outcome::Failed(kMsgCouldNotStart);
    case ChildProcess::StartError::None:
      break;
  }

  int ticks = 0;
  bool readable = true;
  while (child.IsRunning()) {
    if (cancel.Take()) {
      child.Terminate();
      std::this_thread::sleep_for(o.pollInterval);
      DeleteFileIfExists(eboot);
      return Outcome::Cancelled();
    }
    std::this_thread::sleep_for(o.pollInterval);
    // Reading as we go keeps a talkative converter from ever filling the pipe.
    readable = child.Drain() && readable;
    if (++ticks == 5) {
      stage.Advance(FileSize(eboot).value_or(0), total);
      ticks = 0;
    }
  }
  // An unreadable pipe leaves the output short; the verdict below then reports the run as
  // failed with whatever was read, which is all the user can be told.
  if (!child.DrainToEnd() || !readable) progress.Log(kMsgPipeUnreadable);
  if (o.printed) *o.printed = child.output();
  // Ctrl+C in a terminal reaches the converter too, which then ends on its own: still a
  // cancel, not a converter that failed.
  if (cancel.Take()) {
    DeleteFileIfExists(eboot);
    return Outcome::Cancelled();
  }
  std::this_thread::sleep_for(o.pollInterval);
  if (!ConverterSucceeded(child.output()))
    return Outcome::Failed(std::string(kMsgConversionError) + "\r\n\r\n" + child.output());
  // What was written in all, however quickly the converter finished.
  stage.Advance(FileSize(eboot).value_or(0), total);
  stage.Done();
  return Outcome::Success();
}

}  // namespace ebf
