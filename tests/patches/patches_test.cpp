// Patch files built here byte by byte, applied to an image of 17 sectors whose byte i is
// i % 251: what each format writes (across a sector edge, with PPF 3.0 undo data, IPS runs
// and its cut, the four BPS actions), and every check that refuses a patch made for another
// disc before anything is written. VCDIFF as xdelta3 writes it is tested against xdelta3
// itself in tests/engine/patch_conversion_test.cpp.
#include <gtest/gtest.h>
#include <zlib.h>

#include "common/bytes.h"
#include "common/files.h"
#include "patches/patch.h"
#include "support/process_run.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using test::TempDir;
constexpr auto Put = test::Append;

constexpr std::size_t kSize = 17 * 2352;  // 39,984 = 0x9C30: past PPF's check block at 0x9320

Bytes Source() {
  Bytes b(kSize);
  for (std::size_t i = 0; i < kSize; ++i) b[i] = static_cast<uint8_t>(i % 251);
  return b;
}

Bytes Str(const std::string& s) {
  return Bytes(s.begin(), s.end());
}
// `v` in `n` bytes, the lowest first (or, `big`, the highest first).
void Le(Bytes& to, uint64_t v, int n, bool big = false) {
  for (int i = 0; i < n; ++i) to.push_back(static_cast<uint8_t>(v >> (8 * (big ? n - 1 - i : i))));
}

struct Rec {
  uint64_t offset;
  Bytes data;
};

// PPF `version` with the check block copied from `checkFrom` (2.0 always has one).
Bytes Ppf(int version, const std::vector<Rec>& records, const Bytes& checkFrom = {},
          bool undo = false, uint32_t imageSize = kSize) {
  Bytes p = Str("PPF" + std::to_string(version) + "0");
  p.push_back(static_cast<uint8_t>(version - 1));
  Put(p, Str("A translation" + std::string(37, ' ')));
  if (version == 2) Le(p, imageSize, 4);
  if (version == 3) Put(p, {0, checkFrom.empty() ? uint8_t{0} : uint8_t{1}, undo, 0});
  if (!checkFrom.empty()) Put(p, Bytes(checkFrom.begin() + 0x9320, checkFrom.begin() + 0x9720));
  for (const Rec& r : records) {
    Le(p, r.offset, version == 3 ? 8 : 4), p.push_back(static_cast<uint8_t>(r.data.size()));
    Put(p, r.data);
    if (undo) Put(p, Bytes(r.data.size(), 0xEE));
  }
  return p;
}

// BPS's numbers: 7 bits a byte, low first, each further byte also worth the ones before.
void Number(Bytes& to, uint64_t v) {
  for (;; --v) {
    to.push_back(v & 0x7F);
    v >>= 7;
    if (v == 0) return void(to.back() |= 0x80);
  }
}

Bytes Bps(uint64_t sourceSize, uint64_t targetSize, const Bytes& actions, uint32_t sourceCrc,
          uint32_t targetCrc) {
  Bytes p = Str("BPS1");
  Number(p, sourceSize), Number(p, targetSize), Number(p, 0);  // no metadata
  Put(p, actions), Le(p, sourceCrc, 4), Le(p, targetCrc, 4);
  Le(p, crc32(0, p.data(), static_cast<uInt>(p.size())), 4);
  return p;
}

// A BPS action (length - 1 above the two command bits), a copy's signed move, its bytes.
Bytes Action(uint64_t length, int command, int64_t move = 0, const Bytes& bytes = {}) {
  Bytes out;
  Number(out, ((length - 1) << 2) | static_cast<uint64_t>(command));
  if (command >= 2) Number(out, (static_cast<uint64_t>(move < 0 ? -move : move) << 1) | (move < 0));
  Put(out, bytes);
  return out;
}

// VCDIFF's integers: 7 bits a byte, high first, the high bit on all but the last.
void Int(Bytes& to, uint64_t v) {
  Bytes rev = {static_cast<uint8_t>(v & 0x7F)};
  for (v >>= 7; v; v >>= 7) rev.push_back(0x80 | (v & 0x7F));
  to.insert(to.end(), rev.rbegin(), rev.rend());
}

// One VCDIFF window with a source segment (length, offset) and an Adler-32 that only adds
// `add` (code 1 + size: ADD of that size); `secondary` names a compressor.
Bytes Vcdiff(uint8_t secondary, uint64_t segLength, uint64_t segOffset, const Bytes& add,
             uint32_t adler) {
  Bytes p = {0xD6, 0xC3, 0xC4, 0x00, secondary ? uint8_t{1} : uint8_t{0}};
  if (secondary) p.push_back(secondary);
  // Target length, no delta indicator, the three section lengths, the checksum, the sections.
  Bytes body;
  Int(body, add.size()), body.push_back(0), Int(body, add.size()), Int(body, 1), Int(body, 0);
  Le(body, adler, 4, true), Put(body, add), body.push_back(static_cast<uint8_t>(1 + add.size()));
  p.push_back(0x05);  // VCD_SOURCE | VCD_ADLER32
  Int(p, segLength), Int(p, segOffset), Int(p, body.size());
  Put(p, body);
  return p;
}

