#pragma once
// CUE sheets as the program reads them: every line trimmed and upper-cased, the keyword is
// the text before the first blank. The input resolver looks at the first FILE line only; a
// sheet of several files (or with gaps to insert) is parsed in full into a CueSheet.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ebf {

inline constexpr const char* kCueInvalidMessage = "CUE Sheet is invalid!";
// A file that a sheet names is missing (the conversion's wording).
inline constexpr const char* kMsgBinNotFound = "The BIN file could not be found!!!";

// One line of a sheet, already trimmed and upper-cased.
struct CueLine {
  std::string keyword;        // text before the first blank
  std::string rest;           // text after it, upper-cased
  std::string restAsWritten;  // the same as the sheet spells it (file names)
};
// Trims and upper-cases a raw line. Empty lines and lines without a blank give nothing.
std::optional<CueLine> SplitCueLine(std::string_view raw);
// The text between the first two double quotes of a FILE line's rest; nothing when the
// quotes are missing or unbalanced.
std::optional<std::string> CueQuotedName(std::string_view rest);

struct CueFileEntry {
  bool found = false;    // a FILE line with a quoted name was read
  bool invalid = false;  // the sheet broke off before one: a line without a blank, a FILE
                         // line without a name, a line that is far too long, a read error
  std::string name;      // the name as written in the sheet, upper-cased
};
// Reads the sheet up to its first FILE line.
CueFileEntry ReadCueFileEntry(const std::string& cuePath);

// A name from a sheet is absolute when it carries a drive ("C:\...") or, on POSIX, starts at
// the root.
bool IsCueNameAbsolute(const std::string& name);

// The data file a sheet names, made absolute against the sheet's folder, found case-blind,
// with the ".bin" fallback. Nothing when neither exists (the sheet is invalid). A sheet
// without any FILE line stands for itself.
std::optional<std::string> FindCueDataFile(const std::string& cuePath);
// "CUE Sheet is invalid!", and when the sheet names a file that is not there, that file as
// the sheet spells it.
std::string CueInvalidMessage(const std::string& cuePath);

// The file a FILE name stands for, found as FindCueDataFile finds the first: absolute or
// beside the sheet, case-blind, else the same name ending in ".bin". "" when neither exists.
std::string LocateCueFile(const std::string& cuePath, const std::string& name);
// Every FILE line's data file that exists, in order (for telling a set's track files apart).
std::vector<std::string> FindCueDataFiles(const std::string& cuePath);

// Whether a sheet keeps to the one-file reading: at most one FILE line, and no PREGAP or
// POSTGAP (which insert sectors).
bool IsOneFileCueSheet(std::string_view text);

// A sheet read in full. Times are frames (1/75 s).
struct CueFile {
  std::string name;  // as written, upper-cased
  std::string type;  // BINARY (also when none is written), MOTOROLA, WAVE ...
};
struct CueIndex {
  int number = 0;
  std::size_t file = 0;  // the FILE it lies in
  uint32_t frames = 0;   // from that file's start
};
struct CueTrack {
  int number = 0;
  std::string mode;               // as written: AUDIO, MODE1/2352, MODE2/2352, MODE1/2048 ...
  uint32_t pregap = 0;            // PREGAP: silence to insert before the track's first INDEX
  uint32_t postgap = 0;           // POSTGAP: silence to insert after its data
  std::vector<CueIndex> indexes;  // rising numbers; INDEX 01 among them
};
struct CueSheet {
  std::vector<CueFile> files;
  std::vector<CueTrack> tracks;  // numbered 1, 2, 3 ... in order
};
struct CueParse {
  CueSheet sheet;
  std::string error;  // names the sheet and the line; "" when the sheet was read
};
// How much of a sheet is held to the CUE format.
enum class CueReading {
  Full,     // every non-empty line must be a CUE command
  OneFile,  // a sheet of one file (IsOneFileCueSheet): the lines the program's first reading
            // of such sheets passes over (all but FILE, TRACK and INDEX lines, and INDEX
            // lines before any TRACK) are skipped; the rest is held to the rules below
};
// Tracks run 1, 2, 3 ... up to 99; INDEX numbers rise within a track and INDEX times rise
// within a file; each track has an INDEX 01; PREGAP comes before a track's INDEX lines and
// POSTGAP after them. `sheetName` is used in messages.
CueParse ParseCueSheet(std::string_view text, const std::string& sheetName,
                       CueReading reading = CueReading::Full);

}  // namespace ebf
