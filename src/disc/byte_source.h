#pragma once
// Bytes at any offset of something that reads like one file: a file, or a disc's sectors
// in order. For readers that look at a few places only (the game ID).

#include <cstdint>
#include <span>
#include <string>

#include "common/file_io.h"

namespace ebf {

class ByteSource {
 public:
  virtual ~ByteSource() = default;
  virtual uint64_t Size() = 0;
  // Up to out.size() bytes from offset: fewer at the end or on a read error.
  virtual std::size_t ReadAt(uint64_t offset, std::span<uint8_t> out) = 0;
};

class FileByteSource : public ByteSource {
 public:
  explicit FileByteSource(const std::string& path) : file_(path, File::Mode::Read) {}
  bool ok() const { return file_.IsOpen(); }
  uint64_t Size() override { return file_.Size(); }
  std::size_t ReadAt(uint64_t offset, std::span<uint8_t> out) override {
    if (!file_.Seek(offset)) return 0;
    return file_.Read(out);
  }

 private:
  File file_;
};

}  // namespace ebf
