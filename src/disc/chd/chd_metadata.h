#pragma once
// CHD metadata (a linked list of tagged entries) and the CD track descriptions in it: the
// text forms CHT2, CHTR and CHGD and the old binary CHCD.

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "common/file_io.h"
#include "disc/chd/chd_header.h"

namespace ebf::chd {

inline constexpr uint32_t kTagCht2 = FourCc("CHT2"), kTagChtr = FourCc("CHTR"),
                          kTagChgd = FourCc("CHGD"), kTagChcd = FourCc("CHCD");
inline constexpr uint8_t kMetaChecksummed = 0x01;
// Far more than a CD's 99 tracks need; a longer chain is damage (or a loop).
inline constexpr std::size_t kMaxMetadataEntries = 1024;
inline constexpr std::size_t kMaxMetadataBytes = 1 << 20;

struct MetadataEntry {
  uint32_t tag = 0;
  uint8_t flags = 0;
  std::vector<uint8_t> data;
};

// Walks the list from the header's metadata offset. Returns "" or what is wrong.
std::string ReadMetadata(File& file, uint64_t fileSize, uint64_t firstOffset,
                         std::vector<MetadataEntry>& out);

// One track as the metadata describes it.
struct ChdTrack {
  int number = 0;
  std::string type;           // MODE1, MODE1_RAW, MODE2, MODE2_FORM1, MODE2_FORM2,
                              // MODE2_FORM_MIX, MODE2_RAW, AUDIO
  std::string subtype;        // RW, RW_RAW, NONE
  uint32_t frames = 0;        // frames stored, a stored pregap included
  uint32_t pregap = 0;        // INDEX 00 length in frames
  bool pregapStored = false;  // pregap frames are the first `pregap` of `frames`
  uint32_t postgap = 0;       // frames after the track, never stored
  uint32_t pad = 0;           // CHGD only

  bool Audio() const { return type == "AUDIO"; }
};

// The tracks in order (TRACK 1, 2, ...). Returns "" or what is wrong.
std::string ParseCdTracks(const std::vector<MetadataEntry>& entries, std::vector<ChdTrack>& out);
// One CHT2/CHTR/CHGD text, for tests and the fuzzer.
bool ParseTrackText(std::string_view text, ChdTrack& out);

}  // namespace ebf::chd
