// Runs the built tarnwick.exe: in a folder holding BASE.PBP and the assets, with "<title>"
// <GAMEID> <level> "<image>", or with options naming those files elsewhere.

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <cstring>
#include <filesystem>

#include "common/files.h"
#include "pbp/container.h"
#include "pbp/extract.h"
#include "pbp/inspect.h"
#include "pbp/sfo.h"
#include "psar_reader.h"
#include "support/disc_builder.h"
#include "support/inflating_reader.h"
#include "support/process_run.h"
#include "support/recording_host.h"
#include "support/runtime.h"
#include "support/temp_dir.h"
#include "tarnwick/ps1_sfo.h"

namespace ebf::test {
namespace {

namespace fs = std::filesystem;

std::string Converter() {
  return RuntimeFolder() + "Data" + kSep + "tarnwick.exe";
}

std::string LastLine(std::string out) {
  while (!out.empty() && (out.back() == '\n' || out.back() == '\r')) out.pop_back();
  return out.substr(out.rfind('\n') + 1);
}

// A game disc in mode 2 sectors, then noise (incompressible, like XA audio), then zeros,
// ending part-way through a sector.
Bytes GameImage() {
  Bytes image = BuildDiscImage(GameDisc("SLUS_012.34"), SectorLayout::Mode2Raw);
  Append(image, AudioSectors(40, 5));
  image.resize(image.size() + 30 * 2352 + 1000, 0);
  return image;
}

class ConverterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(FileExists(Converter())) << Converter();
    ASSERT_TRUE(CopyFileTo(RuntimeFolder() + "Data" + kSep + "BASE.PBP", dir_ / "BASE.PBP"));
  }
  ProcessResult Run(const std::vector<std::string>& args, ProcessOptions options = {}) {
    options.workingFolder = dir_.path();
    ProcessResult r = RunProcess(Converter(), args, options);
    EXPECT_TRUE(r.started);
    EXPECT_LT(r.output.size(), 4096u) << r.output;
    return r;
  }
  // A failed run: non-zero exit, the last line says what is wrong, no "Done.", no
  // EBOOT.PBP. A failure found before writing starts is the only line printed.
  void ExpectFailure(const ProcessResult& r, const std::string& expected, bool onlyLine = true) {
    EXPECT_NE(r.exitCode, 0) << r.output;
    if (onlyLine) {
      EXPECT_EQ(std::count(r.output.begin(), r.output.end(), '\n'), 1) << r.output;
    }
    EXPECT_NE(LastLine(r.output).find(expected), std::string::npos) << r.output;
    EXPECT_EQ(r.output.find("Done."), std::string::npos) << r.output;
    EXPECT_FALSE(fs::exists(dir_ / "EBOOT.PBP"));
  }
  TempDir dir_;
};

