#include "docmaker/document_dat.h"

#include <array>

#include "assets/convert.h"
#include "common/ansi.h"
#include "common/bytes.h"
#include "common/file_io.h"
#include "common/files.h"
#include "common/text.h"
#include "imaging/dib.h"
#include "imaging/png_writer.h"

namespace ebf {
namespace {

constexpr uint32_t kPngSignature4 = 0x474E5089;
constexpr uint64_t kPngWidthOffset = 16;

struct PageRecord {
  uint32_t offset = 0;
  uint32_t size = 0;
};

Bytes EncodeTable(const std::vector<PageRecord>& records) {
  Bytes table(records.size() * kDocRecordSize, 0);
  for (std::size_t i = 0; i < records.size(); ++i) {
    StoreLe32(&table[i * kDocRecordSize], records[i].offset);
    StoreLe32(&table[i * kDocRecordSize + kDocRecordSizeField], records[i].size);
  }
  return table;
}

// Draws a picture at its own size and saves it as the PNG used for the page.
std::string ConvertPage(const std::string& workFolder, const std::string& path) {
  const std::string output = TempFolder(workFolder) + "TempConv.png";
  c32bppDIB image;
  image.LoadPictureFile(path);
  Surface surface(image.Width(), image.Height());
  image.Render(surface, 0, 0, 0, 0, 100);
  DeleteFileIfExists(output);
  WritePngFromDrawingContext(surface, output, image.Width(), image.Height());
  return output;
}

// Length > 30, the PNG signature's first four bytes, IHDR width of 480 or less.
bool IsStorablePage(const std::string& path, uint64_t& length) {
  if (IsDirectory(path)) return false;
  length = FileSize(path).value_or(0);
  if (length < kDocMinPageBytes) return false;
  File file(path, File::Mode::Read);
  std::array<uint8_t, 20> head{};
  if (!file || file.Read(head) < 4) return false;
  return LoadLe32(head.data()) == kPngSignature4 &&
         LoadBe32(head.data() + kPngWidthOffset) <= kDocMaxPageWidth;
}

DocResult Failure(const std::string& message) {
  DocResult r;
  r.outcome = Outcome::Failed(message);
  return r;
}

}  // namespace

std::string DocumentTemplatePath(const ProgramFolders& folders) {
  return FindRuntimeFile(folders, "Data/DOCHead.dat");
}

DocResult WriteDocumentDat(const ProgramFolders& folders, const std::string& outputPath,
                           const std::string& gameIdPrefix, const std::string& gameIdNumber,
                           const std::vector<std::string>& pagePaths, Progress& progress,
                           CancelToken& cancel) {
  const std::string templatePath = DocumentTemplatePath(folders);
  if (!FileExists(templatePath) || IsDirectory(templatePath))
    return Failure("DOCHead.dat file missing!");
  std::string error;
  if (!CopyFileTo(templatePath, outputPath, &error)) return Failure(error);

  File out(outputPath, File::Mode::ReadWrite);
  auto fail = [&](const std::string& why) {
    out.Close();
    DeleteFileIfExists(outputPath);
    return Failure(why.empty() ? "Could not write " + outputPath : why);
  };
  if (!out) return fail(out.LastError());

  std::string id = Utf8ToAnsi(gameIdPrefix + gameIdNumber);
  id.resize(kDocIdLength, '\0');
  const uint32_t count = static_cast<uint32_t>(pagePaths.size());
  std::array<uint8_t, 4> countBytes{};
  StoreLe32(countBytes.data(), count);
  std::vector<PageRecord> records(pagePaths.size());
  const Bytes gap(kDocGapSize, 0);
  if (!out.Seek(kDocIdOffset) || !out.Write(std::string_view(id)) ||
      !out.Seek(kDocPageCountOffset) || !out.Write(countBytes) ||
      !out.Write(EncodeTable(records)) || !out.Write(gap))
    return fail(out.LastError());
  uint64_t position = kDocTableOffset + kDocRecordSize * count + kDocGapSize;
  TempFolder(folders.work);

  DocResult result;
  for (uint32_t i = 0; i < count; ++i) {
    std::string page = pagePaths[i];
    if (!FileExists(page)) continue;
    progress.Advance(i, count);
    if (cancel.Take()) {
      out.Close();
      DeleteFileIfExists(outputPath);
      result.outcome = Outcome::Cancelled();
      return result;
    }
    if (HasConvertibleExtension(page)) page = ConvertPage(folders.work, page);
    uint64_t length = 0;
    if (!IsStorablePage(page, length)) continue;
    if (position + length > UINT32_MAX) return fail("DOCUMENT.DAT would exceed 4 GB.");
    if (!out.Seek(position) || !AppendFileToOpenFile(page, out)) return fail(out.LastError());
    records[i] = {static_cast<uint32_t>(position), static_cast<uint32_t>(length)};
    position += length;
    ++result.pagesStored;
  }
  progress.Advance(count, count);
  if (!out.Seek(kDocTableOffset) || !out.Write(EncodeTable(records)) || !out.Close())
    return fail(out.LastError());
  result.outcome = Outcome::Success();
  return result;
}

std::string DocumentPageFileName(uint32_t index, uint32_t count) {
  // Counted on the highest index, so that a 100-page file still gets three zeros
  // (0000.png to 00099.png) as a 12-page one does (0000.png to 00011.png).
  const std::size_t digits = std::to_string(count > 0 ? count - 1 : 0).size();
  const std::size_t zeros = digits < 5 ? 5 - digits : 0;
  return std::string(zeros, '0') + std::to_string(index) + ".png";
}

DocResult ExtractDocumentDat(const std::string& datPath, const std::string& outputFolder,
                             Progress& progress, CancelToken& cancel) {
  File in(datPath, File::Mode::Read);
  if (!in) return Failure(in.LastError());
  const uint64_t fileSize = in.Size();
  std::array<uint8_t, 4> countBytes{};
  if (!in.Seek(kDocPageCountOffset) || !in.ReadExact(countBytes))
    return Failure("The file is too short to be a DOCUMENT.DAT.");
  const uint32_t count = LoadLe32(countBytes.data());

  DocResult result;
  Bytes buffer(64 * 1024);
  for (uint32_t i = 0; i < count; ++i) {
    const uint64_t recordAt = kDocTableOffset + kDocRecordSize * i;
    if (!RangeFits(recordAt, kDocRecordSize, fileSize)) break;  // the table ends with the file
    std::array<uint8_t, kDocRecordSize> record{};
    if (!in.Seek(recordAt) || !in.ReadExact(record)) break;
    const uint32_t offset = LoadLe32(record.data());
    uint64_t size = LoadLe32(record.data() + kDocRecordSizeField);
    if (size > 0) {
      progress.Advance(i, count);
      // A record pointing past the end gives a short (or empty) page, as the data allows.
      size = offset >= fileSize ? 0 : std::min<uint64_t>(size, fileSize - offset);
      const std::string name = JoinPath(outputFolder, DocumentPageFileName(i, count));
      DeleteFileIfExists(name);
      File page(name, File::Mode::Write);
      if (!page) return Failure(page.LastError());
      if (!in.Seek(offset)) return Failure(in.LastError());
      while (size > 0) {
        const std::size_t n = static_cast<std::size_t>(std::min<uint64_t>(size, buffer.size()));
        if (!in.ReadExact(std::span(buffer.data(), n)) || !page.Write(std::span(buffer.data(), n)))
          return Failure("Could not write " + name);
        size -= n;
      }
      if (!page.Close()) return Failure(page.LastError());
      ++result.pagesStored;
    }
    if (cancel.Take()) {
      result.outcome = Outcome::Cancelled();
      return result;
    }
  }
  result.outcome = Outcome::Success();
  return result;
}

}  // namespace ebf
