#include "pbp/inspect.h"

#include <array>
#include <cstring>

#include "common/ansi.h"
#include "common/bytes.h"
#include "common/files.h"
#include "pbp/disc_table.h"
#include "pbp/psar.h"
#include "pbp/sfo.h"

namespace ebf::pbp {
namespace {

std::string Damaged(const std::string& path, const std::string& what) {
  return "The EBOOT \"" + path + "\" is damaged: " + what;
}

std::string SizeText(uint64_t n) {
  return std::to_string(n) + " bytes";
}

// Text of a zero-filled ANSI field, as far as the file holds it.
std::string ReadTextField(File& f, uint64_t offset, std::size_t size) {
  std::vector<uint8_t> buf(size);
  std::size_t got = f.Seek(offset) ? f.Read(buf) : 0;
  std::string raw(buf.begin(), buf.begin() + static_cast<std::ptrdiff_t>(got));
  if (auto nul = raw.find('\0'); nul != std::string::npos) raw.resize(nul);
  return AnsiToUtf8(raw);
}

}  // namespace

bool SaveTempAsset(const std::string& tempFolder, const std::string& tempFile,
                   const std::string& destPath) {
  const std::string from = tempFolder + tempFile;
  if (!FileExists(from) || IsDirectory(from)) return false;
  return CopyFileTo(from, destPath);
}

Inspection ReadInspection(File& in, const std::string& ebootPath) {
  Inspection r;
  r.fileSize = in.Size();
  if (!in || r.fileSize < kMinInspectSize) {
    r.message = kEbootTooSmall;
    return r;
  }
  auto header = ReadPbpHeader(in);
  if (!header) {
    r.message = "The EBOOT \"" + ebootPath + "\" could not be read: " + in.LastError();
    return r;
  }
  r.header = *header;
  const uint64_t psar = r.header.psarOffset();
  // A package of several discs: its title and save name are disc 1's, its start data comes
  // after the last disc.
  DiscTable table;
  if (HasTitleHeader(in, psar)) {
    table = ReadDiscTable(in, psar);
    if (!table.error.empty()) {
      r.message = DiscTableMessage(ebootPath, table.error);
      return r;
    }
    if (table.startData == 0) {
      r.message = Damaged(ebootPath, "its start data block cannot be found after its last disc.");
      return r;
    }
    r.discCount = static_cast<int>(table.discs.size());
  } else {
    std::array<uint8_t, kPsarMagicSize> magic{};
    if (!in.Seek(psar) || !in.ReadExact(magic) ||
        std::memcmp(magic.data(), kPsarMagic.data(), kPsarMagicSize) != 0) {
      r.message = kEbootNotValid;
      return r;
    }
  }
  for (int i = 0; i < kSectionCount; ++i) {
    if (r.header.offsets[i] > r.fileSize) {
      r.message = Damaged(ebootPath, std::string("the offset of ") + kSectionNames[i] + " (" +
                                         std::to_string(r.header.offsets[i]) +
                                         ") lies beyond the end of the file (" +
                                         SizeText(r.fileSize) + ").");
      return r;
    }
  }
  auto start = table.titled ? std::optional<uint64_t>(table.startData) : FindStartData(in);
  if (!start || *start + kStartDataAssumedHeaderSize > r.fileSize) {
    r.message =
        Damaged(ebootPath, "its start data block (at byte " +
                               (start ? std::to_string(*start) : std::string("?")) +
                               ") lies beyond the end of the file (" + SizeText(r.fileSize) + ").");
    return r;
  }
  r.startData = *start;
  r.bootPngSize = *ReadLe32At(in, r.startData + kStartDataPngLengthPos);
  const uint64_t pngStart = r.startData + kStartDataAssumedHeaderSize;
  if (!RangeFits(pngStart, r.bootPngSize, r.fileSize)) {
    r.message =
        Damaged(ebootPath, "its boot picture (" + SizeText(r.bootPngSize) + " at byte " +
                               std::to_string(pngStart) + ") runs past the end of the file (" +
                               SizeText(r.fileSize) + ").");
    return r;
  }
  SfoFields sfo = ReadSfoFields(in, r.header.offsets[kParamSfo]);
  r.title = sfo.title;
  r.gameId = sfo.discId;
  const uint64_t section = table.titled ? table.discs[0].start : psar;
  r.saveName = ReadTextField(in, section + kPsarSaveNamePos, kPsarSaveNameSize);
  return r;
}

Inspection InspectEboot(const std::string& ebootPath, const std::string& tempFolder,
                        Questions& questions) {
  auto size = FileSize(ebootPath);
  if (!size || *size < kMinInspectSize) {
    Inspection r;
    r.message = kEbootTooSmall;
    return r;
  }
  File in(ebootPath, File::Mode::Read);
  if (!in) {
    Inspection r;
    r.message = "The EBOOT \"" + ebootPath + "\" could not be read: " + in.LastError();
    return r;
  }
  // Everything the copies below rely on is checked before Temp is touched.
  Inspection r = ReadInspection(in, ebootPath);
  if (!r.message.empty()) return r;

  MakeFolders(tempFolder);
  MarkHidden(tempFolder);
  // A copy stopped after an error leaves a work file short; a job built on it would write
  // a broken package, so the inspection fails instead.
  bool stopped = false;
  auto copy = [&](uint64_t start, uint64_t end, const std::string& name) {
    if (!stopped)
      stopped =
          ReadSectionToFile(start, end, tempFolder + name, in, questions) == CopyOutcome::Stopped;
  };
  for (int i = 0; i < kLeadingSectionCount; ++i)
    copy(r.header.SectionStart(i), r.header.offsets[i + 1], kSectionFileNames[i]);
  const uint64_t pngStart = r.startData + kStartDataAssumedHeaderSize;
  const uint64_t pngEnd = pngStart + r.bootPngSize;
  copy(pngStart, pngEnd, kGamebootFile);
  // The start data stops one byte short of the end of the file; kept as it always was.
  copy(pngEnd, r.fileSize - 1, kStartDatFile);
  if (stopped)
    r.message = "The parts of \"" + ebootPath + "\" could not be written to " + tempFolder +
                "; nothing was changed.";
  return r;
}

}  // namespace ebf::pbp
