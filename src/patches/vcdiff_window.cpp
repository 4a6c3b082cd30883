#include "patches/vcdiff_window.h"

#include <lzma.h>

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

std::optional<WindowError> DecodeWindow(const WindowHeader& w, std::span<const uint8_t> data,
                                        std::span<const uint8_t> inst,
                                        std::span<const uint8_t> addr, SourceImage& source,
                                        std::vector<uint8_t>& target) {
  auto damaged = [](std::string text) { return WindowError{false, std::move(text)}; };
  target.resize(w.targetLength);
  const uint64_t segment = w.sourceLength;
  const bool fromSource = (w.indicator & kWindowSource) != 0;
  AddressCache cache;
  uint64_t at = 0;  // bytes of the window's target made so far
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
      if (size > w.targetLength - at) return damaged("an instruction makes more than its window");
      uint8_t* out = target.data() + at;
      switch (half.kind) {
        case kAdd:
          if (data.size() < size) return damaged("an instruction wants more data than there are");
          std::memcpy(out, data.data(), size);
          data = data.subspan(size);
          break;
        case kRun:
          if (data.empty()) return damaged("an instruction wants more data than there are");
          std::memset(out, data[0], size);
          data = data.subspan(1);
          break;
        case kCopy: {
          const uint64_t here = segment + at;
          const auto a = cache.Decode(half.mode, here, addr);
          if (!a || *a >= here) return damaged("a copy has an address that cannot be");
          if (*a < segment) {
            if (!fromSource || size > segment - *a)
              return damaged("a copy runs past the end of its source segment");
            if (!source.Read(w.sourceOffset + *a, std::span<uint8_t>(out, size)))
              return WindowError{true, source.error()};
          } else {
            // From the window's own target, which may be what this copy is writing.
            const uint8_t* from = target.data() + (*a - segment);
            if (from + size <= out)
              std::memcpy(out, from, size);
            else
              for (uint64_t k = 0; k < size; ++k) out[k] = from[k];
          }
          break;
        }
        case kNoop:
          break;
      }
      at += size;
    }
  }
  if (at != w.targetLength) return damaged("a window makes less than its length");
  if (!data.empty() || !addr.empty()) return damaged("a window has data or addresses left over");
  return std::nullopt;
}

}  // namespace ebf::patches::vcdiff
