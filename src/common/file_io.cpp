#include "common/file_io.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#ifdef _WIN32
#include <io.h>
#include <windows.h>
#else
#include <limits.h>
#include <sys/uio.h>
#include <unistd.h>

#include <vector>
#endif

namespace ebf {

File::File(File&& other) noexcept
    : fp_(std::exchange(other.fp_, nullptr)),
      path_(std::move(other.path_)),
      error_(std::move(other.error_)) {}

File& File::operator=(File&& other) noexcept {
  if (this != &other) {
    Close();
    fp_ = std::exchange(other.fp_, nullptr);
    path_ = std::move(other.path_);
    error_ = std::move(other.error_);
  }
  return *this;
}

void File::Fail() {
  error_ = errno ? std::strerror(errno) : "input/output error";
}

bool File::Open(const std::string& path, Mode mode) {
  Close();
  path_ = path;
  error_.clear();
  const char* m = mode == Mode::Read        ? "rb"
                  : mode == Mode::Write     ? "wb"
                  : mode == Mode::ReadWrite ? "r+b"
                                            : "ab";
  if (mode == Mode::Read || mode == Mode::ReadWrite) {
    // A pipe or a device could block the open or the reads for ever, and a folder is no
    // file: only regular files are read.
    std::error_code ec;
    auto st = std::filesystem::status(std::filesystem::u8path(path), ec);
    if (!ec && std::filesystem::exists(st) && !std::filesystem::is_regular_file(st)) {
      error_ = std::filesystem::is_directory(st) ? "it is a folder, not a file"
                                                 : "it is not a regular file (a pipe or a device)";
      return false;
    }
  }
  errno = 0;
#ifdef _WIN32
  std::wstring wm(m, m + std::strlen(m));
  fp_ = _wfopen(std::filesystem::u8path(path).c_str(), wm.c_str());
#else
  fp_ = std::fopen(path.c_str(), m);
#endif
  if (!fp_) {
    Fail();
    return false;
  }
  return true;
}

bool File::Close() {
  if (!fp_) return true;
  errno = 0;
  bool ok = std::fclose(fp_) == 0;
  fp_ = nullptr;
  if (!ok) Fail();
  return ok;
}

std::size_t File::Read(std::span<uint8_t> out) {
  if (!fp_ || out.empty()) return 0;
  errno = 0;
  std::size_t n = std::fread(out.data(), 1, out.size(), fp_);
  if (n < out.size() && std::ferror(fp_)) Fail();
  return n;
}

bool File::ReadExact(std::span<uint8_t> out) {
  if (Read(out) == out.size()) return true;
  if (error_.empty()) error_ = "unexpected end of file";
  return false;
}

bool File::Write(std::span<const uint8_t> data) {
  if (!fp_) return false;
  if (data.empty()) return true;
  errno = 0;
  if (std::fwrite(data.data(), 1, data.size(), fp_) != data.size()) {
    Fail();
    return false;
  }
  return true;
}

bool File::Write(std::string_view text) {
  return Write(
      std::span<const uint8_t>(reinterpret_cast<const uint8_t*>(text.data()), text.size()));
}

bool File::WriteGather(std::span<const std::span<const uint8_t>> pieces) {
  if (!fp_) return false;
#ifdef _WIN32
  for (const auto& piece : pieces)
    if (!Write(piece)) return false;
  return true;
#else
  // Whatever the stream buffers goes first; then the pieces go straight to the descriptor,
  // and the stream is told where that left the file.
  if (!Flush()) return false;
  const int fd = fileno(fp_);
  std::vector<iovec> vec;
  for (const auto& piece : pieces)
    if (!piece.empty()) vec.push_back({const_cast<uint8_t*>(piece.data()), piece.size()});
  std::size_t next = 0;
  while (next < vec.size()) {
    const int n = static_cast<int>(std::min<std::size_t>(vec.size() - next, IOV_MAX));
    errno = 0;
    ssize_t wrote = ::writev(fd, vec.data() + next, n);
    if (wrote < 0 && errno == EINTR) continue;
    if (wrote <= 0) {
      Fail();
      return false;
    }
    auto left = static_cast<std::size_t>(wrote);
    while (next < vec.size() && left >= vec[next].iov_len) left -= vec[next++].iov_len;
    if (left > 0) {
      vec[next].iov_base = static_cast<uint8_t*>(vec[next].iov_base) + left;
      vec[next].iov_len -= left;
    }
  }
  const off_t here = ::lseek(fd, 0, SEEK_CUR);
  if (here < 0 || fseeko(fp_, here, SEEK_SET) != 0) {
    Fail();
    return false;
  }
  return true;
#endif
}

bool File::Seek(uint64_t offset) {
  if (!fp_) return false;
  errno = 0;
#ifdef _WIN32
  bool ok = _fseeki64(fp_, static_cast<long long>(offset), SEEK_SET) == 0;
#else
  bool ok = fseeko(fp_, static_cast<off_t>(offset), SEEK_SET) == 0;
#endif
  if (!ok) Fail();
  return ok;
}

uint64_t File::Tell() {
  if (!fp_) return 0;
#ifdef _WIN32
  long long p = _ftelli64(fp_);
#else
  off_t p = ftello(fp_);
#endif
  return p < 0 ? 0 : static_cast<uint64_t>(p);
}

uint64_t File::Size() {
  if (!fp_) return 0;
  uint64_t here = Tell();
#ifdef _WIN32
  _fseeki64(fp_, 0, SEEK_END);
#else
  fseeko(fp_, 0, SEEK_END);
#endif
  uint64_t size = Tell();
  Seek(here);
  return size;
}

bool File::Flush() {
  if (!fp_) return false;
  errno = 0;
  if (std::fflush(fp_) != 0) {
    Fail();
    return false;
  }
  return true;
}

bool File::Sync() {
  if (!Flush()) return false;
  errno = 0;
#ifdef _WIN32
  bool ok = _commit(_fileno(fp_)) == 0;
#else
  bool ok = ::fsync(fileno(fp_)) == 0;
#endif
  if (!ok) Fail();
  return ok;
}

bool File::Truncate(uint64_t length) {
  if (!Flush()) return false;
  errno = 0;
#ifdef _WIN32
  bool ok = _chsize_s(_fileno(fp_), static_cast<long long>(length)) == 0;
#else
  bool ok = ::ftruncate(fileno(fp_), static_cast<off_t>(length)) == 0;
#endif
  if (!ok) Fail();
  return ok;
}

}  // namespace ebf
