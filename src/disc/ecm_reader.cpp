#include "disc/ecm_reader.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <system_error>

#include "common/bytes.h"
#include "common/files.h"
#include "disc/cd_ecc.h"

namespace ebf {
namespace {

// Record types and what one item takes in the file and gives out.
enum : uint8_t { kLiteral = 0, kMode1 = 1, kMode2Form1 = 2, kMode2Form2 = 3 };
constexpr uint32_t kStoredSize[4] = {1, 3 + 2048, 0x804, 0x918};
constexpr uint32_t kOutputSize[4] = {1, kRawSectorSize, 2336, 2336};

constexpr uint64_t kSeekPointSpacing = 256 * 1024;
constexpr uint64_t kLargestCount = 0x80000000ull;

std::string Quoted(const std::string& path) {
  return "\"" + FileNameOf(path) + "\"";
}

}  // namespace

uint64_t EcmReader::Record::OutEnd() const {
  return out + uint64_t{count} * kOutputSize[type];
}
uint64_t EcmReader::Record::PayloadEnd() const {
  return payload + uint64_t{count} * kStoredSize[type];
}

// A game is opened several times on its way to a package (told apart, identified, checked,
// planned, decoded), and each scan of its headers reads the whole file: the scan of an
// unchanged file is kept for the next reader.
class EcmScans {
 public:
  struct Scan {
    std::string path;
    uint64_t size = 0;
    std::filesystem::file_time_type modified{};
    std::vector<EcmReader::Record> seekPoints;
    uint64_t decodedSize = 0;
    uint32_t storedEdc = 0;
  };
  // False for a file whose time of change cannot tell a later change from this one: one
  // changed within the last seconds may change again within the clock's same tick.
  static bool Stamp(const std::string& path, Scan& scan) {
    std::error_code ec;
    scan.path = AbsolutePath(path);
    scan.modified = std::filesystem::last_write_time(std::filesystem::u8path(path), ec);
    return !ec &&
           std::filesystem::file_time_type::clock::now() - scan.modified > std::chrono::seconds(2);
  }
  static bool Find(Scan& scan) {
    std::lock_guard lock(mutex_);
    for (const Scan& s : scans_)
      if (s.path == scan.path && s.size == scan.size && s.modified == scan.modified) {
        scan = s;
        return true;
      }
    return false;
  }
  static void Keep(Scan scan) {
    std::lock_guard lock(mutex_);
    std::erase_if(scans_, [&](const Scan& s) { return s.path == scan.path; });
    if (scans_.size() >= kKept) scans_.erase(scans_.begin());
    scans_.push_back(std::move(scan));
  }

