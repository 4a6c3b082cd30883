#include "patches/vcdiff_window.h"

#include <lzma.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace ebf::patches::vcdiff {
namespace {

// More than any dictionary xdelta3's presets ask for; a patch that wants more is refused
// rather than given the memory.
constexpr uint64_t kLzmaMemory = 256ull << 20;

enum Kind : uint8_t { kNoop, kAdd, kRun, kCopy };

struct Half {
  Kind kind = kNoop;
  uint8_t size = 0;
  uint8_t mode = 0;
};
struct Code {
  Half first, second;
};

// The default code table of RFC 3284 (section 5.6), which xdelta3 always uses.
std::array<Code, 256> DefaultCodeTable() {
  std::array<Code, 256> t{};
  std::size_t i = 0;
  t[i++] = {{kRun, 0, 0}, {}};
  for (uint8_t size = 0; size <= 17; ++size) t[i++] = {{kAdd, size, 0}, {}};
  for (uint8_t mode = 0; mode <= 8; ++mode) {
    t[i++] = {{kCopy, 0, mode}, {}};
    for (uint8_t size = 4; size <= 18; ++size) t[i++] = {{kCopy, size, mode}, {}};
  }
  for (uint8_t mode = 0; mode <= 5; ++mode)
    for (uint8_t add = 1; add <= 4; ++add)
      for (uint8_t copy = 4; copy <= 6; ++copy) t[i++] = {{kAdd, add, 0}, {kCopy, copy, mode}};
  for (uint8_t mode = 6; mode <= 8; ++mode)
    for (uint8_t add = 1; add <= 4; ++add) t[i++] = {{kAdd, add, 0}, {kCopy, 4, mode}};
  for (uint8_t mode = 0; mode <= 8; ++mode) t[i++] = {{kCopy, 4, mode}, {kAdd, 1, 0}};
  return t;
}

const std::array<Code, 256>& CodeTable() {
  static const std::array<Code, 256> table = DefaultCodeTable();
  return table;
}

// The address cache (RFC 3284 section 5.1) of the default table: four recent addresses and
// three pages of 256 addresses by their value.
class AddressCache {
 public:
  static constexpr uint8_t kNear = 4, kSame = 3;

  std::optional<uint64_t> Decode(uint8_t mode, uint64_t here, std::span<const uint8_t>& addr) {
    uint64_t a;
    if (mode == 0) {
      const auto v = ReadInteger(addr);
      if (!v) return std::nullopt;
      a = *v;
    } else if (mode == 1) {
      const auto v = ReadInteger(addr);
      if (!v || *v > here) return std::nullopt;
      a = here - *v;
    } else if (mode < 2 + kNear) {
      const auto v = ReadInteger(addr);
      if (!v || *v > UINT64_MAX - near_[mode - 2]) return std::nullopt;
      a = near_[mode - 2] + *v;
    } else {
      if (addr.empty() || mode >= 2 + kNear + kSame) return std::nullopt;
      a = same_[(mode - 2 - kNear) * 256u + addr[0]];
      addr = addr.subspan(1);
    }
    near_[next_] = a;
    next_ = static_cast<uint8_t>((next_ + 1) % kNear);
    same_[a % same_.size()] = a;
    return a;
  }

 private:
  std::array<uint64_t, kNear> near_{};
  uint8_t next_ = 0;
  std::array<uint64_t, kSame * 256> same_{};
};

template <typename Next>
std::optional<uint64_t> Integer(Next&& next) {
  uint64_t v = 0;
  for (int i = 0; i < 10; ++i) {
    const auto b = next();
    if (!b || v > (UINT64_MAX >> 7)) return std::nullopt;
    v = (v << 7) | (*b & 0x7F);
    if (!(*b & 0x80)) return v;
  }
  return std::nullopt;
}

}  // namespace

std::optional<uint64_t> ReadInteger(PatchCursor& c) {
  return Integer([&]() -> std::optional<uint8_t> {
    const uint8_t b = c.U8();
    return c.ok() ? std::optional<uint8_t>(b) : std::nullopt;
  });
}

std::optional<uint64_t> ReadInteger(std::span<const uint8_t>& bytes) {
  return Integer([&]() -> std::optional<uint8_t> {
    if (bytes.empty()) return std::nullopt;
    const uint8_t b = bytes[0];
    bytes = bytes.subspan(1);
    return b;
  });
}

