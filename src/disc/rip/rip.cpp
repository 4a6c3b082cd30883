#include "disc/rip/rip.h"

#include <cstdio>
#include <filesystem>
#include <system_error>

#include "common/cd_sector.h"
#include "common/file_io.h"
#include "common/files.h"

namespace ebf::rip {
namespace {

constexpr uint32_t kChunkSectors = 64;
const char* kPartSuffix = ".ebf-part";

std::string Msf(uint32_t sectors) {
  char text[16];
  std::snprintf(text, sizeof text, "%02u:%02u:%02u", sectors / 4500, sectors / 75 % 60,
                sectors % 75);
  return text;
}

}  // namespace

std::string TrackFileName(const std::string& name, int track, int trackCount) {
  if (trackCount == 1) return name + ".bin";
  char number[8];
  std::snprintf(number, sizeof number, trackCount >= 10 ? "%02d" : "%d", track);
  return name + " (Track " + number + ").bin";
}

std::string BuildRipCue(const std::string& name, const std::vector<DriveTrack>& tracks) {
  std::string cue;
  const int count = static_cast<int>(tracks.size());
  for (const DriveTrack& t : tracks) {
    char number[4];
    std::snprintf(number, sizeof number, "%02d", t.number);
    cue += "FILE \"" + TrackFileName(name, t.number, count) + "\" BINARY\r\n";
    cue += "  TRACK " + std::string(number) + " " + t.mode + "\r\n";
    if (t.start < t.index1) cue += "    INDEX 00 00:00:00\r\n";
    cue += "    INDEX 01 " + Msf(t.index1 - t.start) + "\r\n";
  }
  return cue;
}

Outcome RipToBinCue(const RipRequest& request, const DiscJobHooks& hooks, RipResult* result) {
  CdDrive drive;
  std::string error = drive.Open(request.source);
  if (!error.empty()) return Outcome::Failed(error);
  std::vector<DriveTrack> tracks;
  error = drive.ReadToc(tracks);
  if (!error.empty()) return Outcome::Failed(error);

  const int count = static_cast<int>(tracks.size());
  std::vector<std::string> finals;
  for (const DriveTrack& t : tracks)
    finals.push_back(JoinPath(request.folder, TrackFileName(request.name, t.number, count)));
  const std::string cuePath = JoinPath(request.folder, request.name + ".cue");
  finals.push_back(cuePath);
  if (!request.overwrite)
    for (const std::string& f : finals)
      if (FileExists(f)) return Outcome::Failed("\"" + f + "\" already exists.");
  if (!IsDirectory(request.folder) && !MakeFolders(request.folder) && !IsDirectory(request.folder))
    return Outcome::Failed("The folder \"" + request.folder + "\" could not be made.");

  std::vector<std::string> parts;
  auto failWith = [&](Outcome why) {
    for (const std::string& p : parts) DeleteFileIfExists(p);
    return why;
  };
  uint64_t total = 0, done = 0;
  for (const DriveTrack& t : tracks) total += t.end - t.start;
  hooks.Report(0, total);

  std::vector<uint8_t> buffer(std::size_t{kChunkSectors} * kRawSectorSize);
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    const DriveTrack& t = tracks[i];
    parts.push_back(finals[i] + kPartSuffix);
    File out(parts.back(), File::Mode::Write);
    if (!out)
      return failWith(
          Outcome::Failed("\"" + finals[i] + "\" could not be written: " + out.LastError()));
    for (uint32_t lsn = t.start; lsn < t.end;) {
      if (hooks.Cancelled()) {
        out.Close();
        return failWith(Outcome::Cancelled());
      }
      const uint32_t n = std::min(kChunkSectors, t.end - lsn);
      error = drive.ReadSectors(t, lsn, n, buffer.data());
      if (!error.empty()) {
        out.Close();
        return failWith(Outcome::Failed(error));
      }
      if (!out.Write(std::span<const uint8_t>(buffer.data(), std::size_t{n} * kRawSectorSize))) {
        std::string why = out.LastError();
        out.Close();
        return failWith(Outcome::Failed("\"" + finals[i] + "\" could not be written: " + why));
      }
      lsn += n;
      done += n;
      hooks.Report(done, total);
    }
    if (!out.Close())
      return failWith(
          Outcome::Failed("\"" + finals[i] + "\" could not be written: " + out.LastError()));
  }
  parts.push_back(cuePath + kPartSuffix);
  {
    File cue(parts.back(), File::Mode::Write);
    if (!cue || !cue.Write(BuildRipCue(request.name, tracks)) || !cue.Close())
      return failWith(
          Outcome::Failed("\"" + cuePath + "\" could not be written: " + cue.LastError()));
  }
  // Everything is on disk: the renames make the set appear.
  for (std::size_t i = 0; i < parts.size(); ++i) {
    std::error_code ec;
    std::filesystem::rename(std::filesystem::u8path(parts[i]), std::filesystem::u8path(finals[i]),
                            ec);
    if (ec) {
      for (std::size_t k = 0; k < i; ++k) DeleteFileIfExists(finals[k]);
      return failWith(
          Outcome::Failed("\"" + finals[i] + "\" could not be written: " + ec.message()));
    }
  }
  if (result) {
    result->cuePath = cuePath;
    result->binPaths.assign(finals.begin(), finals.end() - 1);
    result->sectors = total;
  }
  return Outcome::Success();
}

}  // namespace ebf::rip
