// The CHD reader against chdman: CHDs that chdman makes from BIN/CUE sets built here, with
// its default codecs and each codec forced, decode to the sets' own sectors; chdman's
// extractcd of the same file agrees; damaged files give messages that say what is wrong.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <tuple>

#include "common/bytes.h"
#include "common/files.h"
#include "disc/chd/chd_cd_image.h"
#include "disc/chd/chd_huffman.h"
#include "disc/chd/chd_to_bin.h"
#include "disc/disc_image.h"
#include "disc/ecm_reader.h"
#include "disc/game_id.h"
#include "disc/resolver.h"
#include "support/cd_sets.h"
#include "support/chd_writer.h"
#include "support/chdman.h"
#include "support/disc_builder.h"
#include "support/ecm_writer.h"
#include "support/outcome_print.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"
#include "track_rows.h"

namespace ebf {
namespace {

using ebf::Bytes;
using test::ReadAll;
using test::TempDir;

// The whole disc, or the first read's message in `*error` (none expected without it).
Bytes ReadDisc(chd::ChdCdImage& image, std::string* error = nullptr) {
  Bytes out(std::size_t{image.SectorCount()} * 2352);
  // In uneven runs, so reads cross hunks and tracks at odd places.
  for (uint32_t at = 0; at < image.SectorCount(); at += 37) {
    const uint32_t n = std::min<uint32_t>(37, image.SectorCount() - at);
    std::string e =
        image.ReadSectors(at, n, std::span<uint8_t>(out).subspan(std::size_t{at} * 2352));
    if (error)
      *error = e;
    else
      EXPECT_EQ(e, "") << at;
    if (!e.empty()) break;
  }
  return out;
}

// Number, audio or not, start, INDEX 01 and end of each track.
using Layout = std::vector<std::array<uint32_t, 5>>;
Layout LayoutOf(const chd::ChdCdImage& image) {
  Layout out;
  for (const chd::CdTrackLayout& t : image.tracks())
    out.push_back({static_cast<uint32_t>(t.number), t.audio, t.start, t.index1, t.end});
  return out;
}

const Layout kDataOnly = {{1, 0, 0, 0, 419}};
const Layout kMixed = {{1, 0, 0, 0, 300}, {2, 1, 300, 450, 670}, {3, 1, 670, 745, 875}};

// Every codec chdman writes, and the zstd ones it cannot write here, decode to the sets' own
// sectors, as chdman's extractcd of the same file has them.
TEST(ChdReader, EveryCodecDecodesToTheSetsOwnSectorsAsChdmanHasThemAndDamageIsNamed) {
  test::TempDir dir;
  const test::CdSet sets[] = {test::WriteDataOnlySet(dir.path()), test::WriteMixedSet(dir.path())};
  const Layout* layouts[] = {&kDataOnly, &kMixed};
  // "" is chdman's default (cdlz, cdzl, cdfl); "none" stores every hunk as it is.
  const char* codecs[] = {"", "cdlz", "cdzl", "cdfl", "none", "zlib", "lzma", "huff", "flac"};
  for (int s = 0; s < 2; ++s) {
    for (const char* codec : codecs) {
      const std::string label = std::string(s ? "mixed " : "data ") + (*codec ? codec : "default");
      const std::string chdPath = dir / (label + ".chd");
      ASSERT_TRUE(test::CreateChd(sets[s].cuePath, chdPath, codec)) << label;
      chd::ChdCdImage image;
      ASSERT_EQ(image.Open(chdPath), "") << label;
      const auto& c = image.file().header().compressors;
      EXPECT_EQ(*codec ? ""
                       : chd::CodecName(c[0]) + chd::CodecName(c[1]) + chd::CodecName(c[2]) +
                             std::to_string(c[3]),
                *codec ? "" : "cdlzcdzlcdfl0");
      EXPECT_EQ(LayoutOf(image), *layouts[s]) << label;
      ASSERT_EQ(image.SectorCount(), s ? 875u : 419u) << label;
      EXPECT_TRUE(ReadDisc(image) == sets[s].disc) << label;
      EXPECT_EQ(image.VerifyWholeImage(), "") << label;
    }
  }
  // chdman's extractcd of the mixed disc agrees.
  const test::CdSet& set = sets[1];
  const std::string m = dir / "mixed default.chd";
  ASSERT_TRUE(
      test::RunChdman({"extractcd", "-i", m, "-o", dir / "x.cue", "-ob", dir / "x.bin", "-f"}));
  chd::ChdCdImage image;
  ASSERT_EQ(image.Open(m), "");
  Bytes ours = ReadDisc(image);
  // extractcd writes what the file stores: everything but the 75 sectors of the PREGAP line
  // (670 to 745), which its sheet names instead.
  Bytes stored(ours.begin(), ours.begin() + 670 * 2352);
  stored.insert(stored.end(), ours.begin() + 745 * 2352, ours.end());
  EXPECT_TRUE(stored == test::ReadFileBytes(dir / "x.bin"));
  EXPECT_NE(test::ReadFileText(dir / "x.cue").find("PREGAP 00:01:00"), std::string::npos);

  // Written out whole, with progress in sectors.
  uint64_t last = 0, total = 0;
  DiscJobHooks hooks;
  hooks.progress = [&](uint64_t done, uint64_t all) { last = done, total = all; };
  ASSERT_EQ(chd::WriteChdAsBin(m, dir / "whole.bin", hooks), Outcome::Success());
  EXPECT_TRUE(test::ReadFileBytes(dir / "whole.bin") == set.disc);
  EXPECT_EQ(std::tie(last, total), std::make_tuple(875u, 875u));
  CancelToken cancel;
  cancel.Request();
  hooks.cancel = &cancel;
  EXPECT_EQ(chd::WriteChdAsBin(m, dir / "c.bin", hooks), Outcome::Cancelled());
  EXPECT_FALSE(std::filesystem::exists(dir / "c.bin") ||
               std::filesystem::exists(dir / "c.bin.ebf-part"));

  // The tests' own writer stores the same disc again with the zstd codecs chdman cannot
  // write here, as raw hunks and as self references (the digests are chdman's).
  const Bytes plain = test::ReadFileBytes(dir / "mixed none.chd");
  test::RecompressOptions options;
  options.digestsFrom = test::ReadFileBytes(m);
  test::RecompressCounts counts;
  test::WriteFileBytes(dir / "zs.chd", test::RecompressChd(plain, options, &counts));
  // Every kind of hunk and map shorthand is in the file.
  EXPECT_TRUE(counts.cdzs > 5 && counts.zstd > 5 && counts.raw > 5 && counts.self > 5 &&
              counts.runs > 0 && counts.eccStripped > 50);
  chd::ChdCdImage zs;
  ASSERT_EQ(zs.Open(dir / "zs.chd"), "");
  EXPECT_EQ(LayoutOf(zs), kMixed);
  EXPECT_TRUE(ReadDisc(zs) == set.disc);
  EXPECT_EQ(zs.VerifyWholeImage(), "");

  // A hunk whose data does not match the CRC the map gives for it.
  options.wrongCrcHunk = 4;
  test::WriteFileBytes(dir / "Crc.chd", test::RecompressChd(plain, options));
  chd::ChdCdImage bad;
  ASSERT_EQ(bad.Open(dir / "Crc.chd"), "");
  Bytes sectors(40 * 2352);
  EXPECT_EQ(bad.ReadSectors(0, 32, sectors), "");
  EXPECT_EQ(bad.ReadSectors(0, 40, sectors), "\"Crc.chd\" is damaged: hunk 4 fails its checksum.");
  // The same, found by a worker decoding ahead.
  chd::ChdCdImage ahead;
  ASSERT_EQ(ahead.Open(dir / "Crc.chd"), "");
  ahead.file().StartReadAhead(3);
  std::string error;
  ReadDisc(ahead, &error);
  EXPECT_EQ(error, "\"Crc.chd\" is damaged: hunk 4 fails its checksum.");

  // Damaged files say what is wrong.
  const Bytes good = test::ReadFileBytes(dir / "data default.chd");
  const Bytes uncompressed = test::ReadFileBytes(dir / "data none.chd");
  // Opens, then (`whole`) reads the whole disc and checks the digests: the first message.
  auto readAll = [&](const Bytes& file, bool whole = true) {
    test::WriteFileBytes(dir / "Bad.chd", file);
    chd::ChdCdImage image;
    std::string error = image.Open(dir / "Bad.chd");
    if (!error.empty() || !whole) return error;
    ReadDisc(image, &error);
    return error.empty() ? image.VerifyWholeImage() : error;
  };
  ASSERT_EQ(readAll(good), "");
  // `good` with the bytes at `at` replaced, or with one byte's bits flipped.
  auto with = [&](std::size_t at, std::string_view bytes) {
    Bytes flipped = good;
    std::copy(bytes.begin(), bytes.end(), flipped.begin() + static_cast<std::ptrdiff_t>(at));
    return flipped;
  };
  auto flip = [&](std::size_t at, uint8_t bits) {
    return with(at, std::string(1, static_cast<char>(good[at] ^ bits)));
  };
  const uint64_t mapOffset = uint64_t{LoadBe32(&good[40])} << 32 | LoadBe32(&good[44]);
  ASSERT_LT(mapOffset + 16, good.size());
  const auto cut = [&](std::size_t n) { return Bytes(good.begin(), good.begin() + n); };
  // The track list is covered by the overall SHA-1.
  const std::string frames = "FRAMES:419";
  const auto text = std::search(good.begin(), good.end(), frames.begin(), frames.end());
  ASSERT_NE(text, good.end());
  const std::string cause = "\"Bad.chd\" is damaged: ";
  // The file, whether it is read whole, the message.
  // clang-format off
  const std::tuple<Bytes, bool, std::string> rows[] = {
      {with(15, "\x04"), false, "\"Bad.chd\" is a version 4 CHD; only version 5 is read (\"chdman copy\" rewrites it as version 5)."},
      {with(104, "\x5A"), false, "\"Bad.chd\" needs a parent CHD (it holds only the differences from another image); such files are not read."},
      {with(28, "avhu"), false, "\"Bad.chd\" uses the compression \"avhu\", which this program cannot decode."},
      {with(0, "N"), false, "\"Bad.chd\" is not a CHD file."},
      {flip(mapOffset + 10, 0xFF), false, cause + "its hunk map fails its checksum."},
      // chdman writes the map last: a file cut short loses it first, even just where the map
      // would begin.
      {cut(good.size() - 1), false, cause + "its hunk map is cut short."},
      {cut(good.size() / 2), false, cause + "its map lies outside the file."},
      {cut(mapOffset), false, cause + "its map lies outside the file."},
      {flip(70, 0x01), true, cause + "its data does not match its SHA-1."},  // the data's digest
      {with(static_cast<std::size_t>(text - good.begin()) + 9, "8"), true, cause + "its track list does not match its SHA-1."},
  };
  // clang-format on
  for (const auto& [file, whole, message] : rows) EXPECT_EQ(readAll(file, whole), message);

  // A flipped byte in the compressed data: that hunk fails to decode or fails its CRC.
  const std::string hunk = readAll(flip(good.size() / 3, 0x01));
  EXPECT_EQ(hunk.rfind(cause + "hunk ", 0), 0u) << hunk;

  // chdman's uncompressed files carry neither hunk CRCs nor digests: a flipped byte there
  // reaches the sectors unnoticed (sector 200's user data appears in the file as it is).
  const Bytes needle(sets[0].disc.begin() + 200 * 2352 + 24,
                     sets[0].disc.begin() + 200 * 2352 + 88);
  auto at = std::search(uncompressed.begin(), uncompressed.end(), needle.begin(), needle.end());
  ASSERT_NE(at, uncompressed.end());
  Bytes flipped = uncompressed;
  flipped[static_cast<std::size_t>(at - uncompressed.begin()) + 10] ^= 0x01;
  EXPECT_EQ(readAll(flipped), "");
}

// The run-length form of a code table: 16 codes of up to 8 bits take 4-bit fields, and
// "1, w, r" is a run of r + 3 codes of length w.
TEST(ChdHuffman, ARunOfLengthsMustEndWithinTheTable) {
  const std::pair<Bytes, bool> rows[] = {{{0x14, 0xD0}, true},    // 16 codes of 4 bits
                                         {{0x14, 0xE0}, false}};  // 17: one past the table
  for (const auto& [bytes, valid] : rows) {
    chd::BitReader bits(bytes);
    EXPECT_EQ(chd::HuffmanDecoder(16, 8).ImportRle(bits), valid) << int(bytes[1]);
  }
}

TEST(ChdReader, HunksDecodedAheadGiveTheSameDisc) {
  test::TempDir dir;
  test::CdSet set = test::WriteMixedSet(dir.path());
  // One frame a hunk: the padding after tracks 2 and 3 fills hunks no sector lies in.
  ASSERT_TRUE(
      test::RunChdman({"createcd", "-i", set.cuePath, "-o", dir / "one.chd", "-hs", "2448", "-f"}));
  for (int workers : {1, 3}) {
    chd::ChdCdImage image;
    ASSERT_EQ(image.Open(dir / "one.chd"), "");
    EXPECT_EQ(image.file().header().hunkCount, 804u);
    image.file().StartReadAhead(workers);
    EXPECT_TRUE(ReadDisc(image) == set.disc) << workers;
    // Track 2's padding hunks were hashed on the way; the last two (track 3's padding,
    // after every sector) are left for the digest check.
    EXPECT_EQ(image.file().HunksHashed(), 802u);
    EXPECT_EQ(image.VerifyWholeImage(), "");
  }
  // A read out of order in the middle is decoded on the spot; the rest still comes ahead.
  chd::ChdCdImage image;
  ASSERT_EQ(image.Open(dir / "one.chd"), "");
  image.file().StartReadAhead(2);
  Bytes sector(2352);
  ASSERT_EQ(image.ReadSectors(800, 1, sector), "");
  EXPECT_TRUE(std::equal(sector.begin(), sector.end(), set.disc.begin() + 800 * 2352));
  EXPECT_TRUE(ReadDisc(image) == set.disc);
  EXPECT_EQ(image.VerifyWholeImage(), "");
}

TEST(ChdReader, CookedMode1TrackGetsItsRawSectorsBack) {
  test::TempDir dir;
  test::IsoOptions iso = test::GameDisc("SCES_000.01");
  iso.minSectors = 60;
  const Bytes user = test::BuildIsoSectors(iso);
  test::WriteFileBytes(dir / "g.iso", user);
  test::WriteFileText(dir / "g.cue",
                      "FILE \"g.iso\" BINARY\n  TRACK 01 MODE1/2048\n    INDEX 01 00:00:00\n");
  // chdman 0.251 cannot read back what it compresses from a cooked track; stored, it can.
  ASSERT_TRUE(test::CreateChd(dir / "g.cue", dir / "g.chd", "none"));
  chd::ChdCdImage image;
  ASSERT_EQ(image.Open(dir / "g.chd"), "");
  ASSERT_EQ(std::make_pair(std::size_t{image.SectorCount()}, image.tracks()[0].type),
            std::make_pair(user.size() / 2048, std::string("MODE1")));
  EXPECT_TRUE(ReadDisc(image) == test::EncodeSectors(user, test::SectorLayout::Mode1Raw, 0));
}

TEST(ChdMetadata, TrackTextsOfEveryVersion) {
  chd::ChdTrack t;
  // clang-format off
  ASSERT_TRUE(chd::ParseTrackText("TRACK:2 TYPE:AUDIO SUBTYPE:NONE FRAMES:370 PREGAP:150 PGTYPE:VAUDIO PGSUB:NONE POSTGAP:0", t));
  EXPECT_EQ(std::make_tuple(t.number, t.Audio(), t.frames, t.pregap, t.pregapStored),
            std::make_tuple(2, true, 370u, 150u, true));
  // The text ends at its NUL; what follows is ignored.
  const char withNul[] = "TRACK:3 TYPE:MODE2_RAW SUBTYPE:RW FRAMES:99 PREGAP:75 PGTYPE:MODE2_RAW PGSUB:RW POSTGAP:150\0junk";
  ASSERT_TRUE(chd::ParseTrackText(std::string(withNul, sizeof withNul - 1), t));
  EXPECT_EQ(std::tie(t.type, t.subtype, t.pregapStored, t.postgap),
            std::make_tuple("MODE2_RAW", "RW", false, 150u));
  // The older form has no gaps; the GD-ROM form has a PAD.
  ASSERT_TRUE(chd::ParseTrackText("TRACK:1 TYPE:MODE1_RAW SUBTYPE:NONE FRAMES:1000", t));
  EXPECT_EQ(std::tie(t.pregap, t.frames), std::make_tuple(0u, 1000u));
  ASSERT_TRUE(chd::ParseTrackText("TRACK:1 TYPE:MODE1 SUBTYPE:NONE FRAMES:300 PAD:4 PREGAP:0 PGTYPE:MODE1 PGSUB:RW POSTGAP:0", t));
  EXPECT_EQ(t.pad, 4u);
  for (const char* bad : {"TRACK:1 TYPE:MODE3 SUBTYPE:NONE FRAMES:10", "TRACK:1 TYPE:AUDIO SUBTYPE:NONE FRAMES:-4",
                          "TRACK:1 TYPE:AUDIO SUBTYPE:NONE", "TRACK:1 TYPE:AUDIO SUBTYPE:NONE FRAMES:10 PREGAP:20 PGTYPE:VAUDIO"})
    EXPECT_FALSE(chd::ParseTrackText(bad, t)) << bad;
  // clang-format on

  // The oldest form, binary: count, then type, subtype, sizes and frames of each track.
  chd::MetadataEntry chcd{chd::kTagChcd, 0, Bytes(4 + 99 * 24, 0)};
  chcd.data[3] = 2;
  chcd.data[4 + 3] = 6, chcd.data[4 + 7] = 2, chcd.data[4 + 18] = 0x01, chcd.data[4 + 19] = 0x2C;
  chcd.data[28 + 3] = 7, chcd.data[28 + 7] = 2, chcd.data[28 + 19] = 50;
  std::vector<chd::ChdTrack> tracks;
  ASSERT_EQ(chd::ParseCdTracks({chcd}, tracks), "");
  ASSERT_EQ(tracks.size(), 2u);
  EXPECT_EQ(std::tie(tracks[0].type, tracks[0].frames, tracks[1].type, tracks[1].frames),
            std::make_tuple("MODE2_RAW", 300u, "AUDIO", 50u));
  const std::string three = "TRACK:3 TYPE:AUDIO SUBTYPE:NONE FRAMES:10";
  EXPECT_EQ(
      chd::ParseCdTracks({chcd, {chd::kTagCht2, 0, Bytes(three.begin(), three.end())}}, tracks),
      "");
  const std::string five = "TRACK:5 TYPE:AUDIO SUBTYPE:NONE FRAMES:10";
  EXPECT_EQ(chd::ParseCdTracks({chcd, {chd::kTagCht2, 0, Bytes(five.begin(), five.end())}}, tracks),
            "is damaged: its tracks are not numbered 1 to 3.");
  EXPECT_EQ(chd::ParseCdTracks({}, tracks), "is not a CD image (it has no track list).");
}

// CHD and ECM files as discs: a chdman CHD of a BIN/CUE set opens with the track list the
// joined sheet gives and the same sectors; an ECM file reads as the file it was made from,
// alone or named by a sheet; the game ID and the resolver know both, and
// the ID is read from a handful of sectors, not the whole disc.

TEST(PackedDisc, ChdAndEcmOpenWithTheSheetsTracksAndSectorsAndTheirGameIds) {
  TempDir dir;
  const test::CdSet set = test::WriteMixedSet(dir.path());
  ASSERT_TRUE(test::CreateChd(set.cuePath, dir / "Mixed.chd", ""));
  DiscOpenResult chd = OpenDiscImage(dir / "Mixed.chd");
  ASSERT_TRUE(chd.disc) << chd.message;
  const DiscInfo& info = chd.disc->info();
  EXPECT_EQ(std::tie(info.assembly, info.sheet, info.sectorCount),
            std::make_tuple(DiscAssembly::Decoded, dir / "Mixed.chd", 875u));
  // Written out by hand from the sheet: track 2's INDEX 00 (150 sectors) is in its file,
  // track 3's PREGAP of 75 sectors is in no file and starts the track. Opened through the
  // sheet, the set gives the same list.
  EXPECT_EQ(test::TrackRows(info),
            (test::Rows{"1 MODE2/2352 0 0 300 0 0 Mixed.chd", "2 AUDIO 300 450 370 0 0 Mixed.chd",
                        "3 AUDIO 670 745 205 75 0 Mixed.chd"}));
  DiscOpenResult cue = OpenDiscImage(set.cuePath);
  ASSERT_TRUE(cue.disc) << cue.message;
  EXPECT_EQ(test::TrackRows(cue.disc->info(), false), test::TrackRows(info, false));
  chd.disc->ExpectReadInOrder();
  EXPECT_TRUE(ReadAll(*chd.disc, 29) == set.disc);
  EXPECT_EQ(chd.disc->CheckWholeRead(), "");

  // Past the end, and a file that is no CHD.
  Bytes sector(2352);
  EXPECT_NE(chd.disc->Read(875, 1, sector), "");
  test::WriteFileText(dir / "fake.chd", "MComprHD and nothing more");
  DiscOpenResult fake = OpenDiscImage(dir / "fake.chd");
  EXPECT_TRUE(!fake.disc && fake.message.find("\"fake.chd\"") != std::string::npos) << fake.message;

  // The same set ECM-packed: it reads as its original; its checksum is tested after a whole
  // read.
  for (const std::string& bin : set.binPaths) {
    test::WriteFileBytes(bin + ".ecm", test::EncodeEcm(test::ReadFileBytes(bin)));
    DeleteFileIfExists(bin);
  }
  // The sheet names the .bin files; the .bin.ecm beside them stand in.
  DiscOpenResult disc = OpenDiscImage(set.cuePath);
  ASSERT_TRUE(disc.disc) << disc.message;
  EXPECT_EQ(
      std::make_tuple(disc.disc->info().sectorCount, FileNameOf(disc.disc->info().tracks[1].file)),
      std::make_tuple(875u, "Mixed (Track 2).bin.ecm"));
  EXPECT_TRUE(ReadAll(*disc.disc) == set.disc);
  EXPECT_EQ(disc.disc->CheckWholeRead(), "");

  // A lone ECM file of a data track: a plain image that must be decoded.
  DiscOpenResult one = OpenDiscImage(set.binPaths[0] + ".ecm");
  ASSERT_TRUE(one.disc) << one.message;
  EXPECT_EQ(
      std::tie(one.disc->info().assembly, one.disc->info().wholeFile, one.disc->info().sectorCount),
      std::make_tuple(DiscAssembly::Decoded, "", 300u));
  // Read out of order, backwards: the checksum is still tested, reading on where needed.
  Bytes back(300 * 2352);
  for (int s = 299; s >= 0; --s)
    ASSERT_EQ(one.disc->Read(s, 1, std::span<uint8_t>(back.data() + s * 2352, 2352)), "");
  EXPECT_TRUE(back == Bytes(set.disc.begin(), set.disc.begin() + 300 * 2352));
  EXPECT_EQ(one.disc->CheckWholeRead(), "");

  // One byte of stored data changed: the reads go through, the checksum does not.
  Bytes ecm = test::ReadFileBytes(set.binPaths[0] + ".ecm");
  ecm[ecm.size() - 3000] ^= 0x04;
  test::WriteFileBytes(dir / "bad.bin.ecm", ecm);
  DiscOpenResult bad = OpenDiscImage(dir / "bad.bin.ecm");
  ASSERT_TRUE(bad.disc) << bad.message;
  ReadAll(*bad.disc);
  EXPECT_EQ(bad.disc->CheckWholeRead(),
            "\"bad.bin.ecm\" is damaged: the decoded data does not match the checksum the file "
            "carries.");

  // The game ID and the resolver know both.
  TempDir program;
  const test::CdSet data = test::WriteDataOnlySet(dir.path());
  ASSERT_TRUE(test::CreateChd(data.cuePath, dir / "Data Disc.chd", ""));
  test::WriteFileBytes(data.binPaths[0] + ".ecm",
                       test::EncodeEcm(test::ReadFileBytes(data.binPaths[0])));

  for (const std::string name : {"Data Disc.chd", "Data Disc.bin.ecm"}) {
    SCOPED_TRACE(name);
    DiscOpenResult disc = OpenDiscImage(dir / name);
    ASSERT_TRUE(disc.disc) << disc.message;
    GameIdProbe probe;
    EXPECT_EQ(DetectGameId(*DiscBytes(*disc.disc), &probe), "SLUS01234");
    // The volume descriptor and the root directory: a few sectors of the 419.
    EXPECT_LT(probe.bytesRead, 8u * 2352);

    ResolveContext context;
    context.programFolder = program.path();
    test::RunRecorder host;
    ResolvedInput r = ResolveInput(dir / name, context, host);
    EXPECT_EQ(std::tie(r.message, r.gameId, r.title),
              std::make_tuple("", "SLUS01234", "Data Disc"));
  }
}

// The ECM reader against files made by the tests' own encoder: decoding gives back the
// original bytes, read in order or from anywhere, and damage gives a clear message.

// Mode 1 and Mode 2 Form 1 sectors, Form 2 sectors (subheader with the form bit, 2324 bytes
// of data) with EDC and one with EDC 0 (which the encoder must keep as literal bytes), audio,
// a data sector with one wrong byte (kept literal) and a tail that is not a whole sector.
Bytes MixedImage() {
  const Bytes user = test::NoiseBytes(2048 * 40, 7);
  Bytes img = test::EncodeSectors(Bytes(user.begin(), user.begin() + 2048 * 20),
                                  test::SectorLayout::Mode1Raw, 0);
  test::Append(img, test::EncodeSectors(Bytes(user.begin() + 2048 * 20, user.end()),
                                        test::SectorLayout::Mode2Raw, 20));
  for (uint32_t i = 0; i < 6; ++i) {
    const Bytes data = test::NoiseBytes(2324, i);
    Bytes s = test::RawSector(40 + i, test::SectorLayout::Mode2Raw, data.data());  // sync, header
    const uint8_t sub[8] = {1, 0, 0x20, 0, 1, 0, 0x20, 0};
    std::memcpy(s.data() + 16, sub, 8);
    std::memcpy(s.data() + 24, data.data(), data.size());
    StoreLe32(s.data() + 0x92C, i != 3 ? test::SectorEdc(s.data() + 16, 0x91C) : 0);
    test::Append(img, s);
  }
  Bytes broken = test::EncodeSectors(Bytes(2048, 0x42), test::SectorLayout::Mode2Raw, 46);
  broken[1000] ^= 1;
  test::Append(img, broken);
  test::Append(img, test::AudioSectors(5, 99));
  test::Append(img, test::NoiseBytes(1001, 3));
  return img;
}

Bytes ReadAllInChunks(EcmReader& r, std::size_t chunk) {
  Bytes out, buf(chunk);
  for (std::size_t n; (n = r.Read(buf)) > 0;)
    out.insert(out.end(), buf.begin(), buf.begin() + static_cast<std::ptrdiff_t>(n));
  return out;
}

TEST(EcmReader, DecodesEveryRecordTypeBackToTheOriginalReadFromAnywhere) {
  test::TempDir dir;
  Bytes original = MixedImage();
  test::EcmCounts counts;
  Bytes ecm = test::EncodeEcm(original, &counts);
  // The encoder took every path, so the decoder is tested on every path.
  EXPECT_EQ(std::tie(counts.mode1, counts.form1, counts.form2, counts.literalBytes),
            std::make_tuple(20u, 20u, 5u, (20u + 5u) * 16 + 2 * 2352 + 5 * 2352 + 1001));
  EXPECT_LT(ecm.size(), original.size());
  test::WriteFileBytes(dir / "game.bin.ecm", ecm);

  for (std::size_t chunk : {std::size_t{1} << 20, std::size_t{1000}, std::size_t{2352}}) {
    EcmReader r;
    ASSERT_EQ(r.Open(dir / "game.bin.ecm"), "");
    EXPECT_EQ(r.DecodedSize(), original.size());
    EXPECT_FALSE(r.ReadWholeInOrder());
    EXPECT_TRUE(ReadAllInChunks(r, chunk) == original) << chunk;
    EXPECT_TRUE(r.ReadWholeInOrder());
    EXPECT_EQ(r.CheckChecksum(), "");
  }

  std::vector<std::pair<uint64_t, uint64_t>> progress;
  DiscJobHooks hooks;
  hooks.progress = [&](uint64_t done, uint64_t total) { progress.emplace_back(done, total); };
  ASSERT_EQ(DecodeEcmFile(dir / "game.bin.ecm", dir / "game.bin", hooks), Outcome::Success());
  EXPECT_TRUE(test::ReadFileBytes(dir / "game.bin") == original &&
              !std::filesystem::exists(dir / "game.bin.ebf-part"));
  ASSERT_GE(progress.size(), 2u);
  EXPECT_EQ(progress.front(), std::make_pair(uint64_t{0}, uint64_t{original.size()}));
  EXPECT_EQ(progress.back(), std::make_pair(uint64_t{original.size()}, uint64_t{original.size()}));

  // Read from anywhere without decoding the rest, in an image big enough for several seek
  // points (one per 256 KiB of output).
  Bytes bigger;
  for (int part = 0; part < 4; ++part) test::Append(bigger, original);
  bigger.resize(bigger.size() - 1001 * 3);  // a tail not on a record boundary
  test::WriteFileBytes(dir / "d.ecm", test::EncodeEcm(bigger));
  EcmReader r;
  ASSERT_EQ(r.Open(dir / "d.ecm"), "");
  ASSERT_EQ(r.DecodedSize(), bigger.size());
  const uint64_t spots[] = {0,         17,        2352 * 20 + 5, 2352 * 21 + 16, 2352 * 21 + 15,
                            2352 * 41, 2352 * 47, 300000,        400000,         bigger.size() - 9,
                            2352 * 3,  1};
  for (uint64_t at : spots) {
    ASSERT_TRUE(r.Seek(at));
    Bytes got(std::min<uint64_t>(5000, bigger.size() - at));
    ASSERT_EQ(r.Read(got), got.size()) << at;
    EXPECT_TRUE(got == Bytes(bigger.begin() + at, bigger.begin() + at + got.size())) << at;
  }
  EXPECT_FALSE(r.Seek(bigger.size() + 1));
  ASSERT_TRUE(r.Seek(bigger.size()));
  Bytes none(10);
  EXPECT_EQ(r.Read(none), 0u);
  // Out of order, so the closing checksum cannot vouch for what was read.
  EXPECT_FALSE(r.ReadWholeInOrder());
  EXPECT_NE(r.CheckChecksum().find("not read through in order"), std::string::npos);

  // An unchanged file's scan is kept for its next reader; a file written anew, even of the
  // same size, is scanned anew (its closing checksum would not match a kept scan's).
  const std::string path = dir / "kept.bin.ecm";
  const Bytes& first = original;
  Bytes changed = first;
  changed.back() ^= 1;  // in the literal bytes: the same records, another checksum
  const Bytes shorter(first.begin(), first.end() - 1);
  const auto then = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
  const std::pair<const Bytes*, int> rows[] = {
      {&first, 0}, {&first, 0}, {&changed, 1}, {&shorter, 1}};
  for (const auto& [image, second] : rows) {
    test::WriteFileBytes(path, test::EncodeEcm(*image));
    std::filesystem::last_write_time(path, then + std::chrono::seconds(second));
    EcmReader r;
    ASSERT_EQ(r.Open(path), "");
    EXPECT_EQ(r.DecodedSize(), image->size());
    EXPECT_TRUE(ReadAllInChunks(r, 1 << 20) == *image);
    EXPECT_EQ(r.CheckChecksum(), "") << image->size() << " " << second;
  }
}

TEST(EcmReader, ReadsHandWrittenStreamsAndNamesTheDamageOfOthers) {
  test::TempDir dir;
  // 100 literal bytes: the count (99) needs a second header byte: 0x8C, 0x03.
  const Bytes text = test::NoiseBytes(100, 9);
  Bytes stream = {'E', 'C', 'M', 0, 0x8C, 0x03};
  test::Append(stream, text), test::Append(stream, {0xFC, 0xFF, 0xFF, 0xFF, 0x3F});  // end mark
  AppendLe32(stream, test::SectorEdc(text.data(), text.size()));
  test::WriteFileBytes(dir / "t.ecm", stream);
  EcmReader r;
  ASSERT_EQ(r.Open(dir / "t.ecm"), "");
  EXPECT_EQ(ReadAllInChunks(r, 7), text);
  EXPECT_EQ(r.CheckChecksum(), "");

  // An empty original: magic, end marker, EDC 0.
  test::WriteFileBytes(dir / "e.ecm", {'E', 'C', 'M', 0, 0xFC, 0xFF, 0xFF, 0xFF, 0x3F, 0, 0, 0, 0});
  ASSERT_EQ(r.Open(dir / "e.ecm"), "");
  EXPECT_EQ(r.DecodedSize(), 0u);
  EXPECT_EQ(r.CheckChecksum(), "");

  // Damage gives clear messages and leaves nothing behind.
  Bytes original = MixedImage();
  Bytes ecm = test::EncodeEcm(original);
  auto decode = [&](const Bytes& file) {
    test::WriteFileBytes(dir / "x.ecm", file);
    const Outcome decoded = DecodeEcmFile(dir / "x.ecm", dir / "x.bin");
    EXPECT_TRUE(decoded.failed());
    EXPECT_FALSE(std::filesystem::exists(dir / "x.bin") ||
                 std::filesystem::exists(dir / "x.bin.ebf-part"));
    return decoded.text();
  };
  // One flipped bit in a Mode 1 sector's data (the first record holds the 20 sectors from
  // byte 5 on, 2051 bytes each), in the sixth Form 1 item (each Form 1 sector is a
  // 16-byte literal record and a type 2 record: 2070 bytes), in the closing literal.
  for (std::size_t at :
       {std::size_t{100}, std::size_t{41025 + 2070 * 5 + 18 + 500}, ecm.size() - 600}) {
    Bytes bad = ecm;
    bad[at] ^= 0x10;
    EXPECT_EQ(decode(bad),
              "\"x.ecm\" is damaged: the decoded data does not match the checksum the file "
              "carries.")
        << at;
  }
  auto cut = [&](std::size_t n) { return decode(Bytes(ecm.begin(), ecm.begin() + n)); };
  EXPECT_EQ(cut(ecm.size() - 2), "\"x.ecm\" is cut short: its closing checksum is missing.");
  EXPECT_EQ(
      cut(ecm.size() / 2).rfind("\"x.ecm\" is cut short: it ends inside the record at byte ", 0),
      0u);
  EXPECT_EQ(cut(4), "\"x.ecm\" is cut short: it ends where a record should start.");
  for (const Bytes& notEcm : {Bytes{'E', 'C', 'M', 1, 0, 0}, Bytes{'E', 'C'}})
    EXPECT_EQ(decode(notEcm), "\"x.ecm\" is not an ECM file.");
  EXPECT_EQ(decode({'E', 'C', 'M', 0, 0x80, 0x80, 0x80, 0x80, 0x80, 0}),
            "\"x.ecm\" is damaged: the record header at byte 4 is too long.");
  // A count of 2^31 items.
  EXPECT_EQ(decode({'E', 'C', 'M', 0, 0xFD, 0xFF, 0xFF, 0xFF, 0x1F, 0}),
            "\"x.ecm\" is damaged: the record at byte 4 has an impossible length.");

  // Cancelled before the first chunk.
  CancelToken cancel;
  cancel.Request();
  DiscJobHooks hooks;
  hooks.cancel = &cancel;
  test::WriteFileBytes(dir / "x.ecm", ecm);
  EXPECT_EQ(DecodeEcmFile(dir / "x.ecm", dir / "x.bin", hooks), Outcome::Cancelled());
  EXPECT_FALSE(std::filesystem::exists(dir / "x.bin") ||
               std::filesystem::exists(dir / "x.bin.ebf-part"));
}

}  // namespace
}  // namespace ebf
