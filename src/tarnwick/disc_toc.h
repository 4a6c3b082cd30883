#pragma once
// The table of contents kept at 0x800 of a disc section: 102 entries of 10 bytes.

#include <array>
#include <cstdint>
#include <string>

#include "pbp/psar.h"

namespace ebf::tarnwick {

inline constexpr size_t kTocSize = pbp::kTocAreaSize;  // 1,020
using TocArea = pbp::TocArea;

// One data track covering `sectors` sectors: A0 first track 1 (CD-ROM XA), A1 last track 1,
// A2 lead-out at MSF(sectors), track 1 at 00:02:00 with bytes 3-5 two seconds earlier.
TocArea DefaultToc(uint32_t sectors);

// ISO.TOC copied byte for byte into the area, the rest zero. False (with `error`) when the
// file cannot be read or is larger than the area.
bool LoadTocFile(const std::string& path, TocArea& toc, std::string& error);

}  // namespace ebf::tarnwick
