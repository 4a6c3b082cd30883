#include "engine/verify.h"

#include <openssl/evp.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <future>
#include <memory>
#include <thread>

#include "common/bytes.h"
#include "common/file_io.h"
#include "disc/disc_image.h"
#include "engine/dat_file.h"
#include "pbp/block_rounds.h"
#include "pbp/container.h"
#include "pbp/disc_table.h"
#include "pbp/extract.h"
#include "pbp/package_tracks.h"

namespace ebf {
namespace {

using pbp::kBlockSize;
using pbp::kSectorSize;
using pbp::kSectorsPerBlock;

std::string Hex(const uint8_t* p, std::size_t n) {
  static const char digits[] = "0123456789abcdef";
  std::string s;
  for (std::size_t i = 0; i < n; ++i) {
    s += digits[p[i] >> 4];
    s += digits[p[i] & 15];
  }
  return s;
}

struct EvpFree {
  void operator()(EVP_MD_CTX* c) const { EVP_MD_CTX_free(c); }
};
using EvpContext = std::unique_ptr<EVP_MD_CTX, EvpFree>;

EvpContext NewDigest(const EVP_MD* md) {
  EvpContext c(EVP_MD_CTX_new());
  if (c) EVP_DigestInit_ex(c.get(), md, nullptr);
  return c;
}

std::string FinishDigest(EVP_MD_CTX* c) {
  uint8_t out[EVP_MAX_MD_SIZE];
  unsigned len = 0;
  if (!c || EVP_DigestFinal_ex(c, out, &len) != 1) return {};
  return Hex(out, len);
}

class Verifier {
 public:
  Verifier(const std::string& path, const VerifyOptions& options, Progress& progress,
           CancelToken& cancel, int disc)
      : path_(path), options_(options), progress_(progress), cancel_(cancel), discNumber_(disc) {}

  VerifyReport Run();

 private:
  std::string TrackName(uint64_t sector) const;
  std::string BlockName(uint64_t block) const;
  void CheckExtents();
  // Track slices of the sectors [first, first + count) held in `data`.
  template <typename Fn>
  void ForEachTrackSlice(uint64_t first, uint64_t count, const uint8_t* data, Fn fn) const;
  void HashRound(uint64_t firstBlock, uint64_t count, const uint8_t* data);
  void CompareRound(uint64_t firstBlock, uint64_t count, const uint8_t* data);
  void Conclude(const pbp::DigestTally& digests);
  void LookUpDat();

  const std::string& path_;
  const VerifyOptions& options_;
  Progress& progress_;
  CancelToken& cancel_;
  int discNumber_;
  VerifyReport report_;
  pbp::DiscImageLayout layout_;
  pbp::PackageDisc disc_;

  std::vector<uLong> crc_;
  std::vector<EvpContext> md5_, sha1_;

