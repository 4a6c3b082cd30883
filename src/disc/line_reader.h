#pragma once
// Reads a text file line by line through a fixed buffer, so that a sheet or database of
// any size (or a binary file given by mistake) never has to fit in memory.

#include <array>
#include <cstdint>
#include <string>

#include "common/file_io.h"

namespace ebf {

class LineReader {
 public:
  // Lines longer than maxLine bytes are cut there and reported as too long.
  explicit LineReader(File& file, std::size_t maxLine = 4096) : file_(file), maxLine_(maxLine) {}

  // The next line without its end (CR LF, LF or CR). False at the end of the file.
  bool Next(std::string& line);
  // Whether the line last returned was cut.
  bool lastTooLong() const { return tooLong_; }
  // Whether a read failed (as opposed to the file ending).
  bool failed() const { return failed_; }

 private:
  bool Fill();
  File& file_;
  std::size_t maxLine_;
  std::array<uint8_t, 64 * 1024> buf_{};
  std::size_t pos_ = 0, len_ = 0;
  bool eof_ = false, failed_ = false, tooLong_ = false, skipLf_ = false;
};

}  // namespace ebf
