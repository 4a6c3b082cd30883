#include "disc/line_reader.h"

namespace ebf {

bool LineReader::Fill() {
  if (eof_) return false;
  pos_ = 0;
  len_ = file_.Read(buf_);
  if (len_ == 0) {
    eof_ = true;
    failed_ = !file_.LastError().empty();
  }
  return len_ > 0;
}

bool LineReader::Next(std::string& line) {
  line.clear();
  tooLong_ = false;
  bool any = false;
  for (;;) {
    if (pos_ == len_ && !Fill()) return any;
    uint8_t c = buf_[pos_];
    if (skipLf_) {
      skipLf_ = false;
      if (c == '\n') {
        ++pos_;
        continue;
      }
    }
    ++pos_;
    any = true;
    if (c == '\n') return true;
    if (c == '\r') {
      skipLf_ = true;
      return true;
    }
    if (line.size() < maxLine_)
      line.push_back(static_cast<char>(c));
    else
      tooLong_ = true;
  }
}

}  // namespace ebf
