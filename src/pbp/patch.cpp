#include "pbp/patch.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "common/ansi.h"
#include "common/cancel.h"
#include "common/files.h"
#include "common/text.h"
#include "pbp/container.h"
#include "pbp/disc_table.h"
#include "pbp/extract.h"
#include "pbp/inspect.h"
#include "pbp/patch_journal.h"
#include "pbp/sfo.h"
#include "pbp/toc.h"

namespace ebf::pbp {
namespace {

constexpr std::size_t kZeroChunk = 32768;
// The header fields the patch writes lie within this much of a disc section's start.
constexpr uint64_t kHeaderFieldsEnd = kPsarSaveNamePos + kPsarSaveNameSize;

std::string CannotRead(const std::string& path) {
  return "The file \"" + path + "\" could not be read.";
}

std::string Damaged(const std::string& path, const std::string& what) {
  return "The EBOOT \"" + path + "\" is damaged: " + what;
}

// Sizes of files the job writes, in order; "" or the message for the first unreadable one.
std::string Lengths(const std::vector<std::string>& paths, std::vector<uint64_t>& out) {
  out.clear();
  for (const std::string& p : paths) {
    auto n = IsDirectory(p) ? std::nullopt : FileSize(p);
    if (!n) return CannotRead(p);
    out.push_back(*n);
  }
  return {};
}

bool HasPsarMagic(File& f, uint64_t psar) {
  std::array<uint8_t, kPsarMagicSize> magic{};
  return f.Seek(psar) && f.ReadExact(magic) &&
         std::memcmp(magic.data(), kPsarMagic.data(), kPsarMagicSize) == 0;
}

// Runs the writes of one patch. A failure or a cancel stops it: going on after a failed
// write could only leave a broken package (the user's own, or a new one about to be named
// EBOOT.PBP).
class Steps {
 public:
  Steps(File& f, const CancelToken& cancel) : f_(f), cancel_(cancel) {}
  bool stopped() const { return stopped_; }
  bool cancelled() const { return cancelled_; }
  const std::string& failure() const { return failure_; }
  // False once the patch is to stop.
  bool Check(bool ok) {
    if (stopped_) return false;
    if (cancel_.Requested()) {
      cancelled_ = stopped_ = true;
      return false;
    }
    if (!ok) Failed(f_.LastError());
    return !stopped_;
  }
  bool WriteAt(uint64_t at, std::span<const uint8_t> bytes) {
    return Check(f_.Seek(at) && f_.Write(bytes));
  }
  bool Append(const std::string& path) {
    if (!Check(true)) return false;
    if (AppendFileToOpenFile(path, f_)) return true;
    Failed(f_.LastError().empty() ? "Cannot read " + path : f_.LastError());
    return !stopped_;
  }
  bool Zeros(uint64_t count) {
    static const std::array<uint8_t, kZeroChunk> zeros{};
    while (count > 0) {
      std::size_t n = static_cast<std::size_t>(std::min<uint64_t>(count, zeros.size()));
      if (!Check(f_.Write(std::span<const uint8_t>(zeros.data(), n)))) return false;
      count -= n;
    }
    return true;
  }

