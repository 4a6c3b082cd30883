#include "engine/dat_file.h"

#include <tinyxml2.h>

#include <algorithm>
#include <cctype>
#include <charconv>

#include "common/files.h"

namespace ebf {
namespace {

std::string Lower(const char* text) {
  std::string s = text ? text : "";
  std::transform(s.begin(), s.end(), s.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return s;
}

bool IsSheet(const std::string& name) {
  const std::string lower = Lower(name.c_str());
  return lower.size() >= 4 && lower.compare(lower.size() - 4, 4, ".cue") == 0;
}

}  // namespace

std::string ReadDatFile(const std::string& path, std::vector<DatGame>& games) {
  games.clear();
  // The XML reader would wait for ever on a pipe: only regular files are read.
  if (std::string refused = NotAFileMessage(path); !refused.empty()) return refused;
  tinyxml2::XMLDocument doc;
  if (doc.LoadFile(path.c_str()) != tinyxml2::XML_SUCCESS)
    return "The DAT file \"" + path +
           "\" could not be read: " + (doc.ErrorStr() ? doc.ErrorStr() : "unknown error");
  const tinyxml2::XMLElement* root = doc.FirstChildElement("datafile");
  if (!root) return "The DAT file \"" + path + "\" is not an XML DAT (no <datafile> element).";
  // Redump calls its entries <game>, some DATs <machine>.
  for (const char* tag : {"game", "machine"}) {
    for (const auto* g = root->FirstChildElement(tag); g; g = g->NextSiblingElement(tag)) {
      DatGame game;
      game.name = g->Attribute("name") ? g->Attribute("name") : "";
      for (const auto* r = g->FirstChildElement("rom"); r; r = r->NextSiblingElement("rom")) {
        DatRom rom;
        rom.name = r->Attribute("name") ? r->Attribute("name") : "";
        if (IsSheet(rom.name)) continue;
        if (const char* size = r->Attribute("size")) {
          uint64_t v = 0;
          const char* end = size + std::char_traits<char>::length(size);
          auto [p, ec] = std::from_chars(size, end, v);
          if (ec == std::errc() && p == end) rom.size = v;
        }
        rom.crc = Lower(r->Attribute("crc"));
        rom.md5 = Lower(r->Attribute("md5"));
        rom.sha1 = Lower(r->Attribute("sha1"));
        game.tracks.push_back(std::move(rom));
      }
      if (!game.tracks.empty()) games.push_back(std::move(game));
    }
  }
  return {};
}

bool RomMatches(const DatRom& rom, const TrackFigures& track) {
  if (rom.size && *rom.size != track.size) return false;
  if (!rom.crc.empty() && rom.crc != track.crc) return false;
  if (!rom.md5.empty() && rom.md5 != track.md5) return false;
  if (!rom.sha1.empty() && rom.sha1 != track.sha1) return false;
  // A rom that gives no figure at all matches nothing.
  return rom.size || !rom.crc.empty() || !rom.md5.empty() || !rom.sha1.empty();
}

DatLookup LookUpTracks(const std::vector<DatGame>& games, const std::vector<TrackFigures>& tracks) {
  DatLookup best;
  std::size_t bestShared = 0;
  for (const DatGame& g : games) {
    std::vector<int> differing;
    std::size_t shared = 0;
    for (std::size_t i = 0; i < tracks.size(); ++i) {
      if (i < g.tracks.size() && RomMatches(g.tracks[i], tracks[i]))
        ++shared;
      else
        differing.push_back(static_cast<int>(i + 1));
    }
    if (differing.empty() && g.tracks.size() == tracks.size()) return DatLookup{&g, true, {}};
    if (shared > bestShared) {
      bestShared = shared;
      best = DatLookup{&g, false, differing};
    }
  }
  return best;
}

}  // namespace ebf