 private:
  static constexpr std::size_t kKept = 8;  // the discs of a game or two
  static inline std::mutex mutex_;
  static inline std::vector<Scan> scans_;
};

std::size_t EcmReader::Fail(const std::string& message) {
  if (error_.empty()) error_ = message;
  return 0;
}

bool EcmReader::ReadFileAt(uint64_t offset, uint8_t* out, std::size_t n) {
  if (offset != filePos_ && !file_.Seek(offset)) {
    Fail(Quoted(path_) + " could not be read: " + file_.LastError());
    return false;
  }
  filePos_ = offset;
  if (!file_.ReadExact(std::span<uint8_t>(out, n))) {
    filePos_ = ~0ull;
    Fail(Quoted(path_) + " could not be read: " + file_.LastError());
    return false;
  }
  filePos_ += n;
  return true;
}

bool EcmReader::ReadRecordAt(uint64_t at, uint64_t out, Record& r, bool& end) {
  end = false;
  // A header is one to five bytes: type and five count bits, then seven bits a byte. They
  // are read one at a time so that the payload read after them follows on without a seek.
  uint8_t bytes[5] = {};
  std::size_t used = 0;
  do {
    if (used == 5) {
      Fail(Quoted(path_) + " is damaged: the record header at byte " + std::to_string(at) +
           " is too long.");
      return false;
    }
    if (at + used >= fileSize_) {
      Fail(Quoted(path_) + (used == 0 ? " is cut short: it ends where a record should start."
                                      : " is cut short: it ends inside a record header."));
      return false;
    }
    if (!ReadFileAt(at + used, &bytes[used], 1)) return false;
    ++used;
  } while (bytes[used - 1] & 0x80);
  uint64_t n = (bytes[0] >> 2) & 0x1F;
  for (std::size_t i = 1; i < used; ++i) n |= uint64_t{bytes[i] & 0x7Fu} << (5 + 7 * (i - 1));
  if (n == 0xFFFFFFFFull) {
    end = true;
    r.payload = at + used;
    return true;
  }
  if (n + 1 >= kLargestCount) {
    Fail(Quoted(path_) + " is damaged: the record at byte " + std::to_string(at) +
         " has an impossible length.");
    return false;
  }
  r.type = bytes[0] & 3;
  r.count = static_cast<uint32_t>(n + 1);
  r.out = out;
  r.payload = at + used;
  if (r.PayloadEnd() > fileSize_) {
    Fail(Quoted(path_) + " is cut short: it ends inside the record at byte " + std::to_string(at) +
         ".");
    return false;
  }
  return true;
}

std::string EcmReader::Open(const std::string& path) {
  *this = EcmReader();
  path_ = path;
  if (!file_.Open(path, File::Mode::Read))
    return Quoted(path) + " could not be opened: " + file_.LastError();
  fileSize_ = file_.Size();
  uint8_t magic[4];
  if (fileSize_ < 4 || !ReadFileAt(0, magic, 4) || std::memcmp(magic, kEcmMagic, 4) != 0)
    return Quoted(path) + " is not an ECM file.";

  EcmScans::Scan kept;
  kept.size = fileSize_;
  const bool stamped = EcmScans::Stamp(path, kept);
  if (stamped && EcmScans::Find(kept)) {
    seekPoints_ = std::move(kept.seekPoints);
    decodedSize_ = kept.decodedSize;
    storedEdc_ = kept.storedEdc;
    return "";
  }
  uint64_t at = 4, out = 0;
  for (;;) {
    Record r;
    bool end = false;
    if (!ReadRecordAt(at, out, r, end)) return error_;
    if (end) {
      uint8_t edc[4];
      if (fileSize_ - r.payload < 4)
        return Quoted(path) + " is cut short: its closing checksum is missing.";
      if (!ReadFileAt(r.payload, edc, 4)) return error_;
      storedEdc_ = LoadLe32(edc);
      break;
    }
    if (seekPoints_.empty() || out >= seekPoints_.back().out + kSeekPointSpacing)
      seekPoints_.push_back(r);
    out = r.OutEnd();
    at = r.PayloadEnd();
  }
  decodedSize_ = out;
  if (stamped) {
    kept.seekPoints = seekPoints_;
    kept.decodedSize = decodedSize_;
    kept.storedEdc = storedEdc_;
    EcmScans::Keep(std::move(kept));
  }
  return "";
}

bool EcmReader::Seek(uint64_t position) {
  if (position > decodedSize_) return false;
  pos_ = position;
  if (haveRecord_ && (pos_ < cur_.out || pos_ > cur_.OutEnd())) haveRecord_ = false;
  return true;
}

bool EcmReader::FindRecord() {
  // The next record in line, or a walk from the nearest seek point at or before pos_.
  Record r;
  uint64_t at;
  if (haveRecord_ && pos_ == cur_.OutEnd()) {
    at = cur_.PayloadEnd();
    r.out = cur_.OutEnd();
  } else {
    auto it = std::upper_bound(seekPoints_.begin(), seekPoints_.end(), pos_,
                               [](uint64_t p, const Record& rec) { return p < rec.out; });
    if (it == seekPoints_.begin()) return false;
    r = *std::prev(it);
    at = 0;
  }
  haveRecord_ = false;
  itemIndex_ = ~0u;
  for (;;) {
    if (at != 0) {
      bool end = false;
      if (!ReadRecordAt(at, r.out, r, end)) return false;
      if (end) {
        Fail(Quoted(path_) + " changed while it was being read.");
        return false;
      }
    }
    if (pos_ < r.OutEnd()) break;
    at = r.PayloadEnd();
    r.out = r.OutEnd();
  }
  cur_ = r;
  haveRecord_ = true;
  return true;
}

bool EcmReader::DecodeItem(uint32_t index) {
  uint8_t* s = item_;
  const uint64_t at = cur_.payload + uint64_t{index} * kStoredSize[cur_.type];
  switch (cur_.type) {
    case kMode1:
      std::memcpy(s, kSectorSync, 12);
      if (!ReadFileAt(at, s + 12, 3) || !ReadFileAt(at + 3, s + 16, 2048)) return false;
      s[15] = 1;
      StoreLe32(s + 0x810, CdEdc(s, 0x810));
      std::memset(s + 0x814, 0, 8);
      CdComputeEcc(s, false);
      break;
    case kMode2Form1:
      // Built in place as a whole sector; only bytes 0x10 on are given out.
      std::memset(s, 0, 16);
      s[15] = 2;
      if (!ReadFileAt(at, s + 0x14, 0x804)) return false;
      std::memcpy(s + 0x10, s + 0x14, 4);
      StoreLe32(s + 0x818, CdEdc(s + 0x10, 0x808));
      CdComputeEcc(s, true);
      break;
    case kMode2Form2:
      std::memset(s, 0, 16);
      s[15] = 2;
      if (!ReadFileAt(at, s + 0x14, 0x918)) return false;
      std::memcpy(s + 0x10, s + 0x14, 4);
      StoreLe32(s + 0x92C, CdEdc(s + 0x10, 0x91C));
      break;
  }
  itemIndex_ = index;
  return true;
}

std::size_t EcmReader::Read(std::span<uint8_t> out) {
  std::size_t done = 0;
  while (done < out.size() && pos_ < decodedSize_) {
    if ((!haveRecord_ || pos_ >= cur_.OutEnd()) && !FindRecord()) return done;
    const uint64_t inRecord = pos_ - cur_.out;
    const std::size_t want =
        static_cast<std::size_t>(std::min<uint64_t>(out.size() - done, cur_.OutEnd() - pos_));
    uint8_t* dest = out.data() + done;
    std::size_t n;
    if (cur_.type == kLiteral) {
      n = want;
      if (!ReadFileAt(cur_.payload + inRecord, dest, n)) return done;
    } else {
      const uint32_t size = kOutputSize[cur_.type];
      const uint32_t index = static_cast<uint32_t>(inRecord / size);
      const uint32_t within = static_cast<uint32_t>(inRecord % size);
      if (index != itemIndex_ && !DecodeItem(index)) return done;
      const uint8_t* src = item_ + (cur_.type == kMode1 ? 0 : 0x10);
      n = std::min<std::size_t>(want, size - within);
      std::memcpy(dest, src + within, n);
    }
    if (pos_ <= hashedUpTo_ && hashedUpTo_ < pos_ + n) {
      // A read that began before the checksummed part and runs on past it.
      const std::size_t seen = static_cast<std::size_t>(hashedUpTo_ - pos_);
      edc_ = CdEdc(dest + seen, n - seen, edc_);
      hashedUpTo_ = pos_ + n;
    }
    pos_ += n;
    done += n;
  }
  return done;
}

std::string EcmReader::CheckChecksum() const {
  if (!error_.empty()) return error_;
  if (!ReadWholeInOrder()) return Quoted(path_) + " was not read through in order.";
  if (edc_ != storedEdc_)
    return Quoted(path_) +
           " is damaged: the decoded data does not match the checksum the file carries.";
  return "";
}

Outcome DecodeEcmFile(const std::string& ecmPath, const std::string& outPath,
                      const DiscJobHooks& hooks) {
  EcmReader reader;
  std::string error = reader.Open(ecmPath);
  if (!error.empty()) return Outcome::Failed(error);
  const std::string temp = outPath + ".ebf-part";
  auto failWith = [&](Outcome why) {
    DeleteFileIfExists(temp);
    return why;
  };
  File out(temp, File::Mode::Write);
  if (!out)
    return failWith(
        Outcome::Failed("\"" + FileNameOf(temp) + "\" could not be written: " + out.LastError()));
  std::vector<uint8_t> buffer(1 << 20);
  const uint64_t total = reader.DecodedSize();
  uint64_t done = 0;
  hooks.Report(0, total);
  while (done < total) {
    if (hooks.Cancelled()) {
      out.Close();
      return failWith(Outcome::Cancelled());
    }
    std::size_t n = reader.Read(buffer);
    if (n == 0) {
      out.Close();
      return failWith(Outcome::Failed(reader.error().empty()
                                          ? "\"" + FileNameOf(ecmPath) + "\" ended early."
                                          : reader.error()));
    }
    if (!out.Write(std::span<const uint8_t>(buffer.data(), n))) {
      std::string why = out.LastError();
      out.Close();
      return failWith(
          Outcome::Failed("\"" + FileNameOf(outPath) + "\" could not be written: " + why));
    }
    done += n;
    hooks.Report(done, total);
  }
  error = reader.CheckChecksum();
  if (!out.Close() && error.empty())
    error = "\"" + FileNameOf(outPath) + "\" could not be written: " + out.LastError();
  if (!error.empty()) return failWith(Outcome::Failed(error));
  std::error_code ec;
  std::filesystem::rename(std::filesystem::u8path(temp), std::filesystem::u8path(outPath), ec);
  if (ec)
    return failWith(
        Outcome::Failed("\"" + FileNameOf(outPath) + "\" could not be written: " + ec.message()));
  return Outcome::Success();
}

}  // namespace ebf
