#include "common/mapped_view.h"

#include <utility>

#ifdef _WIN32
#include <windows.h>

#include <filesystem>
#else
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace ebf {

MappedView::MappedView(MappedView&& other) noexcept
    : base_(std::exchange(other.base_, nullptr)),
      length_(std::exchange(other.length_, 0)),
      bytes_(std::exchange(other.bytes_, {})) {}

MappedView& MappedView::operator=(MappedView&& other) noexcept {
  if (this != &other) {
    Reset();
    base_ = std::exchange(other.base_, nullptr);
    length_ = std::exchange(other.length_, 0);
    bytes_ = std::exchange(other.bytes_, {});
  }
  return *this;
}

#ifdef _WIN32

void MappedView::Reset() {
  if (base_) UnmapViewOfFile(base_);
  base_ = nullptr;
  length_ = 0;
  bytes_ = {};
}

bool FileMapper::Open(const std::string& path) {
  Close();
  HANDLE file = CreateFileW(std::filesystem::u8path(path).c_str(), GENERIC_READ,
                            FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                            FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  HANDLE mapping = CreateFileMappingW(file, nullptr, PAGE_READONLY, 0, 0, nullptr);
  if (!mapping) {
    CloseHandle(file);
    return false;
  }
  file_ = file;
  mapping_ = mapping;
  return true;
}

void FileMapper::Close() {
  if (mapping_) CloseHandle(mapping_);
  if (file_) CloseHandle(file_);
  mapping_ = file_ = nullptr;
}

bool FileMapper::IsOpen() const {
  return mapping_ != nullptr;
}

MappedView FileMapper::Map(uint64_t offset, std::size_t length, bool readIn) {
  MappedView view;
  if (!mapping_ || length == 0) return view;
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  const uint64_t start = offset - offset % info.dwAllocationGranularity;
  const std::size_t span = static_cast<std::size_t>(offset - start) + length;
  void* base = MapViewOfFile(mapping_, FILE_MAP_READ, static_cast<DWORD>(start >> 32),
                             static_cast<DWORD>(start), span);
  if (!base) return view;
  WIN32_MEMORY_RANGE_ENTRY range{base, span};
  if (readIn) PrefetchVirtualMemory(GetCurrentProcess(), 1, &range, 0);
  view.base_ = base;
  view.length_ = span;
  view.bytes_ = {static_cast<const uint8_t*>(base) + (offset - start), length};
  return view;
}

#else

void MappedView::Reset() {
  if (base_) munmap(base_, length_);
  base_ = nullptr;
  length_ = 0;
  bytes_ = {};
}

bool FileMapper::Open(const std::string& path) {
  Close();
  // O_NONBLOCK keeps a pipe from holding the open; only a regular file is kept.
  fd_ = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  struct stat st {};
  if (fd_ >= 0 && (fstat(fd_, &st) != 0 || !S_ISREG(st.st_mode))) Close();
  return fd_ >= 0;
}

void FileMapper::Close() {
  if (fd_ >= 0) close(fd_);
  fd_ = -1;
}

bool FileMapper::IsOpen() const {
  return fd_ >= 0;
}

MappedView FileMapper::Map(uint64_t offset, std::size_t length, [[maybe_unused]] bool readIn) {
  MappedView view;
  if (fd_ < 0 || length == 0) return view;
  const uint64_t page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
  const uint64_t start = offset - offset % page;
  const std::size_t span = static_cast<std::size_t>(offset - start) + length;
  int flags = MAP_SHARED;
#ifdef MAP_POPULATE
  // Reading the pages in here, on the mapping thread, keeps page faults off whoever uses
  // the view later.
  if (readIn) flags |= MAP_POPULATE;
#endif
  void* base = mmap(nullptr, span, PROT_READ, flags, fd_, static_cast<off_t>(start));
  if (base == MAP_FAILED) return view;
  view.base_ = base;
  view.length_ = span;
  view.bytes_ = {static_cast<const uint8_t*>(base) + (offset - start), length};
  return view;
}

#endif

}  // namespace ebf
