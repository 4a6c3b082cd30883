#pragma once
// LibCrypt, the protection of about 230 PAL discs: a 16-bit key kept as subchannel-Q blocks
// written with a wrong CRC on chosen sectors of minute 3. A package cannot carry subchannel
// data; emulators read it from an .sbi file beside the package. Here: the sectors the
// protection uses, the key, and the subchannel files a user may have (.sbi, .lsd, the .sub
// of a CloneCD set), read and written.

#include <array>
#include <cstdint>
#include <map>
#include <string>

#include "common/bytes.h"

namespace ebf {

// Sector numbers here are absolute (LBA + 150), as the subchannel files give them.
// The first sector of each key bit, bit 15 down to bit 0; its partner lies 5 sectors on.
inline constexpr std::array<uint32_t, 16> kLibCryptSectors = {
    14105, 14231, 14485, 14579, 14649, 14899, 15056, 15130,
    15242, 15312, 15378, 15628, 15919, 16031, 16101, 16167};
inline constexpr uint32_t kLibCryptPartner = 5;

// A subchannel-Q block without its CRC (Q0 to Q9).
using QBlock = std::array<uint8_t, 10>;

// The sectors whose Q the disc carries modified, by absolute sector number.
struct SubchannelData {
  std::map<uint32_t, QBlock> modified;
};

// Whether a sector is one of the 32 the protection reads.
bool IsLibCryptSector(uint32_t absolute);
// Whether any of them is modified: the disc is protected.
bool HasLibCrypt(const SubchannelData& data);
// Bit (15 - i) set when sector i of kLibCryptSectors is modified.
uint16_t LibCryptKey(const SubchannelData& data);
// "0x" and four hexadecimal digits.
std::string LibCryptKeyText(uint16_t key);

// The CRC of a Q block: CRC-16, polynomial 0x1021, initial 0, the result inverted; stored
// big-endian in Q10 and Q11.
uint16_t SubchannelQCrc(const uint8_t* q10);

// Each reader fills `data` from a file; "" or what is wrong with it. .sbi: "SBI\0", then
// records of a BCD position, a type (1: Q0-Q9, 2: Q3-Q5, 3: Q7-Q9) and its bytes. .lsd:
// records of a BCD position and Q0-Q11. CloneCD .sub: 96 bytes a sector, Q at 12-23; only
// the protection's sectors are read, and those whose CRC is wrong count as modified.
std::string ReadSbi(const std::string& path, SubchannelData& data);
std::string ReadLsd(const std::string& path, SubchannelData& data);
std::string ReadCloneCdSub(const std::string& path, SubchannelData& data);
// By extension: .sbi, .lsd or .sub.
std::string ReadSubchannelFile(const std::string& path, SubchannelData& data);

// An .sbi of type-1 records (the one type every emulator reads) for the protection's
// modified sectors, in order.
Bytes SbiBytes(const SubchannelData& data);

// The subchannel file of a disc: <name>.sbi, <name>.lsd, or the .sub of a CloneCD set,
// named like the input or like its data file (a Redump set's sheet or its first track).
// "" when there is none.
std::string FindSubchannelFile(const std::string& input, const std::string& dataFile);

}  // namespace ebf
