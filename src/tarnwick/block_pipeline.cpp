#include "tarnwick/block_pipeline.h"

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

#include "common/file_io.h"
#include "common/mapped_view.h"

namespace ebf::tarnwick {
namespace {

struct Slot {
  EncodedRun run;
  bool ready = false;
};

// Enough runs in flight to keep every thread busy while one waits for its turn, with a cap
// so that many cores do not mean much memory (each run holds up to 600 KB).
size_t SlotCount(unsigned threads) {
  return std::min<size_t>(size_t{threads} * 3, 48);
}

class Pipeline {
 public:
  Pipeline(const BlockSource& source, int level, unsigned threads)
      : source_(source),
        level_(level),
        threads_(threads),
        runCount_((source.blockCount + kRunBlocks - 1) / kRunBlocks),
        slots_(SlotCount(threads)) {}

  PipelineResult Run(const RunSink& sink) {
    std::vector<std::thread> workers;
    for (unsigned t = 0; t < threads_; ++t) workers.emplace_back([this] { Work(); });
    bool sinkStopped = false;
    for (uint32_t i = 0; i < runCount_; ++i) {
      Slot& slot = slots_[i % slots_.size()];
      {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return slot.ready || stop_; });
        if (stop_) break;
      }
      // The slot is ours until nextWrite_ moves past it: no worker may claim run
      // i + slots_.size() before that.
      bool goOn = false;
      try {
        goOn = sink(slot.run);
      } catch (...) {
        StopAndJoin(workers);
        throw;
      }
      if (!goOn) {
        sinkStopped = true;
        break;
      }
      slot.run.view.Reset();
      std::lock_guard lock(mutex_);
      slot.ready = false;
      ++nextWrite_;
      changed_.notify_all();
    }
    StopAndJoin(workers);
    PipelineResult result;
    result.error = error_;
    result.ok = !sinkStopped && error_.empty();
    return result;
  }

 private:
  void StopAndJoin(std::vector<std::thread>& workers) {
    {
      std::lock_guard lock(mutex_);
      stop_ = true;
      changed_.notify_all();
    }
    for (auto& w : workers) w.join();
  }

  void Fail(const std::string& text) {
    std::lock_guard lock(mutex_);
    if (error_.empty()) error_ = text;
    stop_ = true;
    changed_.notify_all();
  }

  void Work() {
    try {
      WorkOn();
    } catch (const std::exception& e) {
      Fail(std::string("Cannot encode the image: ") + e.what());
    }
  }

  void WorkOn() {
    File image;
    FileMapper mapper;
    uint64_t mappable = 0;  // runs wholly before this offset are mapped instead of read
    if (source_.imageSize > 0) {
      if (!image.Open(source_.imagePath, File::Mode::Read)) {
        Fail("Cannot read the image " + source_.imagePath + ": " + image.LastError());
        return;
      }
      if (mapper.Open(source_.imagePath)) mappable = std::min(source_.imageSize, image.Size());
    }
    BlockEncoder encoder(level_);
    pbp::BlockHasher hasher;
    Bytes plain;
    std::vector<pbp::BlockDigestValue> digests;
    EncodedRun encoded;
    encoded.data.reserve(size_t{kRunBlocks} * (kStoredStreamSize + 64));
    for (;;) {
      uint32_t run;
      {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] {
          return stop_ || nextClaim_ >= runCount_ || nextClaim_ < nextWrite_ + slots_.size();
        });
        if (stop_ || nextClaim_ >= runCount_) return;
        run = nextClaim_++;
      }
      encoded.first = run * kRunBlocks;
      const uint32_t count = std::min(kRunBlocks, source_.blockCount - encoded.first);
      const uint64_t offset = uint64_t{encoded.first} * kBlockSize;
      const size_t bytes = size_t{count} * kBlockSize;
      // A mapped run is hashed, and at level 0 written, without a copy; a run that must be
      // read is read, then encoded.
      encoded.view.Reset();
      if (offset + bytes <= mappable) encoded.view = mapper.Map(offset, bytes);
      std::span<const uint8_t> plainRun;
      if (encoded.view) {
        plainRun = encoded.view.bytes();
      } else {
        if (!ReadBlocks(image, offset, bytes, plain)) return;
        plainRun = plain;
      }
      digests.resize(count);
      hasher.Digest(plainRun, digests);
      encoded.blocks.resize(count);
      encoded.data.clear();
      const bool fromView = level_ == 0 && encoded.view;
      for (uint32_t k = 0; k < count; ++k) {
        encoded.blocks[k].digest = digests[k];
        encoded.blocks[k].form =
            fromView ? StoredForm{kStoredStreamSize}
                     : encoder.Append(plainRun.subspan(size_t{k} * kBlockSize, kBlockSize),
                                      encoded.data);
      }
      if (!fromView) encoded.view.Reset();
      std::lock_guard lock(mutex_);
      Slot& slot = slots_[run % slots_.size()];
      std::swap(slot.run, encoded);
      slot.ready = true;
      changed_.notify_all();
    }
  }

  // Reads `bytes` bytes of blocks from `offset` on into `out`, zeros past the image's end.
  bool ReadBlocks(File& image, uint64_t offset, size_t bytes, Bytes& out) {
    out.resize(bytes);
    const uint64_t want =
        offset < source_.imageSize ? std::min<uint64_t>(bytes, source_.imageSize - offset) : 0;
    if (want > 0) {
      std::span<uint8_t> part(out.data(), static_cast<size_t>(want));
      if (!image.Seek(offset) || !image.ReadExact(part)) {
        std::string why =
            image.LastError().empty() ? "the file is shorter than expected" : image.LastError();
        Fail("Cannot read the image " + source_.imagePath + ": " + why);
        return false;
      }
    }
    std::memset(out.data() + want, 0, bytes - want);
    return true;
  }

  const BlockSource& source_;
  int level_;
  unsigned threads_;
  uint32_t runCount_;
  std::vector<Slot> slots_;
  std::mutex mutex_;
  std::condition_variable changed_;
  uint32_t nextClaim_ = 0;
  uint32_t nextWrite_ = 0;
  bool stop_ = false;
  std::string error_;
};

}  // namespace

void EncodedRun::Pieces(std::vector<std::span<const uint8_t>>& out) const {
  out.clear();
  if (!view) {
    out.emplace_back(data);
    return;
  }
  const std::span<const uint8_t> plain = view.bytes();
  for (size_t k = 0; k < blocks.size(); ++k) {
    out.emplace_back(kStoredHead);
    out.push_back(plain.subspan(k * kBlockSize, kBlockSize));
  }
}

PipelineResult EncodeBlocksInOrder(const BlockSource& source, int level, unsigned threads,
                                   const RunSink& sink) {
  if (threads == 0) threads = std::max(1u, std::thread::hardware_concurrency());
  Pipeline pipeline(source, std::clamp(level, 0, 9), threads);
  return pipeline.Run(sink);
}

}  // namespace ebf::tarnwick