  std::unique_ptr<DiscImage> source_;
  Bytes sourceBuffer_;
  bool againstDone_ = false;
};

std::string Verifier::TrackName(uint64_t sector) const {
  for (const pbp::PackageTrack& t : disc_.tracks)
    if (sector >= t.start && sector < uint64_t{t.start} + t.length)
      return "track " + std::to_string(t.number);
  return "after the last track";
}

std::string Verifier::BlockName(uint64_t block) const {
  return "Block " + std::to_string(block) + " (" + TrackName(block * kSectorsPerBlock) +
         ", at byte " +
         std::to_string(layout_.section + pbp::kPsarBlockDataPos + layout_.blocks[block].offset) +
         ")";
}

// A package cut short loses its last blocks and the start-data block after them (or, for a
// disc before the last, what follows its section).
void Verifier::CheckExtents() {
  const uint64_t dataStart = layout_.section + pbp::kPsarBlockDataPos;
  for (uint64_t i = 0; i < layout_.blocks.size(); ++i) {
    const pbp::BlockRef& b = layout_.blocks[i];
    // The stored size is the low half; other tools put a marker in the high half.
    const uint64_t size = b.stored() ? kBlockSize : (b.length & 0xFFFF);
    if (dataStart + b.offset + size > layout_.fileSize)
      report_.problems.push_back(BlockName(i) + " runs past the end of the file (" +
                                 std::to_string(layout_.fileSize) +
                                 " bytes): the package is cut short.");
  }
  File f(path_, File::Mode::Read);
  auto startData = f ? pbp::ReadLe32At(f, layout_.section + pbp::kPsarStartDataPos) : std::nullopt;
  if (startData && layout_.section + *startData >= layout_.fileSize)
    report_.problems.push_back(
        "The start-data block at byte " + std::to_string(layout_.section + *startData) +
        " lies beyond the end of the file (" + std::to_string(layout_.fileSize) +
        " bytes): the package is cut short.");
}

template <typename Fn>
void Verifier::ForEachTrackSlice(uint64_t first, uint64_t count, const uint8_t* data, Fn fn) const {
  for (std::size_t t = 0; t < disc_.tracks.size(); ++t) {
    const uint64_t a = std::max<uint64_t>(first, disc_.tracks[t].start);
    const uint64_t b =
        std::min<uint64_t>(first + count, uint64_t{disc_.tracks[t].start} + disc_.tracks[t].length);
    if (a < b) fn(t, data + (a - first) * kSectorSize, (b - a) * kSectorSize);
  }
}

void Verifier::HashRound(uint64_t firstBlock, uint64_t count, const uint8_t* data) {
  const uint64_t first = firstBlock * kSectorsPerBlock;
  const uint64_t sectors = std::min<uint64_t>(count * kSectorsPerBlock,
                                              first < disc_.sectors ? disc_.sectors - first : 0);
  if (sectors == 0) return;
  // The three sums each run through the round on a thread of their own.
  auto crc = std::async(std::launch::async, [&] {
    ForEachTrackSlice(first, sectors, data, [&](std::size_t t, const uint8_t* p, uint64_t n) {
      crc_[t] = crc32_z(crc_[t], p, n);
    });
  });
  auto md5 = std::async(std::launch::async, [&] {
    ForEachTrackSlice(first, sectors, data, [&](std::size_t t, const uint8_t* p, uint64_t n) {
      EVP_DigestUpdate(md5_[t].get(), p, n);
    });
  });
  ForEachTrackSlice(first, sectors, data, [&](std::size_t t, const uint8_t* p, uint64_t n) {
    EVP_DigestUpdate(sha1_[t].get(), p, n);
  });
  if (source_) CompareRound(firstBlock, count, data);
  crc.get();
  md5.get();
}

void Verifier::CompareRound(uint64_t firstBlock, uint64_t count, const uint8_t* data) {
  if (againstDone_) return;
  const uint64_t first = firstBlock * kSectorsPerBlock;
  const uint64_t limit = std::min<uint64_t>(disc_.sectors, source_->info().sectorCount);
  if (first >= limit) return;
  const uint64_t sectors = std::min<uint64_t>(count * kSectorsPerBlock, limit - first);
  std::span<uint8_t> src(sourceBuffer_.data(), sectors * kSectorSize);
  if (std::string err =
          source_->Read(static_cast<uint32_t>(first), static_cast<uint32_t>(sectors), src);
      !err.empty()) {
    report_.againstText = "The source could not be read: " + err;
    againstDone_ = true;
    return;
  }
  for (uint64_t s = 0; s < sectors; ++s) {
    if (std::memcmp(src.data() + s * kSectorSize, data + s * kSectorSize, kSectorSize)) {
      report_.againstText =
          "sector " + std::to_string(first + s) + " (" + TrackName(first + s) + ") differs first";
      againstDone_ = true;
      return;
    }
  }
}

void Verifier::Conclude(const pbp::DigestTally& digests) {
  if (digests.carried() == 0) {
    report_.digests = DigestCheck::Absent;
  } else if (!digests.Known()) {
    report_.digests = DigestCheck::Foreign;
  } else {
    report_.digests = DigestCheck::Checked;
    report_.digestMismatches = digests.mismatches().size();
    for (uint64_t b : digests.mismatches())
      report_.problems.push_back(BlockName(b) + " does not match its digest.");
  }
  for (std::size_t t = 0; t < disc_.tracks.size(); ++t) {
    VerifiedTrack v;
    v.disc = discNumber_;
    v.number = disc_.tracks[t].number;
    v.audio = disc_.tracks[t].audio;
    v.firstSector = disc_.tracks[t].start;
    v.size = uint64_t{disc_.tracks[t].length} * kSectorSize;
    const uint8_t c[4] = {static_cast<uint8_t>(crc_[t] >> 24), static_cast<uint8_t>(crc_[t] >> 16),
                          static_cast<uint8_t>(crc_[t] >> 8), static_cast<uint8_t>(crc_[t])};
    v.crc32 = Hex(c, 4);
    v.md5 = FinishDigest(md5_[t].get());
    v.sha1 = FinishDigest(sha1_[t].get());
    report_.tracks.push_back(std::move(v));
  }
  if (source_) {
    report_.againstChecked = true;
    const uint64_t theirs = source_->info().sectorCount;
    if (report_.againstText.empty() && theirs != disc_.sectors)
      report_.againstText = "the source has " + std::to_string(theirs) +
                            " sectors, the package's disc " + std::to_string(disc_.sectors);
    report_.againstEqual = report_.againstText.empty();
    if (report_.againstEqual) report_.againstText = "identical";
  }
}

void Verifier::LookUpDat() {
  report_.datChecked = true;
  std::vector<DatGame> games;
  if (std::string err = ReadDatFile(options_.dat, games); !err.empty()) {
    report_.datText = err;
    return;
  }
  std::vector<TrackFigures> figures;
  for (const VerifiedTrack& t : report_.tracks) figures.push_back({t.size, t.crc32, t.md5, t.sha1});
  DatLookup found = LookUpTracks(games, figures);
  if (!found.game) {
    report_.datText = "No game in the DAT has any of these tracks.";
    return;
  }
  report_.datGame = found.game->name;
  report_.datMatched = found.matched;
  report_.datDiffering = found.differing;
  if (found.matched) {
    report_.datText = "Matches \"" + found.game->name + "\".";
  } else if (found.differing.empty()) {
    report_.datText = "\"" + found.game->name + "\" lists " +
                      std::to_string(found.game->tracks.size()) + " tracks, the package " +
                      std::to_string(figures.size()) + ".";
  } else {
    std::string list;
    for (int n : found.differing) list += (list.empty() ? "" : ", ") + std::to_string(n);
    report_.datText = "Closest is \"" + found.game->name + "\"; track" +
                      (found.differing.size() > 1 ? "s " : " ") + list + " do" +
                      (found.differing.size() > 1 ? "" : "es") + " not match.";
  }
}

VerifyReport Verifier::Run() {
  File in(path_, File::Mode::Read);
  if (!in) {
    report_.error = pbp::kNoSuchFile;
    return report_;
  }
  if (std::string err = pbp::ReadDiscImageLayout(in, path_, layout_, true, discNumber_);
      !err.empty()) {
    report_.error = err;
    return report_;
  }
  if (std::string err = pbp::ReadPackageDisc(layout_, disc_); !err.empty()) {
    report_.error = err;
    return report_;
  }
  if (!options_.against.empty()) {
    DiscOpenResult opened = OpenDiscImage(options_.against, {.addIsoPadding = true});
    if (!opened.disc) {
      report_.error = opened.message;
      return report_;
    }
    source_ = std::move(opened.disc);
  }
  report_.blocks = layout_.blocks.size();
  const unsigned workers =
      options_.threads ? options_.threads : std::max(1u, std::thread::hardware_concurrency());
  for (std::size_t t = 0; t < disc_.tracks.size(); ++t) {
    crc_.push_back(crc32_z(0, nullptr, 0));
    md5_.push_back(NewDigest(EVP_md5()));
    sha1_.push_back(NewDigest(EVP_sha1()));
  }
  CheckExtents();

  const uint64_t n = layout_.blocks.size();
  pbp::DigestTally digests(layout_);
  Stage stage(progress_, "Verifying...");
  // The next round is decoded while this one is summed and compared.
  pbp::BlockRounds rounds(path_, layout_, n, workers);
  for (pbp::BlockRound round = rounds.Next(); round.count > 0; round = rounds.Next()) {
    if (source_) sourceBuffer_.resize(round.count * kBlockSize);
    for (uint64_t k = 0; k < round.count; ++k) {
      const pbp::DecodedBlock& o = round.blocks[k];
      const uint64_t block = round.first + k;
      if (o.status == pbp::BlockStatus::InflateFailed)
        report_.problems.push_back(BlockName(block) + " does not inflate.");
      else if (o.status == pbp::BlockStatus::ReadFailed)
        report_.problems.push_back(BlockName(block) + " could not be read.");
      else if (o.made < kBlockSize)
        report_.problems.push_back(BlockName(block) + " inflates to " + std::to_string(o.made) +
                                   " bytes instead of " + std::to_string(kBlockSize) + ".");
      digests.Add(block, o);
    }
    HashRound(round.first, round.count, round.bytes);
    const uint64_t done = round.first + round.count;
    stage.Advance(done, n);
    if (done < n && cancel_.Take()) {
      report_.cancelled = true;
      return report_;
    }
  }
  Conclude(digests);
  if (!options_.dat.empty()) LookUpDat();
  stage.Done();
  return report_;
}

}  // namespace

VerifyReport VerifyPackage(const std::string& packagePath, const VerifyOptions& options,
                           Progress& progress, CancelToken& cancel) {
  const int discs = options.disc > 0 ? 1 : pbp::PackageDiscCount(packagePath);
  if (discs == 1) {
    Verifier v(packagePath, options, progress, cancel, std::max(options.disc, 1));
    return v.Run();
  }
  VerifyReport all;
  all.discs = discs;
  if (!options.against.empty()) {
    all.error = "The package holds " + std::to_string(discs) +
                " discs; a source image is compared with one of them, so name the disc.";
    return all;
  }
  bool checked = false, foreign = false;
  std::string games;
  for (int disc = 1; disc <= discs; ++disc) {
    const std::string name = "Disc " + std::to_string(disc);
    Stage stage(progress, "", 1.0 / discs);
    Verifier v(packagePath, options, progress, cancel, disc);
    VerifyReport one = v.Run();
    if (!one.error.empty()) {
      all.error = name + ": " + one.error;
      return all;
    }
    if (one.cancelled) {
      all.cancelled = true;
      return all;
    }
    all.blocks += one.blocks;
    checked = checked || one.digests == DigestCheck::Checked;
    foreign = foreign || one.digests == DigestCheck::Foreign;
    all.digestMismatches += one.digestMismatches;
    for (const std::string& p : one.problems) all.problems.push_back(name + ": " + p);
    all.tracks.insert(all.tracks.end(), one.tracks.begin(), one.tracks.end());
    if (one.datChecked) {
      all.datMatched = (disc == 1 || all.datMatched) && one.datMatched;
      all.datChecked = true;
      all.datText += (all.datText.empty() ? "" : " ") + name + ": " + one.datText;
      if (!one.datGame.empty()) games += (games.empty() ? "" : " / ") + one.datGame;
    }
    stage.Done();
  }
  all.digests = checked   ? DigestCheck::Checked
                : foreign ? DigestCheck::Foreign
                          : DigestCheck::Absent;
  all.datGame = games;
  return all;
}

std::string DigestCheckText(const VerifyReport& report) {
  switch (report.digests) {
    case DigestCheck::Checked:
      return report.digestMismatches == 0
                 ? "every block matches its digest"
                 : std::to_string(report.digestMismatches) + " block(s) do not match their digest";
    case DigestCheck::Absent:
      return "the package carries no block digests: blocks could not be checked against them";
    case DigestCheck::Foreign:
      return "the package's block digests are of another kind and cannot be checked";
  }
  return {};
}

}  // namespace ebf
