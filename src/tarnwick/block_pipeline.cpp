#include "tarnwick/block_pipeline.h"

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

#include "common/file_io.h"

namespace ebf::tarnwick {
namespace {

struct Slot {
  EncodedBlock block;
  bool ready = false;
};

class Pipeline {
 public:
  Pipeline(const BlockSource& source, int level, unsigned threads)
      : source_(source), level_(level), threads_(threads), slots_(threads * 4) {}

  PipelineResult Run(const BlockSink& sink) {
    std::vector<std::thread> workers;
    for (unsigned t = 0; t < threads_; ++t) workers.emplace_back([this] { Work(); });
    bool sinkStopped = false;
    for (uint32_t i = 0; i < source_.blockCount; ++i) {
      Slot& slot = slots_[i % slots_.size()];
      {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return slot.ready || stop_; });
        if (stop_) break;
      }
      // The slot is ours until nextWrite_ moves past it: no worker may claim block
      // i + slots_.size() before that.
      bool goOn = false;
      try {
        goOn = sink(i, slot.block);
      } catch (...) {
        StopAndJoin(workers);
        throw;
      }
      if (!goOn) {
        sinkStopped = true;
        break;
      }
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
    if (source_.imageSize > 0 && !image.Open(source_.imagePath, File::Mode::Read)) {
      Fail("Cannot read the image " + source_.imagePath + ": " + image.LastError());
      return;
    }
    BlockEncoder encoder(level_);
    Bytes plain(kBlockSize);
    EncodedBlock encoded;
    for (;;) {
      uint32_t index;
      {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] {
          return stop_ || nextClaim_ >= source_.blockCount ||
                 nextClaim_ < nextWrite_ + slots_.size();
        });
        if (stop_ || nextClaim_ >= source_.blockCount) return;
        index = nextClaim_++;
      }
      if (!ReadBlock(image, index, plain)) return;
      if (level_ == 0) {
        // Stored as read: hand the buffer over instead of copying 37 KB per block.
        encoded.digest = BlockDigest(plain);
        encoded.deflated = false;
        std::swap(encoded.data, plain);
        plain.resize(kBlockSize);
      } else {
        encoder.Encode(plain, encoded);
      }
      std::lock_guard lock(mutex_);
      Slot& slot = slots_[index % slots_.size()];
      std::swap(slot.block, encoded);
      slot.ready = true;
      changed_.notify_all();
    }
  }

  bool ReadBlock(File& image, uint32_t index, Bytes& plain) {
    uint64_t offset = uint64_t{index} * kBlockSize;
    uint64_t want =
        offset < source_.imageSize ? std::min<uint64_t>(kBlockSize, source_.imageSize - offset) : 0;
    if (want > 0) {
      std::span<uint8_t> part(plain.data(), static_cast<size_t>(want));
      if (!image.Seek(offset) || !image.ReadExact(part)) {
        std::string why =
            image.LastError().empty() ? "the file is shorter than expected" : image.LastError();
        Fail("Cannot read the image " + source_.imagePath + ": " + why);
        return false;
      }
    }
    std::memset(plain.data() + want, 0, kBlockSize - want);
    return true;
  }

  const BlockSource& source_;
  int level_;
  unsigned threads_;
  std::vector<Slot> slots_;
  std::mutex mutex_;
  std::condition_variable changed_;
  uint32_t nextClaim_ = 0;
  uint32_t nextWrite_ = 0;
  bool stop_ = false;
  std::string error_;
};

}  // namespace

PipelineResult EncodeBlocksInOrder(const BlockSource& source, int level, unsigned threads,
                                   const BlockSink& sink) {
  if (threads == 0) threads = std::max(1u, std::thread::hardware_concurrency());
  Pipeline pipeline(source, level, threads);
  return pipeline.Run(sink);
}

}  // namespace ebf::tarnwick