struct Applied {
  Outcome outcome = Outcome::Success();
  Bytes image;
  bool leftovers = false;
};

Applied Apply(const std::string& name, const Bytes& patch) {
  TempDir dir;
  test::WriteFileBytes(dir / "disc.bin", Source());
  test::WriteFileBytes(dir / name, patch);
  test::RunRecorder host;
  Applied a;
  patches::OpenedPatch opened = patches::OpenPatch(dir / name);
  a.outcome = opened.outcome;
  if (opened.patch)
    a.outcome = patches::ApplyPatchFile(*opened.patch, dir / "disc.bin", dir / "out.bin", host,
                                        host.cancel);
  if (a.outcome.succeeded()) a.image = test::ReadFileBytes(dir / "out.bin");
  a.leftovers =
      FileExists(dir / "out.bin") != a.outcome.succeeded() || FileExists(dir / "out.bin.part");
  EXPECT_TRUE(test::ReadFileBytes(dir / "disc.bin") == Source()) << name;
  return a;
}

TEST(Patches, EachFormatWritesWhereItSaysAcrossSectorEdges) {
  const Bytes src = Source();
  const Bytes edge = {1, 2, 3, 4, 5, 6};  // 2349-2354: three bytes either side of sector 1
  Bytes ppf2 = Ppf(2, {{2349, edge}}, src);
  Put(ppf2, Str("@BEGIN_FILE_ID.DIZFix by us@END_FILE_ID.DIZ"));
  Le(ppf2, 9, 4);
  Bytes ips = Str("PATCH");
  Le(ips, 2350, 3, true), Le(ips, 3, 2, true), Put(ips, Str("xyz"));
  Le(ips, 4700, 3, true), Le(ips, 0, 2, true), Le(ips, 10, 2, true), ips.push_back(0x55);
  Put(ips, Str("EOF")), Le(ips, 30000, 3, true);
  Bytes grow = Str("PATCH");
  Le(grow, kSize, 3, true), Le(grow, 4, 2, true), Put(grow, Str("more")), Put(grow, Str("EOF"));
  // BPS: the source up to the edge, six bytes of its own, the source after them, "ba", and a
  // copy of the "ba" that reads what it writes itself.
  Bytes bpsTarget = src;
  std::copy(edge.begin(), edge.end(), bpsTarget.begin() + 2349);
  for (std::size_t i = kSize - 10; i < kSize; ++i) bpsTarget[i] = (i % 2) ? 'a' : 'b';
  Bytes actions;
  for (const Bytes& action : {Action(2349, 0), Action(6, 1, 0, edge), Action(kSize - 2365, 2, 2355),
                              Action(2, 1, 0, Str("ba")), Action(8, 3, int64_t{kSize} - 10)})
    Put(actions, action);
  const Bytes bps =
      Bps(kSize, kSize, actions, crc32(0, src.data(), kSize), crc32(0, bpsTarget.data(), kSize));

  // The patch, the bytes it writes over the source, and the size of what comes out.
  // clang-format off
  const std::tuple<std::string, Bytes, std::vector<Rec>, std::size_t> rows[] = {
      {"p1.ppf", Ppf(1, {{2349, edge}, {0, {0xAA}}}), {{2349, edge}, {0, {0xAA}}}, kSize},
      {"p2.ppf", ppf2, {{2349, edge}}, kSize},
      {"p3.ppf", Ppf(3, {{2349, edge}, {4703, {7, 8}}}, src, true), {{2349, edge}, {4703, {7, 8}}}, kSize},
      {"cut.ips", ips, {{2350, Str("xyz")}, {4700, Bytes(10, 0x55)}}, 30000},
      {"grow.ips", grow, {{kSize, Str("more")}}, kSize + 4},
      {"p.bps", bps, {{2349, edge}, {kSize - 10, Str("bababababa")}}, kSize},
  };
  // clang-format on
  for (const auto& [name, patch, writes, size] : rows) {
    SCOPED_TRACE(name);
    const Applied a = Apply(name, patch);
    ASSERT_EQ(a.outcome, Outcome::Success());
    Bytes expected = src;
    expected.resize(std::max(size, kSize));
    for (const Rec& r : writes)
      std::copy(r.data.begin(), r.data.end(), expected.begin() + r.offset);
    expected.resize(size);
    EXPECT_TRUE(a.image == expected);
    EXPECT_FALSE(a.leftovers);
  }
}