TEST_F(ConverterTest, WritesAPackageFromTemplateAssetsAndImage) {
  // A template like a PS1 classic's: a loader in DATA.PSP and a disc section whose STARTDAT
  // holds a boot picture and a trailing blob.
  const Bytes sfo =
      tarnwick::BuildPs1Sfo({.title = "Template", .discId = "SCUS99999", .license = ""});
  const Bytes loader = NoiseBytes(3000, 1);
  Bytes psar(0x20 + 0x50, 0);
  std::memcpy(psar.data(), "PSISOIMG0000", 12);
  std::memcpy(&psar[0x20], "STARTDAT", 8);
  psar[12] = 0x20, psar[0x20 + 0x14] = 5;  // the start data's offset, its picture's length
  const std::string tail = "OLDPNtrailing blob of the template";
  psar.insert(psar.end(), tail.begin(), tail.end());
  {
    File base(dir_ / "BASE.PBP", File::Mode::Write);
    ASSERT_TRUE(pbp::WritePbpHeader(base, {sfo.size(), 0, 0, 0, 0, 0, loader.size()}));
    ASSERT_TRUE(base.Write(sfo) && base.Write(loader) && base.Write(psar) && base.Close());
  }
  const Bytes icon0 = NoiseBytes(500, 2), pic0 = NoiseBytes(700, 3), pic1 = NoiseBytes(900, 4);
  const Bytes boot = NoiseBytes(1234, 6);
  for (auto [name, bytes] :
       {std::pair{"ICON0.PNG", &icon0}, {"PIC0.PNG", &pic0}, {"PIC1.PNG", &pic1}})
    WriteFileBytes(dir_ / name, *bytes);
  WriteFileBytes(dir_ / "SND0.AT3", {});  // empty: an empty section; ICON1.PMF is missing
  WriteFileBytes(dir_ / "DATA.PSP", {});  // empty: the template's loader is used
  WriteFileBytes(dir_ / "BOOT.PNG", boot);
  const Bytes image = GameImage();
  WriteFileBytes(dir_ / "game.bin", image);

  ProcessResult r = Run({"My Game: \xE9t\xE9", "SLUS01234", "9", dir_ / "game.bin"});
  ASSERT_EQ(std::make_pair(r.exitCode, LastLine(r.output)), std::make_pair(0, std::string("Done.")))
      << r.output;

  PackageBytes pkg(dir_ / "EBOOT.PBP");
  EXPECT_EQ(std::make_pair(LoadLe32(&pkg.bytes()[0]), pkg.SectionOffset(0)),
            std::make_pair(pbp::kPbpMagic, 40u));
  const pbp::SfoFields fields = pbp::ReadSfoFields(pkg.Section(0));
  EXPECT_EQ(fields.title + "|" + fields.discId,
            "My Game: \xC3\xA9t\xC3\xA9|SLUS01234");  // ANSI read back
  EXPECT_EQ(pkg.Section(0).size(), sfo.size());
  const Bytes sections[] = {icon0, {}, pic0, pic1, {}, loader};
  for (int i = 1; i <= 6; ++i) EXPECT_EQ(pkg.Section(i), sections[i - 1]) << i;

  EXPECT_EQ(pkg.PsarText(0, 12) + pkg.PsarText(0x400, 16) + pkg.PsarText(0x122C, 128),
            "PSISOIMG0000_SLUS_01234My Game: \xE9t\xE9");
  EXPECT_EQ(LoadLe32(pkg.PsarAt(0xBFC)), 0x100000u);
  // No ISO.TOC: the default table, lead-out at the image's 95 sectors (rounded up): 00:01:20.
  ASSERT_EQ((image.size() + 2351) / 2352, 95u);
  EXPECT_EQ(Bytes(pkg.PsarAt(0x800 + 20), pkg.PsarAt(0x800 + 30)),
            (Bytes{0x41, 0, 0xA2, 0, 0, 0, 0, 0x00, 0x01, 0x20}));

  // STARTDAT right after the blocks: new boot picture, then the template's tail.
  uint64_t s = uint64_t{pkg.Psar()} + LoadLe32(pkg.PsarAt(12));
  const Bytes& all = pkg.bytes();
  ASSERT_LE(s + 0x50, all.size());
  ASSERT_EQ(std::make_tuple(std::string(all.begin() + s, all.begin() + s + 8),
                            LoadLe32(&all[s + 0x10]), LoadLe32(&all[s + 0x14])),
            std::make_tuple("STARTDAT", 0x50u, 1234u));
  EXPECT_EQ(Bytes(all.begin() + s + 0x50, all.begin() + s + 0x50 + boot.size()), boot);
  EXPECT_EQ(std::string(all.begin() + s + 0x50 + boot.size(), all.end()),
            "trailing blob of the template");

  // The package code takes it apart as the program does with a package given as input.
  RunRecorder host;
  pbp::Inspection seen = pbp::InspectEboot(dir_ / "EBOOT.PBP", dir_.folder() + "temp" + kSep, host);
  EXPECT_EQ(seen.message + "|" + seen.title + "|" + std::to_string(seen.bootPngSize),
            "|My Game: \xC3\xA9t\xC3\xA9|1234");
  EXPECT_EQ(ReadFileBytes(dir_ / "temp/Gameboot.png"), boot);

  // A non-empty DATA.PSP beats the template's loader. A title of 150 characters is cut to
  // the 127 its fields hold; an image path of about 3,000 characters still leaves the whole
  // output within the 4 KB the program reads back (checked by Run).
  const Bytes ownLoader = NoiseBytes(777, 9);
  WriteFileBytes(dir_ / "DATA.PSP", ownLoader);
  std::string deep = "d";
  for (int i = 0; i < 12; ++i) deep += "/" + std::string(240, static_cast<char>('a' + i));
  const std::string far = dir_.MakeDir(deep) + kSep + "game.bin";
  WriteFileBytes(far, image);
  r = Run({std::string(150, 'x'), "SLUS01234", "1", far});
  ASSERT_EQ(r.exitCode, 0) << r.output;
  PackageBytes again(dir_ / "EBOOT.PBP");
  EXPECT_EQ(again.Section(6), ownLoader);
  EXPECT_EQ(pbp::ReadSfoFields(again.Section(0)).title + again.PsarText(0x122C, 128),
            std::string(254, 'x'));
  fs::remove(dir_ / "EBOOT.PBP");
  ExpectFailure(Run({std::string(150, 'x'), "SLUS00001", "9", far + ".missing"}),
                "No such file or directory");
}

