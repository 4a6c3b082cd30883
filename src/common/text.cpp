#include "common/text.h"

#include <cmath>
#include <cstdint>
#include <limits>

namespace ebf {

std::string ToUpperAscii(std::string_view text) {
  std::string out(text);
  for (char& c : out)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return out;
}

std::string ToLowerAscii(std::string_view text) {
  std::string out(text);
  for (char& c : out)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return out;
}

bool EqualsCaseBlind(std::string_view a, std::string_view b) {
  return a.size() == b.size() && ToLowerAscii(a) == ToLowerAscii(b);
}

static bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

std::string Trim(std::string_view text) {
  std::size_t b = 0, e = text.size();
  while (b < e && IsBlank(text[b])) ++b;
  while (e > b && IsBlank(text[e - 1])) --e;
  return std::string(text.substr(b, e - b));
}

std::string RemoveBlanks(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text)
    if (!IsBlank(c)) out.push_back(c);
  return out;
}

std::string ReplaceAll(std::string text, std::string_view from, std::string_view to) {
  if (from.empty()) return text;
  std::size_t pos = 0;
  while ((pos = text.find(from, pos)) != std::string::npos) {
    text.replace(pos, from.size(), to);
    pos += to.size();
  }
  return text;
}

std::vector<std::string> SplitLines(std::string_view text) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r' || text[i] == '\n') {
      lines.emplace_back(text.substr(start, i - start));
      if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
      start = i + 1;
    }
  }
  if (start < text.size()) lines.emplace_back(text.substr(start));
  return lines;
}

std::string Extension4(std::string_view path) {
  return ToUpperAscii(path.size() <= 4 ? path : path.substr(path.size() - 4));
}

double Val(std::string_view text) {
  std::size_t i = 0;
  auto skip = [&] {
    while (i < text.size() &&
           (text[i] == ' ' || text[i] == '\t' || text[i] == '\n' || text[i] == '\r'))
      ++i;
  };
  skip();
  if (i + 1 < text.size() && text[i] == '&' && (text[i + 1] == 'H' || text[i + 1] == 'h')) {
    i += 2;
    long long v = 0;
    bool any = false;
    for (; i < text.size(); ++i) {
      char c = text[i];
      int d = (c >= '0' && c <= '9')   ? c - '0'
              : (c >= 'a' && c <= 'f') ? c - 'a' + 10
              : (c >= 'A' && c <= 'F') ? c - 'A' + 10
                                       : -1;
      if (d < 0) break;
      any = true;
      v = (v << 4) | d;
      if (v > 0xFFFFFFFFLL) break;
    }
    if (!any) return 0;
    // Hex literals of up to 16 bits are signed 16-bit, longer ones signed 32-bit.
    if (v <= 0xFFFF) return static_cast<double>(static_cast<int16_t>(v));
    return static_cast<double>(static_cast<int32_t>(static_cast<uint32_t>(v)));
  }
  double sign = 1;
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) {
    if (text[i] == '-') sign = -1;
    ++i;
  }
  double value = 0, scale = 0.1;
  bool point = false;
  for (; i < text.size(); ++i) {
    char c = text[i];
    if (c == ' ' || c == '\t') continue;  // Val ignores blanks inside the number
    if (c == '.' && !point) {
      point = true;
      continue;
    }
    if (c < '0' || c > '9') break;
    if (!point) {
      value = value * 10 + (c - '0');
    } else {
      value += (c - '0') * scale;
      scale /= 10;
    }
  }
  return sign * value;
}

int ValInt(std::string_view text) {
  double v = std::nearbyint(Val(text));  // default rounding mode: ties to even
  if (v > std::numeric_limits<int>::max()) return std::numeric_limits<int>::max();
  if (v < std::numeric_limits<int>::min()) return std::numeric_limits<int>::min();
  return static_cast<int>(v);
}

std::size_t CharCount(std::string_view utf8) {
  std::size_t n = 0;
  for (unsigned char c : utf8)
    if ((c & 0xC0) != 0x80) ++n;
  return n;
}

std::string LeftChars(std::string_view utf8, std::size_t n) {
  std::size_t count = 0, i = 0;
  for (; i < utf8.size(); ++i) {
    if ((static_cast<unsigned char>(utf8[i]) & 0xC0) != 0x80) {
      if (count == n) break;
      ++count;
    }
  }
  return std::string(utf8.substr(0, i));
}

}  // namespace ebf
