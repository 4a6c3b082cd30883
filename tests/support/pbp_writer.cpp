#include "support/pbp_writer.h"

#include <openssl/sha.h>

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

#include "common/file_io.h"
#include "support/temp_dir.h"

namespace ebf::test {
namespace {

constexpr uint64_t kHeaderArea = 0x100000;

void Put(Bytes& b, std::size_t at, std::string_view s) {
  std::copy(s.begin(), s.end(), b.begin() + at);
}

// Raw deflate of one block; empty when it does not come out shorter than the block.
Bytes Deflate(const uint8_t* data, int level) {
  z_stream zs{};
  EXPECT_EQ(deflateInit2(&zs, level, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY), Z_OK);
  Bytes out(deflateBound(&zs, kTestBlockSize));
  zs.next_in = const_cast<Bytef*>(data), zs.avail_in = kTestBlockSize;
  zs.next_out = out.data(), zs.avail_out = static_cast<uInt>(out.size());
  EXPECT_EQ(deflate(&zs, Z_FINISH), Z_STREAM_END);
  out.resize(zs.total_out);
  deflateEnd(&zs);
  if (out.size() >= kTestBlockSize) out.clear();
  return out;
}

void MustWrite(File& f, const Bytes& b) {
  ASSERT_TRUE(f.Write(b)) << f.LastError();
}

uint8_t TestBcd(unsigned n) {
  return static_cast<uint8_t>((n / 10) * 16 + n % 10);
}

}  // namespace

Bytes MakeSfo(const std::string& title, const std::string& discId) {
  struct Key {
    const char* name;
    uint16_t fmt;
    uint32_t max;
  };
  const Key keys[] = {
      {"BOOTABLE", 0x0404, 4},       {"CATEGORY", 0x0204, 4},  {"DISC_ID", 0x0204, 16},
      {"DISC_VERSION", 0x0204, 8},   {"LICENSE", 0x0204, 512}, {"PARENTAL_LEVEL", 0x0404, 4},
      {"PSP_SYSTEM_VER", 0x0204, 8}, {"REGION", 0x0404, 4},    {"TITLE", 0x0204, 128}};
  const std::string values[] = {"", "ME",   discId, "1.00", "Test license text",
                                "", "3.01", "",     title};
  Bytes sfo(944, 0);
  // "\0PSF", version 1.1, key table, data table, nine entries.
  for (uint32_t i = 0; uint32_t v : {0x46535000u, 0x101u, 0xA4u, 0x100u, 9u})
    StoreLe32(&sfo[4 * i++], v);
  uint32_t keyOff = 0, dataOff = 0;
  for (int i = 0; i < 9; ++i) {
    uint8_t* e = sfo.data() + 20 + 16 * i;
    StoreLe16(e, static_cast<uint16_t>(keyOff)), StoreLe16(e + 2, keys[i].fmt);
    uint32_t len = keys[i].fmt == 0x0404 ? 4 : static_cast<uint32_t>(values[i].size() + 1);
    StoreLe32(e + 4, len), StoreLe32(e + 8, keys[i].max), StoreLe32(e + 12, dataOff);
    Put(sfo, 0xA4 + keyOff, keys[i].name);
    keyOff += static_cast<uint32_t>(std::strlen(keys[i].name) + 1);
    if (keys[i].fmt == 0x0404)
      StoreLe32(sfo.data() + 0x100 + dataOff, i == 0 ? 1 : (i == 5 ? 1 : 0x8000));
    else
      Put(sfo, 0x100 + dataOff, values[i].substr(0, keys[i].max - 1));
    dataOff += keys[i].max;
  }
  return sfo;
}

TestTocArea MakeToc(const std::vector<std::pair<uint8_t, uint64_t>>& tracks, uint64_t sectors) {
  TestTocArea a{};
  auto msf = [](uint64_t s, uint8_t* p) {
    p[0] = TestBcd(static_cast<unsigned>(s / 4500));
    p[1] = TestBcd(static_cast<unsigned>((s / 75) % 60));
    p[2] = TestBcd(static_cast<unsigned>(s % 75));
  };
  // A0: first track's control, track 1 at 01:20; A1: the last track; A2: the length.
  const uint8_t lead[3][10] = {
      {tracks.front().first, 0, 0xA0, 0, 0, 0, 0, 0x01, 0x20},
      {tracks.back().first, 0, 0xA1, 0, 0, 0, 0, TestBcd(static_cast<unsigned>(tracks.size()))},
      {0x01, 0, 0xA2}};
  std::copy_n(&lead[0][0], 30, a.begin());
  msf(sectors, &a[27]);
  for (std::size_t t = 0; t < tracks.size(); ++t) {
    uint8_t* e = &a[30 + t * 10];
    e[0] = tracks[t].first, e[2] = TestBcd(static_cast<unsigned>(t + 1));
    msf(tracks[t].second + 150, e + 3), msf(tracks[t].second + 150, e + 7);
  }
  return a;
}

PbpWritten WritePbp(const std::string& path, const PackageRecipe& recipe) {
  PbpWritten w;
  File f(path, File::Mode::Write);
  EXPECT_TRUE(f) << f.LastError();
  if (!f) return w;

  const Bytes sfo = recipe.sfo ? *recipe.sfo : MakeSfo(recipe.title, recipe.discId);
  const Bytes* sections[] = {&sfo,         &recipe.icon0, &recipe.icon1,  &recipe.pic0,
                             &recipe.pic1, &recipe.snd0,  &recipe.dataPsp};
  Bytes header(40, 0);
  StoreLe32(header.data(), recipe.magic), StoreLe32(header.data() + 4, 0x00010000);
  uint64_t running = 40;
  for (int i = 0; i < 8; ++i) {
    w.offsets[i] = running;
    StoreLe32(header.data() + 8 + 4 * i, static_cast<uint32_t>(running));
    if (i < 7) running += sections[i]->size();
  }
  MustWrite(f, header);
  for (const Bytes* s : sections) MustWrite(f, *s);
  w.psar = running;

  const uint64_t blocks = recipe.blockCount > 0
                              ? recipe.blockCount
                              : (recipe.image.size() + kTestBlockSize - 1) / kTestBlockSize;
  Bytes area(kHeaderArea, 0);
  Put(area, 0, "PSISOIMG0000");
  Put(area, 0x400, "_" + recipe.discId.substr(0, 4) + "_" + recipe.discId.substr(4));
  TestTocArea toc = recipe.toc ? *recipe.toc : MakeToc({{0x41, 0}}, blocks * 16);
  std::copy(toc.begin(), toc.end(), area.begin() + 0x800);
  StoreLe32(area.data() + 0xBFC, 0x00100000);
  Put(area, 0x122C, recipe.saveName.substr(0, 127));
  MustWrite(f, area);

  Bytes block(kTestBlockSize);
  uint64_t slot = 0, dataOffset = 0;
  const uint64_t total = blocks + (recipe.paddingBlock ? 1 : 0);
  for (uint64_t i = 0; i < total; ++i) {
    if (recipe.holeBeforeBlock.count(i)) ++slot;
    std::fill(block.begin(), block.end(), 0);
    if (i < blocks) {
      if (recipe.blockCount > 0) {
        recipe.blockSource(i, block.data());
      } else {
        std::size_t from = static_cast<std::size_t>(i * kTestBlockSize);
        std::size_t n = std::min<std::size_t>(kTestBlockSize, recipe.image.size() - from);
        std::copy_n(recipe.image.begin() + from, n, block.begin());
      }
    }
    bool store = recipe.level == 0 || (recipe.storeBlock && i < blocks && recipe.storeBlock(i));
    Bytes packed = store ? Bytes() : Deflate(block.data(), recipe.level);
    const Bytes& body = packed.empty() ? block : packed;
    uint8_t* e = area.data() + 0x4000 + slot * 32;
    StoreLe32(e, static_cast<uint32_t>(dataOffset)),
        StoreLe16(e + 4, static_cast<uint16_t>(body.size()));
    StoreLe16(e + 6, (!packed.empty() && i < blocks) ? 1 : 0);
    if (recipe.digests) {
      uint8_t sha[SHA_DIGEST_LENGTH];
      SHA1(block.data(), block.size(), sha);
      std::copy_n(sha, 16, e + 8);
    }
    MustWrite(f, body);
    w.blockSlots.push_back(slot++), w.blockLengths.push_back(static_cast<uint32_t>(body.size()));
    w.compressedBlocks += !packed.empty(), dataOffset += body.size();
  }
  StoreLe32(area.data() + 12, static_cast<uint32_t>(kHeaderArea + dataOffset));
  w.startData = w.psar + kHeaderArea + dataOffset;

  Bytes start(0x50, 0);
  Put(start, 0, "STARTDAT");
  for (uint32_t i = 2; uint32_t v : {1u, 1u, 0x50u, static_cast<uint32_t>(recipe.bootPng.size())})
    StoreLe32(&start[4 * i++], v);
  for (const Bytes* b : {&std::as_const(start), &recipe.bootPng, &recipe.tail}) MustWrite(f, *b);
  w.fileSize = f.Tell();
  EXPECT_TRUE(f.Seek(w.psar));
  MustWrite(f, area);
  EXPECT_TRUE(f.Close()) << f.LastError();
  return w;
}

DiscSetWritten WriteDiscSetPbp(const std::string& path, const std::vector<PackageRecipe>& discs) {
  DiscSetWritten w;
  Bytes out, startData;
  for (std::size_t i = 0; i < discs.size(); ++i) {
    const std::string single = path + ".disc" + std::to_string(i + 1);
    PbpWritten one = WritePbp(single, discs[i]);
    w.discs.push_back(one);
    const Bytes bytes = ReadFileBytes(single);
    std::remove(single.c_str());
    if (i == 0) {
      out.assign(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(one.psar));
      w.psar = one.psar;
      out.resize(out.size() + 0x400, 0);
      std::memcpy(&out[w.psar], "PSTITLEIMG000000", 16);
      const std::string id = "_" + discs[0].discId.substr(0, 4) + "_" + discs[0].discId.substr(4);
      std::memcpy(&out[w.psar + 0x264], id.data(), id.size());
      startData.assign(bytes.begin() + static_cast<std::ptrdiff_t>(one.startData), bytes.end());
    }
    out.resize((out.size() - w.psar + 0x3FF) / 0x400 * 0x400 + w.psar, 0);
    w.sections.push_back(out.size());
    StoreLe32(&out[w.psar + 0x200 + 4 * i], static_cast<uint32_t>(out.size() - w.psar));
    out.insert(out.end(), bytes.begin() + static_cast<std::ptrdiff_t>(one.psar),
               bytes.begin() + static_cast<std::ptrdiff_t>(one.startData));
  }
  for (std::size_t i = 0; i < w.sections.size(); ++i) {
    const uint64_t next = i + 1 < w.sections.size() ? w.sections[i + 1] : out.size();
    StoreLe32(&out[w.sections[i] + 12], static_cast<uint32_t>(next - w.sections[i]));
  }
  w.startData = out.size();
  out.insert(out.end(), startData.begin(), startData.end());
  WriteFileBytes(path, out);
  return w;
}

void WritePatchJournal(const std::string& package, uint64_t oldSize,
                       const std::vector<SavedRegion>& regions, const std::string& pointerFolder) {
  Bytes j = {'E', 'B', 'F', 'U', 'N', 'D', 'O', '1'};
  auto le = [&j](uint64_t v, int n) {
    for (int i = 0; i < n; ++i) j.push_back(static_cast<uint8_t>(v >> (8 * i)));
  };
  le(oldSize, 8);
  for (const SavedRegion& r : regions) {
    le(r.offset, 8), le(r.bytes.size(), 8), Append(j, r.bytes);
  }
  AppendBytes(j, "DONE"), le(regions.size(), 4);
  WriteFileBytes(package + ".undo", j);
  if (!pointerFolder.empty()) WriteFileText(pointerFolder + "/Temp/PATCH.UNDO", package + "\n");
}

}  // namespace ebf::test
