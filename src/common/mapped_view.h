#pragma once
// Read-only views of a file mapped into memory. A view of the page cache spares the copy a
// read makes: the converter hashes and writes stored blocks straight from it. Where mapping
// is not possible, Map() fails and the caller reads instead.

#include <cstdint>
#include <span>
#include <string>

namespace ebf {

class MappedView {
 public:
  MappedView() = default;
  ~MappedView() { Reset(); }
  MappedView(MappedView&& other) noexcept;
  MappedView& operator=(MappedView&& other) noexcept;
  MappedView(const MappedView&) = delete;
  MappedView& operator=(const MappedView&) = delete;

  std::span<const uint8_t> bytes() const { return bytes_; }
  explicit operator bool() const { return base_ != nullptr; }
  void Reset();  // unmaps

 private:
  friend class FileMapper;
  void* base_ = nullptr;  // the mapping, which starts on a granularity boundary
  std::size_t length_ = 0;
  std::span<const uint8_t> bytes_;
};

// Maps parts of one file. The file must not shrink while a view of it exists.
class FileMapper {
 public:
  FileMapper() = default;
  ~FileMapper() { Close(); }
  FileMapper(const FileMapper&) = delete;
  FileMapper& operator=(const FileMapper&) = delete;

  bool Open(const std::string& path);  // UTF-8 path
  void Close();
  bool IsOpen() const;

  // A view of [offset, offset + length), which must lie inside the file; its pages are read
  // in before it returns unless `readIn` is false (a large view of which little is read).
  // An empty view when mapping failed.
  MappedView Map(uint64_t offset, std::size_t length, bool readIn = true);

 private:
#ifdef _WIN32
  void* file_ = nullptr;     // HANDLE
  void* mapping_ = nullptr;  // HANDLE of the file mapping object
#else
  int fd_ = -1;
#endif
};

}  // namespace ebf
