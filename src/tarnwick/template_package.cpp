#include "tarnwick/template_package.h"

#include <cstring>

#include "common/files.h"
#include "pbp/container.h"
#include "tarnwick/startdat.h"

namespace ebf::tarnwick {
namespace {

bool HasMagicAt(File& file, uint64_t offset, const char* magic, size_t size) {
  Bytes got(size);
  return file.Seek(offset) && file.ReadExact(got) && std::memcmp(got.data(), magic, size) == 0;
}

}  // namespace

bool ReadPackageTemplate(File& base, PackageTemplate& out, std::string& error) {
  const std::string name = FileNameOf(base.path());
  const uint64_t fileSize = base.Size();
  auto header = pbp::ReadPbpHeader(base);
  if (!header || header->magic != pbp::kPbpMagic) {
    error = name + " is not a PBP package";
    return false;
  }
  for (int i = 0; i < pbp::kSectionCount; ++i) {
    if (header->offsets[i] > fileSize || (i > 0 && header->offsets[i] < header->offsets[i - 1])) {
      error = name + " is damaged: its section offsets are out of order or past its end";
      return false;
    }
  }

  uint64_t sfoSize = header->SectionSize(pbp::kParamSfo, fileSize);
  if (sfoSize > kMaxTemplateSfoSize) {
    error = name + " has a PARAM.SFO of " + std::to_string(sfoSize) + " bytes, too large";
    return false;
  }
  out.sfo.assign(static_cast<size_t>(sfoSize), 0);
  if (!base.Seek(header->SectionStart(pbp::kParamSfo)) || !base.ReadExact(out.sfo)) {
    error = "Cannot read " + name + ": " + base.LastError();
    return false;
  }
  out.dataPspStart = header->SectionStart(pbp::kDataPsp);
  out.dataPspSize = header->SectionSize(pbp::kDataPsp, fileSize);

  uint64_t psar = header->psarOffset();
  uint64_t startDat = 0;
  if (HasMagicAt(base, psar, kStartDatMagic, kStartDatMagicSize)) {
    startDat = psar;
  } else {
    auto found = pbp::FindStartData(base);
    if (!found || !HasMagicAt(base, *found, kStartDatMagic, kStartDatMagicSize)) {
      error = name + " holds no STARTDAT block";
      return false;
    }
    startDat = *found;
  }
  auto pngSize = pbp::ReadLe32At(base, startDat + kStartDatPngSizeField);
  uint64_t tail = startDat + kStartDatHeaderSize + (pngSize ? *pngSize : 0);
  if (!pngSize || tail > fileSize) {
    error = name + " is damaged: its STARTDAT block runs past its end";
    return false;
  }
  out.tailStart = tail;
  out.tailSize = fileSize - tail;
  return true;
}

}  // namespace ebf::tarnwick
