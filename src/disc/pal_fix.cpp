#include "disc/pal_fix.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdio>
#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define EBF_PAL_SSE2 1
#endif

#include "common/bytes.h"
#include "common/cancel.h"

namespace ebf {
namespace {

struct PalRule {
  uint8_t trigger1, trigger2;  // the window's first byte must be one of these
  uint32_t w0;
  uint32_t w1a, w1b;  // w1 must be one of these
  uint32_t new0, new1;
  bool screen;
};

// Screen height: two immediate additions of 0x13 and 0x10 (display offsets) become
// additions of 0. Graphics: the load of the video-mode variable becomes "load 0" + nop.
constexpr std::array<PalRule, 4> kRules = {{
    {0x13, 0x13, 0x24910013, 0x24910010, 0x24910010, 0x24910000, 0x24910000, true},
    {0x13, 0x13, 0x24900013, 0x24900010, 0x24900010, 0x24900000, 0x24900000, true},
    {0x06, 0x07, 0x3C028006, 0x8C42DA30, 0x8C42F518, 0x20020000, 0x00000000, false},
    {0x06, 0x07, 0x3C028007, 0x8C42EC90, 0x8C42F19C, 0x20020000, 0x00000000, false},
}};

constexpr uint8_t kScreenTrigger = 0x13;

// The table row that matches the window, or -1.
int MatchWindow(const uint8_t* p, const PalFixOptions& options) {
  uint8_t first = p[0];
  bool screenOnly = options.screenHeight && first == kScreenTrigger;
  uint32_t w0 = LoadLe32(p), w1 = LoadLe32(p + 4);
  for (int i = 0; i < static_cast<int>(kRules.size()); ++i) {
    const PalRule& r = kRules[static_cast<std::size_t>(i)];
    if (r.screen ? !screenOnly : (screenOnly || !options.graphics)) continue;
    if (first != r.trigger1 && first != r.trigger2) continue;
    if (w0 == r.w0 && (w1 == r.w1a || w1 == r.w1b)) return i;
  }
  return -1;
}

// Where a match can start at all: the first byte is a trigger and the fourth is the high
// byte of w0 (0x24 for the screen rows, 0x3C for the graphics rows). Nearly every window
// fails this test, so it is made sixteen windows at a time where the processor allows.
class CandidateFinder {
 public:
  explicit CandidateFinder(const PalFixOptions& o) : screen_(o.screenHeight), gfx_(o.graphics) {}

  // The first window start in [from, to) that may match, or `to`. Windows are 8 bytes long
  // and lie within the buffer.
  std::size_t Next(const uint8_t* p, std::size_t from, std::size_t to) const {
#ifdef EBF_PAL_SSE2
    const __m128i v13 = _mm_set1_epi8(0x13), v06 = _mm_set1_epi8(0x06), v07 = _mm_set1_epi8(0x07),
                  v24 = _mm_set1_epi8(0x24), v3c = _mm_set1_epi8(0x3C);
    const int screenMask = screen_ ? 0xFFFF : 0, gfxMask = gfx_ ? 0xFFFF : 0;
    for (; from + 16 <= to; from += 16) {
      __m128i b0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + from));
      __m128i b3 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + from + 3));
      __m128i screen = _mm_and_si128(_mm_cmpeq_epi8(b0, v13), _mm_cmpeq_epi8(b3, v24));
      __m128i gfx = _mm_and_si128(_mm_or_si128(_mm_cmpeq_epi8(b0, v06), _mm_cmpeq_epi8(b0, v07)),
                                  _mm_cmpeq_epi8(b3, v3c));
      int m = (_mm_movemask_epi8(screen) & screenMask) | (_mm_movemask_epi8(gfx) & gfxMask);
      if (m) return from + static_cast<std::size_t>(std::countr_zero(static_cast<unsigned>(m)));
    }
#endif
    for (; from < to; ++from) {
      uint8_t b0 = p[from], b3 = p[from + 3];
      if (screen_ && b0 == kScreenTrigger && b3 == 0x24) return from;
      if (gfx_ && (b0 == 0x06 || b0 == 0x07) && b3 == 0x3C) return from;
    }
    return to;
  }

 private:
  bool screen_, gfx_;
};

}  // namespace

