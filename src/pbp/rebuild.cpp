#include "pbp/rebuild.h"

#include <array>
#include <filesystem>
#include <vector>

#include "common/bytes.h"
#include "common/files.h"
#include "pbp/container.h"
#include "pbp/disc_table.h"
#include "pbp/inspect.h"
#include "pbp/sfo.h"

namespace ebf::pbp {
namespace {

constexpr std::size_t kCopyBufferSize = 32768;
constexpr uint64_t kShrinkThreshold = kCopyBufferSize - 1;  // as in ReadSectionToFile
constexpr int kProgressEvery = 32;

// Deletes the "null" stand-in file and, unless kept, the unfinished destination.
class RebuildCleanup {
 public:
  RebuildCleanup(std::string workFolder, std::string dest)
      : nullFile_(WithTrailingSep(std::move(workFolder)) + "null"), dest_(std::move(dest)) {}
  ~RebuildCleanup() {
    if (!keep_) DeleteFileIfExists(dest_);
    DeleteFileIfExists(nullFile_);
  }
  void Keep() { keep_ = true; }

 private:
  std::string nullFile_, dest_;
  bool keep_ = false;
};

bool SameFile(const std::string& a, const std::string& b) {
  std::error_code ec;
  return std::filesystem::equivalent(std::filesystem::u8path(a), std::filesystem::u8path(b), ec);
}

}  // namespace

Outcome ReconstructEboot(const std::string& sourcePath, const std::string& destPath,
                         const std::string& tempFolder, const std::string& workFolder,
                         const EbootJob& job, Progress& progress, CancelToken& cancel) {
  // Nothing may happen to the source through the destination's name.
  if (destPath == sourcePath || SameFile(sourcePath, destPath)) {
    DeleteFileIfExists(WithTrailingSep(workFolder) + "null");
    return Outcome::Failed(kSameFileMessage);
  }
  // The new package is written under a temporary name beside the destination and takes
  // its name only when whole; a failed write stops the rebuild (going on would only make a
  // broken package).
  const std::string partial = destPath + ".part";
  RebuildCleanup cleanup(workFolder, partial);
  std::string failure;
  auto fail = [&](File& file) {
    failure = file.LastError().empty() ? "input/output error" : file.LastError();
    return false;
  };
  auto failed = [&]() {
    return Outcome::Failed("The new EBOOT \"" + destPath + "\" could not be written: " + failure +
                           ". Nothing was left in its place.");
  };

  // Check the source and every input before the destination is touched.
  File src(sourcePath, File::Mode::Read);
  if (!src)
    return Outcome::Failed("The EBOOT \"" + sourcePath +
                           "\" could not be read: " + src.LastError());
  const uint64_t srcSize = src.Size();
  auto psar = ReadLe32At(src, kPsarOffsetPos);
  // A package of several discs is carried over whole; each disc's fields are patched where
  // its section lies, and the start data comes after the last disc.
  DiscTable table;
  if (psar && HasTitleHeader(src, *psar)) {
    table = ReadDiscTable(src, *psar);
    if (!table.error.empty()) return Outcome::Failed(DiscTableMessage(sourcePath, table.error));
  }
  auto start = table.titled ? std::optional<uint64_t>(table.startData) : FindStartData(src);
  if (table.titled && table.startData == 0) start.reset();
  if (!psar || !start || !RangeFits(*start, kStartDataPngLengthPos + 4, srcSize))
    return Outcome::Failed("The EBOOT \"" + sourcePath +
                           "\" is damaged: its start data block lies beyond the "
                           "end of the file.");
  const uint64_t s = *start;
  const uint64_t h = *ReadLe32At(src, s + kStartDataHeaderSizePos);
  const uint64_t copyEnd = s + h;
  if (copyEnd > srcSize || !RangeFits(*psar, kCopyBufferSize, copyEnd))
    return Outcome::Failed("The EBOOT \"" + sourcePath +
                           "\" is damaged: its disc image does not fit the file.");

  const std::string sfoPath = tempFolder + kSectionFileNames[kParamSfo];
  const std::string basePsp = tempFolder + kSectionFileNames[kDataPsp];
  const std::string startDat = tempFolder + kStartDatFile;
  const std::vector<std::string> leading = {job.icon0, job.icon1, job.pic0,
                                            job.pic1,  job.snd0,  basePsp};
  std::array<uint64_t, kLeadingSectionCount> lengths{};
  auto sfoSize = FileSize(sfoPath);
  if (!sfoSize) return Outcome::Failed("The file \"" + sfoPath + "\" could not be read.");
  lengths[0] = *sfoSize;
  for (std::size_t i = 0; i < leading.size(); ++i) {
    auto n = IsDirectory(leading[i]) ? std::nullopt : FileSize(leading[i]);
    if (!n) return Outcome::Failed("The file \"" + leading[i] + "\" could not be read.");
    lengths[i + 1] = *n;
  }
  auto gamebootSize = FileSize(job.gameboot);
  if (!gamebootSize || !FileExists(startDat))
    return Outcome::Failed("The file \"" + (gamebootSize ? startDat : job.gameboot) +
                           "\" could not be read.");
  Bytes sfo;
  if (!ReadWholeFile(sfoPath, sfo))
    return Outcome::Failed("The file \"" + sfoPath + "\" could not be read.");
  if (std::string e = PatchSfo(sfo, job.title, job.gameId); !e.empty()) return Outcome::Failed(e);

  auto newHeader = HeaderForLengths(lengths);
  if (!newHeader) return Outcome::Failed("The new EBOOT would be larger than a package can be.");

  DeleteFileIfExists(partial);
  File dst(partial, File::Mode::Write);
  if (!dst) {
    fail(dst);
    return failed();
  }
  if (!WritePbpHeader(dst, lengths) && !fail(dst)) return failed();
  if (!dst.Write(sfo) && !fail(dst)) return failed();
  for (const std::string& p : leading)
    if (!AppendFileToOpenFile(p, dst) && !fail(dst)) return failed();

  Stage stage(progress, "Reconstructing EBOOT...");

  // The disc-image header with the new save name and ID, then everything up to the boot
  // picture.
  std::vector<uint8_t> buf(kCopyBufferSize);
  if (!(src.Seek(*psar) && src.ReadExact(buf)) && !fail(src)) return failed();
  const Bytes saveName = SaveNameField(job.saveName);
  const Bytes id = UnderscoredIdField(job.gameId);
  if (!table.titled) {
    std::copy(saveName.begin(), saveName.end(), buf.begin() + kPsarSaveNamePos);
    std::copy(id.begin(), id.end(), buf.begin() + kPsarDiscIdPos);
  }
  if (!dst.Write(buf) && !fail(dst)) return failed();

  uint64_t pos = *psar + kCopyBufferSize;
  std::size_t want = buf.size();
  int reads = 0;
  while (pos < copyEnd) {
    if (pos + kShrinkThreshold > copyEnd) want = static_cast<std::size_t>(copyEnd - pos);
    std::size_t n = src.Seek(pos) ? src.Read(std::span<uint8_t>(buf.data(), want)) : 0;
    if (n < want && pos + n < srcSize && !fail(src)) return failed();
    if (n > 0 && !dst.Write(std::span<const uint8_t>(buf.data(), n)) && !fail(dst)) return failed();
    pos += want;
    if (++reads % kProgressEvery == 0) {
      stage.Advance(pos, copyEnd);
      if (cancel.Take()) return Outcome::Cancelled();
    }
  }
  src.Close();

  // DATA.PSAR keeps its layout, so each section lies as far from it as before.
  const uint64_t newPsar = newHeader->psarOffset();
  for (std::size_t i = 0; i < table.discs.size(); ++i) {
    const uint64_t section = newPsar + (table.discs[i].start - *psar);
    if (!(dst.Seek(section + kPsarSaveNamePos) && dst.Write(saveName)) && !fail(dst))
      return failed();
    if (i == 0 && !(dst.Seek(section + kPsarDiscIdPos) && dst.Write(id)) && !fail(dst))
      return failed();
  }
  if (table.titled && !(dst.Seek(newPsar + kTitleIdFieldPos) && dst.Write(id)) && !fail(dst))
    return failed();

  // The start-data block keeps its place relative to DATA.PSAR (the offset at DATA.PSAR +
  // 12 was copied as it was), so it follows from the new header.
  const uint64_t newStart = newPsar + (s - *psar);
  std::array<uint8_t, 4> len{};
  StoreLe32(len.data(), static_cast<uint32_t>(*gamebootSize));
  if (!(dst.Seek(newStart + kStartDataPngLengthPos) && dst.Write(len)) && !fail(dst))
    return failed();
  if (!dst.Seek(newStart + h) && !fail(dst)) return failed();
  if (!AppendFileToOpenFile(job.gameboot, dst) && !fail(dst)) return failed();
  if (!AppendFileToOpenFile(startDat, dst) && !fail(dst)) return failed();
  if (!(dst.Sync() && dst.Close()) && !fail(dst)) return failed();
  std::string why;
  if (!RenameReplacing(partial, destPath, &why)) {
    failure = why;
    return failed();
  }
  cleanup.Keep();
  stage.Done();
  return Outcome::Success();
}

PackageUpdate UpdateEboot(
    const std::string& ebootPath, const std::string& tempFolder, const std::string& workFolder,
    const EbootJob& job, Progress& progress, Questions& questions, CancelToken& cancel,
    const std::function<std::string(const std::string& partial)>& beforeRebuild) {
  if (std::string e = CheckEbootForJob(ebootPath); !e.empty()) return {Outcome::Failed(e), {}};
  Room room;
  if (std::string e = MeasureRoom(ebootPath, tempFolder, job, room); !e.empty())
    return {Outcome::Failed(e), {}};
  if (room.fits()) return {PatchEbootInPlace(ebootPath, tempFolder, job, cancel), {}};
  if (!questions.AskYesNo(kRebuildQuestion, false, MsgIcon::Exclamation))
    return {Outcome::Declined(), {}};
  std::optional<std::string> dest = questions.ChooseRebuildDestination(ebootPath);
  if (!dest || dest->empty()) return {Outcome::Declined(), {}};
  if (*dest == ebootPath) return {Outcome::Failed(kSameFileMessage), {}};
  if (beforeRebuild) {
    if (std::string e = beforeRebuild(*dest + ".part"); !e.empty()) return {Outcome::Failed(e), {}};
  }
  Outcome made = ReconstructEboot(ebootPath, *dest, tempFolder, workFolder, job, progress, cancel);
  return {made, made.succeeded() ? *dest : std::string()};
}

}  // namespace ebf::pbp
