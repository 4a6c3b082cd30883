#include "pbp/sfo.h"

#include <algorithm>

#include "common/ansi.h"

namespace ebf::pbp {
namespace {

// Reads up to n bytes at offset, as far as the file holds them.
std::string ReadUpTo(File& f, uint64_t offset, std::size_t n) {
  Bytes buf(n);
  std::size_t got = 0;
  if (n > 0 && f.Seek(offset)) got = f.Read(buf);
  return std::string(buf.begin(), buf.begin() + static_cast<std::ptrdiff_t>(got));
}

std::string TakeSlice(const Bytes& b, std::size_t offset, std::size_t n) {
  if (offset >= b.size()) return {};
  n = std::min(n, b.size() - offset);
  return std::string(b.begin() + offset, b.begin() + offset + n);
}

// Text up to the first NUL: UTF-8, or ANSI where it is not.
std::string FromField(std::string raw) {
  auto nul = raw.find('\0');
  if (nul != std::string::npos) raw.resize(nul);
  return TextFileToUtf8(raw);
}

Bytes FixedAnsi(const std::string& text, std::size_t size) {
  std::string ansi = Utf8ToAnsi(text);
  Bytes out(size, 0);
  std::copy_n(ansi.begin(), std::min(size, ansi.size()), out.begin());
  return out;
}

}  // namespace

SfoFields ReadSfoFields(File& package, uint64_t sfoOffset) {
  SfoFields out;
  std::string len = ReadUpTo(package, sfoOffset + kSfoTitleLengthPos, 1);
  std::size_t titleBytes = len.empty() ? 0 : static_cast<uint8_t>(len[0]);
  out.title = FromField(ReadUpTo(package, sfoOffset + kSfoTitlePos, titleBytes));
  out.discId = FromField(ReadUpTo(package, sfoOffset + kSfoDiscIdPos, kSfoDiscIdSize));
  return out;
}

SfoFields ReadSfoFields(const Bytes& sfo) {
  SfoFields out;
  std::size_t titleBytes = kSfoTitleLengthPos < sfo.size() ? sfo[kSfoTitleLengthPos] : 0;
  out.title = FromField(TakeSlice(sfo, kSfoTitlePos, titleBytes));
  out.discId = FromField(TakeSlice(sfo, kSfoDiscIdPos, kSfoDiscIdSize));
  return out;
}

std::string SfoTitle(const std::string& title) {
  std::string utf8 = TextFileToUtf8(title);
  if (utf8.size() <= kMaxTitleBytes) return utf8;
  std::size_t cut = kMaxTitleBytes;
  while (cut > 0 && (static_cast<uint8_t>(utf8[cut]) & 0xC0) == 0x80) --cut;  // continuation
  utf8.resize(cut);
  return utf8;
}

Bytes TitleField(const std::string& title) {
  const std::string stored = SfoTitle(title);
  Bytes out(kSfoTitleSize, 0);
  std::copy(stored.begin(), stored.end(), out.begin());
  return out;
}

std::string PatchSfo(Bytes& sfo, const std::string& title, const std::string& gameId) {
  if (sfo.size() < kSfoMinPatchSize)
    return "PARAM.SFO is too short to hold the title and game ID (" + std::to_string(sfo.size()) +
           " bytes, at least " + std::to_string(kSfoMinPatchSize) + " needed).";
  sfo[kSfoTitleLengthPos] = static_cast<uint8_t>(SfoTitle(title).size() + 1);
  Bytes id = FixedAnsi(gameId, kSfoDiscIdSize);
  std::copy(id.begin(), id.end(), sfo.begin() + kSfoDiscIdPos);
  Bytes t = TitleField(title);
  std::copy(t.begin(), t.end(), sfo.begin() + kSfoTitlePos);
  return {};
}

}  // namespace ebf::pbp
