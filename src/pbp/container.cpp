#include "pbp/container.h"

#include <cerrno>
#include <limits>
#include <vector>

#include "common/bytes.h"
#include "common/files.h"

namespace ebf::pbp {
namespace {

constexpr std::size_t kCopyBufferSize = 32768;
// The shrink test compares against one less than the buffer size (see the header).
constexpr uint64_t kShrinkThreshold = kCopyBufferSize - 1;

// Error numbers shown in the common error prompt, as the program has always shown them.
constexpr long kErrFileNotFound = 53;
constexpr long kErrDeviceIo = 57;

}  // namespace

uint64_t PbpHeader::SectionEnd(int i, uint64_t fileSize) const {
  uint64_t start = offsets[i];
  uint64_t end = i + 1 < kSectionCount ? offsets[i + 1] : fileSize;
  return end < start ? start : end;
}

uint64_t PbpHeader::SectionSize(int i, uint64_t fileSize) const {
  return SectionEnd(i, fileSize) - SectionStart(i);
}

std::array<uint8_t, kPbpHeaderSize> EncodePbpHeader(const PbpHeader& header) {
  std::array<uint8_t, kPbpHeaderSize> out{};
  StoreLe32(out.data() + kPbpMagicPos, header.magic);
  StoreLe32(out.data() + kPbpVersionPos, header.version);
  for (int i = 0; i < kSectionCount; ++i)
    StoreLe32(out.data() + OffsetFieldPos(static_cast<Section>(i)), header.offsets[i]);
  return out;
}

PbpHeader DecodePbpHeader(std::span<const uint8_t, kPbpHeaderSize> bytes) {
  PbpHeader h;
  h.magic = LoadLe32(bytes.data() + kPbpMagicPos);
  h.version = LoadLe32(bytes.data() + kPbpVersionPos);
  for (int i = 0; i < kSectionCount; ++i)
    h.offsets[i] = LoadLe32(bytes.data() + OffsetFieldPos(static_cast<Section>(i)));
  return h;
}

std::optional<PbpHeader> ReadPbpHeader(File& file) {
  std::array<uint8_t, kPbpHeaderSize> raw{};
  if (!file.Seek(0) || !file.ReadExact(raw)) return std::nullopt;
  return DecodePbpHeader(raw);
}

std::optional<PbpHeader> HeaderForLengths(
    const std::array<uint64_t, kLeadingSectionCount>& lengths) {
  PbpHeader h;
  uint64_t running = kPbpHeaderSize;
  h.offsets[0] = static_cast<uint32_t>(running);
  for (int i = 0; i < kLeadingSectionCount; ++i) {
    running += lengths[i];
    if (running > std::numeric_limits<uint32_t>::max()) return std::nullopt;
    h.offsets[i + 1] = static_cast<uint32_t>(running);
  }
  return h;
}

bool WritePbpHeader(File& out, const std::array<uint64_t, kLeadingSectionCount>& lengths) {
  auto header = HeaderForLengths(lengths);
  if (!header) return false;
  return out.Write(EncodePbpHeader(*header));
}

std::optional<uint32_t> ReadLe32At(File& file, uint64_t offset) {
  uint8_t raw[4];
  if (!file.Seek(offset) || !file.ReadExact(raw)) return std::nullopt;
  return LoadLe32(raw);
}

bool WriteLe32At(File& file, uint64_t offset, uint32_t value) {
  uint8_t raw[4];
  StoreLe32(raw, value);
  return file.Seek(offset) && file.Write(raw);
}

std::optional<uint64_t> FindStartData(File& file) {
  auto psar = ReadLe32At(file, kPsarOffsetPos);
  if (!psar) return std::nullopt;
  auto rel = ReadLe32At(file, uint64_t{*psar} + kPsarStartDataPos);
  if (!rel) return std::nullopt;
  return uint64_t{*psar} + *rel;
}

CopyOutcome ReadSectionToFile(uint64_t start, uint64_t end, const std::string& destPath,
                              File& source, Questions& questions) {
  DeleteFileIfExists(destPath);
  if (end <= start) {
    File empty(destPath, File::Mode::Write);
    if (!empty) {
      AskContinueAfterError(questions, empty.LastError(), kErrFileNotFound);
      return CopyOutcome::Stopped;
    }
    // An empty file too must be on the disk before the run goes on with it.
    if (!empty.Close() && !AskContinueAfterError(questions, empty.LastError(), kErrDeviceIo))
      return CopyOutcome::Stopped;
    return CopyOutcome::Done;
  }

  File dest(destPath, File::Mode::Write);
  if (!dest) {
    AskContinueAfterError(questions, dest.LastError(), kErrFileNotFound);
    return CopyOutcome::Stopped;
  }
  const uint64_t sourceSize = source.Size();
  std::vector<uint8_t> buf(kCopyBufferSize);
  std::size_t want = buf.size();
  uint64_t pos = start;
  while (pos < end) {
    if (pos + kShrinkThreshold > end) want = static_cast<std::size_t>(end - pos);
    // Past the end of the source there is nothing to copy; the file just ends there.
    if (pos >= sourceSize) break;
    std::size_t n = 0;
    if (source.Seek(pos)) n = source.Read(std::span<uint8_t>(buf.data(), want));
    if (n < want && pos + n < sourceSize) {
      if (!AskContinueAfterError(questions, source.LastError(), kErrDeviceIo))
        return CopyOutcome::Stopped;
    }
    if (n > 0 && !dest.Write(std::span<const uint8_t>(buf.data(), n))) {
      if (!AskContinueAfterError(questions, dest.LastError(), kErrDeviceIo))
        return CopyOutcome::Stopped;
    }
    pos += want;
  }
  if (!dest.Close()) {
    if (!AskContinueAfterError(questions, dest.LastError(), kErrDeviceIo))
      return CopyOutcome::Stopped;
  }
  return CopyOutcome::Done;
}

}  // namespace ebf::pbp
