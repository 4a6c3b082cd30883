#include "common/ansi.h"

#include <cstdint>

#ifdef _WIN32
#include <windows.h>
#endif

namespace ebf {

bool IsValidUtf8(std::string_view s) {
  for (std::size_t i = 0; i < s.size();) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    int extra = c < 0x80 ? 0 : (c >> 5) == 6 ? 1 : (c >> 4) == 14 ? 2 : (c >> 3) == 30 ? 3 : -1;
    if (extra < 0 || (extra == 1 && c < 0xC2)) return false;
    if (i + extra >= s.size() && extra > 0) return false;
    for (int k = 1; k <= extra; ++k)
      if ((static_cast<unsigned char>(s[i + k]) & 0xC0) != 0x80) return false;
    i += extra + 1;
  }
  return true;
}

std::string TextFileToUtf8(std::string_view bytes) {
  return IsValidUtf8(bytes) ? std::string(bytes) : AnsiToUtf8(bytes);
}

#ifdef _WIN32

static std::string Convert(std::string_view in, UINT from, UINT to) {
  if (in.empty()) return {};
  int wlen = MultiByteToWideChar(from, 0, in.data(), static_cast<int>(in.size()), nullptr, 0);
  std::wstring w(static_cast<std::size_t>(wlen), L'\0');
  MultiByteToWideChar(from, 0, in.data(), static_cast<int>(in.size()), w.data(), wlen);
  int len = WideCharToMultiByte(to, 0, w.data(), wlen, nullptr, 0, nullptr, nullptr);
  std::string out(static_cast<std::size_t>(len), '\0');
  WideCharToMultiByte(to, 0, w.data(), wlen, out.data(), len, nullptr, nullptr);
  return out;
}

std::string Utf8ToAnsi(std::string_view utf8) {
  return Convert(utf8, CP_UTF8, CP_ACP);
}
std::string AnsiToUtf8(std::string_view ansi) {
  return Convert(ansi, CP_ACP, CP_UTF8);
}

#else

namespace {

// Windows-1252 bytes 0x80-0x9F; the five holes map to the C1 control of the same value.
constexpr char16_t kHigh[32] = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

char32_t ByteToChar(unsigned char b) {
  if (b >= 0x80 && b < 0xA0) return kHigh[b - 0x80];
  return b;
}

int CharToByte(char32_t c) {
  if (c < 0x80 || (c >= 0xA0 && c <= 0xFF)) return static_cast<int>(c);
  for (int i = 0; i < 32; ++i)
    if (kHigh[i] == c) return 0x80 + i;
  return -1;
}

void AppendUtf8(std::string& out, char32_t c) {
  if (c < 0x80) {
    out.push_back(static_cast<char>(c));
  } else if (c < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (c >> 6)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else if (c < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (c >> 12)));
    out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (c >> 18)));
    out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  }
}

}  // namespace

std::string AnsiToUtf8(std::string_view ansi) {
  std::string out;
  out.reserve(ansi.size());
  for (char ch : ansi) AppendUtf8(out, ByteToChar(static_cast<unsigned char>(ch)));
  return out;
}

std::string Utf8ToAnsi(std::string_view s) {
  std::string out;
  out.reserve(s.size());
  for (std::size_t i = 0; i < s.size();) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    int extra = c < 0x80 ? 0 : (c >> 5) == 6 ? 1 : (c >> 4) == 14 ? 2 : (c >> 3) == 30 ? 3 : -1;
    bool ok = extra >= 0 && i + extra < s.size();
    char32_t cp = ok ? (extra == 0 ? c : (c & (0x3F >> extra))) : 0;
    for (int k = 1; ok && k <= extra; ++k) {
      unsigned char cc = static_cast<unsigned char>(s[i + k]);
      if ((cc & 0xC0) != 0x80) ok = false;
      cp = (cp << 6) | (cc & 0x3F);
    }
    if (!ok) {  // not UTF-8 at all: treat the byte as already single-byte text
      out.push_back(static_cast<char>(c));
      ++i;
      continue;
    }
    int b = CharToByte(cp);
    out.push_back(b < 0 ? '?' : static_cast<char>(b));
    i += extra + 1;
  }
  return out;
}

#endif

}  // namespace ebf
