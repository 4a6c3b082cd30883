#include "common/bytes.h"

#include <cstring>

namespace ebf {

void AppendLe16(Bytes& out, uint16_t v) {
  out.push_back(static_cast<uint8_t>(v));
  out.push_back(static_cast<uint8_t>(v >> 8));
}

void AppendLe32(Bytes& out, uint32_t v) {
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

void AppendBytes(Bytes& out, std::string_view text) {
  out.insert(out.end(), text.begin(), text.end());
}

bool ByteReader::Need(std::size_t n) {
  if (!ok_ || n > data_.size() - pos_) {
    ok_ = false;
    return false;
  }
  return true;
}

bool ByteReader::Seek(std::size_t pos) {
  if (!ok_ || pos > data_.size()) return ok_ = false;
  pos_ = pos;
  return true;
}

bool ByteReader::Skip(std::size_t n) {
  if (!Need(n)) return false;
  pos_ += n;
  return true;
}

uint8_t ByteReader::U8() {
  if (!Need(1)) return 0;
  return data_[pos_++];
}

uint16_t ByteReader::Le16() {
  if (!Need(2)) return 0;
  uint16_t v = LoadLe16(data_.data() + pos_);
  pos_ += 2;
  return v;
}

uint32_t ByteReader::Le32() {
  if (!Need(4)) return 0;
  uint32_t v = LoadLe32(data_.data() + pos_);
  pos_ += 4;
  return v;
}

uint32_t ByteReader::Be32() {
  if (!Need(4)) return 0;
  uint32_t v = LoadBe32(data_.data() + pos_);
  pos_ += 4;
  return v;
}

bool ByteReader::Take(std::size_t n, std::span<uint8_t> out) {
  if (out.size() < n || !Need(n)) return ok_ = false;
  if (n) std::memcpy(out.data(), data_.data() + pos_, n);
  pos_ += n;
  return true;
}

std::span<const uint8_t> ByteReader::View(std::size_t n) {
  if (!Need(n)) return {};
  auto v = data_.subspan(pos_, n);
  pos_ += n;
  return v;
}

std::string ByteReader::FixedString(std::size_t n) {
  auto v = View(n);
  std::string s(v.begin(), v.end());
  auto nul = s.find('\0');
  if (nul != std::string::npos) s.resize(nul);
  return s;
}

}  // namespace ebf
