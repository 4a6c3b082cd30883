#include "support/ecm_writer.h"

#include <cstring>

#include "support/disc_builder.h"
#include "support/temp_dir.h"

namespace ebf::test {
namespace {

const uint8_t kSync[12] = {0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0};

// What kind of item the 2352 bytes at p are: 1, 2, 3 or 0 (keep literal).
int Classify(const uint8_t* p) {
  if (std::memcmp(p, kSync, 12) != 0) return 0;
  uint8_t copy[2352];
  std::memcpy(copy, p, 2352);
  if (p[15] == 1) {
    for (int i = 0x814; i < 0x81C; ++i)
      if (p[i]) return 0;
    if (SectorEdc(p, 0x810) != LoadLe32(p + 0x810)) return 0;
    SectorEcc(copy, false);
    return std::memcmp(copy, p, 2352) == 0 ? 1 : 0;
  }
  if (p[15] != 2 || std::memcmp(p + 16, p + 20, 4) != 0) return 0;
  if (SectorEdc(p + 16, 0x808) == LoadLe32(p + 0x818)) {
    SectorEcc(copy, true);
    if (std::memcmp(copy, p, 2352) == 0) return 2;
  }
  if (SectorEdc(p + 16, 0x91C) == LoadLe32(p + 0x92C)) return 3;
  return 0;
}

}  // namespace

Bytes EncodeEcm(const Bytes& in, EcmCounts* counts) {
  EcmCounts c;
  Bytes out = {'E', 'C', 'M', 0};
  Bytes payload;
  int runType = -1;
  uint32_t runCount = 0;
  auto flush = [&] {
    if (runCount == 0) return;
    // The record header: type and count - 1, seven bits a byte after the first five.
    uint32_t n = runCount - 1;
    out.push_back(static_cast<uint8_t>(runType | ((n & 0x1F) << 2) | (n >> 5 ? 0x80 : 0)));
    for (n >>= 5; n; n >>= 7) out.push_back(static_cast<uint8_t>((n & 0x7F) | (n >> 7 ? 0x80 : 0)));
    Append(out, payload);
    payload.clear();
    runCount = 0;
    ++c.records;
  };
  auto add = [&](int type, const uint8_t* from, std::size_t n) {
    if (type != runType) flush();
    runType = type;
    payload.insert(payload.end(), from, from + n);
    runCount += type == 0 ? static_cast<uint32_t>(n) : 1;
  };
  std::size_t pos = 0;
  while (pos < in.size()) {
    const uint8_t* p = in.data() + pos;
    int kind = in.size() - pos >= 2352 ? Classify(p) : 0;
    if (kind == 1) {
      add(1, p + 12, 3);
      payload.insert(payload.end(), p + 16, p + 16 + 2048);
      ++c.mode1;
      pos += 2352;
    } else if (kind == 2 || kind == 3) {
      add(0, p, 16);
      c.literalBytes += 16;
      add(kind, p + 20, kind == 2 ? 0x804 : 0x918);
      ++(kind == 2 ? c.form1 : c.form2);
      pos += 2352;
    } else {
      add(0, p, 1);
      ++c.literalBytes;
      ++pos;
    }
  }
  flush();
  Append(out, {0xFC, 0xFF, 0xFF, 0xFF, 0x3F});  // the end mark
  AppendLe32(out, SectorEdc(in.data(), in.size()));
  if (counts) *counts = c;
  return out;
}

}  // namespace ebf::test
