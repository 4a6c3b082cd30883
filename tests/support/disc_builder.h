#pragma once
// Synthetic PlayStation disc images: an ISO 9660 file system with chosen root entries,
// written as plain 2048-byte sectors or as raw sectors (mode 1, mode 2 form 1, or raw
// with 96 bytes of subchannel per sector), with real EDC/ECC so that raw images look
// like real dumps.

#include <cstdint>
#include <string>
#include <vector>

#include "common/bytes.h"

namespace ebf::test {

struct IsoEntry {
  std::string name;  // as recorded in the directory, e.g. "SYSTEM.CNF;1"
  Bytes data;
};

struct IsoOptions {
  std::string volumeId = "EBFTEST";
  std::vector<IsoEntry> files;
  uint32_t minSectors = 0;  // the image is padded with zero sectors up to this count
};

enum class SectorLayout {
  Plain2048,  // user data only (an .iso)
  Mode1Raw,   // 2352-byte mode 1 sectors
  Mode2Raw,   // 2352-byte mode 2 form 1 sectors (as PlayStation discs are)
  Raw2448,    // mode 2 form 1 with 96 bytes of subchannel after each sector
};

// The file system as 2048-byte sectors.
Bytes BuildIsoSectors(const IsoOptions& options);
// Encodes 2048-byte user sectors into the layout, numbering from firstLba.
Bytes EncodeSectors(const Bytes& userData, SectorLayout layout, uint32_t firstLba = 0);
Bytes BuildDiscImage(const IsoOptions& options, SectorLayout layout);

// One raw 2352-byte sector (mode 1, else mode 2 form 1) holding 2048 bytes of user data.
Bytes RawSector(uint32_t lba, SectorLayout layout, const uint8_t* user2048);
// The 96 subchannel bytes the builder puts after raw sector `lba` in Raw2448.
Bytes SubchannelFor(uint32_t lba);
// The sector EDC over n bytes, and P/Q parity written into a raw sector (mode 2 counts its
// four header bytes as zero).
uint32_t SectorEdc(const uint8_t* data, std::size_t n);
void SectorEcc(uint8_t* sector, bool zeroAddress);
// CD audio sectors (2352 bytes each) of deterministic noise.
Bytes AudioSectors(uint32_t count, uint32_t seed);

// A bootable-looking game disc: SYSTEM.CNF naming cdrom:\<exe>;1 and the exe itself.
// `exeName` is the file name as on the disc, e.g. "SLUS_012.34".
IsoOptions GameDisc(const std::string& exeName, const Bytes& exeData = Bytes(4096, 0x11));

}  // namespace ebf::test
