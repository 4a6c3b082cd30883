#include "pbp/info.h"

#include <cstdio>

#include "common/ansi.h"
#include "common/bytes.h"
#include "common/files.h"
#include "pbp/extract.h"
#include "pbp/inspect.h"
#include "pbp/sfo.h"
#include "pbp/toc.h"

namespace ebf::pbp {
namespace {

constexpr std::size_t kLeadEntries = 3;
constexpr uint8_t kDataControlBit = 0x40;

}  // namespace

std::string FormatMsf(int minute, int second, int frame) {
  char buf[16];
  std::snprintf(buf, sizeof buf, "%02d:%02d:%02d", minute, second, frame);
  return buf;
}

std::string ReadEbootInfo(const std::string& ebootPath, EbootInfo& out) {
  out = EbootInfo{};
  if (!FileExists(ebootPath) || IsDirectory(ebootPath)) return kNoSuchFile;
  auto size = FileSize(ebootPath);
  if (!size || *size < kMinInspectSize) return kEbootTooSmall;
  File in(ebootPath, File::Mode::Read);
  auto header = in ? ReadPbpHeader(in) : std::nullopt;
  if (!header) return "The EBOOT \"" + ebootPath + "\" could not be read.";
  out.header = *header;

  DiscImageLayout layout;
  if (std::string e = ReadDiscImageLayout(in, ebootPath, layout); !e.empty())
    return e == kPsarHeaderNotFound ? kEbootNotValid : e;
  out.fileSize = layout.fileSize;
  for (int i = 0; i < kSectionCount; ++i) {
    if (out.header.offsets[i] > out.fileSize)
      return "The EBOOT \"" + ebootPath + "\" is damaged: the offset of " + kSectionNames[i] +
             " lies beyond the end of the file.";
    out.sectionSizes[i] = out.header.SectionSize(i, out.fileSize);
  }
  out.blocks = layout.blocks.size();
  for (const BlockRef& b : layout.blocks)
    if (!b.stored()) ++out.compressedBlocks;

  SfoFields sfo = ReadSfoFields(in, out.header.offsets[kParamSfo]);
  out.title = sfo.title;
  out.gameId = sfo.discId;
  std::vector<uint8_t> save(kPsarSaveNameSize);
  if (in.Seek(layout.psar + kPsarSaveNamePos) && in.ReadExact(save)) {
    std::string raw(save.begin(), save.end());
    raw.resize(raw.find('\0') == std::string::npos ? raw.size() : raw.find('\0'));
    out.saveName = AnsiToUtf8(raw);
  }

  if (auto s = FindStartData(in); s && RangeFits(*s, kStartDataPngLengthPos + 4, out.fileSize)) {
    out.startData = *s;
    out.bootPngSize = *ReadLe32At(in, *s + kStartDataPngLengthPos);
  }

  std::vector<TocEntry> entries = UsedTocEntries(layout.toc);
  for (std::size_t i = kLeadEntries; i < entries.size(); ++i) {
    const TocEntry& e = entries[i];
    out.tracks.push_back({BcdValue(e[kTocPoint]), (e[kTocControl] & kDataControlBit) != 0,
                          BcdValue(e[kTocPMin]), BcdValue(e[kTocPSec]), BcdValue(e[kTocPFrame])});
  }
  return {};
}

}  // namespace ebf::pbp
