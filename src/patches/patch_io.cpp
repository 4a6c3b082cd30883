#include "patches/patch_io.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <utility>

#ifdef __linux__
#include <fcntl.h>
#include <unistd.h>
#endif

#include "common/files.h"

namespace ebf::patches {
namespace {

constexpr std::size_t kWriteChunk = 4 << 20;
constexpr uint64_t kMaxCopiedView = 256 << 20;

std::string Describe(const File& f, const char* otherwise) {
  return f.LastError().empty() ? otherwise : f.LastError();
}

}  // namespace

// ---- PatchCursor ----------------------------------------------------------------------

bool PatchCursor::Open(const std::string& path, std::size_t buffer) {
  if (!file_.Open(path, File::Mode::Read)) {
    error_ = file_.LastError();
    return false;
  }
  size_ = end_ = file_.Size();
  buf_.resize(std::max<std::size_t>(buffer, 16));
  bufStart_ = pos_ = 0;
  bufLen_ = 0;
  ok_ = true;
  return true;
}

bool PatchCursor::Seek(uint64_t pos) {
  if (!ok_ || pos > end_) return ok_ = false;
  pos_ = pos;
  return true;
}

bool PatchCursor::Skip(uint64_t n) {
  if (!ok_ || n > end_ - pos_) return ok_ = false;
  pos_ += n;
  return true;
}

bool PatchCursor::Fill() {
  if (!file_.Seek(pos_)) {
    error_ = Describe(file_, "the patch could not be read");
    return ok_ = false;
  }
  const std::size_t want = static_cast<std::size_t>(std::min<uint64_t>(buf_.size(), size_ - pos_));
  bufLen_ = file_.Read(std::span<uint8_t>(buf_.data(), want));
  bufStart_ = pos_;
  if (bufLen_ < want) {
    error_ = Describe(file_, "the patch is shorter than it was");
    return ok_ = false;
  }
  return true;
}

bool PatchCursor::Read(std::span<uint8_t> out) {
  if (!ok_ || out.size() > end_ - pos_) {
    ok_ = false;
    std::fill(out.begin(), out.end(), 0);
    return false;
  }
  std::size_t done = 0;
  while (done < out.size()) {
    if (pos_ < bufStart_ || pos_ >= bufStart_ + bufLen_) {
      // What is longer than the buffer goes straight to the caller.
      if (out.size() - done >= buf_.size()) {
        const auto rest = out.subspan(done);
        if (!file_.Seek(pos_) || file_.Read(rest) < rest.size()) {
          error_ = Describe(file_, "the patch is shorter than it was");
          std::fill(out.begin(), out.end(), 0);
          return ok_ = false;
        }
        pos_ += rest.size();
        return true;
      }
      if (!Fill()) {
        std::fill(out.begin(), out.end(), 0);
        return false;
      }
    }
    const std::size_t at = static_cast<std::size_t>(pos_ - bufStart_);
    const std::size_t n = std::min(out.size() - done, bufLen_ - at);
    std::memcpy(out.data() + done, buf_.data() + at, n);
    done += n;
    pos_ += n;
  }
  return true;
}

uint8_t PatchCursor::U8() {
  uint8_t b = 0;
  Read(std::span<uint8_t>(&b, 1));
  return b;
}

uint16_t PatchCursor::Le16() {
  uint8_t b[2];
  Read(b);
  return static_cast<uint16_t>(b[0] | (b[1] << 8));
}

uint32_t PatchCursor::Le32() {
  uint8_t b[4];
  Read(b);
  return static_cast<uint32_t>(b[0]) | (static_cast<uint32_t>(b[1]) << 8) |
         (static_cast<uint32_t>(b[2]) << 16) | (static_cast<uint32_t>(b[3]) << 24);
}

uint64_t PatchCursor::Le64() {
  const uint64_t low = Le32();
  return low | (static_cast<uint64_t>(Le32()) << 32);
}

uint32_t PatchCursor::Be16() {
  uint8_t b[2];
  Read(b);
  return (static_cast<uint32_t>(b[0]) << 8) | b[1];
}

uint32_t PatchCursor::Be24() {
  uint8_t b[3];
  Read(b);
  return (static_cast<uint32_t>(b[0]) << 16) | (static_cast<uint32_t>(b[1]) << 8) | b[2];
}

uint32_t PatchCursor::Be32() {
  const uint32_t high = Be16();
  return (high << 16) | Be16();
}

// ---- SourceImage ----------------------------------------------------------------------

bool SourceImage::Open(const std::string& path) {
  if (!file_.Open(path, File::Mode::Read)) {
    error_ = file_.LastError();
    return false;
  }
  size_ = file_.Size();
  mapper_.Open(path);
  for (Block& b : cache_) b.index = UINT64_MAX;
  return true;
}

void SourceImage::Close() {
  file_.Close();
  mapper_.Close();
}

std::span<const uint8_t> SourceImage::View(uint64_t offset, uint64_t length, MappedView& view,
                                           std::vector<uint8_t>& copy) {
  if (offset > size_ || length > size_ - offset) {
    error_ = "a read past the end of the image";
    return {};
  }
  if (length == 0) return {};
  // A VCDIFF window's segment spans far more than the window reads of it: only the pages
  // read come in.
  view = mapper_.Map(offset, static_cast<std::size_t>(length), false);
  if (view) return view.bytes();
  // Where mapping fails, a copy stands in, as long as it is of a size to hold.
  if (length > kMaxCopiedView) {
    error_ = "the image could not be mapped into memory";
    return {};
  }
  copy.resize(static_cast<std::size_t>(length));
  if (!Read(offset, copy)) return {};
  return copy;
}

SourceImage::Block* SourceImage::Load(uint64_t index) {
  Block& b = cache_[index % kBlocks];
  if (b.index == index) return &b;
  b.bytes.resize(kBlock);
  const uint64_t at = index * kBlock;
  b.length = static_cast<std::size_t>(std::min<uint64_t>(kBlock, size_ - at));
  b.index = UINT64_MAX;
  if (!file_.Seek(at) || !file_.ReadExact(std::span<uint8_t>(b.bytes.data(), b.length))) {
    error_ = Describe(file_, "the image is shorter than it was");
    return nullptr;
  }
  b.index = index;
  return &b;
}

bool SourceImage::Read(uint64_t offset, std::span<uint8_t> out) {
  if (offset > size_ || out.size() > size_ - offset) {
    error_ = "a read past the end of the image";
    return false;
  }
  // A long read goes straight to the caller: the cache is for the short ones around it.
  if (out.size() >= kBlock) {
    if (file_.Seek(offset) && file_.ReadExact(out)) return true;
    error_ = Describe(file_, "the image is shorter than it was");
    return false;
  }
  std::size_t done = 0;
  while (done < out.size()) {
    const uint64_t at = offset + done;
    const Block* b = Load(at / kBlock);
    if (!b) return false;
    const std::size_t in = static_cast<std::size_t>(at % kBlock);
    const std::size_t n = std::min(out.size() - done, b->length - in);
    std::memcpy(out.data() + done, b->bytes.data() + in, n);
    done += n;
  }
  return true;
}

// ---- TargetImage ----------------------------------------------------------------------

TargetImage::~TargetImage() {
  writer_.reset();
}

bool TargetImage::Fail(const std::string& why) {
  if (error_.empty()) error_ = why;
  return false;
}

bool TargetImage::TooLarge(uint64_t size) {
  if (size <= limit_) return false;
  Fail("the patched image would be larger than " + FormatSize(limit_));
  return true;
}

bool TargetImage::Create(const std::string& path) {
  path_ = path;
  if (!file_.Open(path, File::Mode::Write)) return Fail(file_.LastError());
  writer_.emplace(file_, kWriteChunk);
  size_ = flushed_ = 0;
  inPlace_ = false;
  return true;
}

bool TargetImage::OpenInPlace(const std::string& path) {
  path_ = path;
  if (!file_.Open(path, File::Mode::ReadWrite)) return Fail(file_.LastError());
  size_ = file_.Size();
  inPlace_ = true;
  return true;
}

bool TargetImage::Append(std::span<const uint8_t> data) {
  if (inPlace_ || !writer_) return Fail("the patched image is not being written");
  if (TooLarge(size_ + data.size())) return false;
  if (!writer_->Write(data)) return Fail(writer_->TakeError());
  size_ += data.size();
  if (tail_.empty()) return true;
  // The tail keeps the last bytes written for copies from just behind.
  std::span<const uint8_t> keep = data;
  uint64_t at = size_ - data.size();
  if (keep.size() > kTail) {
    at += keep.size() - kTail;
    keep = keep.subspan(keep.size() - kTail);
  }
  while (!keep.empty()) {
    const std::size_t in = static_cast<std::size_t>(at % kTail);
    const std::size_t n = std::min(keep.size(), kTail - in);
    std::memcpy(tail_.data() + in, keep.data(), n);
    keep = keep.subspan(n);
    at += n;
  }
  return true;
}

bool TargetImage::AppendPieces(std::span<const std::span<const uint8_t>> pieces) {
  if (inPlace_ || !writer_) return Fail("the patched image is not being written");
  uint64_t total = 0;
  for (const auto& p : pieces) total += p.size();
  if (TooLarge(size_ + total)) return false;
  // What the writer holds goes first; the pieces then go straight to the file.
  if (!writer_->Flush()) return Fail(writer_->TakeError());
  if (!file_.WriteGather(pieces)) return Fail(file_.LastError());
  size_ += total;
  return true;
}

bool TargetImage::AppendFill(uint8_t value, uint64_t count) {
  std::vector<uint8_t> run(static_cast<std::size_t>(std::min<uint64_t>(count, 1 << 20)), value);
  while (count > 0) {
    const std::size_t n = static_cast<std::size_t>(std::min<uint64_t>(count, run.size()));
    if (!Append(std::span<const uint8_t>(run.data(), n))) return false;
    count -= n;
  }
  return true;
}

bool TargetImage::ReadBack(uint64_t offset, std::span<uint8_t> out) {
  if (offset > size_ || out.size() > size_ - offset) return Fail("a copy from past the end");
  const uint64_t kept = std::min<uint64_t>(size_, tail_.size());
  if (kept > 0 && offset >= size_ - kept) {
    std::size_t done = 0;
    while (done < out.size()) {
      const std::size_t in = static_cast<std::size_t>((offset + done) % kTail);
      const std::size_t n = std::min(out.size() - done, kTail - in);
      std::memcpy(out.data() + done, tail_.data() + in, n);
      done += n;
    }
    return true;
  }
  // Further back: what is written goes to the file first, then it is read from there.
  if (flushed_ < offset + out.size()) {
    if (!writer_->Flush()) return Fail(writer_->TakeError());
    flushed_ = size_;
  }
  if (!readBack_ && !readBack_.Open(path_, File::Mode::Read)) return Fail(readBack_.LastError());
  if (!readBack_.Seek(offset) || !readBack_.ReadExact(out))
    return Fail(Describe(readBack_, "the patched image could not be read back"));
  return true;
}

bool TargetImage::WriteAt(uint64_t offset, std::span<const uint8_t> data) {
  if (!inPlace_) return Fail("the patched image is not open in place");
  if (offset > size_) return Fail("a write past the end of the image");
  if (TooLarge(offset + data.size())) return false;
  if (copied_ && !copied_(offset + data.size())) return Fail("the copy of the image stopped");
  if (!file_.Seek(offset) || !file_.Write(data)) return Fail(file_.LastError());
  size_ = std::max<uint64_t>(size_, offset + data.size());
  return true;
}

bool TargetImage::FillAt(uint64_t offset, uint8_t value, uint64_t count) {
  std::vector<uint8_t> run(static_cast<std::size_t>(std::min<uint64_t>(count, 1 << 16)), value);
  while (count > 0) {
    const std::size_t n = static_cast<std::size_t>(std::min<uint64_t>(count, run.size()));
    if (!WriteAt(offset, std::span<const uint8_t>(run.data(), n))) return false;
    offset += n;
    count -= n;
  }
  return true;
}

bool TargetImage::Resize(uint64_t size) {
  if (!inPlace_) return Fail("the patched image is not open in place");
  if (TooLarge(size)) return false;
  if (copied_ && !copied_(UINT64_MAX)) return Fail("the copy of the image stopped");
  if (size > size_) {
    if (!FillAt(size_, 0, size - size_)) return false;
  } else if (!file_.Truncate(size)) {
    return Fail(file_.LastError());
  }
  size_ = size;
  return true;
}

bool TargetImage::Finish() {
  if (writer_) {
    const bool flushed = writer_->Flush();
    const std::string why = writer_->TakeError();
    writer_.reset();
    if (!flushed) return Fail(why.empty() ? "the patched image could not be written" : why);
  }
  readBack_.Close();
  if (!file_.Close()) return Fail(file_.LastError());
  return error_.empty();
}

// ---- CopyImage ------------------------------------------------------------------------

namespace {

#ifdef __linux__
// A descriptor closed with its owner.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() { Close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return fd_; }
  bool Close() {
    const int fd = std::exchange(fd_, -1);
    return fd < 0 || ::close(fd) == 0;
  }

