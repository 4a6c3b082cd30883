#include "disc/chd/chd_hunk_reader.h"

#include <algorithm>

namespace ebf::chd {

HunkReader::HunkReader(const Header& header, const std::vector<MapEntry>& map)
    : header_(header), map_(map), codecs_(header.hunkBytes), stored_(header.hunkBytes) {}

bool HunkReader::Open(const std::string& path) {
  return file_.Open(path, File::Mode::Read);
}

std::string HunkReader::Read(uint32_t n, std::span<uint8_t> out) {
  if (n >= map_.size()) return "is damaged: a read went past its last hunk.";
  // The map resolves self references to a hunk that holds data.
  const uint32_t source =
      map_[n].kind == HunkKind::Self ? static_cast<uint32_t>(map_[n].offset) : n;
  const MapEntry& e = map_[source];
  const std::string where = "hunk " + std::to_string(source);
  if (e.kind == HunkKind::Zero) {
    std::fill(out.begin(), out.end(), uint8_t{0});
  } else if (e.kind == HunkKind::Raw) {
    if (!file_.Seek(e.offset) || !file_.ReadExact(out))
      return "could not be read at " + where + ": " + file_.LastError();
  } else {
    std::span<uint8_t> in(stored_.data(), e.length);
    if (!file_.Seek(e.offset) || !file_.ReadExact(in))
      return "could not be read at " + where + ": " + file_.LastError();
    const uint32_t codec = header_.compressors[static_cast<int>(e.kind)];
    std::string bad = codecs_.Decompress(codec, in, out);
    if (!bad.empty()) return "is damaged: " + where + " cannot be decoded (" + bad + ").";
  }
  // Uncompressed files carry no hunk CRCs.
  if (header_.Compressed() && Crc16(out) != e.crc)
    return "is damaged: " + where + " fails its checksum.";
  return "";
}

}  // namespace ebf::chd