TEST_F(ConverterTest, ExtractionGivesTheImageBackAtEveryLevel) {
  const Bytes image = GameImage();
  WriteFileBytes(dir_ / "game.bin", image);
  const uint32_t blocks = static_cast<uint32_t>((image.size() + kTestBlock - 1) / kTestBlock);
  Bytes expected = image;
  expected.resize((blocks + 1) * kTestBlock, 0);  // the last block filled, the padding block

  for (int level = 0; level <= 9; ++level) {
    SCOPED_TRACE(level);
    const ProcessResult r =
        Run({"Round Trip", "SCES00001", std::to_string(level), dir_ / "game.bin"});
    ASSERT_EQ(std::make_pair(r.exitCode, LastLine(r.output)),
              std::make_pair(0, std::string("Done.")))
        << r.output;
    // Every block inflates on its own to exactly its 37,632 bytes; the program's own
    // extractor reaches the padding block too, which such readers never do.
    InflatingReader reader(dir_ / "EBOOT.PBP");
    Bytes back;
    ASSERT_EQ(reader.ReadSectors(0, blocks * 16, back), "");
    EXPECT_TRUE(back == Bytes(expected.begin(), expected.begin() + blocks * kTestBlock));
    RunRecorder host;
    ASSERT_EQ(
        pbp::ExtractDiscImage(dir_ / "EBOOT.PBP", dir_ / "back.bin", false, 0, host, host.cancel),
        Outcome::Success());
    EXPECT_TRUE(ReadFileBytes(dir_ / "back.bin") == expected);
    PackageBytes pkg(dir_ / "EBOOT.PBP");
    // Blocks back to back, every one a deflate stream (never a raw 0x9300 block); markers 1
    // on the image's blocks, 0 on the padding block; an all-zero terminator; the digest
    // over the plain sectors.
    uint32_t next = 0;
    int storedStreams = 0;
    for (uint32_t i = 0; i <= blocks; ++i) {
      const IndexEntry e = pkg.Entry(i);
      ASSERT_EQ(std::make_tuple(e.offset, e.size != kTestBlock, e.marker),
                std::make_tuple(next, true, i == blocks ? 0 : 1))
          << i;
      storedStreams += e.size == 37637;
      unsigned char md[EVP_MAX_MD_SIZE];
      unsigned int len = 0;
      EVP_Digest(&expected[uint64_t{i} * kTestBlock], kTestBlock, md, &len, EVP_sha1(), nullptr);
      EXPECT_EQ(std::memcmp(e.digest, md, 16), 0) << i;
      next += e.size;
    }
    EXPECT_EQ(Bytes(pkg.PsarAt(0x4000 + 32 * (blocks + 1)), pkg.PsarAt(0x4000 + 32 * (blocks + 2))),
              Bytes(32, 0));
    EXPECT_EQ(LoadLe32(pkg.PsarAt(12)), 0x100000u + next);
    // At level 0 every block is stored; else only the noise blocks come out longer.
    EXPECT_TRUE(level ? storedStreams < int(blocks) : storedStreams == int(blocks + 1));
  }
}

