#include "transfer/psp_copy.h"

#include <filesystem>
#include <vector>

#include "common/cancel.h"
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

std::string CopyEbootToPsp(const std::string& sourceFolder, const std::string& targetFolder,
                           Host& host) {
  const std::string source = WithTrailingSep(sourceFolder) + "EBOOT.PBP";
  if (!MakeFolders(targetFolder) || !IsDirectory(targetFolder)) return kMsgCouldNotCreateFolders;
  const std::string folder = WithTrailingSep(targetFolder);
  if (ConfirmOverwrite(host, folder, "EBOOT.PBP", source)) return "";
  if (folder + "EBOOT.PBP" == source) return "Success.";

  File in(source, File::Mode::Read);
  if (!in) return "The package could not be read: " + source + " (" + in.LastError() + ")";
  const uint64_t total = in.Size();
  const std::string partial = folder + "EBOOT.PBP.part";
  File out(partial, File::Mode::Write);
  if (!out) return "The package could not be written to the PSP: " + out.LastError();

  host.SetCaption("Copying to the PSP...");
  host.SetSizeText("Image Size: " + FormatSize(total));
  std::vector<uint8_t> buf(1 << 20);
  uint64_t done = 0;
  auto fail = [&](const std::string& why) {
    out.Close();
    DeleteFileIfExists(partial);
    return why;
  };
  for (;;) {
    std::size_t n = in.Read(buf);
    if (n == 0) break;
    if (!out.Write(std::span<const uint8_t>(buf.data(), n)))
      return fail("The package could not be written to the PSP: " + out.LastError());
    done += n;
    host.SetFraction(total ? static_cast<double>(done) / static_cast<double>(total) : 1.0);
    host.PumpEvents();
    if (TakeCancelRequest()) return fail("Cancelled.");
  }
  if (!in.LastError().empty()) return fail("The package could not be read: " + in.LastError());
  if (!out.Close()) return fail("The package could not be written to the PSP: " + out.LastError());
  std::error_code ec;
  std::filesystem::rename(std::filesystem::u8path(partial),
                          std::filesystem::u8path(folder + "EBOOT.PBP"), ec);
  if (ec) return fail("The package could not be written to the PSP: " + ec.message());
  return "Success.";
}

}  // namespace ebf