TEST(Patches, APatchForAnotherDiscIsRefusedBeforeAnythingIsWritten) {
  const Bytes src = Source();
  Bytes otherBlock = src;
  otherBlock[0x9400] ^= 1;
  const Bytes x = Action(1, 1, 0, {'x'});
  const Bytes bpsOk = Bps(kSize, 1, x, 0x12345678, 0);
  Bytes bpsDamaged = Bps(kSize, 1, x, 0x88814B3F, 0);
  bpsDamaged[6] ^= 0x40;
  // clang-format off
  const std::tuple<std::string, Bytes, std::string> rows[] = {
      {"size.ppf", Ppf(2, {{0, {1}}}, src, false, 40000), "it expects an image of 40000 bytes, this one has 39984"},
      {"block.ppf", Ppf(3, {{0, {1}}}, otherBlock), "the 1,024 bytes it checks at 0x9320 differ from this image's"},
      {"far.ppf", Ppf(1, {{0x9C31, {1}}}), "it writes at byte 0x9C31, past the end of this image (0x9C30 bytes)"},
      {"crc.bps", bpsOk, "the CRC32 of the image it was made from is 12345678, this image's is 88814B3F"},
      {"size.bps", Bps(100, 1, x, 0, 0), "it expects an image of 100 bytes, this one has 39984"},
      {"range.vcdiff", Vcdiff(0, 200, 0x9BD0, Str("abc"), 0x024d0127), "it copies from bytes 0x9BD0 to 0x9C98 of the image it was made from, past the end of this one (0x9C30 bytes)"},
      {"sum.vcdiff", Vcdiff(0, 200, 0, Str("abc"), 0x11111111), "the result differs from what it was made to give at byte 0x0 (its window checksum)"},
      // Whole messages; the damaged one's start.
      {"djw.vcdiff", Vcdiff(1, 200, 0, Str("abc"), 0), "The patch \"djw.vcdiff\" is compressed with xdelta3's DJW coding, which this program does not read. Make it again with \"xdelta3 -S lzma\" or \"xdelta3 -S none\"."},
      {"notes.txt", Str("Notes on the patch"), "\"notes.txt\" is not a patch this program reads (PPF, IPS, BPS, or VCDIFF as xdelta3 makes it)."},
      {"damaged.bps", bpsDamaged, "The patch \"damaged.bps\" is damaged: its CRC32 is "},
  };
  // clang-format on
  for (const auto& [name, patch, message] : rows) {
    SCOPED_TRACE(name);
    const Applied a = Apply(name, patch);
    const bool whole = message.rfind("The patch", 0) != 0 && message[0] != '"';
    const std::string text = a.outcome.text();
    EXPECT_TRUE(a.outcome.failed());
    EXPECT_EQ(name == "damaged.bps" ? text.substr(0, message.size()) : text,
              whole ? "The patch \"" + name + "\" was made for another version of the disc: " +
                          message + ". Nothing was written."
                    : message);
    EXPECT_FALSE(a.leftovers);
  }
}

// One window of xdelta3's: long copies from the image out of order, two of the same bytes,
// and copies from what the window made itself.
TEST(Patches, Xdelta3sLongCopiesInAnyOrderGiveTheTargetItWasMadeFrom) {
  TempDir dir;
  const Bytes src = test::NoiseBytes(600000, 3), fresh = test::NoiseBytes(3000, 4);
  auto part = [&](std::size_t at, std::size_t n) {
    return Bytes(src.begin() + at, src.begin() + at + n);
  };
  Bytes target = part(400000, 200000);
  Put(target, part(0, 150000));
  Put(target, fresh);
  Put(target, part(100000, 250000));
  Put(target, fresh);
  for (int i = 0; i < 5000; ++i) Put(target, {'a', 'b', 'c'});
  test::WriteFileBytes(dir / "disc.bin", src);
  test::WriteFileBytes(dir / "new.bin", target);
  for (const std::string secondary : {"none", "lzma"}) {
    test::Shell("xdelta3 -e -f -S " + secondary + " -s '" + dir / "disc.bin" + "' '" +
                dir / "new.bin' '" + dir / "fix.xdelta'");
    test::RunRecorder host;
    patches::OpenedPatch opened = patches::OpenPatch(dir / "fix.xdelta");
    ASSERT_TRUE(opened.patch) << secondary;
    EXPECT_EQ(patches::ApplyPatchFile(*opened.patch, dir / "disc.bin", dir / "out.bin", host,
                                      host.cancel),
              Outcome::Success());
    EXPECT_TRUE(test::ReadFileBytes(dir / "out.bin") == target) << secondary;
  }
}

}  // namespace
}  // namespace ebf
