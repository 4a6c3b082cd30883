#pragma once
// Writing a new title, game ID, save name and custom assets into a package: in place when
// the assets fit before DATA.PSAR, and the header-area patch that also follows every
// converter run. The files the inspection left in Temp (PARAM.SFO, BASE.PSP, START.DAT)
// are part of the input.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/bytes.h"
#include "common/cancel.h"
#include "common/file_io.h"
#include "common/outcome.h"
#include "common/questions.h"
#include "pbp/psar.h"

namespace ebf::pbp {

// What a package job writes. Paths are the files that fill the slots (the "null" file for
// a removed asset).
struct EbootJob {
  std::string title;
  std::string gameId;
  std::string saveName;
  std::string icon0, icon1, pic0, pic1, snd0, gameboot;
  std::optional<TocArea> toc;  // written at DATA.PSAR + 0x800 when present
};

// The save name padded with zeros to 128 bytes, ANSI.
Bytes SaveNameField(const std::string& saveName);
// "ABCD_12345": the first four characters, "_", the rest; ANSI, cut or zero-filled to 10.
Bytes UnderscoredIdField(const std::string& gameId);
// Where that field goes in the title header of a package of several discs: after the
// leading "_" of its ID, as at kPsarDiscIdPos in a disc section.
inline constexpr uint64_t kTitleIdFieldPos = kTitleGameIdPos + 1;

// The driver's checks before a package job: at least 40 bytes and "PSISOIMG" at DATA.PSAR,
// or a title header whose table of discs reads whole. Returns "" or the message to show.
std::string CheckEbootForJob(const std::string& ebootPath);

// Where the PAL -> NTSC fix looks in a package: the disc images' bytes where the package
// holds them as they are, disc after disc and block after block (raw stored blocks, and the
// stored-mode deflate streams that level 0 writes, without their 5-byte heads). Compressed blocks
// cannot be patched and are left out, as are the header, the sections and the disc-image header and
// index. nullopt when a disc's index cannot be read.
std::optional<std::vector<FileSpan>> PalFixSpans(File& package);

// Room test: the five menu assets (not the gameboot) against the space between the
// header and DATA.PSAR less PARAM.SFO and BASE.PSP in Temp. Equal still fits.
struct Room {
  int64_t assets = 0;
  int64_t room = 0;
  bool fits() const { return assets <= room; }
};
// "" and the figures, or a message naming a file that cannot be read.
std::string MeasureRoom(const std::string& ebootPath, const std::string& tempFolder,
                        const EbootJob& job, Room& out);

// Patches the package in place. DATA.PSAR never moves: the header's first seven offsets
// are rewritten, PARAM.SFO (patched), the five assets and BASE.PSP are written after the
// header and the gap up to DATA.PSAR is zero-filled. Then the header area is patched and
// the gameboot and START.DAT are written at the start-data block; when that comes out
// shorter than the file, zeros are written to one byte past the old end (so the file
// grows by one byte each such time, as it always has). In a package of several discs every
// disc section takes the save name, disc 1's and the title header's ID fields the ID, and
// the start-data block is the one after the last disc. The bytes the patch overwrites are
// journalled first (pbp/patch_journal.h): a write error or a cancel puts them all back
// (never a question whether to go on), a crash leaves the journal for the next start.
// Nothing is written when the checks before the first write fail.
Outcome PatchEbootInPlace(const std::string& ebootPath, const std::string& tempFolder,
                          const EbootJob& job, CancelToken& cancel);

// The header-area patch applied to the package the converter has just written: save name,
// underscored ID, TOC (when the job holds one), and the gameboot in place of the boot
// picture. A package of several discs gets the fields as PatchEbootInPlace writes them and
// keeps the TOCs the converter wrote for its discs. The converter's start data after the old
// picture is saved to Temp/START.DAT first and written back after the new one; the user is asked
// whether to go on when that copy fails (Declined when not).
Outcome PatchConvertedEboot(const std::string& ebootPath, const std::string& tempFolder,
                            const EbootJob& job, Questions& questions, CancelToken& cancel);

}  // namespace ebf::pbp