std::string ReadWindowHeader(PatchCursor& c, bool secondary, WindowHeader& w) {
  w = {};
  w.indicator = c.U8();
  if (!c.ok()) return "a window is cut short";
  if (w.indicator & ~(kWindowSource | kWindowTarget | kWindowAdler32))
    return "a window has indicator bits no VCDIFF writer sets";
  if ((w.indicator & kWindowSource) && (w.indicator & kWindowTarget))
    return "a window copies from both the source and the target";
  if (w.indicator & (kWindowSource | kWindowTarget)) {
    const auto length = ReadInteger(c), offset = ReadInteger(c);
    if (!length || !offset || *length > UINT64_MAX - *offset) return "a window is cut short";
    w.sourceLength = *length;
    w.sourceOffset = *offset;
  }
  const auto encoded = ReadInteger(c);
  const uint64_t start = c.pos();
  const auto target = ReadInteger(c);
  if (!encoded || !target) return "a window is cut short";
  if (*target > kMaxWindow || w.sourceLength > UINT64_MAX - *target)
    return "a window of " + std::to_string(*target) + " bytes is larger than any xdelta3 writes";
  w.targetLength = *target;
  w.deltaIndicator = c.U8();
  if (w.deltaIndicator & ~(kDeltaData | kDeltaInst | kDeltaAddr))
    return "a window has delta indicator bits no VCDIFF writer sets";
  if (w.deltaIndicator && !secondary)
    return "a window's sections are compressed, and the patch names no compressor";
  const auto data = ReadInteger(c), inst = ReadInteger(c), addr = ReadInteger(c);
  if (!data || !inst || !addr) return "a window is cut short";
  if (*data > kMaxSection || *inst > kMaxSection || *addr > kMaxSection)
    return "a window's sections are larger than any xdelta3 writes";
  w.dataLength = *data;
  w.instLength = *inst;
  w.addrLength = *addr;
  if (w.indicator & kWindowAdler32) w.adler32 = c.Be32();
  if (!c.ok()) return "a window is cut short";
  w.sectionsAt = c.pos();
  if (*encoded != w.sectionsAt - start + w.sectionsLength())
    return "a window's length disagrees with its sections";
  if (w.sectionsLength() > c.remaining()) return "a window's sections are cut short";
  return {};
}

struct LzmaSections::Streams {
  std::array<lzma_stream, 3> s;
  std::array<bool, 3> started{};
  Streams() {
    const lzma_stream fresh = LZMA_STREAM_INIT;
    s.fill(fresh);
  }
  ~Streams() {
    for (std::size_t i = 0; i < s.size(); ++i)
      if (started[i]) lzma_end(&s[i]);
  }
};

LzmaSections::LzmaSections() : streams_(std::make_unique<Streams>()) {}
LzmaSections::~LzmaSections() = default;

std::string LzmaSections::Decode(int kind, std::span<const uint8_t> section,
                                 std::vector<uint8_t>& out) {
  const auto size = ReadInteger(section);
  if (!size || *size == 0 || *size > kMaxSection)
    return "a compressed section gives a size of its own that cannot be";
  lzma_stream& s = streams_->s[kind];
  if (!streams_->started[kind]) {
    if (lzma_stream_decoder(&s, kLzmaMemory, 0) != LZMA_OK)
      return "its LZMA decoder could not be started";
    streams_->started[kind] = true;
  }
  out.resize(*size);
  s.next_in = section.data();
  s.avail_in = section.size();
  s.next_out = out.data();
  s.avail_out = out.size();
  while (s.avail_out > 0) {
    const lzma_ret r = lzma_code(&s, LZMA_RUN);
    if (r == LZMA_MEMLIMIT_ERROR) return "its LZMA data ask for more memory than a patch may";
    if (r != LZMA_OK) return "its LZMA data are damaged";
    if (s.avail_in == 0 && s.avail_out > 0) return "a compressed section gives less than it says";
  }
  // The section must be used up: what is left may only be the stream's own bookkeeping.
  while (s.avail_in > 0) {
    uint8_t extra = 0;
    const std::size_t before = s.avail_in;
    s.next_out = &extra;
    s.avail_out = 1;
    const lzma_ret r = lzma_code(&s, LZMA_RUN);
    if ((r != LZMA_OK && r != LZMA_STREAM_END) || s.avail_out == 0 || s.avail_in == before)
      return "a compressed section holds more than it says";
    if (r == LZMA_STREAM_END) break;
  }
  return {};
}

void WindowPieces::Reset(uint64_t targetLength) {
  pieces_.clear();
  starts_.clear();
  made_.clear();
  made_.reserve(static_cast<std::size_t>(targetLength));
  size_ = 0;
}

