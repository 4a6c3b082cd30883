#include "engine/image_prep.h"

#include <array>
#include <cmath>
#include <optional>
#include <vector>

#include "common/async_writer.h"
#include "common/bytes.h"
#include "common/cancel.h"
#include "common/file_io.h"
#include "common/files.h"

namespace ebf {
namespace {

constexpr uint64_t kIsoSector = 2048;
constexpr uint64_t kRawSector = 2352;
constexpr uint64_t kSubSector = 2448;
constexpr uint64_t kPumpEvery = 512;

// Sectors are copied in runs of this many; the interface is serviced every 512.
constexpr uint64_t kBatch = 512;

std::string Failure(const std::string& what, const File& f) {
  return what + " " + f.path() + (f.LastError().empty() ? "" : " (" + f.LastError() + ")");
}

// Shared loop of both preparations: `fill` turns sector i of the run into 2352 bytes.
template <typename Fill>
std::string CopySectors(File& in, const std::string& outPath, uint64_t count, const char* caption,
                        PrepProgress p, std::size_t inUnit, Fill fill) {
  if (p.logMode) {
    p.host.Log(std::string("\r\n  ") + caption + " ");
  } else {
    p.host.SetCaption(caption);
  }
  p.host.SetFraction(0);
  File out(outPath, File::Mode::Write);
  if (!out) return Failure("The prepared image could not be written:", out);
  // Writing runs on a second thread, so the file system's copying overlaps our reading.
  std::optional<AsyncWriter> writer(std::in_place, out, kBatch * kRawSector);

  std::vector<uint8_t> inBuf(kBatch * inUnit), outBuf(kBatch * kRawSector);
  uint64_t done = 0;
  while (done < count) {
    uint64_t n = std::min<uint64_t>(kBatch, count - done);
    std::size_t got = in.Read(std::span<uint8_t>(inBuf.data(), n * inUnit));
    if (got < n * inUnit) {
      if (!in.LastError().empty()) {
        writer.reset();
        out.Close();
        DeleteFileIfExists(outPath);
        return Failure("The image could not be read:", in);
      }
      std::fill(inBuf.begin() + static_cast<std::ptrdiff_t>(got), inBuf.end(), 0);
    }
    for (uint64_t i = 0; i < n; ++i)
      fill(done + i, inBuf.data() + i * inUnit, outBuf.data() + i * kRawSector);
    if (!writer->Write(std::span<const uint8_t>(outBuf.data(), n * kRawSector))) {
      std::string err =
          "The prepared image could not be written: " + outPath + " (" + writer->TakeError() + ")";
      writer.reset();
      out.Close();
      DeleteFileIfExists(outPath);
      return err;
    }
    uint64_t before = done;
    done += n;
    if (done / kPumpEvery != before / kPumpEvery || done == count) {
      p.host.PumpEvents();
      if (TakeCancelRequest()) {
        writer.reset();
        out.Close();
        DeleteFileIfExists(outPath);
        return "Cancelled.";
      }
      p.host.SetFraction(static_cast<double>(done) / static_cast<double>(count));
    }
  }
  const bool flushed = writer->Flush();
  const std::string writeError = writer->TakeError();
  writer.reset();
  if (!flushed || !out.Close()) {
    DeleteFileIfExists(outPath);
    return "The prepared image could not be written: " + outPath + " (" +
           (writeError.empty() ? out.LastError() : writeError) + ")";
  }
  if (p.logMode) p.host.Log("Done");
  return "Success.";
}

}  // namespace

ImagePrep ChooseImagePrep(const std::string& imagePath, bool addIsoPadding) {
  File f(imagePath, File::Mode::Read);
  if (!f) return ImagePrep::AsIs;
  const uint64_t len = f.Size();
  std::array<uint8_t, 4> head{};
  if (len % kSubSector == 0 && len > kSubSector + 4) {
    if (f.Seek(kSubSector) && f.ReadExact(head) && head[0] == 0x00 && head[1] == 0xFF &&
        head[2] == 0xFF && head[3] == 0xFF)
      return ImagePrep::StripSubchannel;
  }
  if (len % kSubSector != 0 && len % kIsoSector == 0 && addIsoPadding && len >= 4) {
    if (f.Seek(0) && f.ReadExact(head) && head == std::array<uint8_t, 4>{0, 0, 0, 0})
      return ImagePrep::IsoPadding;
  }
  return ImagePrep::AsIs;
}

std::string PadIsoToRaw(const std::string& isoPath, const std::string& outPath, PrepProgress p) {
  DeleteFileIfExists(outPath);
  File in(isoPath, File::Mode::Read);
  if (!in) return Failure("The image could not be read:", in);
  // Rounded to the nearest whole sector, ties to even; a short last sector reads as zeros.
  const uint64_t count =
      static_cast<uint64_t>(std::nearbyint(static_cast<double>(in.Size()) / kIsoSector));
  return CopySectors(in, outPath, count, "Adding RAW padding...", p, kIsoSector,
                     [](uint64_t i, const uint8_t* src, uint8_t* dst) {
                       // Deliberate layout: sync, BCD address, mode 2, the user data at
                       // offset 16, and no subheader, EDC or ECC.
                       dst[0] = 0;
                       std::fill(dst + 1, dst + 11, 0xFF);
                       dst[11] = 0;
                       std::fill(dst + 16 + kIsoSector, dst + kRawSector, 0);
                       const uint64_t a = i + 150;
                       dst[12] = ToBcd(static_cast<uint16_t>(a / 4500));
                       dst[13] = ToBcd(static_cast<uint16_t>(a / 75 % 60));
                       dst[14] = ToBcd(static_cast<uint16_t>(a % 75));
                       dst[15] = 0x02;
                       std::copy(src, src + kIsoSector, dst + 16);
                     });
}

std::string StripSubchannel(const std::string& imagePath, const std::string& outPath,
                            PrepProgress p) {
  DeleteFileIfExists(outPath);
  File in(imagePath, File::Mode::Read);
  if (!in) return Failure("The image could not be read:", in);
  const uint64_t count = in.Size() / kSubSector;
  return CopySectors(
      in, outPath, count, "Extracting RAW Image...", p, kSubSector,
      [](uint64_t, const uint8_t* src, uint8_t* dst) { std::copy(src, src + kRawSector, dst); });
}

uint64_t ExpectedEbootSize(const std::string& imagePath, const std::string assetPaths[5],
                           const std::string& basePbpPath, const std::string& gamebootPath) {
  uint64_t total = FileSize(imagePath).value_or(0);
  for (int i = 0; i < 5; ++i) total += FileSize(assetPaths[i]).value_or(0);
  total += FileSize(basePbpPath).value_or(0);
  total += FileSize(gamebootPath).value_or(0);
  return total + 28;
}

std::string CheckFreeSpace(const std::string& outputFolder, uint64_t expectedSize,
                           const FreeSpaceSource& freeSpace) {
  auto available = freeSpace ? freeSpace(outputFolder) : FreeSpace(outputFolder);
  if (available && expectedSize > *available) return kMsgNotEnoughSpace;
  return "";
}

}  // namespace ebf
