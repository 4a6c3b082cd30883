#pragma once
// A file of disc sectors as the disc model reads it: an ordinary file, or an ECM file
// (name ending in .ecm, such as game.bin.ecm) read as the file it was made from. Size,
// reads and seeks are those of the original bytes.

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "common/file_io.h"
#include "disc/ecm_reader.h"

namespace ebf {

// Whether the path names an ECM file (by its extension, any case).
bool IsEcmPath(const std::string& path);

class DiscFile {
 public:
  DiscFile() = default;
  explicit DiscFile(const std::string& path) { Open(path); }

  bool Open(const std::string& path);
  bool IsOpen() const { return ecm_ ? ecmOpen_ : file_.IsOpen(); }
  explicit operator bool() const { return IsOpen(); }
  bool Encoded() const { return ecm_ != nullptr; }

  uint64_t Size();
  bool Seek(uint64_t offset);
  // Up to out.size() bytes; short at the end or on an error (LastError() then says why).
  std::size_t Read(std::span<uint8_t> out);
  bool ReadExact(std::span<uint8_t> out) { return Read(out) == out.size(); }
  // For an ordinary file the system's words; for an ECM file a sentence naming the file.
  std::string LastError() const;

  // The checks that need every byte read: an ECM file's closing checksum. Reads through
  // whatever was not yet read in order. "" or what is wrong.
  std::string CheckWhole();

 private:
  File file_;
  std::unique_ptr<EcmReader> ecm_;
  bool ecmOpen_ = false;
  std::string ecmOpenError_;
};

// The size of the file's original bytes (an ECM file's decoded size); nullopt when it
// cannot be read, with `error` saying why when given.
std::optional<uint64_t> DiscFileSize(const std::string& path, std::string* error = nullptr);

}  // namespace ebf
