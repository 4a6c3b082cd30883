#include "pbp/block_rounds.h"

#include <algorithm>
#include <cstring>
#include <thread>

#include "common/file_io.h"
#include "pbp/block_digest.h"

namespace ebf::pbp {
namespace {

// Blocks each thread decodes per round; two rounds' worth of blocks are held at once.
constexpr uint64_t kBlocksPerThread = 32;

}  // namespace

// A thread's own handle on the package, kept from round to round.
struct BlockRounds::Worker {
  File file;
  std::unique_ptr<BlockReader> reader;
  BlockHasher hasher;
  std::vector<BlockDigestValue> digests;
};

BlockRounds::BlockRounds(const std::string& path, const DiscImageLayout& layout, uint64_t count,
                         unsigned threads)
    : path_(path), layout_(layout), count_(std::min<uint64_t>(count, layout.blocks.size())) {
  const unsigned n = threads ? threads : std::max(1u, std::thread::hardware_concurrency());
  perThread_ = kBlocksPerThread;
  for (unsigned i = 0; i < n; ++i) workers_.push_back(std::make_unique<Worker>());
  const uint64_t round = std::min<uint64_t>(perThread_ * n, count_);
  for (int s = 0; s < 2; ++s) {
    bytes_[s].resize(round * kBlockSize);
    blocks_[s].resize(round);
  }
  Start(0);
}

BlockRounds::~BlockRounds() {
  if (pending_.valid()) pending_.wait();
}

void BlockRounds::Start(uint64_t first) {
  pendingFirst_ = first;
  pendingCount_ = first < count_ ? std::min<uint64_t>(blocks_[0].size(), count_ - first) : 0;
  if (pendingCount_ == 0) return;
  pending_ = std::async(std::launch::async, [this, first, n = pendingCount_, slot = filling_] {
    // One stretch of the round for each thread, this one taking the last.
    std::vector<std::future<void>> others;
    std::size_t w = 0;
    for (uint64_t at = 0; at < n; at += perThread_, ++w) {
      const uint64_t k = std::min(perThread_, n - at);
      if (at + k == n) {
        Decode(*workers_[w], first + at, k, slot, at);
      } else {
        others.push_back(std::async(std::launch::async, [this, w, first, at, k, slot] {
          Decode(*workers_[w], first + at, k, slot, at);
        }));
      }
    }
    for (auto& o : others) o.get();
  });
}

void BlockRounds::Decode(Worker& worker, uint64_t first, uint64_t count, std::size_t slot,
                         uint64_t at) {
  static const BlockDigestField kNoDigest{};
  if (!worker.reader && worker.file.Open(path_, File::Mode::Read))
    worker.reader = std::make_unique<BlockReader>(worker.file, layout_.fileSize, layout_.section);
  // This thread's stretch is read ahead, not the stretches of the others that follow it.
  uint64_t end = 0;
  for (uint64_t k = 0; k < count && worker.reader; ++k) {
    const BlockRef& b = layout_.blocks[first + k];
    end =
        std::max(end, worker.reader->FileOffset(b) + (b.stored() ? kBlockSize : b.length & 0xFFFF));
  }
  if (worker.reader) worker.reader->LimitReadAhead(end);
  bool anyDigest = false;
  for (uint64_t k = 0; k < count; ++k) {
    const BlockRef& b = layout_.blocks[first + k];
    std::span<uint8_t> block(bytes_[slot].data() + (at + k) * kBlockSize, kBlockSize);
    DecodedBlock& d = blocks_[slot][at + k];
    d = DecodedBlock{};
    if (worker.reader) {
      d.status = worker.reader->Read(b, block, d.made);
    } else {
      d.status = BlockStatus::ReadFailed;
    }
    if (d.status == BlockStatus::ReadFailed) d.why = worker.file.LastError();
    if (d.made < kBlockSize) std::memset(block.data() + d.made, 0, kBlockSize - d.made);
    d.digestCarried = b.digest != kNoDigest;
    anyDigest = anyDigest || d.digestCarried;
  }
  if (!anyDigest) return;
  // The stretch is hashed as one run, its blocks side by side.
  worker.digests.resize(count);
  worker.hasher.Digest(
      std::span<const uint8_t>(bytes_[slot].data() + at * kBlockSize, count * kBlockSize),
      worker.digests);
  for (uint64_t k = 0; k < count; ++k) {
    DecodedBlock& d = blocks_[slot][at + k];
    const BlockDigestField& carried = layout_.blocks[first + k].digest;
    d.digestEqual =
        d.digestCarried && std::equal(carried.begin(), carried.end(), worker.digests[k].begin());
  }
}

BlockRound BlockRounds::Next() {
  if (!pending_.valid()) return {};
  pending_.get();
  const std::size_t ready = filling_;
  BlockRound round{pendingFirst_, pendingCount_, bytes_[ready].data(), blocks_[ready].data()};
  // The next round goes into the buffers the caller has just given up.
  filling_ ^= 1;
  Start(round.first + round.count);
  return round;
}

bool WrittenByOurConverter(const DiscImageLayout& layout) {
  if (layout.blocks.size() < 2) return false;
  auto marker = [](const BlockRef& b) { return b.length >> 16; };
  for (std::size_t i = 0; i + 1 < layout.blocks.size(); ++i)
    if (marker(layout.blocks[i]) != 1) return false;
  const BlockRef& padding = layout.blocks.back();
  if (marker(padding) != 0) return false;
  static const std::vector<uint8_t> zeros(kBlockSize, 0);
  return BlockDigest(zeros) == padding.digest;
}

void DigestTally::Add(uint64_t block, const DecodedBlock& decoded) {
  if (!decoded.digestCarried) return;
  ++carried_;
  if (decoded.digestEqual)
    ++equal_;
  else
    mismatches_.push_back(block);
}

}  // namespace ebf::pbp
