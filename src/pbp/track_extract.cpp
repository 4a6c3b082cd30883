#include "pbp/track_extract.h"

#include <algorithm>
#include <filesystem>

#include "common/bytes.h"
#include "common/files.h"
#include "common/staged_files.h"
#include "common/text.h"
#include "pbp/extract.h"
#include "pbp/package_tracks.h"

namespace ebf::pbp {
namespace {

constexpr std::size_t kModeByte = 15;  // after the 12-byte sync and the 3-byte address

std::string SetStem(const std::string& output) {
  std::string lower = output;
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  for (const char* ext : {".cue", ".bin"})
    if (lower.size() > 4 && lower.compare(lower.size() - 4, 4, ext) == 0)
      return output.substr(0, output.size() - 4);
  return output;
}

// Reads `length` bytes at `offset` of a written file; false when it cannot.
bool ReadBack(const std::string& path, uint64_t offset, Bytes& out) {
  File f(path, File::Mode::Read);
  return f && f.Seek(offset) && f.ReadExact(out);
}

// The sheet's view of a written track: its data mode, or whether the audio starts with a
// pregap. Every track starts where its pregap does, but a package does not keep where INDEX
// 01 lies; an audio track after the first is given the two seconds of pregap that discs
// carry between tracks, silent or not.
bool Describe(const std::string& path, uint64_t offset, const PackageTrack& t, SheetTrack& s) {
  s.track = t;
  if (t.audio) {
    s.pregap = t.number > 1 && t.length > kPregapSectors;
    return true;
  }
  Bytes head(kModeByte + 1);
  if (!ReadBack(path, offset, head)) return false;
  s.mode = head[kModeByte] == 1 ? 1 : 2;
  return true;
}

}  // namespace

Outcome ExtractTracks(const std::string& ebootPath, const std::string& output, TrackFiles files,
                      Progress& progress, CancelToken& cancel, const std::string& noteFolder,
                      int discNumber, const ReplaceCheck& replace) {
  if (!FileExists(ebootPath) || IsDirectory(ebootPath)) return Outcome::Failed(kNoSuchFile);
  File in(ebootPath, File::Mode::Read);
  if (!in) return Outcome::Failed(kNoSuchFile);
  DiscImageLayout layout;
  if (std::string err = ReadDiscImageLayout(in, ebootPath, layout, false, discNumber); !err.empty())
    return Outcome::Failed(err);
  PackageDisc disc;
  if (std::string err = ReadPackageDisc(layout, disc); !err.empty()) return Outcome::Failed(err);

  const std::string stem = SetStem(output);
  const std::string folder = FolderOf(stem);
  const std::string name = FileNameOf(stem);
  const std::string cuePath = stem + ".cue";
  std::vector<std::string> binNames = files == TrackFiles::Split
                                          ? SplitTrackNames(name, disc.tracks.size())
                                          : std::vector<std::string>{name + ".bin"};
  for (const std::string& bin : binNames) {
    std::error_code ec;
    if (std::filesystem::equivalent(std::filesystem::u8path(ebootPath),
                                    std::filesystem::u8path(folder + bin), ec))
      return Outcome::Failed("The disc image cannot be written over the EBOOT it comes from (\"" +
                             folder + bin + "\").");
  }
  // The set's folder is made when missing (a set is often taken out into a folder of its
  // own) and removed again, when still empty, if the run does not succeed.
  struct MadeFolder {
    std::string path;
    bool keep = false;
    ~MadeFolder() {
      std::error_code ec;
      if (!path.empty() && !keep) std::filesystem::remove(std::filesystem::u8path(path), ec);
    }
  } made;
  const bool makeFolder = !folder.empty() && !IsDirectory(folder);
  const uint64_t required = uint64_t{disc.sectors} * kSectorSize;
  if (auto free = FreeSpace(cuePath); free && required > *free)
    return Outcome::Failed(OutOfSpaceText(required));

  StagedFiles staged(noteFolder);
  // Noted before it is made, so that a kill never leaves a folder no note names.
  if (makeFolder) staged.AddMadeFolder(folder);
  std::vector<SectorTarget> targets;
  if (files == TrackFiles::Split) {
    for (std::size_t i = 0; i < disc.tracks.size(); ++i)
      targets.push_back({staged.Add(folder + binNames[i]), disc.tracks[i].start,
                         disc.tracks[i].length, folder + binNames[i]});
  } else {
    targets.push_back({staged.Add(folder + binNames[0]), 0, disc.sectors, folder + binNames[0]});
  }
  const std::string cueTemp = staged.Add(cuePath);
  if (!staged.ConfirmReplacing(replace.questions)) return Outcome::Declined();
  if (replace.onlyAsk) return Outcome::Success();
  if (std::string err = staged.Note(); !err.empty()) return Outcome::Failed(err);
  if (makeFolder && MakeFolders(folder)) made.path = folder;

  Stage stage(progress, "Extracting tracks...");
  if (Outcome written = WriteSectors(ebootPath, layout, targets, progress, cancel);
      !written.succeeded())
    return written;

  std::vector<SheetTrack> sheet(disc.tracks.size());
  for (std::size_t i = 0; i < disc.tracks.size(); ++i) {
    const bool split = files == TrackFiles::Split;
    const std::string& path = split ? targets[i].path : targets[0].path;
    const uint64_t offset = split ? 0 : uint64_t{disc.tracks[i].start} * kSectorSize;
    if (!Describe(path, offset, disc.tracks[i], sheet[i]))
      return Outcome::Failed("Could not read back \"" + path + "\".");
  }
  const std::string text =
      files == TrackFiles::Split ? SplitSheet(sheet, binNames) : OneFileSheet(sheet, binNames[0]);
  {
    File cue(cueTemp, File::Mode::Write);
    if (!cue || !cue.Write(std::string_view(text)) || !cue.Close())
      return Outcome::Failed("Could not write \"" + cuePath + "\": " + cue.LastError());
  }
  if (std::string err = staged.Commit(); !err.empty()) return Outcome::Failed(err);
  made.keep = true;
  stage.Done();
  return Outcome::Success();
}

}  // namespace ebf::pbp
