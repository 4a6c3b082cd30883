#include "disc/line_reader.h"

#include <algorithm>

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
    if (skipLf_) {
      skipLf_ = false;
      if (buf_[pos_] == '\n' && ++pos_ == len_) continue;
    }
    any = true;
    // Take the run up to the next line end in one go.
    std::size_t end = pos_;
    while (end < len_ && buf_[end] != '\n' && buf_[end] != '\r') ++end;
    std::size_t room = maxLine_ - std::min(maxLine_, line.size());
    std::size_t take = std::min(room, end - pos_);
    line.append(buf_.begin() + pos_, buf_.begin() + pos_ + take);
    if (take < end - pos_) tooLong_ = true;
    pos_ = end;
    if (pos_ == len_) continue;
    skipLf_ = buf_[pos_] == '\r';
    ++pos_;
    return true;
  }
}

}  // namespace ebf
