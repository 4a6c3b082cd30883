#include "disc/chd/chd_metadata.h"

#include <algorithm>
#include <charconv>
#include <set>

#include "disc/chd/chd_bytes.h"

namespace ebf::chd {
namespace {

const char* const kTypes[] = {"MODE1",       "MODE1_RAW",      "MODE2",     "MODE2_FORM1",
                              "MODE2_FORM2", "MODE2_FORM_MIX", "MODE2_RAW", "AUDIO"};
const char* const kSubtypes[] = {"RW", "RW_RAW", "NONE"};

bool KnownType(const std::string& t) {
  return std::find(std::begin(kTypes), std::end(kTypes), t) != std::end(kTypes);
}

// "KEY:value" fields separated by blanks.
bool Field(std::string_view text, std::string_view key, std::string& value) {
  std::size_t at = 0;
  while ((at = text.find(key, at)) != std::string_view::npos) {
    if ((at == 0 || text[at - 1] == ' ') && at + key.size() < text.size() &&
        text[at + key.size()] == ':') {
      std::size_t start = at + key.size() + 1;
      std::size_t end = text.find(' ', start);
      value = std::string(text.substr(start, end == std::string_view::npos ? end : end - start));
      return true;
    }
    at += key.size();
  }
  return false;
}

bool Number(std::string_view text, std::string_view key, uint32_t& out) {
  std::string v;
  if (!Field(text, key, v) || v.empty()) return false;
  int64_t n = 0;
  auto [end, ec] = std::from_chars(v.data(), v.data() + v.size(), n);
  if (ec != std::errc() || end != v.data() + v.size() || n < 0 ||
      n > static_cast<int64_t>(kMaxFrames))
    return false;
  out = static_cast<uint32_t>(n);
  return true;
}

}  // namespace

std::string ReadMetadata(File& file, uint64_t fileSize, uint64_t offset,
                         std::vector<MetadataEntry>& out) {
  out.clear();
  std::set<uint64_t> seen;
  std::size_t total = 0;
  while (offset != 0) {
    if (out.size() >= kMaxMetadataEntries || !seen.insert(offset).second)
      return "is damaged: its metadata list never ends.";
    uint8_t head[16];
    if (offset > fileSize || fileSize - offset < sizeof head || !file.Seek(offset) ||
        !file.ReadExact(head))
      return "is damaged: its metadata lies outside the file.";
    MetadataEntry e;
    e.tag = LoadBe32(head);
    e.flags = head[4];
    const uint32_t length = LoadBe24(head + 5);
    const uint64_t next = LoadBe64(head + 8);
    total += length;
    if (fileSize - offset - sizeof head < length || total > kMaxMetadataBytes)
      return "is damaged: its metadata lies outside the file.";
    e.data.resize(length);
    if (length && !file.ReadExact(e.data)) return "could not be read: " + file.LastError();
    out.push_back(std::move(e));
    offset = next;
  }
  return "";
}

bool ParseTrackText(std::string_view text, ChdTrack& t) {
  t = ChdTrack();
  // The text ends at its NUL.
  text = text.substr(0, text.find('\0'));
  uint32_t number = 0;
  if (!Number(text, "TRACK", number) || !Field(text, "TYPE", t.type) || !KnownType(t.type) ||
      !Number(text, "FRAMES", t.frames))
    return false;
  t.number = static_cast<int>(number);
  if (!Field(text, "SUBTYPE", t.subtype)) t.subtype = "NONE";
  if (std::find(std::begin(kSubtypes), std::end(kSubtypes), t.subtype) == std::end(kSubtypes))
    return false;
  // Older forms have no gaps.
  std::string pgtype;
  if (Number(text, "PREGAP", t.pregap) && Field(text, "PGTYPE", pgtype))
    t.pregapStored = !pgtype.empty() && pgtype[0] == 'V';
  Number(text, "POSTGAP", t.postgap);
  Number(text, "PAD", t.pad);
  if (t.pregapStored && t.pregap > t.frames) return false;
  return true;
}

std::string ParseCdTracks(const std::vector<MetadataEntry>& entries, std::vector<ChdTrack>& out) {
  out.clear();
  for (const MetadataEntry& e : entries) {
    if (e.tag == kTagCht2 || e.tag == kTagChtr || e.tag == kTagChgd) {
      ChdTrack t;
      std::string_view text(reinterpret_cast<const char*>(e.data.data()), e.data.size());
      if (!ParseTrackText(text, t))
        return "is damaged: a track description cannot be read (\"" +
               std::string(text.substr(0, std::min<std::size_t>(text.find('\0'), 80))) + "\").";
      out.push_back(t);
    } else if (e.tag == kTagChcd) {
      // Binary: track count, then 99 records of six big-endian words.
      if (e.data.size() < 4) return "is damaged: its track table is cut short.";
      const uint32_t count = LoadBe32(e.data.data());
      if (count == 0 || count > 99 || e.data.size() < 4 + std::size_t{count} * 24)
        return "is damaged: its track table is cut short.";
      for (uint32_t i = 0; i < count; ++i) {
        const uint8_t* r = e.data.data() + 4 + std::size_t{i} * 24;
        const uint32_t type = LoadBe32(r), subtype = LoadBe32(r + 4), frames = LoadBe32(r + 16);
        if (type > 7 || subtype > 2 || frames > kMaxFrames)
          return "is damaged: its track table cannot be read.";
        ChdTrack t;
        t.number = static_cast<int>(i + 1);
        t.type = kTypes[type];
        t.subtype = kSubtypes[subtype];
        t.frames = frames;
        out.push_back(t);
      }
    }
  }
  if (out.empty()) return "is not a CD image (it has no track list).";
  if (out.size() > 99) return "is damaged: it lists more than 99 tracks.";
  std::stable_sort(out.begin(), out.end(),
                   [](const ChdTrack& a, const ChdTrack& b) { return a.number < b.number; });
  for (std::size_t i = 0; i < out.size(); ++i)
    if (out[i].number != static_cast<int>(i + 1))
      return "is damaged: its tracks are not numbered 1 to " + std::to_string(out.size()) + ".";
  return "";
}

}  // namespace ebf::chd
