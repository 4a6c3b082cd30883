#include "common/pattern.h"

#include <string>
#include <vector>

namespace ebf {
namespace {

std::u32string Decode(std::string_view s) {
  std::u32string out;
  out.reserve(s.size());
  for (std::size_t i = 0; i < s.size();) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    int extra = c < 0x80 ? 0 : (c >> 5) == 6 ? 1 : (c >> 4) == 14 ? 2 : (c >> 3) == 30 ? 3 : -1;
    if (extra < 0 || i + extra >= s.size()) {
      out.push_back(c);  // stray byte: keep it as a character of its own
      ++i;
      continue;
    }
    char32_t cp = extra == 0 ? c : (c & (0x3F >> extra));
    bool ok = true;
    for (int k = 1; k <= extra; ++k) {
      unsigned char cc = static_cast<unsigned char>(s[i + k]);
      if ((cc & 0xC0) != 0x80) ok = false;
      cp = (cp << 6) | (cc & 0x3F);
    }
    if (!ok) {
      out.push_back(c);
      ++i;
      continue;
    }
    out.push_back(cp);
    i += extra + 1;
  }
  return out;
}

// One element of a compiled pattern.
struct Item {
  enum Kind { Literal, Any, Digit, Star, Class };
  explicit Item(Kind k) : kind(k) {}
  Kind kind;
  char32_t ch = 0;
  bool negated = false;
  std::vector<std::pair<char32_t, char32_t>> ranges;

  bool Accepts(char32_t c) const {
    switch (kind) {
      case Literal:
        return c == ch;
      case Any:
        return true;
      case Digit:
        return c >= U'0' && c <= U'9';
      case Class: {
        bool in = false;
        for (auto [lo, hi] : ranges)
          if (c >= lo && c <= hi) in = true;
        return in != negated;
      }
      case Star:
        return true;
    }
    return false;
  }
};

bool Compile(const std::u32string& p, std::vector<Item>& items) {
  for (std::size_t i = 0; i < p.size(); ++i) {
    char32_t c = p[i];
    if (c == U'?') {
      items.emplace_back(Item::Any);
    } else if (c == U'#') {
      items.emplace_back(Item::Digit);
    } else if (c == U'*') {
      if (items.empty() || items.back().kind != Item::Star) items.emplace_back(Item::Star);
    } else if (c == U'[') {
      std::size_t close = p.find(U']', i + 1);
      if (close == std::u32string::npos) return false;
      if (close == i + 1) {  // "[]" matches the empty run: nothing to consume
        i = close;
        continue;
      }
      Item item(Item::Class);
      std::size_t j = i + 1;
      if (j < close && p[j] == U'!') {
        item.negated = true;
        ++j;
      }
      for (; j < close; ++j) {
        if (j + 2 < close && p[j + 1] == U'-') {
          char32_t lo = p[j], hi = p[j + 2];
          if (lo > hi) return false;
          item.ranges.emplace_back(lo, hi);
          j += 2;
        } else {
          item.ranges.emplace_back(p[j], p[j]);
        }
      }
      items.push_back(std::move(item));
      i = close;
    } else {
      Item item(Item::Literal);
      item.ch = c;
      items.push_back(item);
    }
  }
  return true;
}

}  // namespace

bool Matches(std::string_view text_utf8, std::string_view pattern_utf8) {
  std::vector<Item> items;
  if (!Compile(Decode(pattern_utf8), items)) return false;
  const std::u32string text = Decode(text_utf8);

  // Classic wildcard matching with one backtrack point per star.
  std::size_t t = 0, p = 0;
  std::size_t starP = std::string::npos, starT = 0;
  while (t < text.size()) {
    if (p < items.size() && items[p].kind == Item::Star) {
      starP = p++;
      starT = t;
    } else if (p < items.size() && items[p].Accepts(text[t])) {
      ++p;
      ++t;
    } else if (starP != std::string::npos) {
      p = starP + 1;
      t = ++starT;
    } else {
      return false;
    }
  }
  while (p < items.size() && items[p].kind == Item::Star) ++p;
  return p == items.size();
}

}  // namespace ebf
