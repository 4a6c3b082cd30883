#pragma once
// PARAM.SFO as a fixed-layout record: the key table is never parsed. Three fields sit at
// fixed offsets, those of the nine-key, 944-byte layout this program writes. An SFO of
// another layout is misread without a message. Text is UTF-8 here; in the file the title is
// UTF-8 too, the format's own encoding and what the PSP shows, and the disc ID ANSI.

#include <cstdint>
#include <string>

#include "common/bytes.h"
#include "common/file_io.h"

namespace ebf::pbp {

// Low byte of the TITLE entry's data length (title bytes + terminating zero).
inline constexpr std::size_t kSfoTitleLengthPos = 152;
inline constexpr std::size_t kSfoDiscIdPos = 264;
inline constexpr std::size_t kSfoDiscIdSize = 9;
inline constexpr std::size_t kSfoTitlePos = 816;
inline constexpr std::size_t kSfoTitleSize = 128;
// The smallest SFO that holds all three fields.
inline constexpr std::size_t kSfoMinPatchSize = kSfoTitlePos + kSfoTitleSize;  // 944
// The longest title the length byte and the field can carry, in characters of the save
// name's ANSI and in bytes of the SFO's UTF-8.
inline constexpr std::size_t kMaxTitleChars = 127;
inline constexpr std::size_t kMaxTitleBytes = 127;

struct SfoFields {
  std::string title;   // UTF-8
  std::string discId;  // UTF-8, up to 9 characters
};

// Reads title and disc ID from an SFO that starts at `sfoOffset` in an open package. The
// title takes as many bytes as byte 152 says (that count includes the terminating zero,
// which ends the text); it is UTF-8, or ANSI as older packages have it when it is not valid
// UTF-8. Bytes beyond the end of the file count as missing: a short file gives a shorter or
// empty text, never an error.
SfoFields ReadSfoFields(File& package, uint64_t sfoOffset);
// The same over an SFO held in memory.
SfoFields ReadSfoFields(const Bytes& sfo);

// The title as the SFO holds it: UTF-8 of at most 127 bytes, cut at a character boundary.
std::string SfoTitle(const std::string& title);

// The title field as written: SfoTitle, zero-filled to 128 bytes.
Bytes TitleField(const std::string& title);

// Sets byte 152 to the title's length in bytes (SfoTitle) + 1, the 9-byte disc ID at 264
// (ANSI, cut or zero-filled) and the 128-byte title field at 816. Every other byte stays.
// Returns "" or an error text when the SFO is too short for the fields.
std::string PatchSfo(Bytes& sfo, const std::string& title, const std::string& gameId);

}  // namespace ebf::pbp
