#pragma once
// ECM (Error Code Modeler, format 1) images: the original file, usually a raw .bin, with
// every sector's sync, EDC and ECC stripped out. The reader gives the original bytes back,
// rebuilding what was stripped, either as one sequential stream (checked at the end
// against the EDC the file carries) or from any position (for reading a few sectors, as
// game-ID detection does). Memory stays small whatever the file's size: the record
// headers are scanned once and every 256 KiB of output keeps one record as a seek point.

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "common/cd_sector.h"
#include "common/file_io.h"
#include "disc/job_hooks.h"

namespace ebf {

inline constexpr uint8_t kEcmMagic[4] = {'E', 'C', 'M', 0};

class EcmReader {
 public:
  // Scans the file's record headers. "" when the file is a well-formed ECM stream, else a
  // message naming the file and what is wrong (not ECM, damaged header, cut short).
  std::string Open(const std::string& path);

  // Size of the original file.
  uint64_t DecodedSize() const { return decodedSize_; }
  uint64_t Position() const { return pos_; }

  // Reads from the current position; returns the count read (short only at the end).
  // On a read error returns what it has and error() says why.
  std::size_t Read(std::span<uint8_t> out);
  // Moves to any output position (<= DecodedSize()).
  bool Seek(uint64_t position);

  // Whether every byte was read in order from the start, so the checksum can be tested.
  bool ReadWholeInOrder() const { return hashedUpTo_ == decodedSize_; }
  // "" when the whole output was read in order and matches the EDC the file closes with;
  // the message otherwise.
  std::string CheckChecksum() const;

  const std::string& error() const { return error_; }

 private:
  struct Record {
    uint64_t out = 0;      // output offset of the record's first byte
    uint64_t payload = 0;  // file offset of its payload
    uint32_t count = 0;    // items: bytes (type 0) or sectors
    uint8_t type = 0;
    uint64_t OutEnd() const;
    uint64_t PayloadEnd() const;
  };

  // Reads the record header at file offset `at`: false at the end marker or on damage.
  bool ReadRecordAt(uint64_t at, uint64_t out, Record& r, bool& end);
  bool FindRecord();  // makes cur_ the record holding pos_
  bool DecodeItem(uint32_t index);
  bool ReadFileAt(uint64_t offset, uint8_t* out, std::size_t n);
  std::size_t Fail(const std::string& message);
  // The scans of the last files opened, for the next reader of the same unchanged file.
  friend class EcmScans;

  File file_;
  std::string path_;
  std::string error_;
  uint64_t fileSize_ = 0;
  uint64_t filePos_ = 0;
  uint64_t decodedSize_ = 0;
  uint32_t storedEdc_ = 0;
  std::vector<Record> seekPoints_;

  Record cur_{};
  bool haveRecord_ = false;
  uint32_t itemIndex_ = ~0u;  // which item of cur_ item_ holds
  uint8_t item_[kRawSectorSize] = {};
  uint64_t pos_ = 0;

  uint64_t hashedUpTo_ = 0;
  uint32_t edc_ = 0;
};

// Decodes an ECM file into `outPath`, written under a temporary name beside it and renamed
// only when the whole file decoded and its checksum matched. On failure or cancel nothing is
// left at outPath or under the temporary name.
Outcome DecodeEcmFile(const std::string& ecmPath, const std::string& outPath,
                      const DiscJobHooks& hooks = {});

}  // namespace ebf
