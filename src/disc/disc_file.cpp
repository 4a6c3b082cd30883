#include "disc/disc_file.h"

#include <vector>

#include "common/files.h"
#include "common/text.h"

namespace ebf {

bool IsEcmPath(const std::string& path) {
  return Extension4(path) == ".ECM";
}

bool DiscFile::Open(const std::string& path) {
  if (!IsEcmPath(path)) {
    ecm_.reset();
    return file_.Open(path, File::Mode::Read);
  }
  ecm_ = std::make_unique<EcmReader>();
  ecmOpenError_ = ecm_->Open(path);
  ecmOpen_ = ecmOpenError_.empty();
  return ecmOpen_;
}

uint64_t DiscFile::Size() {
  if (ecm_) return ecmOpen_ ? ecm_->DecodedSize() : 0;
  return file_.Size();
}

bool DiscFile::Seek(uint64_t offset) {
  if (ecm_) return ecmOpen_ && ecm_->Seek(offset);
  return file_.Seek(offset);
}

std::size_t DiscFile::Read(std::span<uint8_t> out) {
  if (ecm_) return ecmOpen_ ? ecm_->Read(out) : 0;
  return file_.Read(out);
}

std::string DiscFile::LastError() const {
  if (ecm_) return ecmOpen_ ? ecm_->error() : ecmOpenError_;
  return file_.LastError();
}

std::string DiscFile::CheckWhole() {
  if (!ecm_) return {};
  if (!ecmOpen_) return ecmOpenError_;
  if (!ecm_->ReadWholeInOrder()) {
    // Bytes already taken into the checksum are skipped over by the reader's own count.
    std::vector<uint8_t> buffer(256 * 1024);
    if (!ecm_->Seek(0)) return ecm_->error();
    while (ecm_->Read(buffer) == buffer.size()) {
    }
    if (!ecm_->error().empty()) return ecm_->error();
  }
  return ecm_->CheckChecksum();
}

std::optional<uint64_t> DiscFileSize(const std::string& path, std::string* error) {
  if (!IsEcmPath(path)) {
    auto size = IsDirectory(path) ? std::nullopt : FileSize(path);
    if (!size && error) *error = "Cannot read " + path + ".";
    return size;
  }
  EcmReader reader;
  std::string e = reader.Open(path);
  if (!e.empty()) {
    if (error) *error = e;
    return std::nullopt;
  }
  return reader.DecodedSize();
}

}  // namespace ebf
