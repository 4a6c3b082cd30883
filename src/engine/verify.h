#pragma once
// Checks a package's disc image: every block read and, where the package carries our
// digests, compared with its digest; the figures of each track as a split extraction would
// write it (size, CRC32, MD5, SHA-1); optionally the source disc sector for sector and a
// DAT's entry for the tracks.

#include <cstdint>
#include <string>
#include <vector>

#include "common/cancel.h"
#include "common/progress.h"

namespace ebf {

struct VerifyOptions {
  int disc = 0;  // the disc of a package of several (from 1); 0 = every disc
  // A disc image to compare with ("" = none; one disc only), read as the disc it stands
  // for: a plain ISO of 2,048-byte sectors as raw sectors with headers, what a package of it
  // must hold to start, whatever the padding setting made of it.
  std::string against;
  std::string dat;       // an XML DAT to look the tracks up in ("" = none)
  unsigned threads = 0;  // 0 = every core
};

enum class DigestCheck {
  Checked,  // the package carries our digests and they were compared
  Absent,   // every digest field is zero: nothing to compare
  Foreign,  // fields of another kind (none agrees with our digest): cannot be checked
};

struct VerifiedTrack {
  int number = 0;
  bool audio = false;
  uint32_t firstSector = 0;
  uint64_t size = 0;
  std::string crc32, md5, sha1;  // lower-case hexadecimal
  int disc = 1;                  // the disc it is on, from 1
};

struct VerifyReport {
  // Set when the package cannot be read at all; nothing else is then filled.
  std::string error;
  int discs = 1;  // discs checked: a package of several has each one's blocks and tracks
  uint64_t blocks = 0;
  DigestCheck digests = DigestCheck::Absent;
  uint64_t digestMismatches = 0;
  // Each problem with the blocks, one sentence naming the block, its offset and its track
  // (and, when several discs were checked, starting with its disc: "Disc 2: ...").
  std::vector<std::string> problems;
  std::vector<VerifiedTrack> tracks;

  bool againstChecked = false;
  bool againstEqual = false;
  std::string againstText;  // "identical" or what differs first

  bool datChecked = false;
  bool datMatched = false;
  std::string datGame;            // the matching game, or the closest one
  std::vector<int> datDiffering;  // tracks that do not match the closest game
  std::string datText;            // one sentence on the outcome

  bool cancelled = false;

  // Everything checked agrees.
  bool ok() const {
    return error.empty() && !cancelled && problems.empty() && (!againstChecked || againstEqual) &&
           (!datChecked || datMatched);
  }
};

// Reads the whole package once; blocks are inflated and digested on every core while the
// track figures and the comparison run beside them. A package of several discs is checked
// disc after disc (or only the one `options.disc` names), the DAT looked up for each; a
// source image to compare with needs one disc to be named.
VerifyReport VerifyPackage(const std::string& packagePath, const VerifyOptions& options,
                           Progress& progress, CancelToken& cancel);

// One line on the digest check, for people.
std::string DigestCheckText(const VerifyReport& report);

}  // namespace ebf
