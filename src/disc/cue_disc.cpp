// A disc from a CUE sheet. A sheet of one file without gaps is that file with the sheet's
// track list; any other sheet joins its files, in order, as 2,352-byte sectors, INDEX times
// taken relative to their own file and PREGAP/POSTGAP inserted as zero sectors.
#include <algorithm>

#include "common/ansi.h"
#include "common/cd_sector.h"
#include "common/files.h"
#include "common/text.h"
#include "disc/cue_sheet.h"
#include "disc/disc_file.h"
#include "disc/disc_openers.h"

namespace ebf {
namespace {

constexpr uint64_t kMaxSheetBytes = 1 << 20;

std::string Two(int n) {
  return (n < 10 ? "0" : "") + std::to_string(n);
}

TrackMode ModeOf(const std::string& mode) {
  if (mode == "AUDIO") return TrackMode::Audio;
  return mode.rfind("MODE1", 0) == 0 ? TrackMode::Mode1 : TrackMode::Mode2;
}

// The modes whose sectors are 2,352 bytes in the file, as the converter takes them.
bool Joinable(const std::string& mode) {
  return mode == "AUDIO" || mode == "MODE1/2352" || mode == "MODE2/2352";
}

const CueIndex& FirstIndex(const CueTrack& t) {
  return t.indexes.front();
}
const CueIndex& Index01(const CueTrack& t) {
  return *std::find_if(t.indexes.begin(), t.indexes.end(),
                       [](const CueIndex& i) { return i.number == 1; });
}

// The sheet's one file, read as a plain image, with the sheet's tracks on it.
DiscOpenResult OneFile(const std::string& cuePath, const CueSheet& sheet, const std::string& file,
                       const DiscOpenOptions& options) {
  const std::string cue = FileNameOf(cuePath);
  for (const CueTrack& t : sheet.tracks) {
    if (Joinable(t.mode)) continue;
    std::string e = "Track " + Two(t.number) + " of " + cue + " is " + t.mode +
                    ", which cannot be converted: the converter takes 2,352-byte sectors "
                    "(AUDIO, MODE1/2352 or MODE2/2352).";
    // An ISO with a sheet of its own: the ISO alone is padded to raw sectors.
    if (t.mode == "MODE1/2048" && sheet.tracks.size() == 1)
      e += " Choose " + FileNameOf(file) +
           " itself to convert it as an image of 2,048-byte sectors.";
    return DiscFailure(e);
  }
  SectorMapParts parts = PlainImageParts(file, options.addIsoPadding);
  if (!parts.error.empty()) return DiscFailure(parts.error);
  std::vector<DiscTrack> tracks;
  for (const CueTrack& t : sheet.tracks) {
    DiscTrack d;
    d.number = t.number;
    d.mode = ModeOf(t.mode);
    d.start = FirstIndex(t).frames;
    d.index1 = Index01(t).frames;
    d.file = file;
    tracks.push_back(d);
  }
  if (std::string e = PutSheetTracks(parts, std::move(tracks), cuePath); !e.empty())
    return DiscFailure(e);
  return OpenParts(std::move(parts));
}

class Joiner {
 public:
  Joiner(const std::string& cuePath, const CueSheet& sheet, std::vector<std::string> paths)
      : cue_(FileNameOf(cuePath)), sheet_(sheet) {
    parts_.files = std::move(paths);
    parts_.info.sheet = cuePath;
    parts_.info.assembly = DiscAssembly::Joined;
  }

  SectorMapParts Run() {
    if (std::string e = CheckFiles(); !e.empty()) return Failed(e);
    // Where each track's first INDEX lies in the files laid end to end.
    std::vector<uint64_t> firsts;
    for (const CueTrack& t : sheet_.tracks) {
      const CueIndex& i = FirstIndex(t);
      if (std::string e = CheckIndexes(t); !e.empty()) return Failed(e);
      firsts.push_back(fileStart_[i.file] + i.frames);
    }
    for (std::size_t k = 0; k < sheet_.tracks.size(); ++k) {
      const CueTrack& t = sheet_.tracks[k];
      CopyUpTo(firsts[k]);
      DiscTrack d;
      d.number = t.number;
      d.mode = ModeOf(t.mode);
      // Track 1's PREGAP is the 2-second gap before INDEX 01 that no image holds: the image
      // starts at the track's first INDEX whatever the sheet says. Any other track starts
      // where its pregap does, at the first zero sector its PREGAP inserts, after the
      // POSTGAP of the track before it.
      if (k > 0) {
        d.pregap = t.pregap;
        Zeros(sheet_.tracks[k - 1].postgap);
      }
      d.postgap = t.postgap;
      d.start = static_cast<uint32_t>(disc_);
      Zeros(d.pregap);
      const CueIndex& one = Index01(t);
      d.index1 = static_cast<uint32_t>(disc_ + fileStart_[one.file] + one.frames - firsts[k]);
      d.file = parts_.files[FirstIndex(t).file];
      parts_.info.tracks.push_back(d);
    }
    CopyUpTo(total_);
    Zeros(sheet_.tracks.back().postgap);
    if (disc_ > UINT32_MAX) return Failed(cue_ + " joins into a disc too large for a CD.");
    FillTrackLengths(parts_.info.tracks, static_cast<uint32_t>(disc_));
    return std::move(parts_);
  }

