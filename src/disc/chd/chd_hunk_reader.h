#pragma once
// Reads one hunk of an opened CHD: from the file, decompressed, checked against the CRC the
// map gives. Each reader has its own file handle and codecs, so several can work on one
// file side by side.

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "common/file_io.h"
#include "disc/chd/chd_codecs.h"
#include "disc/chd/chd_header.h"
#include "disc/chd/chd_map.h"

namespace ebf::chd {

class HunkReader {
 public:
  // `header` and `map` must outlive the reader.
  HunkReader(const Header& header, const std::vector<MapEntry>& map);
  bool Open(const std::string& path);
  const std::string& OpenError() const { return file_.LastError(); }

  // Hunk n (a self reference is read from the hunk it names) into out (hunkBytes).
  // Returns "" or a sentence that follows the file's name.
  std::string Read(uint32_t n, std::span<uint8_t> out);

 private:
  const Header& header_;
  const std::vector<MapEntry>& map_;
  File file_;
  HunkCodecs codecs_;
  std::vector<uint8_t> stored_;
};

}  // namespace ebf::chd