 private:
  int fd_;
};

// The system's own copy within the kernel, as cp makes it; nothing when the file systems
// cannot (the caller then copies through a buffer).
std::optional<Outcome> KernelCopy(const std::string& from, const std::string& to,
                                  const std::function<bool(uint64_t, uint64_t)>& step) {
  Descriptor in(::open(from.c_str(), O_RDONLY | O_CLOEXEC));
  if (in.get() < 0) return std::nullopt;
  const off_t total = ::lseek(in.get(), 0, SEEK_END);
  if (total < 0 || ::lseek(in.get(), 0, SEEK_SET) != 0) return std::nullopt;
  Descriptor out(::open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
  if (out.get() < 0) return std::nullopt;
  auto fail = [&](Outcome why) {
    out.Close();
    DeleteFileIfExists(to);
    return why;
  };
  if (step && !step(0, static_cast<uint64_t>(total))) return fail(Outcome::Cancelled());
  // Pieces small enough that whoever waits for bytes near the start waits little.
  constexpr std::size_t kPiece = 8 << 20;
  uint64_t done = 0;
  while (done < static_cast<uint64_t>(total)) {
    const ssize_t n = ::copy_file_range(in.get(), nullptr, out.get(), nullptr, kPiece, 0);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      const int why = errno;
      // The file stays, empty, for the copy through a buffer: whoever opened it already
      // keeps the same file.
      if (done == 0 && (why == EXDEV || why == ENOSYS || why == EINVAL || why == EOPNOTSUPP))
        return std::nullopt;
      return fail(Outcome::Failed(
          to + ": " + (n == 0 ? "the image is shorter than it was" : std::strerror(why))));
    }
    done += static_cast<uint64_t>(n);
    if (step && !step(done, static_cast<uint64_t>(total))) return fail(Outcome::Cancelled());
  }
  if (!out.Close()) return fail(Outcome::Failed(to + ": " + std::strerror(errno)));
  return Outcome::Success();
}
#endif

}  // namespace