std::string PalRuleName(int rule) {
  if (rule < 0 || rule >= static_cast<int>(kRules.size())) return "unknown";
  const PalRule& r = kRules[static_cast<std::size_t>(rule)];
  char text[64];
  std::snprintf(text, sizeof text, "%s 0x%08X", r.screen ? "screen height" : "graphics", r.w0);
  return text;
}

PalFixResult ApplyPalFix(File& file, uint64_t end, const PalFixOptions& options,
                         std::vector<PalPatch>* undo, Host& host,
                         const std::function<void(const PalPatch&)>& onPatch) {
  PalFixResult result;
  if (options.batch)
    host.Log(kPalFixLogLine);
  else
    host.SetCaption(kPalFixCaption);
  if (!options.screenHeight && !options.graphics) return result;

  CandidateFinder candidates(options);
  std::vector<uint8_t> buf(kPalChunkSize);
  // A chunk after the first begins with the previous chunk's last window, carried over in
  // memory (patched bytes included) so that the file is read strictly forwards.
  uint64_t pos = file.Tell();
  std::size_t carried = 0;
  uint32_t chunks = 0;
  while (pos < end) {
    std::size_t want = static_cast<std::size_t>(std::min<uint64_t>(kPalChunkSize, end - pos));
    std::size_t got = carried + file.Read(std::span<uint8_t>(buf.data() + carried, want - carried));
    bool last = got < want || pos + got >= end;
    bool wrote = false;
    std::size_t windows = got >= kPalWindow ? got - kPalWindow + 1 : 0;
    // The carried window was tested as the previous chunk's last one.
    for (std::size_t i = carried ? 1 : 0; (i = candidates.Next(buf.data(), i, windows)) < windows;
         ++i) {
      int rule = MatchWindow(&buf[i], options);
      if (rule < 0) continue;
      const PalRule& r = kRules[static_cast<std::size_t>(rule)];
      PalPatch patch{pos + i, LoadLe32(&buf[i]), LoadLe32(&buf[i + 4]), rule};
      StoreLe32(&buf[i], r.new0);
      StoreLe32(&buf[i + 4], r.new1);
      if (options.write) {
        if (!file.Seek(patch.offset) || !file.Write(std::span<const uint8_t>(&buf[i], 8))) {
          result.error = file.LastError();
          return result;
        }
        wrote = true;
      }
      ++result.patches;
      if (undo) undo->push_back(patch);
      if (onPatch) onPatch(patch);
    }
    if (last) break;
    if (wrote && !file.Seek(pos + got)) {  // back to just after the chunk
      result.error = file.LastError();
      break;
    }
    std::copy(buf.begin() + static_cast<std::ptrdiff_t>(got - kPalWindow),
              buf.begin() + static_cast<std::ptrdiff_t>(got), buf.begin());
    carried = kPalWindow;
    pos += got - kPalWindow;
    if (++chunks % kPalChunksPerPump == 0) {
      host.PumpEvents();
      host.SetFraction(end ? static_cast<double>(pos) / static_cast<double>(end) : 1.0);
    }
    if (CancelRequested) {
      result.cancelled = true;
      break;
    }
  }
  if (options.write && result.patches && !file.Flush() && result.error.empty())
    result.error = file.LastError();
  return result;
}

std::string ReplayPalUndo(File& file, const std::vector<PalPatch>& undo) {
  for (const PalPatch& p : undo) {
    uint8_t words[8];
    StoreLe32(words, p.w0);
    StoreLe32(words + 4, p.w1);
    if (!file.Seek(p.offset) || !file.Write(std::span<const uint8_t>(words, 8)))
      return file.LastError();
  }
  if (!file.Flush()) return file.LastError();
  return {};
}

std::string ReplayPalUndo(const std::string& path, const std::vector<PalPatch>& undo) {
  File file(path, File::Mode::ReadWrite);
  if (!file) return file.LastError();
  std::string error = ReplayPalUndo(file, undo);
  if (!file.Close() && error.empty()) error = file.LastError();
  return error;
}

}  // namespace ebf