TEST_F(ConverterTest, FailuresPrintOneLineAndLeaveNoPackage) {
  WriteFileBytes(dir_ / "game.bin", GameImage());
  WriteFileBytes(dir_ / "empty.bin", {});
  const std::string image = dir_ / "game.bin", missing = dir_ / "missing.bin";
  const std::string folder = dir_.MakeDir("folder.bin");
  // Later discs: an ID and an image each, at most five discs, each checked as disc 1 is.
  const std::vector<std::string> sixDiscs = {
      "T",   "SLUS00001", "9",   image,       "SLUS00002", image,       "SLUS00003",
      image, "SLUS00004", image, "SLUS00005", image,       "SLUS00006", image};
  // The arguments, a part of the last line, and whether that is the only line (an option
  // it does not know, or one without its file, is also refused before anything is written).
  // clang-format off
  const std::tuple<std::vector<std::string>, std::string, bool> rows[] = {
      {{"T", "SLUS00001", "9", missing}, "Cannot read the image", true},
      {{"T", "SLUS00001", "9", folder}, "it is a folder", true},
      {{"T", "SLUS00001", "9", dir_ / "empty.bin"}, "is empty", true},
      {{"T", "SLUS00001", "10", image}, "compression level", true},
      {{"T", "SLUS00001", "a", image}, "a digit from 0 to 9, not \"a\"", true},
      {{"T", "SLUS00001", "/", image}, "a digit from 0 to 9, not \"/\"", true},
      {{"T", "SLUS0001", "9", image}, "game ID", true},
      {{"T", "SLUS00001", "9"}, "Usage: tarnwick.exe", true},
      {{"T", "SLUS00001", "9", image, "SLUS00002"}, "Usage: tarnwick.exe", true},
      {sixDiscs, "Usage: tarnwick.exe", true},
      {{"T", "SLUS00001", "9", image, "SLUS00002", image, "SLUS0003", image}, "Disc 3: The game ID must be 9 characters such as SLUS00594, not \"SLUS0003\"", true},
      {{"T", "SLUS00001", "9", image, "SLUS00002", missing}, "Cannot read the image " + missing, true},
      {{"--icon9", "x", "T", "SLUS00001", "9", image}, "Unknown option --icon9", false},
      {{"T", "SLUS00001", "9", image, "--output"}, "Usage:", false},
      {{"--output", "", "T", "SLUS00001", "9", image}, "No file was given for --output", true},
  };
  // clang-format on
  for (const auto& [args, said, onlyLine] : rows) ExpectFailure(Run(args), said, onlyLine);
  WriteFileBytes(dir_ / "ISO.TOC", NoiseBytes(1021, 1));  // one byte more than the table
  ExpectFailure(Run({"T", "SLUS00001", "9", image}), "ISO.TOC is too large");
  fs::remove(dir_ / "ISO.TOC");

  // Started by hand without arguments, it says how a game on several discs is given.
  const ProcessResult bare = Run({});
  EXPECT_TRUE(bare.exitCode == 2 &&
              bare.output.find("[<GAMEID2> \"<image2>\" ... up to disc 5]") != std::string::npos &&
              bare.output.find("ISO2.TOC to ISO5.TOC") != std::string::npos)
      << bare.output;

  // An image that is the package to be written is refused before anything is touched.
  const Bytes older = NoiseBytes(50000, 8);
  WriteFileBytes(dir_ / "EBOOT.PBP", older);
  const ProcessResult same = Run({"T", "SLUS00001", "9", dir_ / "EBOOT.PBP"});
  EXPECT_TRUE(same.exitCode != 0 &&
              same.output.find("cannot be the package being written") != std::string::npos)
      << same.output;
  EXPECT_EQ(ReadFileBytes(dir_ / "EBOOT.PBP"), older);
  fs::remove(dir_ / "EBOOT.PBP");

  // A write that fails part-way (as on a full disk) removes what was written.
  ProcessOptions small;
  small.fileSizeLimit = 200000;
  ExpectFailure(Run({"T", "SLUS00001", "0", image}, small), "Cannot write EBOOT.PBP", false);

  // A folder the converter may not write to. Run as root, the converter runs as an
  // unprivileged user, who must still be able to read what it needs.
  for (const std::string& file : {dir_ / "BASE.PBP", image})
    fs::permissions(file, fs::perms::group_read | fs::perms::others_read, fs::perm_options::add);
  fs::permissions(dir_.path(), fs::perms(0555));  // readable and enterable, by no one writable
  ProcessOptions locked;
  locked.dropPrivileges = true;
  ExpectFailure(Run({"T", "SLUS00001", "9", image}, locked), "Cannot write EBOOT.PBP as");
  fs::permissions(dir_.path(), fs::perms::owner_write, fs::perm_options::add);

  fs::remove(dir_ / "BASE.PBP");
  ExpectFailure(Run({"T", "SLUS00001", "9", image}), "BASE.PBP is missing");
  WriteFileBytes(dir_ / "BASE.PBP", Bytes(100, 0x11));
  ExpectFailure(Run({"T", "SLUS00001", "9", image}), "BASE.PBP is not a PBP package");
}