 private:
  SectorMapParts Failed(const std::string& e) {
    SectorMapParts p;
    p.error = e;
    return p;
  }

  std::string CheckFiles() {
    for (std::size_t f = 0; f < sheet_.files.size(); ++f) {
      const std::string& path = parts_.files[f];
      if (sheet_.files[f].type != "BINARY")
        return FileNameOf(path) + " is a " + sheet_.files[f].type + " file in " + cue_ +
               "; only BINARY files of raw sectors can be joined.";
      std::string error;
      auto size = DiscFileSize(path, &error);
      if (!size) return error;
      if (*size == 0) return FileNameOf(path) + ", named by " + cue_ + ", is empty.";
      if (*size % kRawSectorSize != 0)
        return FileNameOf(path) + " (" + std::to_string(*size) +
               " bytes) is not a whole number of 2,352-byte sectors, so the tracks of " + cue_ +
               " cannot be placed on the disc.";
      fileStart_.push_back(total_);
      fileSectors_.push_back(*size / kRawSectorSize);
      total_ += *size / kRawSectorSize;
      if (total_ > UINT32_MAX) return cue_ + " joins into a disc too large for a CD.";
    }
    for (const CueTrack& t : sheet_.tracks)
      if (!Joinable(t.mode))
        return "Track " + Two(t.number) + " of " + cue_ + " is " + t.mode +
               ", which cannot be joined: the files of a sheet are joined as 2,352-byte "
               "sectors (AUDIO, MODE1/2352 or MODE2/2352).";
    return {};
  }

  std::string CheckIndexes(const CueTrack& t) {
    for (const CueIndex& i : t.indexes)
      if (i.frames >= fileSectors_[i.file])
        return "INDEX " + Two(i.number) + " of track " + Two(t.number) + " (" +
               MsfText(i.frames).data() + ") lies past the end of " +
               FileNameOf(parts_.files[i.file]) + " (" +
               MsfText(static_cast<uint32_t>(fileSectors_[i.file])).data() + ").";
    return {};
  }

  // Takes the files' sectors from where the last copy stopped up to `end`.
  void CopyUpTo(uint64_t end) {
    while (copied_ < end) {
      std::size_t f = static_cast<std::size_t>(
          std::upper_bound(fileStart_.begin(), fileStart_.end(), copied_) - fileStart_.begin() - 1);
      const uint64_t within = copied_ - fileStart_[f];
      const uint64_t n = std::min(end, fileStart_[f] + fileSectors_[f]) - copied_;
      Add({static_cast<uint32_t>(disc_), static_cast<uint32_t>(n), SectorFormat::Raw2352, f,
           within * kRawSectorSize});
      copied_ += n;
    }
  }

  void Zeros(uint64_t n) {
    if (n > 0) Add({static_cast<uint32_t>(disc_), static_cast<uint32_t>(n), SectorFormat::Zeros});
  }

  void Add(DiscExtent e) {
    disc_ += e.count;
    if (disc_ <= UINT32_MAX) parts_.extents.push_back(e);
  }

  std::string cue_;
  const CueSheet& sheet_;
  SectorMapParts parts_;
  std::vector<uint64_t> fileStart_, fileSectors_;
  uint64_t total_ = 0;   // sectors in all files
  uint64_t copied_ = 0;  // of those, taken so far
  uint64_t disc_ = 0;    // disc sectors so far
};

}  // namespace

DiscOpenResult OpenOneFileCueDisc(const std::string& cuePath, std::string_view text,
                                  const std::string& imagePath, const DiscOpenOptions& options) {
  CueParse parse = ParseCueSheet(text, FileNameOf(cuePath), CueReading::OneFile);
  if (!parse.error.empty()) return DiscFailure(parse.error);
  return OneFile(cuePath, parse.sheet, imagePath, options);
}

DiscOpenResult OpenCueDisc(const std::string& cuePath, const DiscOpenOptions& options) {
  Bytes bytes;
  if (IsDirectory(cuePath) || !ReadWholeFile(cuePath, bytes, kMaxSheetBytes))
    return DiscFailure("Cannot read the CUE sheet " + cuePath + ".");
  const bool empty = bytes.size() == 1 && bytes[0] == 0;
  const std::string text = TextFileToUtf8(
      std::string_view(reinterpret_cast<const char*>(bytes.data()), empty ? 0 : bytes.size()));
  const bool oneFile = IsOneFileCueSheet(text);
  CueParse parse =
      ParseCueSheet(text, FileNameOf(cuePath), oneFile ? CueReading::OneFile : CueReading::Full);
  if (!parse.error.empty()) return DiscFailure(parse.error);
  const CueSheet& sheet = parse.sheet;

  std::vector<std::string> paths;
  for (const CueFile& f : sheet.files) {
    std::string path = LocateCueFile(cuePath, f.name);
    if (path.empty())
      return DiscFailure(std::string(kMsgBinNotFound) + "\r\n(" + f.name + ", named by " +
                         FileNameOf(cuePath) + ")");
    paths.push_back(path);
  }
  if (oneFile) return OneFile(cuePath, sheet, paths[0], options);
  return OpenParts(Joiner(cuePath, sheet, std::move(paths)).Run());
}

}  // namespace ebf
