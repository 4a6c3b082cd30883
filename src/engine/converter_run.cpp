#include "engine/converter_run.h"

#include <cctype>
#include <thread>
#include <vector>

#include "common/files.h"
#include "engine/process.h"
#include "pbp/toc.h"

namespace ebf {

std::string StageConverterFiles(const ProgramFolders& folders, const std::string& outputFolder,
                                const AssetPaths& assets) {
  std::string err;
  auto copy = [&](const std::string& from, const std::string& to) {
    if (!err.empty()) return;
    std::string why;
    if (!CopyFileTo(from, to, &why))
      err = "Could not copy " + from + " to " + to + " (" + why + ")";
  };
  copy(ResolveCaseBlind(folders.converter), outputFolder + kConverterName);
  for (int i = 0; i < kAssetCount; ++i) {
    const std::string staged = outputFolder + kStagedAssetNames[i];
    if (assets[i] != staged) copy(assets[i], staged);
  }
  TempFolder(folders.work);
  const std::string dataPsp = FindRuntimeFile(folders, "Data/DATA.PSP");
  if (FileExists(dataPsp)) copy(dataPsp, outputFolder + "DATA.PSP");
  copy(FindRuntimeFile(folders, "Data/BASE.PBP"), outputFolder + "BASE.PBP");
  return err;
}

std::vector<std::string> StagedFilePaths(const std::string& outputFolder,
                                         const AssetPaths& assets) {
  std::vector<std::string> paths = {outputFolder + kConverterName, outputFolder + "BASE.PBP",
                                    outputFolder + "DATA.PSP"};
  for (int i = 0; i < kAssetCount; ++i) {
    const std::string staged = outputFolder + kStagedAssetNames[i];
    if (assets[i] != staged) paths.push_back(staged);
  }
  return paths;
}

std::string TempImageName(const std::string& stem, const std::string& extension, int disc) {
  return stem + (disc <= 1 ? std::string() : std::to_string(disc)) + extension;
}

bool IsRunFileName(const std::string& name) {
  // A rebuilt package under its temporary name: "<name>.PBP.part".
  std::string upper;
  for (char c : name)
    upper.push_back(static_cast<char>(std::toupper(static_cast<unsigned char>(c))));
  if (upper.size() > 9 && upper.compare(upper.size() - 9, 9, ".PBP.PART") == 0) return true;
  // The LibCrypt data for emulators under its temporary name: "EBOOT.sbi.part".
  if (upper.size() > 9 && upper.compare(upper.size() - 9, 9, ".SBI.PART") == 0) return true;
  for (const char* n : {kConverterName, "BASE.PBP", "DATA.PSP", kPartialPackageName})
    if (name == n) return true;
  for (int disc = 1; disc <= kMaxPackageDiscs; ++disc)
    if (name == pbp::DiscTocFileName(disc)) return true;
  for (const char* n : kStagedAssetNames)
    if (name == n) return true;
  return false;
}

void RemoveStagedFiles(const std::string& outputFolder, const AssetPaths& assets) {
  for (const char* name : {kConverterName, "BASE.PBP", "DATA.PSP"})
    DeleteFileIfExists(outputFolder + name);
  for (int i = 0; i < kAssetCount; ++i) {
    const std::string staged = outputFolder + kStagedAssetNames[i];
    if (assets[i] != staged) DeleteFileIfExists(staged);
  }
  for (int disc = 1; disc <= kMaxPackageDiscs; ++disc)
    DeleteFileIfExists(outputFolder + pbp::DiscTocFileName(disc));
}

std::vector<std::string> ConverterArguments(const ConverterRunOptions& o) {
  const std::string converter = o.outputFolder + kConverterName;
  const std::string level = std::to_string(o.level);
  std::vector<std::string> args;
  if (o.title.find('"') == std::string::npos) {
    args = {converter, o.title, o.gameId, level, o.inputPath};
  } else {
    // The title has always gone to the converter in quotes with nothing escaped, so a quote
    // inside it ends the quoted part: the converter reads the words as the quotes group them.
    args = {converter};
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
  const std::string eboot = o.outputFolder + o.outputName;
  // A compressed result has no foreseeable size: only the bytes written can be shown.
  const uint64_t total = o.level > 0 ? 0 : o.expectedSize;
  uint64_t imageBytes = FileSize(o.inputPath).value_or(0);
  for (const ConverterRunOptions::LaterDisc& disc : o.laterDiscs)
    imageBytes += FileSize(disc.inputPath).value_or(0);
  Stage stage(progress, "Converting to EBOOT...", 1.0, imageBytes);
  stage.Advance(0, total);

  ChildProcess child;
  std::vector<std::string> env;
  if (o.outputName != "EBOOT.PBP") env.push_back("TARNWICK_OUTPUT=" + o.outputName);
  switch (child.Start(ConverterArguments(o), o.outputFolder, env)) {
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
  // Ctrl+C in a terminal reaches the converter too, which then ends on its own: still a
  // cancel, not a converter that failed.
  if (cancel.Take()) {
    DeleteFileIfExists(eboot);
    return Outcome::Cancelled();
  }
  // The run is over whatever the converter says; its verdict comes next.
  stage.Done();
  std::this_thread::sleep_for(o.pollInterval);

  if (!ConverterSucceeded(child.output()))
    return Outcome::Failed(std::string(kMsgConversionError) + "\r\n\r\n" + child.output());
  return Outcome::Success();
}

}  // namespace ebf
