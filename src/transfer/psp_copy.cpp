#include "transfer/psp_copy.h"

#include <filesystem>
#include <vector>

#include "common/file_io.h"
#include "common/files.h"
#include "common/text.h"

namespace ebf {

bool IsOnPspGameFolder(const std::string& path, VolumeSource& volumes) {
  for (const RemovableVolume& v : volumes.List()) {
    std::string prefix = v.root;
    if (!prefix.empty() && IsSeparator(prefix.back())) prefix.pop_back();
    prefix += kSep + std::string("PSP") + kSep + "GAME" + kSep;
    if (path.size() <= prefix.size()) continue;
      // Windows compares the layout case-blind; POSIX names are exact.
#ifdef _WIN32
    if (!EqualsCaseBlind(path.substr(0, prefix.size()), prefix)) continue;
#else
    if (path.compare(0, prefix.size(), prefix) != 0) continue;
#endif
    const std::string rest = path.substr(prefix.size());
    bool nested = false;
    for (char c : rest) nested = nested || IsSeparator(c);
    if (!nested) return true;
  }
  return false;
}

std::string PspGameFolder(const std::string& volumeRoot, const std::string& title,
                          const std::string& gameId, int autoTransfer) {
  std::string root = volumeRoot;
  if (!root.empty() && IsSeparator(root.back())) root.pop_back();
  return root + kSep + "PSP" + kSep + "GAME" + kSep +
         (autoTransfer == 1 ? LeftChars(title, 31) : gameId);
}

Outcome CopyEbootToPsp(const std::string& sourceFolder, const std::string& targetFolder,
                       Progress& progress, Questions& questions, CancelToken& cancel) {
  const std::string source = WithTrailingSep(sourceFolder) + "EBOOT.PBP";
  if (!MakeFolders(targetFolder) || !IsDirectory(targetFolder))
    return Outcome::Failed(kMsgCouldNotCreateFolders);
  const std::string folder = WithTrailingSep(targetFolder);
  if (ConfirmOverwrite(questions, folder, "EBOOT.PBP", source)) return Outcome::Declined();
  if (folder + "EBOOT.PBP" == source) return Outcome::Success();

  File in(source, File::Mode::Read);
  if (!in)
    return Outcome::Failed("The package could not be read: " + source + " (" + in.LastError() +
                           ")");
  const uint64_t total = in.Size();
  const std::string partial = folder + "EBOOT.PBP.part";
  File out(partial, File::Mode::Write);
  if (!out)
    return Outcome::Failed("The package could not be written to the PSP: " + out.LastError());

  Stage stage(progress, "Copying to the PSP...", 1.0, total);
  std::vector<uint8_t> buf(1 << 20);
  uint64_t done = 0;
  auto fail = [&](Outcome why) {
    out.Close();
    DeleteFileIfExists(partial);
    return why;
  };
  for (;;) {
    std::size_t n = in.Read(buf);
    if (n == 0) break;
    if (!out.Write(std::span<const uint8_t>(buf.data(), n)))
      return fail(
          Outcome::Failed("The package could not be written to the PSP: " + out.LastError()));
    done += n;
    stage.Advance(done, total);
    if (cancel.Take()) return fail(Outcome::Cancelled());
  }
  if (!in.LastError().empty())
    return fail(Outcome::Failed("The package could not be read: " + in.LastError()));
  if (!out.Close())
    return fail(Outcome::Failed("The package could not be written to the PSP: " + out.LastError()));
  std::error_code ec;
  std::filesystem::rename(std::filesystem::u8path(partial),
                          std::filesystem::u8path(folder + "EBOOT.PBP"), ec);
  if (ec)
    return fail(Outcome::Failed("The package could not be written to the PSP: " + ec.message()));
  stage.Done();
  return Outcome::Success();
}

std::string CheckPspRoom(const std::string& volumeRoot, uint64_t bytes,
                         const VolumeFreeSpace& freeSpace) {
  const std::optional<uint64_t> free = freeSpace ? freeSpace(volumeRoot) : FreeSpace(volumeRoot);
  if (!free || bytes <= *free) return {};
  return "The PSP (" + volumeRoot + ") has " + FormatSize(*free) +
         " free; the packages may take up to " + FormatSize(bytes) + ".";
}

}  // namespace ebf