 private:
  void Failed(const std::string& why) {
    failure_ = why.empty() ? "input/output error" : why;
    stopped_ = true;
  }
  File& f_;
  const CancelToken& cancel_;
  bool stopped_ = false;
  bool cancelled_ = false;
  std::string failure_;
};

// Where the start-data block is and what the patch needs from it, checked against the file.
struct StartData {
  uint64_t s = 0;       // absolute offset
  uint64_t h = 0;       // header size field
  uint64_t oldPng = 0;  // boot picture length field
};

std::string LocateStartData(File& f, const std::string& path, uint64_t fileSize,
                            std::optional<uint64_t> s, StartData& sd) {
  if (!s || !RangeFits(*s, kStartDataPngLengthPos + 4, fileSize))
    return Damaged(path, "its start data block lies beyond the end of the file.");
  sd.s = *s;
  sd.h = *ReadLe32At(f, sd.s + kStartDataHeaderSizePos);
  sd.oldPng = *ReadLe32At(f, sd.s + kStartDataPngLengthPos);
  if (!RangeFits(sd.s, sd.h, fileSize))
    return Damaged(path, "its start data header size (" + std::to_string(sd.h) +
                             ") runs past the end of the file.");
  return {};
}

// Where a patch writes: the header of every disc section (the one at DATA.PSAR, or those a
// title header lists) and the start-data block.
struct Target {
  uint64_t psar = 0;
  bool titled = false;
  std::vector<uint64_t> sections;  // disc order
  StartData sd;
};

std::string LocateTarget(File& f, const std::string& path, uint64_t fileSize, uint64_t psar,
                         Target& t) {
  t.psar = psar;
  if (!HasTitleHeader(f, psar)) {
    if (!RangeFits(psar, kHeaderFieldsEnd, fileSize))
      return Damaged(path, "its disc image header is cut short.");
    t.sections = {psar};
    return LocateStartData(f, path, fileSize, FindStartData(f), t.sd);
  }
  // The table has checked every section against the file, and STARTDAT after their data.
  t.titled = true;
  const DiscTable table = ReadDiscTable(f, psar);
  if (!table.error.empty()) return DiscTableMessage(path, table.error);
  if (table.startData == 0)
    return Damaged(path, "its start data block cannot be found after its last disc.");
  for (const DiscSection& d : table.discs) t.sections.push_back(d.start);
  return LocateStartData(f, path, fileSize, table.startData, t.sd);
}

// Steps 5-7 of both patches: header fields, then gameboot and START.DAT at S + H. Every disc
// takes the save name; the ID goes to disc 1 (later discs keep their own) and the title
// header. A package of several discs keeps the TOCs its discs came with.
bool WriteHeaderArea(Steps& steps, File& f, const Target& t, uint64_t gamebootLength,
                     const EbootJob& job, const std::string& startDat) {
  const StartData& sd = t.sd;
  for (std::size_t i = 0; i < t.sections.size(); ++i) {
    if (!steps.WriteAt(t.sections[i] + kPsarSaveNamePos, SaveNameField(job.saveName))) return false;
    if (i == 0 && !steps.WriteAt(t.sections[i] + kPsarDiscIdPos, UnderscoredIdField(job.gameId)))
      return false;
  }
  if (t.titled && !steps.WriteAt(t.psar + kTitleIdFieldPos, UnderscoredIdField(job.gameId)))
    return false;
  if (job.toc && !t.titled && !steps.WriteAt(t.psar + kPsarTocPos, PackageToc(*job.toc)))
    return false;
  std::array<uint8_t, 4> len{};
  StoreLe32(len.data(), static_cast<uint32_t>(gamebootLength));
  if (!steps.WriteAt(sd.s + kStartDataPngLengthPos, len)) return false;
  if (!steps.Check(f.Seek(sd.s + sd.h))) return false;
  return steps.Append(job.gameboot) && steps.Append(startDat);
}

// The spans of one disc's image, block after block (see PalFixSpans).
void AddPalFixSpans(File& package, const DiscImageLayout& layout, std::vector<FileSpan>& spans) {
  const uint64_t dataStart = layout.section + kPsarBlockDataPos;
  for (const BlockRef& b : layout.blocks) {
    const uint64_t pos = dataStart + b.offset;
    uint64_t from = pos;
    if (!b.stored()) {
      // Only a stored-mode stream holds the block's bytes as they are, after its head.
      std::array<uint8_t, kStoredHeadSize> head{};
      if ((b.length & 0xFFFF) != kStoredBlockStreamSize || !package.Seek(pos) ||
          !package.ReadExact(head) || head != kStoredBlockHead)
        continue;
      from = pos + kStoredHeadSize;
    }
    if (from >= layout.fileSize) continue;
    spans.push_back({from, std::min<uint64_t>(kBlockSize, layout.fileSize - from)});
  }
}

}  // namespace

Bytes SaveNameField(const std::string& saveName) {
  std::string ansi = Utf8ToAnsi(saveName);
  Bytes out(kPsarSaveNameSize, 0);
  std::copy_n(ansi.begin(), std::min<std::size_t>(ansi.size(), out.size()), out.begin());
  return out;
}

Bytes UnderscoredIdField(const std::string& gameId) {
  const std::string head = LeftChars(gameId, 4);
  std::string id = head + "_" + gameId.substr(head.size());
  std::string ansi = Utf8ToAnsi(id);
  Bytes out(kPsarDiscIdSize, 0);
  std::copy_n(ansi.begin(), std::min<std::size_t>(ansi.size(), out.size()), out.begin());
  return out;
}

std::string CheckEbootForJob(const std::string& ebootPath) {
  auto size = FileSize(ebootPath);
  if (!size || *size < kPbpHeaderSize) return kEbootTooSmall;
  File f(ebootPath, File::Mode::Read);
  auto psar = f ? ReadLe32At(f, kPsarOffsetPos) : std::nullopt;
  if (!psar) return kEbootNotValid;
  if (HasTitleHeader(f, *psar)) {
    const DiscTable table = ReadDiscTable(f, *psar);
    return table.error.empty() ? std::string() : DiscTableMessage(ebootPath, table.error);
  }
  if (!HasPsarMagic(f, *psar)) return kEbootNotValid;
  return {};
}

std::optional<std::vector<FileSpan>> PalFixSpans(File& package) {
  std::vector<FileSpan> spans;
  DiscImageLayout layout;
  for (int disc = 1; disc == 1 || disc <= layout.discCount; ++disc) {
    if (!ReadDiscImageLayout(package, package.path(), layout, false, disc).empty())
      return std::nullopt;
    AddPalFixSpans(package, layout, spans);
  }
  return spans;
}

std::string MeasureRoom(const std::string& ebootPath, const std::string& tempFolder,
                        const EbootJob& job, Room& out) {
  std::vector<uint64_t> len;
  if (std::string e = Lengths(
          {job.icon0, job.icon1, job.pic0, job.pic1, job.snd0,
           tempFolder + kSectionFileNames[kParamSfo], tempFolder + kSectionFileNames[kDataPsp]},
          len);
      !e.empty())
    return e;
  File f(ebootPath, File::Mode::Read);
  auto psar = f ? ReadLe32At(f, kPsarOffsetPos) : std::nullopt;
  if (!psar) return CannotRead(ebootPath);
  out.assets = static_cast<int64_t>(len[0] + len[1] + len[2] + len[3] + len[4]);
  out.room = static_cast<int64_t>(*psar) - static_cast<int64_t>(kPbpHeaderSize) -
             static_cast<int64_t>(len[5]) - static_cast<int64_t>(len[6]);
  return {};
}

Outcome PatchEbootInPlace(const std::string& ebootPath, const std::string& tempFolder,
                          const EbootJob& job, CancelToken& cancel) {
  if (std::string e = CheckEbootForJob(ebootPath); !e.empty()) return Outcome::Failed(e);
  const std::string sfoPath = tempFolder + kSectionFileNames[kParamSfo];
  const std::string basePsp = tempFolder + kSectionFileNames[kDataPsp];
  const std::string startDat = tempFolder + kStartDatFile;
  const std::vector<std::string> leading = {sfoPath,  job.icon0, job.icon1, job.pic0,
                                            job.pic1, job.snd0,  basePsp};
  std::vector<uint64_t> len;
  if (std::string e = Lengths(leading, len); !e.empty()) return Outcome::Failed(e);
  std::vector<uint64_t> tailLen;
  if (std::string e = Lengths({job.gameboot, startDat}, tailLen); !e.empty())
    return Outcome::Failed(e);

  Bytes sfo;
  if (!ReadWholeFile(sfoPath, sfo)) return Outcome::Failed(CannotRead(sfoPath));
  if (std::string e = PatchSfo(sfo, job.title, job.gameId); !e.empty()) return Outcome::Failed(e);

  File f(ebootPath, File::Mode::ReadWrite);
  if (!f)
    return Outcome::Failed("The EBOOT \"" + ebootPath +
                           "\" could not be opened for writing: " + f.LastError());
  const uint64_t fileSize = f.Size();
  const uint64_t psar = *ReadLe32At(f, kPsarOffsetPos);
  uint64_t leadingEnd = kPbpHeaderSize;
  for (uint64_t n : len) leadingEnd += n;
  if (leadingEnd > psar)
    return Outcome::Failed("The custom files do not fit before the disc image of \"" + ebootPath +
                           "\"; the EBOOT has to be reconstructed.");
  Target target;
  if (std::string e = LocateTarget(f, ebootPath, fileSize, psar, target); !e.empty())
    return Outcome::Failed(e);
  const StartData& sd = target.sd;
  for (uint64_t section : target.sections)
    if (sd.s < section + kHeaderFieldsEnd)
      return Outcome::Failed(
          Damaged(ebootPath, "its start data block lies inside the disc image header."));

  // Everything the patch may overwrite: header and leading sections, each disc's header
  // fields (and the title header's ID), the start-data block to the end (the file may grow
  // past it).
  std::vector<FileSpan> regions = {{0, psar}};
  for (uint64_t section : target.sections) regions.push_back({section, kHeaderFieldsEnd});
  if (target.titled) regions.push_back({psar + kTitleGameIdPos, kTitleGameIdSize});
  regions.push_back({sd.s, fileSize - sd.s});
  PatchJournal journal(ebootPath, tempFolder);
  if (std::string e = journal.Begin(f, regions); !e.empty()) return Outcome::Failed(e);
  Steps steps(f, cancel);
  auto stop = [&]() -> Outcome {
    f.Close();
    std::string undo = journal.RollBack();
    if (steps.cancelled()) {
      cancel.Take();
      return undo.empty() ? Outcome::Cancelled() : Outcome::Failed(undo);
    }
    return Outcome::Failed(
        "Writing to the EBOOT \"" + ebootPath + "\" failed: " + steps.failure() + ". " +
        (undo.empty() ? std::string("Nothing was changed; the EBOOT is as it was before.") : undo));
  };
  // The first seven offsets; DATA.PSAR's stays where it is.
  std::array<uint8_t, 4 * kSectionCount> offsets{};
  uint64_t running = kPbpHeaderSize;
  for (int i = 0; i < kLeadingSectionCount; ++i) {
    StoreLe32(offsets.data() + 4 * i, static_cast<uint32_t>(running));
    running += len[i];
  }
  StoreLe32(offsets.data() + 4 * kDataPsar, static_cast<uint32_t>(psar));
  if (!steps.WriteAt(kPbpOffsetsPos, offsets)) return stop();
  if (!steps.WriteAt(kPbpHeaderSize, sfo)) return stop();
  for (std::size_t i = 1; i < leading.size(); ++i)
    if (!steps.Append(leading[i])) return stop();
  uint64_t pos = f.Tell();
  if (pos < psar && !steps.Zeros(psar - pos)) return stop();

  if (!WriteHeaderArea(steps, f, target, tailLen[0], job, startDat)) return stop();
  pos = f.Tell();
  const uint64_t length = f.Size();
  // One byte more than the gap: the file grows by one byte, as packages patched so far did.
  if (pos < length && !(steps.Check(f.Seek(pos)) && steps.Zeros(length - pos + 1))) return stop();
  if (!steps.Check(f.Sync())) return stop();
  if (!f.Close()) {
    steps.Check(false);
    return stop();
  }
  journal.Finish();
  return Outcome::Success();
}

Outcome PatchConvertedEboot(const std::string& ebootPath, const std::string& tempFolder,
                            const EbootJob& job, Questions& questions, CancelToken& cancel) {
  if (std::string e = CheckEbootForJob(ebootPath); !e.empty()) return Outcome::Failed(e);
  const std::string startDat = tempFolder + kStartDatFile;
  std::vector<uint64_t> len;
  if (std::string e = Lengths({job.gameboot}, len); !e.empty()) return Outcome::Failed(e);

  File f(ebootPath, File::Mode::ReadWrite);
  if (!f)
    return Outcome::Failed("The EBOOT \"" + ebootPath +
                           "\" could not be opened for writing: " + f.LastError());
  const uint64_t fileSize = f.Size();
  const uint64_t psar = *ReadLe32At(f, kPsarOffsetPos);
  Target target;
  if (std::string e = LocateTarget(f, ebootPath, fileSize, psar, target); !e.empty())
    return Outcome::Failed(e);
  const StartData& sd = target.sd;
  const uint64_t tailStart = sd.s + sd.h + sd.oldPng;
  if (tailStart > fileSize)
    return Outcome::Failed(Damaged(ebootPath, "its boot picture runs past the end of the file."));

  MakeFolders(tempFolder);
  if (ReadSectionToFile(tailStart, fileSize, startDat, f, questions) == CopyOutcome::Stopped)
    return Outcome::Declined();
  Steps steps(f, cancel);
  if (!WriteHeaderArea(steps, f, target, len[0], job, startDat) || !steps.Check(f.Close())) {
    if (steps.cancelled()) {
      cancel.Take();
      return Outcome::Cancelled();
    }
    return Outcome::Failed("The EBOOT \"" + ebootPath +
                           "\" could not be written: " + steps.failure() + ".");
  }
  return Outcome::Success();
}

}  // namespace ebf::pbp