TEST_F(ConverterTest, ReadsAndWritesTheFilesItsOptionsNameAndRemovesItsOutputWhenStopped) {
  WriteFileBytes(dir_ / "game.bin", GameImage());
  const std::string image = dir_ / "game.bin";
  // Run from an empty folder, every file named: the template and an ICON0 from one place,
  // the package written to another; what lies in the working folder is not read or written.
  TempDir cwd, out;
  WriteFileBytes(cwd / "EBOOT.PBP", Bytes{1, 2, 3});
  WriteFileBytes(cwd / "ICON0.PNG", NoiseBytes(50, 1));
  const Bytes icon0 = NoiseBytes(500, 2);
  WriteFileBytes(out / "mine.png", icon0);
  ProcessOptions there;
  there.workingFolder = cwd.path();
  ProcessResult named =
      RunProcess(Converter(),
                 {"--template", dir_ / "BASE.PBP", "--icon0", out / "mine.png", "--output",
                  out / "EBOOT.PBP.part", "--", "T", "SLUS00001", "9", image},
                 there);
  EXPECT_EQ(LastLine(named.output), "Done.") << named.output;
  EXPECT_EQ(PackageBytes(out / "EBOOT.PBP.part").Section(1), icon0);
  EXPECT_EQ(ReadFileBytes(cwd / "EBOOT.PBP"), (Bytes{1, 2, 3}));

  // Stopped part-way (an interrupt or a termination request), it takes its partial file
  // with it and ends with 130. The image is large enough to be still in work.
  fs::remove(dir_ / "EBOOT.PBP.part");
  WriteFileBytes(dir_ / "big.bin", NoiseBytes(40u << 20, 9));
  for (const char* sig : {"INT", "TERM"}) {
    // clang-format off
    const std::string status = Shell("cd '" + dir_.path() + "' || exit 9; '" + Converter() +
        "' --output EBOOT.PBP.part T SLUS00001 9 big.bin >/dev/null 2>&1 & pid=$!; n=0; while [ ! -s '" +
        (dir_ / "EBOOT.PBP.part") + "' ] && [ $n -lt 2000 ]; do sleep 0.005; n=$((n+1)); done; kill -" +
        sig + " $pid; wait $pid; echo $?");
    // clang-format on
    EXPECT_EQ(status, "130\n") << sig;
    EXPECT_FALSE(fs::exists(dir_ / "EBOOT.PBP.part")) << sig;
  }
}

