#include "disc/pal_fix.h"

#include <array>
#include <cstdio>

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

  // Which first bytes can start a match at all; most windows fail on this one test.
  std::array<bool, 256> trigger{};
  if (options.screenHeight) trigger[kScreenTrigger] = true;
  if (options.graphics) trigger[0x06] = trigger[0x07] = true;

  std::vector<uint8_t> buf(kPalChunkSize);
  uint64_t pos = file.Tell();
  uint64_t nextWindow = pos;  // windows before this were tested in the previous chunk
  uint32_t chunks = 0;
  while (pos < end) {
    std::size_t want = static_cast<std::size_t>(std::min<uint64_t>(kPalChunkSize, end - pos));
    if (!file.Seek(pos)) {
      result.error = file.LastError();
      break;
    }
    std::size_t got = file.Read(std::span<uint8_t>(buf.data(), want));
    bool last = got < want || pos + got >= end;
    for (std::size_t i = pos < nextWindow ? nextWindow - pos : 0; i + kPalWindow <= got; ++i) {
      if (!trigger[buf[i]]) continue;
      int rule = MatchWindow(&buf[i], options);
      if (rule < 0) continue;
      const PalRule& r = kRules[static_cast<std::size_t>(rule)];
      PalPatch patch{pos + i, LoadLe32(&buf[i]), LoadLe32(&buf[i + 4]), rule};
      StoreLe32(&buf[i], r.new0);
      StoreLe32(&buf[i + 4], r.new1);
      if (options.write &&
          (!file.Seek(patch.offset) || !file.Write(std::span<const uint8_t>(&buf[i], 8)))) {
        result.error = file.LastError();
        return result;
      }
      ++result.patches;
      if (undo) undo->push_back(patch);
      if (onPatch) onPatch(patch);
    }
    if (got >= kPalWindow) nextWindow = pos + got - kPalWindow + 1;
    if (last) break;
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
