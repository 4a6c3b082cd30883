#pragma once
// One model of a disc for every input format: its track list, and its sectors read in disc
// order as raw 2,352-byte sectors. Each format (plain image, CUE sheet, CloneCD, Alcohol
// MDS, CHD; ECM files wherever a file of sectors may stand) has an opener of its own behind
// OpenDiscImage; what is built from a disc (the prepared image, ISO.TOC, the game ID) reads only
// this interface.

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "disc/byte_source.h"

namespace ebf {

enum class TrackMode { Audio, Mode1, Mode2 };

// "AUDIO", "MODE1/2352", "MODE2/2352".
const char* TrackModeName(TrackMode mode);

struct DiscTrack {
  int number = 0;  // 1-99
  TrackMode mode = TrackMode::Mode2;
  // Disc sectors (0 = the first sector of the prepared image, which lies at 00:02:00).
  // Where the TOC puts the track: where its pregap starts (its INDEX 00, or the first zero
  // sector a PREGAP inserts), else its INDEX 01. Every layout of one disc agrees on it.
  uint32_t start = 0;
  uint32_t index1 = 0;   // INDEX 01
  uint32_t length = 0;   // sectors from `start` up to the next track's start, or the disc's end
  uint32_t pregap = 0;   // zero sectors inserted from `start` on (PREGAP), in no file
  uint32_t postgap = 0;  // zero sectors inserted after the track's data (POSTGAP)
  std::string file;      // the file that holds the sector at `start` ("" for an inserted gap)
  bool audio() const { return mode == TrackMode::Audio; }
};

// How the raw sectors come about from the files, which names the preparation step.
enum class DiscAssembly {
  File,             // one file of 2,352-byte sectors, used as it is
  IsoPadding,       // 2,048-byte sectors given a raw header
  StripSubchannel,  // 2,448-byte sectors less their 96 subchannel bytes
  Joined,           // several files and inserted gaps, one after the other
  Decoded,          // unpacked from a compressed or encoded file (CHD, ECM)
};

struct DiscInfo {
  std::vector<DiscTrack> tracks;  // in order; a plain image has one data track
  uint32_t sectorCount = 0;
  DiscAssembly assembly = DiscAssembly::File;
  std::string wholeFile;  // the file that is the disc byte for byte (assembly File)
  std::string sheet;      // the sheet the track list comes from; "" for a plain image
};

class DiscImage {
 public:
  virtual ~DiscImage() = default;
  virtual const DiscInfo& info() const = 0;
  // Sectors [first, first + count) into out (count x 2,352 bytes); inserted gaps and bytes
  // past a file's end read as zeros. Returns "" or what went wrong.
  virtual std::string Read(uint32_t first, uint32_t count, std::span<uint8_t> out) = 0;

  // Before every sector is read in order (the prepared image): formats that decode as a
  // stream may work ahead. Reads out of order still work afterwards.
  virtual void ExpectReadInOrder() {}
  // After every sector was read: the checks only a whole read allows (an ECM file's
  // closing checksum, a CHD's SHA-1 digests). "" or what is wrong.
  virtual std::string CheckWholeRead() { return {}; }
};

struct DiscOpenOptions {
  bool addIsoPadding = true;  // a plain 2,048-byte image gets raw headers (the setting)
};

struct DiscOpenResult {
  std::unique_ptr<DiscImage> disc;
  std::string message;  // why it could not be opened; set exactly when disc is null
};

// Opens a disc by its path: a CUE sheet; a CHD; an IMG, BIN or ISO with a CloneCD sheet
// (.ccd) beside it, or the sheet itself; an MDF with an Alcohol sheet (.mds) beside it, or
// the sheet itself; otherwise the file as a plain image (an ECM file as the image it was
// made from).
DiscOpenResult OpenDiscImage(const std::string& path, const DiscOpenOptions& options = {});
// The file as a plain image, whatever lies beside it.
DiscOpenResult OpenPlainDisc(const std::string& path, const DiscOpenOptions& options = {});

// The disc's sectors as one stream of bytes (sector n at n x 2,352), for readers that look
// at a few places, such as the game ID.
std::unique_ptr<ByteSource> DiscBytes(DiscImage& disc);

}  // namespace ebf
