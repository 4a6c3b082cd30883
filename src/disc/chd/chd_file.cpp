#include "disc/chd/chd_file.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cstring>

#include "common/files.h"

namespace ebf::chd {

class Sha1Stream {
 public:
  Sha1Stream() : ctx_(EVP_MD_CTX_new()) { Reset(); }
  ~Sha1Stream() { EVP_MD_CTX_free(ctx_); }
  Sha1Stream(const Sha1Stream&) = delete;
  Sha1Stream& operator=(const Sha1Stream&) = delete;
  void Reset() { EVP_DigestInit_ex(ctx_, EVP_sha1(), nullptr); }
  void Add(const void* data, std::size_t n) { EVP_DigestUpdate(ctx_, data, n); }
  Sha1 Finish() {
    Sha1 out{};
    unsigned int n = 0;
    EVP_DigestFinal_ex(ctx_, out.data(), &n);
    return out;
  }

 private:
  EVP_MD_CTX* ctx_;
};

namespace {

Sha1 Sha1Of(const void* data, std::size_t n) {
  Sha1Stream s;
  s.Add(data, n);
  return s.Finish();
}

}  // namespace

ChdFile::ChdFile() = default;
ChdFile::~ChdFile() = default;

std::string ChdFile::Message(const std::string& sentence) const {
  return "\"" + FileNameOf(path_) + "\" " + sentence;
}

const uint8_t* ChdFile::Fail(const std::string& sentence) {
  if (error_.empty()) error_ = Message(sentence);
  return nullptr;
}

std::string ChdFile::Open(const std::string& path) {
  path_ = path;
  error_.clear();
  ahead_.reset();
  map_.clear();
  metadata_.clear();
  for (Slot& s : cache_) s.hunk = ~0u;
  nextHashed_ = 0;
  if (!file_.Open(path, File::Mode::Read))
    return Message("could not be opened: " + file_.LastError());
  fileSize_ = file_.Size();
  uint8_t head[kHeaderBytes] = {};
  const std::size_t got = file_.Read(head);
  std::string bad = ParseHeader(std::span<const uint8_t>(head, got), fileSize_, header_);
  if (!bad.empty()) return Message(bad);

  uint8_t mapHead[16] = {};
  if (!file_.Seek(header_.mapOffset)) return Message("could not be read: " + file_.LastError());
  const std::size_t mapHeadBytes = file_.Read(mapHead);
  const uint64_t mapBytes = MapBytes(header_, std::span<const uint8_t>(mapHead, mapHeadBytes));
  if ((mapBytes == 0 && header_.hunkCount != 0) || mapBytes > fileSize_ - header_.mapOffset)
    return Message("is damaged: its hunk map is cut short.");
  std::vector<uint8_t> mapData(static_cast<std::size_t>(mapBytes));
  if (!file_.Seek(header_.mapOffset) || !file_.ReadExact(mapData))
    return Message("could not be read: " + file_.LastError());
  bad = DecodeMap(header_, mapData, fileSize_, map_);
  if (!bad.empty()) return Message(bad);

  bad = ReadMetadata(file_, fileSize_, header_.metaOffset, metadata_);
  if (!bad.empty()) return Message(bad);

  reader_ = std::make_unique<HunkReader>(header_, map_);
  if (!reader_->Open(path)) return Message("could not be opened: " + reader_->OpenError());
  for (Slot& s : cache_) s.data.resize(header_.hunkBytes);
  sha1_ = std::make_unique<Sha1Stream>();
  nextHashed_ = 0;
  return "";
}

ChdFile::Slot& ChdFile::FreeSlot() {
  Slot& slot = *std::min_element(cache_.begin(), cache_.end(), [](const Slot& a, const Slot& b) {
    return a.lastUse < b.lastUse;
  });
  slot.hunk = ~0u;
  slot.lastUse = ++useClock_;
  return slot;
}

void ChdFile::Hash(uint32_t n, const uint8_t* data) {
  if (n != nextHashed_) return;
  const uint64_t start = uint64_t{n} * header_.hunkBytes;
  sha1_->Add(data, static_cast<std::size_t>(
                       std::min<uint64_t>(header_.hunkBytes, header_.logicalBytes - start)));
  ++nextHashed_;
}

void ChdFile::StartReadAhead(int workers) {
  ahead_.reset();
  if (workers > 0 && nextHashed_ < header_.hunkCount)
    ahead_ = std::make_unique<ReadAhead>(path_, header_, map_, nextHashed_, workers);
}

const uint8_t* ChdFile::Hunk(uint32_t n) {
  if (n >= header_.hunkCount) return Fail("is damaged: a read went past its last hunk.");
  for (Slot& s : cache_)
    if (s.hunk == n) {
      s.lastUse = ++useClock_;
      Hash(n, s.data.data());
      return s.data.data();
    }
  if (ahead_ && n >= ahead_->Next()) {
    // Hunks skipped on the way (track padding) are still hashed.
    Slot* slot = nullptr;
    while (ahead_->Next() <= n) {
      const uint32_t h = ahead_->Next();
      slot = &FreeSlot();
      std::string bad = ahead_->Take(slot->data);
      if (!bad.empty()) {
        ahead_.reset();
        return Fail(bad);
      }
      slot->hunk = h;
      Hash(h, slot->data.data());
    }
    if (ahead_->Next() >= header_.hunkCount) ahead_.reset();
    return slot->data.data();
  }
  Slot& slot = FreeSlot();
  std::string bad = reader_->Read(n, slot.data);
  if (!bad.empty()) return Fail(bad);
  slot.hunk = n;
  Hash(n, slot.data.data());
  return slot.data.data();
}

std::string ChdFile::VerifyDigests() {
  if (!error_.empty()) return error_;
  while (nextHashed_ < header_.hunkCount)
    if (!Hunk(nextHashed_)) return error_;
  ahead_.reset();
  const Sha1 raw = sha1_->Finish();
  sha1_->Reset();
  nextHashed_ = 0;
  // chdman leaves both digests zero in files it stores uncompressed: nothing to compare.
  const Sha1 none{};
  if (header_.rawSha1 == none && header_.overallSha1 == none) return "";
  if (raw != header_.rawSha1) return Message("is damaged: its data does not match its SHA-1.");
  // The overall digest: the data's SHA-1, then tag and SHA-1 of every checksummed
  // metadata entry, sorted.
  std::vector<std::array<uint8_t, 24>> records;
  for (const MetadataEntry& m : metadata_) {
    if (!(m.flags & kMetaChecksummed)) continue;
    std::array<uint8_t, 24> r{};
    for (int i = 0; i < 4; ++i)
      r[static_cast<std::size_t>(i)] = static_cast<uint8_t>(m.tag >> (24 - 8 * i));
    const Sha1 d = Sha1Of(m.data.data(), m.data.size());
    std::copy(d.begin(), d.end(), r.begin() + 4);
    records.push_back(r);
  }
  std::sort(records.begin(), records.end());
  Sha1Stream overall;
  overall.Add(raw.data(), raw.size());
  for (const auto& r : records) overall.Add(r.data(), r.size());
  if (overall.Finish() != header_.overallSha1)
    return Message("is damaged: its track list does not match its SHA-1.");
  return "";
}

}  // namespace ebf::chd
