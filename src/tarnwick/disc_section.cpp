#include "tarnwick/disc_section.h"

#include <algorithm>
#include <cstring>

#include "common/bytes.h"
#include "common/files.h"
#include "pbp/toc.h"
#include "tarnwick/block_pipeline.h"

namespace ebf::tarnwick {
namespace {

// Every real block is a deflate stream; the padding block after them is marked apart.
constexpr uint16_t kMarkerBlock = 1;
constexpr uint16_t kMarkerPadding = 0;

void PutIndexEntry(Bytes& header, uint32_t slot, uint32_t offset, const EncodedBlockInfo& block,
                   uint16_t marker) {
  uint8_t* e = header.data() + kIndexOffset + size_t{slot} * kIndexEntrySize;
  StoreLe32(e, offset);
  StoreLe16(e + 4, static_cast<uint16_t>(block.form.size));
  StoreLe16(e + 6, marker);
  std::memcpy(e + 8, block.digest.data(), block.digest.size());
}

void PutText(Bytes& header, uint32_t offset, uint32_t field, const std::string& text) {
  size_t n = std::min<size_t>(text.size(), field - 1);
  std::memcpy(header.data() + offset, text.data(), n);
}

std::string WriteFailure(File& out) {
  return "Cannot write " + FileNameOf(out.path()) + ": " + out.LastError();
}

}  // namespace

uint64_t MaxImageBytes() {
  return uint64_t{kMaxImageBlocks} * kBlockSize;
}

std::string SectionDiscId(const std::string& discId) {
  return "_" + discId.substr(0, 4) + "_" + discId.substr(std::min<size_t>(4, discId.size()));
}

DiscSectionResult WriteDiscSection(File& out, const DiscInput& input) {
  DiscSectionResult result;
  uint64_t imageSize = 0;
  {
    File image(input.imagePath, File::Mode::Read);
    if (!image) {
      result.error = "Cannot read the image " + input.imagePath + ": " + image.LastError();
      return result;
    }
    imageSize = image.Size();
  }
  if (imageSize == 0) {
    result.error = "The image " + input.imagePath + " is empty";
    return result;
  }
  if (imageSize > MaxImageBytes()) {
    result.error = "The image " + input.imagePath + " is too large for one package (" +
                   std::to_string(imageSize) + " bytes, at most " +
                   std::to_string(MaxImageBytes()) + ")";
    return result;
  }
  uint32_t sectors = static_cast<uint32_t>((imageSize + kSectorSize - 1) / kSectorSize);
  uint32_t imageBlocks = (sectors + kSectorsPerBlock - 1) / kSectorsPerBlock;

  // Header and index are filled in while the blocks stream out, then written over the
  // zeros that hold their place.
  Bytes header(kDataOffset, 0);
  uint64_t start = out.Tell();
  if (!out.Write(header)) {
    result.error = WriteFailure(out);
    return result;
  }

  BlockSource source{input.imagePath, imageSize, imageBlocks + 1};  // + the padding block
  uint64_t dataBytes = 0;
  std::string writeError;
  std::vector<std::span<const uint8_t>> pieces;
  PipelineResult run =
      EncodeBlocksInOrder(source, input.level, input.threads, [&](const EncodedRun& run) {
        run.Pieces(pieces);
        if (!out.WriteGather(pieces)) {
          writeError = WriteFailure(out);
          return false;
        }
        for (uint32_t k = 0; k < run.blocks.size(); ++k) {
          const uint32_t index = run.first + k;
          const EncodedBlockInfo& block = run.blocks[k];
          const uint16_t marker = index == imageBlocks ? kMarkerPadding : kMarkerBlock;
          PutIndexEntry(header, index, static_cast<uint32_t>(dataBytes), block, marker);
          dataBytes += block.form.size;
        }
        uint32_t done = std::min(run.first + static_cast<uint32_t>(run.blocks.size()), imageBlocks);
        if (input.progress) input.progress(done, imageBlocks);
        return true;
      });
  if (!run.ok) {
    result.error = !writeError.empty() ? writeError : run.error;
    return result;
  }

  std::memcpy(header.data(), kSectionMagic, kSectionMagicSize);
  StoreLe32(header.data() + kStartDatField, static_cast<uint32_t>(kDataOffset + dataBytes));
  std::string id = SectionDiscId(input.discId);
  PutText(header, kDiscIdOffset, kDiscIdSize, id);
  // Bytes 3-5 of ISO.TOC follow the program's own file; the package carries what readers
  // take right.
  TocArea toc = input.toc ? pbp::PackageToc(*input.toc) : DefaultToc(sectors);
  std::memcpy(header.data() + kTocOffset, toc.data(), toc.size());
  StoreLe32(header.data() + kDataStartField, kDataOffset);
  PutText(header, kSaveNameOffset, kSaveNameSize, input.title);

  uint64_t end = start + kDataOffset + dataBytes;
  if (!out.Seek(start) || !out.Write(header) || !out.Seek(end)) {
    result.error = WriteFailure(out);
    return result;
  }
  result.ok = true;
  result.size = kDataOffset + dataBytes;
  result.imageBlocks = imageBlocks;
  return result;
}

}  // namespace ebf::tarnwick
