#include "pbp/patch_journal.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "common/bytes.h"
#include "common/files.h"
#include "common/text.h"

namespace ebf::pbp {
namespace {

constexpr std::array<uint8_t, 8> kMagic = {'E', 'B', 'F', 'U', 'N', 'D', 'O', '1'};
constexpr std::array<uint8_t, 4> kEnd = {'D', 'O', 'N', 'E'};
constexpr std::size_t kChunk = 1 << 16;

void PutLe64(uint8_t* p, uint64_t v) {
  StoreLe32(p, static_cast<uint32_t>(v));
  StoreLe32(p + 4, static_cast<uint32_t>(v >> 32));
}
uint64_t GetLe64(const uint8_t* p) {
  return LoadLe32(p) | (uint64_t{LoadLe32(p + 4)} << 32);
}

// Streams `length` bytes from one open file to another.
bool CopyBytes(File& from, uint64_t at, uint64_t length, File& to, uint64_t toAt) {
  Bytes buf(kChunk);
  while (length > 0) {
    const std::size_t n = static_cast<std::size_t>(std::min<uint64_t>(length, kChunk));
    std::span<uint8_t> piece(buf.data(), n);
    if (!from.Seek(at) || !from.ReadExact(piece) || !to.Seek(toAt) || !to.Write(piece))
      return false;
    at += n;
    toAt += n;
    length -= n;
  }
  return true;
}

enum class Replay { Done, NotStarted, Failed };

// Puts a journal's bytes back into the package. NotStarted: the journal has no end, so
// the package was never touched.
Replay ReplayJournal(const std::string& journalPath, const std::string& packagePath,
                     std::string& error) {
  File j(journalPath, File::Mode::Read);
  if (!j) {
    error = j.LastError();
    return Replay::Failed;
  }
  const uint64_t jsize = j.Size();
  std::array<uint8_t, 16> head{};
  if (!j.ReadExact(head) || !std::equal(kMagic.begin(), kMagic.end(), head.begin()))
    return Replay::NotStarted;
  const uint64_t oldSize = GetLe64(head.data() + 8);
  // First pass: the regions must all be there and the end mark after them.
  struct Region {
    uint64_t offset, length, at;
  };
  std::vector<Region> regions;
  uint64_t pos = head.size();
  for (;;) {
    std::array<uint8_t, 16> rec{};
    if (!j.Seek(pos)) return Replay::NotStarted;
    if (jsize - pos == kEnd.size() + 4) {
      std::array<uint8_t, 8> end{};
      if (!j.ReadExact(end) || !std::equal(kEnd.begin(), kEnd.end(), end.begin()) ||
          LoadLe32(end.data() + 4) != regions.size())
        return Replay::NotStarted;
      break;
    }
    if (jsize - pos < rec.size() || !j.ReadExact(rec)) return Replay::NotStarted;
    Region r{GetLe64(rec.data()), GetLe64(rec.data() + 8), pos + rec.size()};
    if (r.length > jsize - r.at) return Replay::NotStarted;
    regions.push_back(r);
    pos = r.at + r.length;
  }
  File p(packagePath, File::Mode::ReadWrite);
  if (!p) {
    error = p.LastError();
    return Replay::Failed;
  }
  for (const Region& r : regions)
    if (!CopyBytes(j, r.at, r.length, p, r.offset)) {
      error = p.LastError().empty() ? j.LastError() : p.LastError();
      return Replay::Failed;
    }
  if (!p.Truncate(oldSize) || !p.Sync() || !p.Close()) {
    error = p.LastError();
    return Replay::Failed;
  }
  return Replay::Done;
}

}  // namespace

std::string JournalPathFor(const std::string& packagePath) {
  return packagePath + kJournalSuffix;
}

PatchJournal::PatchJournal(std::string packagePath, std::string tempFolder)
    : package_(std::move(packagePath)),
      journal_(JournalPathFor(package_)),
      pointer_(WithTrailingSep(tempFolder) + kJournalPointer) {}

PatchJournal::~PatchJournal() {
  if (active_) RollBack();
}

std::string PatchJournal::Begin(File& package, const std::vector<FileSpan>& regions) {
  MakeFolders(FolderOf(pointer_));
  {
    File ptr(pointer_, File::Mode::Write);
    if (!ptr || !ptr.Write(package_ + "\n") || !ptr.Sync() || !ptr.Close())
      return "The undo note " + pointer_ + " could not be written (" + ptr.LastError() + ")";
  }
  File j(journal_, File::Mode::Write);
  auto fail = [&](const std::string& why) {
    j.Close();
    DeleteFileIfExists(journal_);
    DeleteFileIfExists(pointer_);
    return "The undo journal " + journal_ + " could not be written (" + why +
           "); the EBOOT was not changed.";
  };
  if (!j) return fail(j.LastError());
  const uint64_t size = package.Size();
  std::array<uint8_t, 16> head{};
  std::copy(kMagic.begin(), kMagic.end(), head.begin());
  PutLe64(head.data() + 8, size);
  if (!j.Write(head)) return fail(j.LastError());
  uint32_t count = 0;
  for (const FileSpan& s : regions) {
    if (s.offset >= size) continue;
    const uint64_t length = std::min(s.length, size - s.offset);
    std::array<uint8_t, 16> rec{};
    PutLe64(rec.data(), s.offset);
    PutLe64(rec.data() + 8, length);
    if (!j.Write(rec) || !CopyBytes(package, s.offset, length, j, j.Tell()))
      return fail(j.LastError().empty() ? package.LastError() : j.LastError());
    ++count;
  }
  std::array<uint8_t, 8> end{};
  std::copy(kEnd.begin(), kEnd.end(), end.begin());
  StoreLe32(end.data() + 4, count);
  if (!j.Write(end) || !j.Sync() || !j.Close()) return fail(j.LastError());
  active_ = true;
  return {};
}

void PatchJournal::Finish() {
  if (!active_) return;
  active_ = false;
  DeleteFileIfExists(journal_);
  DeleteFileIfExists(pointer_);
}

std::string PatchJournal::RollBack() {
  if (!active_) return {};
  active_ = false;
  std::string error;
  if (ReplayJournal(journal_, package_, error) == Replay::Failed)
    return "The EBOOT " + package_ + " could not be put back as it was (" + error +
           "); the journal " + journal_ + " is kept and will be tried again.";
  DeleteFileIfExists(journal_);
  DeleteFileIfExists(pointer_);
  return {};
}

std::string RollBackLeftoverPatch(const std::string& packagePath) {
  const std::string journal = JournalPathFor(packagePath);
  if (!IsRegularFile(journal)) return {};
  std::string error;
  switch (ReplayJournal(journal, packagePath, error)) {
    case Replay::Failed:
      return "An interrupted change to " + packagePath + " could not be undone (" + error +
             "); the journal " + journal + " is kept.";
    case Replay::NotStarted:
      DeleteFileIfExists(journal);
      return {};
    case Replay::Done:
      break;
  }
  DeleteFileIfExists(journal);
  return "An interrupted change to " + packagePath +
         " was found and undone; the EBOOT is as it was before.";
}

std::string RecoverInterruptedPatch(const std::string& tempFolder) {
  const std::string pointer = WithTrailingSep(tempFolder) + kJournalPointer;
  if (!FileExists(pointer)) return {};
  Bytes bytes;
  std::string package;
  if (ReadWholeFile(pointer, bytes, 1 << 16)) {
    auto lines =
        SplitLines(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    if (!lines.empty()) package = lines[0];
  }
  std::string said = package.empty() ? std::string() : RollBackLeftoverPatch(package);
  if (said.find("could not be undone") == std::string::npos) DeleteFileIfExists(pointer);
  return said;
}

}  // namespace ebf::pbp