void WindowPieces::Add(std::span<const uint8_t> piece) {
  if (piece.empty()) return;
  // A piece that goes on where the last one ended is the same piece, longer.
  if (!pieces_.empty() && pieces_.back().data() + pieces_.back().size() == piece.data()) {
    pieces_.back() = {pieces_.back().data(), pieces_.back().size() + piece.size()};
  } else {
    pieces_.push_back(piece);
    starts_.push_back(size_);
  }
  size_ += piece.size();
}

void WindowPieces::Fill(uint8_t value, uint64_t length) {
  const std::size_t at = made_.size();
  made_.insert(made_.end(), static_cast<std::size_t>(length), value);
  Add(std::span<const uint8_t>(made_).subspan(at));
}

void WindowPieces::Repeat(std::span<const uint8_t> period, uint64_t length) {
  const std::size_t at = made_.size();
  for (uint64_t k = 0; k < length; ++k) made_.push_back(period[k % period.size()]);
  Add(std::span<const uint8_t>(made_).subspan(at));
}

void WindowPieces::Resolve(uint64_t from, uint64_t length,
                           std::vector<std::span<const uint8_t>>& out) const {
  std::size_t i = static_cast<std::size_t>(std::upper_bound(starts_.begin(), starts_.end(), from) -
                                           starts_.begin() - 1);
  while (length > 0) {
    const uint64_t skip = from - starts_[i];
    const uint64_t n = std::min<uint64_t>(length, pieces_[i].size() - skip);
    out.push_back(pieces_[i].subspan(static_cast<std::size_t>(skip), static_cast<std::size_t>(n)));
    from += n;
    length -= n;
    ++i;
  }
}

std::optional<WindowError> DecodeWindow(const WindowHeader& w, std::span<const uint8_t> data,
                                        std::span<const uint8_t> inst,
                                        std::span<const uint8_t> addr,
                                        std::span<const uint8_t> segment, WindowPieces& target) {
  auto damaged = [](std::string text) { return WindowError{false, std::move(text)}; };
  target.Reset(w.targetLength);
  const uint64_t segmentLength = w.sourceLength;
  const bool fromSource = (w.indicator & kWindowSource) != 0;
  AddressCache cache;
  std::vector<std::span<const uint8_t>> found;
  std::vector<uint8_t> period;
  const auto& table = CodeTable();
  while (!inst.empty()) {
    const Code& code = table[inst[0]];
    inst = inst.subspan(1);
    for (const Half& half : {code.first, code.second}) {
      if (half.kind == kNoop) continue;
      uint64_t size = half.size;
      if (size == 0) {
        const auto v = ReadInteger(inst);
        if (!v) return damaged("an instruction is cut short");
        size = *v;
      }
      const uint64_t at = target.size();  // bytes of the window's target made so far
      if (size > w.targetLength - at) return damaged("an instruction makes more than its window");
      switch (half.kind) {
        case kAdd:
          if (data.size() < size) return damaged("an instruction wants more data than there are");
          target.Add(data.first(static_cast<std::size_t>(size)));
          data = data.subspan(static_cast<std::size_t>(size));
          break;
        case kRun:
          if (data.empty()) return damaged("an instruction wants more data than there are");
          target.Fill(data[0], size);
          data = data.subspan(1);
          break;
        case kCopy: {
          const uint64_t here = segmentLength + at;
          const auto a = cache.Decode(half.mode, here, addr);
          if (!a || *a >= here) return damaged("a copy has an address that cannot be");
          if (*a < segmentLength) {
            if (!fromSource || size > segmentLength - *a)
              return damaged("a copy runs past the end of its source segment");
            target.Add(
                segment.subspan(static_cast<std::size_t>(*a), static_cast<std::size_t>(size)));
            break;
          }
          // From the window's own target, which may be what this copy is writing: then it
          // repeats the bytes between its start and here.
          const uint64_t from = *a - segmentLength, have = at - from;
          found.clear();
          target.Resolve(from, std::min(size, have), found);
          if (size <= have) {
            for (const auto& piece : found) target.Add(piece);
          } else {
            period.clear();
            for (const auto& piece : found) period.insert(period.end(), piece.begin(), piece.end());
            target.Repeat(period, size);
          }
          break;
        }
        case kNoop:
          break;
      }
    }
  }
  if (target.size() != w.targetLength) return damaged("a window makes less than its length");
  if (!data.empty() || !addr.empty()) return damaged("a window has data or addresses left over");
  return std::nullopt;
}

}  // namespace ebf::patches::vcdiff