TEST(ShippedTemplate, IsAPackageWithThePs1SfoEmptySectionsAndAMinimalStartDat) {
  PackageBytes base(RuntimeFolder() + "Data" + kSep + "BASE.PBP");
  ASSERT_EQ(LoadLe32(&base.bytes().at(0)), pbp::kPbpMagic);
  // The SFO is the converter's own (its layout is its writer's test).
  const pbp::SfoFields fields = pbp::ReadSfoFields(base.Section(0));
  EXPECT_TRUE(fields.discId.size() == 9 && !fields.title.empty()) << fields.discId << fields.title;
  for (int i = 1; i <= 6; ++i) EXPECT_TRUE(base.Section(i).empty()) << i;
  const Bytes psar = base.Section(7);
  ASSERT_EQ(psar.size(), 0x50u);
  EXPECT_EQ(std::string(psar.begin(), psar.begin() + 8), "STARTDAT");
  EXPECT_EQ(Bytes(psar.begin() + 0x10, psar.begin() + 0x18), (Bytes{0x50, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(ConverterTest, GameOnThreeDiscsIsOnePackageWithASectionADisc) {
  // Three discs of different lengths, so the sections end at different places.
  std::vector<Bytes> discs;
  for (int n = 1; n <= 3; ++n) {
    Bytes& image = discs.emplace_back(
        BuildDiscImage(GameDisc("SLUS_012.3" + std::to_string(3 + n)), SectorLayout::Mode2Raw));
    Append(image, AudioSectors(20 + 37 * n, 10 + n));
    image.resize(image.size() + 2352 * n + 100 * n, 0);
    WriteFileBytes(dir_ / ("disc" + std::to_string(n) + ".bin"), image);
  }
  const Bytes boot = NoiseBytes(999, 3);
  WriteFileBytes(dir_ / "BOOT.PNG", boot);
  // Discs 1 and 2 have CD audio, a three-track table (data, two audio tracks) beside them
  // as the program writes it: bytes 3-5 equal bytes 7-9 on every entry, track 2 at
  // 00:40:10, track 3 at 10:00:01. Those tables are left as they are.
  // clang-format off
  const Bytes toc = {0x41, 0, 0xA0, 0, 2, 0, 0, 0x01, 0x20, 0,
                     0x01, 0, 0xA1, 0, 2, 0, 0, 0x03, 0, 0,
                     0x01, 0, 0xA2, 0, 2, 0, 0, 0x01, 0x02, 0x03,
                     0x41, 0, 0x01, 0, 2, 0, 0, 0, 0x02, 0,
                     0x01, 0, 0x02, 0x00, 0x40, 0x10, 0, 0x00, 0x40, 0x10,
                     0x01, 0, 0x03, 0x10, 0x00, 0x01, 0, 0x10, 0x00, 0x01};
  // clang-format on
  for (const char* name : {"ISO.TOC", "ISO2.TOC"}) WriteFileBytes(dir_ / name, toc);
  // In the package the track entries' bytes 3-5 are bytes 7-9 less two seconds (00:02:00
  // -> 00:00:00, 00:40:10 -> 00:38:10, 10:00:01 -> 09:58:01); the lead entries stay.
  Bytes packedToc = toc;
  const uint8_t audio[3][3] = {{0x00, 0x00, 0x00}, {0x00, 0x38, 0x10}, {0x09, 0x58, 0x01}};
  for (int t = 0; t < 3; ++t)
    std::copy(audio[t], audio[t] + 3, packedToc.begin() + 30 + 10 * t + 3);
  packedToc.resize(1020, 0);
  for (int level : {0, 7}) {
    SCOPED_TRACE(level);
    ProcessResult r = Run({"Three Discs", "SLUS01234", std::to_string(level), dir_ / "disc1.bin",
                           "SLUS01235", dir_ / "disc2.bin", "SLUS01236", dir_ / "disc3.bin"});
    ASSERT_EQ(std::make_pair(r.exitCode, LastLine(r.output)),
              std::make_pair(0, std::string("Done.")))
        << r.output;
    EXPECT_NE(r.output.find("Disc 3: " + (dir_ / "disc3.bin")), std::string::npos) << r.output;

    PackageBytes pkg(dir_ / "EBOOT.PBP");
    const pbp::SfoFields fields = pbp::ReadSfoFields(pkg.Section(0));
    EXPECT_EQ(fields.title + "|" + fields.discId, "Three Discs|SLUS01234");  // readers add the disc

    // The title header: the table of sections from DATA.PSAR, zero after the third, and
    // disc 1's ID shared by all; zeros elsewhere.
    uint32_t slots[3];
    for (int i = 0; i < 3; ++i) slots[i] = LoadLe32(pkg.PsarAt(0x200 + 4 * i));
    EXPECT_EQ(slots[0], 0x400u);
    std::string header = std::string("PSTITLEIMG000000") + std::string(0x1F0, '\0');
    header.append(reinterpret_cast<const char*>(pkg.PsarAt(0x200)), 12);
    header += std::string(0x58, '\0') + "_SLUS_01234" + std::string(0x191, '\0');
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(pkg.PsarAt(0)), 0x400), header);

    uint64_t startDat = 0;
    for (int i = 0; i < 3; ++i) {
      SCOPED_TRACE(i + 1);
      const uint32_t s = slots[i];
      EXPECT_EQ(pkg.PsarText(s, 12) + pkg.PsarText(s + 0x400, 16) + pkg.PsarText(s + 0x122C, 128),
                "PSISOIMG0000_SLUS_0123" + std::to_string(4 + i) + "Three Discs");
      EXPECT_EQ(LoadLe32(pkg.PsarAt(s + 0xBFC)), 0x100000u);
      // The section ends where its index says; the next starts at the next 1 KiB boundary
      // after it, zeros between; the last is followed straight by STARTDAT.
      uint32_t end = 0;
      for (uint32_t at = s + 0x4000; LoadLe32(pkg.PsarAt(at + 4)) != 0; at += 32)
        end = LoadLe32(pkg.PsarAt(at)) + LoadLe16(pkg.PsarAt(at + 4));
      const uint32_t sectionEnd = s + 0x100000 + end;
      const uint32_t next = i < 2 ? slots[i + 1] : sectionEnd;
      if (i < 2) {
        EXPECT_EQ(next, (sectionEnd + 0x3FF) / 0x400 * 0x400);
        EXPECT_EQ(Bytes(pkg.PsarAt(sectionEnd), pkg.PsarAt(next)), Bytes(next - sectionEnd, 0));
      }
      EXPECT_EQ(LoadLe32(pkg.PsarAt(s + 12)), next - s);
      startDat = uint64_t{pkg.Psar()} + sectionEnd;

      // Each disc reads back whole, as its own disc, by a reader of multi-disc packages.
      InflatingReader reader(dir_ / "EBOOT.PBP", i + 1);
      ASSERT_EQ(reader.error() + std::to_string(reader.discCount()), "3");
      const uint32_t sectors = static_cast<uint32_t>((discs[i].size() + 2351) / 2352);
      Bytes back, expected = discs[i];
      ASSERT_EQ(reader.ReadSectors(0, sectors, back), "");
      expected.resize(uint64_t{sectors} * 2352, 0);
      EXPECT_TRUE(back == expected);
      ASSERT_EQ(reader.tracks().size(), i < 2 ? 3u : 1u);
      if (i < 2) {
        EXPECT_EQ(Bytes(pkg.PsarAt(s + 0x800), pkg.PsarAt(s + 0xBFC)), packedToc);
        EXPECT_EQ(std::tie(reader.tracks()[1].audio, reader.tracks()[1].start,
                           reader.tracks()[2].audioPosition),
                  std::make_tuple(true, (40 * 75 + 10) - 150, (9 * 60 + 58) * 75 + 1));
      } else {
        EXPECT_EQ(reader.discSectors(), sectors);  // the default table, as for one disc
      }
    }
    EXPECT_EQ(InflatingReader(dir_ / "EBOOT.PBP", 4).error(), "no disc 4 in the table");
    EXPECT_EQ(ReadFileBytes(dir_ / "ISO.TOC"), toc);

    const Bytes& all = pkg.bytes();
    ASSERT_LE(startDat + 0x50 + boot.size(), all.size());
    EXPECT_EQ(std::string(all.begin() + startDat, all.begin() + startDat + 8), "STARTDAT");
    EXPECT_EQ(Bytes(all.begin() + startDat + 0x50, all.begin() + startDat + 0x50 + boot.size()),
              boot);
  }
}

}  // namespace
}  // namespace ebf::test
