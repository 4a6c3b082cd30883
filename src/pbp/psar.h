#pragma once
// Layout of DATA.PSAR: the disc-image header, the block index and the block data. Offsets
// are relative to the start of DATA.PSAR.

#include <array>
#include <cstdint>
#include <string_view>

#include "common/cd_sector.h"

namespace ebf::pbp {

inline constexpr std::string_view kPsarMagic = "PSISOIMG";  // only these 8 bytes are compared
inline constexpr uint64_t kPsarMagicSize = 8;
// Offset of the start-data block from DATA.PSAR (see container.h, kPsarStartDataPos = 12).
inline constexpr uint64_t kPsarDiscIdPos = 0x401;  // "ABCD_12345", 10 bytes
inline constexpr uint64_t kPsarDiscIdSize = 10;
inline constexpr uint64_t kPsarTocPos = 0x800;
inline constexpr uint64_t kPsarSaveNamePos = 0x122C;
inline constexpr uint64_t kPsarSaveNameSize = 128;
inline constexpr uint64_t kPsarIndexPos = 0x4000;
inline constexpr uint64_t kPsarBlockDataPos = 0x100000;  // also the end of the index
inline constexpr uint64_t kIndexEntrySize = 32;
inline constexpr uint64_t kIndexSlots = (kPsarBlockDataPos - kPsarIndexPos) / kIndexEntrySize;

inline constexpr uint64_t kSectorSize = kRawSectorSize;
inline constexpr uint64_t kSectorsPerBlock = 16;
inline constexpr uint64_t kBlockSize = kSectorSize * kSectorsPerBlock;  // 37,632 = 0x9300
// The head of a stored-mode deflate stream of one block: final block, no compression
// (01), LEN = 0x9300 and its complement NLEN = 0x6CFF, both little-endian. Such a stream
// holds the block's bytes as they are and still inflates.
inline constexpr std::array<uint8_t, 5> kStoredBlockHead = {0x01, 0x00, 0x93, 0xFF, 0x6C};
inline constexpr std::size_t kStoredHeadSize = kStoredBlockHead.size();
inline constexpr uint64_t kStoredBlockStreamSize = kBlockSize + kStoredHeadSize;  // 37,637

// A package of several discs starts DATA.PSAR with a title header instead: a table of
// where each disc's own "PSISOIMG0000" section starts (from DATA.PSAR, packed from slot 0,
// ended by the first zero) and the ID the discs share.
inline constexpr std::string_view kTitleMagic = "PSTITLEIMG000000";
inline constexpr uint64_t kTitleHeaderSize = 0x400;
inline constexpr uint64_t kTitleDiscTablePos = 0x200;
inline constexpr uint64_t kTitleDiscSlots = 25;
inline constexpr uint64_t kTitleGameIdPos = 0x264;  // "_SLUS_00594", NUL-filled
inline constexpr uint64_t kTitleGameIdSize = 16;
inline constexpr uint64_t kDiscSectionAlign = 0x400;

// TOC: 102 entries of 10 bytes in the CD Q-subchannel lead-in layout.
inline constexpr std::size_t kTocEntrySize = 10;
inline constexpr std::size_t kTocEntries = 102;
inline constexpr std::size_t kTocAreaSize = kTocEntrySize * kTocEntries;  // 1020
using TocEntry = std::array<uint8_t, kTocEntrySize>;
using TocArea = std::array<uint8_t, kTocAreaSize>;

// Byte positions within a TOC entry.
inline constexpr std::size_t kTocControl = 0;
inline constexpr std::size_t kTocTrackNo = 1;
inline constexpr std::size_t kTocPoint = 2;
inline constexpr std::size_t kTocAMin = 3, kTocASec = 4, kTocAFrame = 5;
inline constexpr std::size_t kTocZero = 6;
inline constexpr std::size_t kTocPMin = 7, kTocPSec = 8, kTocPFrame = 9;
inline constexpr uint8_t kTocDataControl = 0x41;

}  // namespace ebf::pbp
