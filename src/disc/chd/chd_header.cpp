#include "disc/chd/chd_header.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "disc/chd/chd_bytes.h"

namespace ebf::chd {

std::string CodecName(uint32_t tag) {
  char text[16];
  bool printable = true;
  for (int i = 0; i < 4; ++i) {
    char c = static_cast<char>(tag >> (24 - 8 * i));
    text[i] = c;
    if (c < 0x20 || c > 0x7E) printable = false;
  }
  text[4] = 0;
  if (!printable) std::snprintf(text, sizeof text, "0x%08X", tag);
  return text;
}

bool IsKnownCodec(uint32_t tag) {
  for (uint32_t known : {kCodecZlib, kCodecLzma, kCodecHuff, kCodecFlac, kCodecZstd, kCodecCdZlib,
                         kCodecCdLzma, kCodecCdFlac, kCodecCdZstd})
    if (tag == known) return true;
  return false;
}

std::string ParseHeader(std::span<const uint8_t> b, uint64_t fileSize, Header& h) {
  h = Header();
  if (b.size() < 16 || std::memcmp(b.data(), kMagic, 8) != 0) return "is not a CHD file.";
  h.version = LoadBe32(&b[kOffVersion]);
  const uint32_t length = LoadBe32(&b[kOffVersionLength]);
  if (h.version != 5) {
    if (h.version >= 1 && h.version <= 4)
      return "is a version " + std::to_string(h.version) +
             " CHD; only version 5 is read (\"chdman copy\" rewrites it as version 5).";
    return "is a CHD of unknown version " + std::to_string(h.version) + ".";
  }
  if (length != kHeaderBytes || b.size() < kHeaderBytes)
    return "is damaged: its header is not the 124 bytes of version 5.";
  for (int i = 0; i < 4; ++i) h.compressors[i] = LoadBe32(&b[kOffCompressors + 4 * i]);
  h.logicalBytes = LoadBe64(&b[kOffLogicalBytes]);
  h.mapOffset = LoadBe64(&b[kOffMapOffset]);
  h.metaOffset = LoadBe64(&b[kOffMetaOffset]);
  h.hunkBytes = LoadBe32(&b[kOffHunkBytes]);
  h.unitBytes = LoadBe32(&b[kOffUnitBytes]);
  std::copy_n(&b[kOffRawSha1], 20, h.rawSha1.begin());
  std::copy_n(&b[kOffOverallSha1], 20, h.overallSha1.begin());
  std::copy_n(&b[kOffParentSha1], 20, h.parentSha1.begin());

  if (std::any_of(h.parentSha1.begin(), h.parentSha1.end(), [](uint8_t v) { return v != 0; }))
    return "needs a parent CHD (it holds only the differences from another image); such "
           "files are not read.";
  for (uint32_t tag : h.compressors)
    if (tag != 0 && !IsKnownCodec(tag))
      return "uses the compression \"" + CodecName(tag) + "\", which this program cannot decode.";
  if (h.unitBytes != kRawSubSectorSize || h.hunkBytes == 0 || h.hunkBytes % kRawSubSectorSize != 0)
    return "is not a CD image (its hunks are not made of 2,448-byte CD frames).";
  if (h.hunkBytes > kMaxHunkBytes)
    return "is damaged: its hunk size of " + std::to_string(h.hunkBytes) +
           " bytes is larger than any CHD tool makes.";
  if (h.logicalBytes / kRawSubSectorSize > kMaxFrames)
    return "is damaged: it claims " + std::to_string(h.logicalBytes) +
           " bytes, more than any CD holds.";
  h.hunkCount = static_cast<uint32_t>((h.logicalBytes + h.hunkBytes - 1) / h.hunkBytes);
  if (h.mapOffset < kHeaderBytes || h.mapOffset >= fileSize)
    return "is damaged: its map lies outside the file.";
  if (h.metaOffset != 0 && (h.metaOffset < kHeaderBytes || h.metaOffset >= fileSize))
    return "is damaged: its metadata lies outside the file.";
  return "";
}

}  // namespace ebf::chd
