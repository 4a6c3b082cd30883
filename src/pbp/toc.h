#pragma once
// The disc's table of contents kept in the disc-image header, written out while a disc
// image is extracted: raw as a .TOC file, or as a CloneCD control file (.ccd).

#include <string>
#include <vector>

#include "pbp/psar.h"

namespace ebf::pbp {

// What the eboot_toc_extract setting selects.
enum TocExtract : int { kTocNone = 0, kTocFile = 1, kTocCcd = 2 };

// High nibble x 10 + low nibble, without validation (0xFF gives 165).
int BcdValue(uint8_t b);

// The entries in use: A0, A1, A2 and the tracks, T + 3 in all, where T is the BCD value
// of A1's PMin. Never more than the area holds.
std::vector<TocEntry> UsedTocEntries(const TocArea& area);

// Bytes 0-1 are 0x41, 0x00.
bool IsDataEntry(const TocEntry& e);
// (PMin x 60 + PSec - 2) x 75 + PFrame, BCD values; negative when PSec is below 2.
int EntryPlba(const TocEntry& e);

// The table as a package carries it: on every track entry (POINT 01-99) bytes 3-5 become
// bytes 7-9 minus 00:02:00, the one value that every emulator reader takes right; the lead
// entries and the rest stay as given. ISO.TOC itself keeps bytes 3-5 = bytes 7-9.
TocArea PackageToc(const TocArea& area);

// The CloneCD text, CR LF line ends.
std::string FormatCcd(const std::vector<TocEntry>& entries);

// The conversion layout's name for a disc's TOC file: "ISO.TOC" for disc 1, "ISO2.TOC" to
// "ISO5.TOC" for the later discs of a game.
std::string DiscTocFileName(int disc);

// Where the files go: with the conversion layout, the disc's DiscTocFileName in the
// output's folder; otherwise the output path with ".TOC" / ".ccd" in place of its extension.
std::string TocFilePath(const std::string& outputPath, bool conversionLayout, int disc = 1);
std::string CcdFilePath(const std::string& outputPath);

// The TOC file and/or the CCD file the setting and the conversion layout ask for (none when
// the setting is 0): each one's final path and its bytes. The extraction writes them with the
// image and commits them together.
struct TocOutput {
  std::string path;
  std::string bytes;
};
std::vector<TocOutput> TocOutputs(const TocArea& area, const std::string& outputPath,
                                  bool conversionLayout, int tocSetting, int disc = 1);

}  // namespace ebf::pbp
