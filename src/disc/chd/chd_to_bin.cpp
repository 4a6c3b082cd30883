#include "disc/chd/chd_to_bin.h"

#include <filesystem>
#include <system_error>
#include <vector>

#include "common/file_io.h"
#include "common/files.h"
#include "disc/chd/chd_cd_image.h"

namespace ebf::chd {

Outcome WriteChdAsBin(const std::string& chdPath, const std::string& binPath,
                      const DiscJobHooks& hooks) {
  ChdCdImage image;
  std::string error = image.Open(chdPath);
  if (!error.empty()) return Outcome::Failed(error);
  image.ExpectReadInOrder();
  const std::string temp = binPath + ".ebf-part";
  auto failWith = [&](Outcome why) {
    DeleteFileIfExists(temp);
    return why;
  };
  File out(temp, File::Mode::Write);
  if (!out)
    return failWith(
        Outcome::Failed("\"" + binPath + "\" could not be written: " + out.LastError()));
  constexpr uint32_t kChunk = 256;
  std::vector<uint8_t> buffer(std::size_t{kChunk} * kRawSectorSize);
  const uint32_t total = image.SectorCount();
  hooks.Report(0, total);
  for (uint32_t at = 0; at < total;) {
    if (hooks.Cancelled()) {
      out.Close();
      return failWith(Outcome::Cancelled());
    }
    const uint32_t n = std::min(kChunk, total - at);
    error = image.ReadSectors(at, n, buffer);
    if (error.empty() &&
        !out.Write(std::span<const uint8_t>(buffer.data(), std::size_t{n} * kRawSectorSize)))
      error = "\"" + binPath + "\" could not be written: " + out.LastError();
    if (!error.empty()) {
      out.Close();
      return failWith(Outcome::Failed(error));
    }
    at += n;
    hooks.Report(at, total);
  }
  error = image.VerifyWholeImage();
  if (!out.Close() && error.empty())
    error = "\"" + binPath + "\" could not be written: " + out.LastError();
  if (!error.empty()) return failWith(Outcome::Failed(error));
  std::error_code ec;
  std::filesystem::rename(std::filesystem::u8path(temp), std::filesystem::u8path(binPath), ec);
  if (ec)
    return failWith(Outcome::Failed("\"" + binPath + "\" could not be written: " + ec.message()));
  return Outcome::Success();
}

}  // namespace ebf::chd
