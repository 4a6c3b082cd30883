// The PAL-to-NTSC patcher on files with planted instruction pairs: any alignment, across
// chunk seams, only inside the stretch, and put back exactly by the undo list.
#include "disc/pal_fix.h"

#include <gtest/gtest.h>

#include <tuple>

#include "common/bytes.h"
#include "common/file_io.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"

namespace ebf::test {
namespace {

void Plant(Bytes& data, std::size_t at, uint32_t w0, uint32_t w1) {
  StoreLe32(&data[at], w0);
  StoreLe32(&data[at + 4], w1);
}

// Noise with no byte that could start a match, so only planted pairs are found.
Bytes QuietNoise(std::size_t n, uint32_t seed) {
  Bytes b = NoiseBytes(n, seed);
  for (auto& c : b)
    if (c == 0x13 || c == 0x06 || c == 0x07) c = 0x55;
  return b;
}

struct Scan {
  PalFixResult result;
  std::vector<PalPatch> undo;
  std::vector<PalPatch> reported;
};

Scan RunFix(const std::string& path, PalFixOptions options, uint64_t start = 0,
            uint64_t end = UINT64_MAX, RunRecorder* hostIn = nullptr) {
  RunRecorder quiet;
  RunRecorder& host = hostIn ? *hostIn : quiet;
  Scan s;
  File f(path, File::Mode::ReadWrite);
  EXPECT_TRUE(f.Seek(start));
  if (end == UINT64_MAX) end = f.Size();
  s.result = ApplyPalFix(f, end, options, &s.undo, host, host.cancel, [&](const PalPatch& p) {
    s.reported.push_back(p);
    return true;
  });
  return s;
}

const PalFixOptions kBoth{true, true, true};

// Every row of the table, near misses beside and between them, pairs back to back and close
// behind a near miss (so a rejected candidate must not hide the next), one across the first
// chunk seam, one in the window two chunks share, and one in the file's last eight bytes.
TEST(PalFix, HandPlacedCasesForEachOptionSet) {
  // Where each pair of words goes, the rule that patches it (-1: none) and what it becomes.
  const uint32_t s0 = 0x24910013, s0b = 0x24910010, s1 = 0x24900013, s1b = 0x24900010;
  const uint32_t g6 = 0x3C028006, g7 = 0x3C028007, lw = 0x8C420000;
  const struct Planted {
    std::size_t offset;
    uint32_t w0, w1;
    int rule;
    uint32_t a0, a1;
  } planted[] = {
      {0, s0, s0b, 0, 0x24910000, 0x24910000},
      {101, s1, s1b, 1, 0x24900000, 0x24900000},
      {203, g6, lw | 0xDA30, 2, 0x20020000, 0},
      {307, g6, lw | 0xF518, 2, 0x20020000, 0},
      {402, g7, lw | 0xEC90, 3, 0x20020000, 0},
      {509, g7, lw | 0xF19C, 3, 0x20020000, 0},
      {600, s0, s0b, 0, 0x24910000, 0x24910000},
      {608, g6, lw | 0xDA30, 2, 0x20020000, 0},
      {700, s0, 0x25910010, -1, 0, 0},  // w1's top byte wrong
      {708, s1, s1b, 1, 0x24900000, 0x24900000},
      {800, s0, s1b, -1, 0, 0},                  // rows 0 and 1 mixed
      {900, g6, lw | 0xEC90, -1, 0, 0},          // 0x8006, 0x8007's w1
      {1000, 0x13009124, 0x10009124, -1, 0, 0},  // big-endian words
      {1100, s0, 0x24910011, -1, 0, 0},          // 0x11 for 0x10
      {1200, g7, lw | 0xDA30, -1, 0, 0},         // 0x8007, 0x8006's w1
      // Bytes 32763-32770: the first chunk ends at 32767; 65518-65525: in the second chunk
      // and the third.
      {32763, g7, lw | 0xF19C, 3, 0x20020000, 0},
      {65518, s0, s0b, 0, 0x24910000, 0x24910000},
      {69992, s1, s1b, 1, 0x24900000, 0x24900000},  // the last eight bytes
  };
  Bytes data = QuietNoise(70000, 4);
  for (const Planted& p : planted) Plant(data, p.offset, p.w0, p.w1);

  TempDir dir;
  const std::string path = dir / "game.bin";
  // No option, the screen option (rules 0 and 1), the graphics option (2 and 3), and both.
  for (int opt = 0; opt < 4; ++opt) {
    SCOPED_TRACE(opt);
    const PalFixOptions o{(opt & 1) != 0, (opt & 2) != 0};
    WriteFileBytes(path, data);
    Scan s = RunFix(path, o);
    EXPECT_TRUE(s.result.error.empty());
    Bytes expected = data;
    std::size_t n = 0;
    for (const Planted& p : planted) {
      if (p.rule < 0 || !(opt & (p.rule < 2 ? 1 : 2))) continue;
      SCOPED_TRACE(p.offset);
      Plant(expected, p.offset, p.a0, p.a1);
      ASSERT_LT(n, s.undo.size());
      EXPECT_EQ(std::tie(s.undo[n].offset, s.undo[n].rule, s.undo[n].w0, s.undo[n].w1),
                std::make_tuple(uint64_t{p.offset}, p.rule, p.w0, p.w1));
      ++n;
    }
    EXPECT_EQ(std::make_tuple(s.undo.size(), s.result.patches), std::make_tuple(n, n));
    EXPECT_EQ(n, std::vector<std::size_t>({0, 6, 6, 12})[opt]);
    EXPECT_TRUE(ReadFileBytes(path) == expected);
    // A second pass finds nothing: patched bytes no longer match.
    EXPECT_EQ(RunFix(path, o).result.patches, 0u);
    EXPECT_EQ(ReplayPalUndo(path, s.undo), "");
    EXPECT_TRUE(ReadFileBytes(path) == data);
  }
}

TEST(PalFix, StretchListingCancelAndProgress) {
  TempDir dir;
  Bytes data = QuietNoise(3'000'000, 3);
  for (std::size_t at : {10ul, 50'000ul, 1'000'001ul, 2'999'992ul})
    Plant(data, at, 0x24900013, 0x24900010);
  std::string path = dir / "g.bin";

  // Only the stretch [start, end) is scanned; a window must fit inside it whole.
  WriteFileBytes(path, data);
  for (const auto& [end, at] : {std::pair{1'000'008, 50'000}, {1'000'009, 1'000'001}}) {
    const Scan scan = RunFix(path, kBoth, 40'000, end);
    ASSERT_EQ(scan.undo.size(), 1u) << end;
    EXPECT_EQ(scan.undo[0].offset, uint64_t(at)) << end;
  }

  // Listing without writing reports each match once and leaves the file alone, even for a
  // pair in the window that two chunks share.
  Bytes seam = data;
  Plant(seam, 32759, 0x24910013, 0x24910010);
  WriteFileBytes(path, seam);
  const PalFixOptions list{true, true, false};
  Scan listed = RunFix(path, list);
  EXPECT_EQ(listed.reported.size(), 5u);
  EXPECT_EQ(ReadFileBytes(path), seam);

  // Progress: one stage, advanced every 65 chunks, completed.
  RunRecorder host;
  RunFix(path, list, 0, UINT64_MAX, &host);
  EXPECT_EQ(host.stages, std::vector<std::string>{"Applying PAL -> NTSC Fix..."});
  EXPECT_EQ(host.completed, std::vector<std::string>{"Applying PAL -> NTSC Fix..."});
  ASSERT_EQ(host.amounts.size(), 1u);  // 92 chunks of 32,767 bytes: one pump, after the 65th
  EXPECT_EQ(host.amounts.back().second, seam.size());
  EXPECT_GT(host.amounts.back().first, seam.size() / 2);

  // A cancel stops the scan; patches so far stay and can be undone; the request is left
  // for the caller to take.
  WriteFileBytes(path, data);
  RunRecorder cancelling;
  cancelling.onAdvance = [&](int) { cancelling.cancel.Request(); };
  Scan cut = RunFix(path, kBoth, 0, UINT64_MAX, &cancelling);
  EXPECT_TRUE(cut.result.cancelled && cancelling.cancel.Requested() &&
              cancelling.completed.empty());
  EXPECT_EQ(cut.undo.size(), 3u);  // all but the last lie before the first pump
  EXPECT_EQ(ReplayPalUndo(path, cut.undo), "");
  EXPECT_EQ(ReadFileBytes(path), data);
}

TEST(PalFix, OddFilesNeverCrash) {
  TempDir dir;
  std::string path = dir / "x.bin";
  for (std::size_t size : {0ul, 1ul, 7ul, 8ul, 32767ul, 32768ul}) {
    Bytes data(size, 0x13);
    if (size >= 8) Plant(data, size - 8, 0x24910013, 0x24910010);
    WriteFileBytes(path, data);
    EXPECT_EQ(RunFix(path, kBoth).result.patches, size >= 8 ? 1u : 0u) << size;
    // An end past the file's end stops at the end.
    EXPECT_EQ(RunFix(path, kBoth, 0, size + 100000).result.patches, 0u);
  }
  EXPECT_NE(ReplayPalUndo(dir / "missing.bin", {PalPatch{}}), "");
}

}  // namespace
}  // namespace ebf::test
