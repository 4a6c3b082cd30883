#pragma once
// A CD in a drive, read through libcdio: the drives there are, the disc's track list and
// its raw 2,352-byte sectors (audio through libcdio-paranoia, which rereads and checks).
// libcdio also reads a CUE sheet as if it were a drive, which is how the tests drive this.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ebf::rip {

// Device names of the CD drives the system has ("/dev/sr0", "D:" ...); empty without one.
std::vector<std::string> ListDrives();

struct DriveTrack {
  int number = 0;
  bool audio = false;
  std::string mode;     // as a CUE sheet writes it: "MODE1/2352", "MODE2/2352", "AUDIO"
  uint32_t start = 0;   // first sector of the track's file: its pregap (INDEX 00) if known
  uint32_t index1 = 0;  // INDEX 01
  uint32_t end = 0;     // one past its last sector (the next track's start, or the lead-out)
};

class CdDrive {
 public:
  CdDrive();
  ~CdDrive();
  CdDrive(const CdDrive&) = delete;
  CdDrive& operator=(const CdDrive&) = delete;

  // A drive's device name, or a CUE sheet. "" or a message.
  std::string Open(const std::string& source);
  // The tracks in order. "" or a message.
  std::string ReadToc(std::vector<DriveTrack>& out);
  // `count` raw sectors of one track from `lsn` on into out (count * 2352 bytes).
  std::string ReadSectors(const DriveTrack& track, uint32_t lsn, uint32_t count, uint8_t* out);
  // Whether the source is a disc image rather than a drive.
  bool IsImage() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace ebf::rip
