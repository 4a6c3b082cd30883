#include "pbp/info.h"

#include <cstdio>

#include "common/bytes.h"
#include "common/files.h"
#include "pbp/extract.h"
#include "pbp/inspect.h"
#include "pbp/patch_journal.h"
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
  if (std::string refused = NotAFileMessage(ebootPath); !refused.empty()) return refused;
  if (!FileExists(ebootPath)) return kNoSuchFile;
  // What a torn patch left is never described as the package.
  const std::string recovered = RollBackLeftoverPatch(ebootPath);
  if (recovered.find("could not be undone") != std::string::npos) return recovered;
  out.recovered = recovered;
  File in(ebootPath, File::Mode::Read);
  if (!in) return "The EBOOT \"" + ebootPath + "\" could not be read: " + in.LastError();
  const Inspection seen = ReadInspection(in, ebootPath);
  if (!seen.message.empty()) return seen.message;
  out.title = seen.title;
  out.gameId = seen.gameId;
  out.saveName = seen.saveName;
  out.fileSize = seen.fileSize;
  out.header = seen.header;
  out.startData = seen.startData;
  out.bootPngSize = seen.bootPngSize;
  for (int i = 0; i < kSectionCount; ++i)
    out.sectionSizes[i] = out.header.SectionSize(i, out.fileSize);

  DiscImageLayout layout;
  if (std::string e = ReadDiscImageLayout(in, ebootPath, layout); !e.empty()) {
    out.discImageProblem = e;
    return {};
  }
  out.blocks = layout.blocks.size();
  for (const BlockRef& b : layout.blocks)
    if (!b.stored()) ++out.compressedBlocks;
  std::vector<TocEntry> entries = UsedTocEntries(layout.toc);
  for (std::size_t i = kLeadEntries; i < entries.size(); ++i) {
    const TocEntry& e = entries[i];
    out.tracks.push_back({BcdValue(e[kTocPoint]), (e[kTocControl] & kDataControlBit) != 0,
                          BcdValue(e[kTocPMin]), BcdValue(e[kTocPSec]), BcdValue(e[kTocPFrame])});
  }
  return {};
}

}  // namespace ebf::pbp
