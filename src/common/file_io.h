#pragma once
// RAII file handle with 64-bit offsets. Paths are UTF-8. Errors are reported through
// return values and LastError(); nothing here throws.

#include <cstdint>
#include <cstdio>
#include <span>
#include <string>

namespace ebf {

// A stretch of bytes of a file.
struct FileSpan {
  uint64_t offset = 0;
  uint64_t length = 0;
};

class File {
 public:
  enum class Mode {
    Read,       // existing file, read only
    Write,      // created or truncated, write only
    ReadWrite,  // existing file, read and update in place
    Append,     // created when missing, writes go to the end
  };

  File() = default;
  File(const std::string& path, Mode mode) { Open(path, mode); }
  ~File() { Close(); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  File(File&& other) noexcept;
  File& operator=(File&& other) noexcept;

  bool Open(const std::string& path, Mode mode);
  bool Close();  // false when a buffered write failed
  bool IsOpen() const { return fp_ != nullptr; }
  explicit operator bool() const { return IsOpen(); }
  const std::string& path() const { return path_; }

  // Reads up to out.size() bytes; returns the count read (short at end of file).
  std::size_t Read(std::span<uint8_t> out);
  // Reads exactly out.size() bytes or fails.
  bool ReadExact(std::span<uint8_t> out);
  bool Write(std::span<const uint8_t> data);
  bool Write(std::string_view text);
  // Writes the pieces one after another, in one system call where the platform has one.
  bool WriteGather(std::span<const std::span<const uint8_t>> pieces);
  bool Seek(uint64_t offset);
  uint64_t Tell();
  // Current length of the file (the position is kept).
  uint64_t Size();
  bool Flush();
  // Flushes and asks the system to put the bytes on the disk before returning.
  bool Sync();
  // Cuts the file to `length` bytes (flushes first).
  bool Truncate(uint64_t length);

  // A readable description of the last failure ("No space left on device" ...).
  const std::string& LastError() const { return error_; }

 private:
  void Fail();
  std::FILE* fp_ = nullptr;
  std::string path_;
  std::string error_;
};

}  // namespace ebf