Outcome CopyImage(const std::string& from, const std::string& to,
                  const std::function<bool(uint64_t, uint64_t)>& step) {
#ifdef __linux__
  if (std::optional<Outcome> copied = KernelCopy(from, to, step)) return *copied;
#endif
  File in(from, File::Mode::Read);
  if (!in) return Outcome::Failed(from + ": " + in.LastError());
  const uint64_t total = in.Size();
  File out(to, File::Mode::Write);
  if (!out) return Outcome::Failed(to + ": " + out.LastError());
  std::optional<AsyncWriter> writer(std::in_place, out, kWriteChunk);
  auto fail = [&](Outcome why) {
    writer.reset();
    out.Close();
    DeleteFileIfExists(to);
    return why;
  };
  if (step && !step(0, total)) return fail(Outcome::Cancelled());
  // `step` hears only of bytes in the file: the writer is flushed before each report.
  constexpr uint64_t kReportEvery = 32 << 20;
  std::vector<uint8_t> buf(kWriteChunk);
  uint64_t done = 0, reported = 0;
  for (;;) {
    const std::size_t n = in.Read(buf);
    if (n == 0) break;
    if (!writer->Write(std::span<const uint8_t>(buf.data(), n)))
      return fail(Outcome::Failed(to + ": " + writer->TakeError()));
    done += n;
    if (done - reported < kReportEvery) continue;
    if (!writer->Flush()) return fail(Outcome::Failed(to + ": " + writer->TakeError()));
    reported = done;
    if (step && !step(done, total)) return fail(Outcome::Cancelled());
  }
  if (!in.LastError().empty()) return fail(Outcome::Failed(from + ": " + in.LastError()));
  const bool flushed = writer->Flush();
  const std::string why = writer->TakeError();
  if (!flushed) return fail(Outcome::Failed(to + ": " + why));
  if (step && !step(done, total)) return fail(Outcome::Cancelled());
  writer.reset();
  if (!out.Close()) return fail(Outcome::Failed(to + ": " + out.LastError()));
  return Outcome::Success();
}

}  // namespace ebf::patches
