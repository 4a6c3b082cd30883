#include "disc/chd/chd_read_ahead.h"

#include <algorithm>
#include <cstring>

namespace ebf::chd {

int ReadAhead::DefaultWorkers() {
  const unsigned cores = std::thread::hardware_concurrency();
  return cores < 2 ? 0 : static_cast<int>(std::min(cores, 4u));
}

ReadAhead::ReadAhead(const std::string& path, const Header& header,
                     const std::vector<MapEntry>& map, uint32_t first, int workers)
    : header_(header), map_(map), claim_(first), next_(first) {
  workers = std::max(workers, 1);
  ring_.resize(static_cast<std::size_t>(workers) * 2);
  for (Slot& s : ring_) s.data.resize(header.hunkBytes);
  for (int i = 0; i < workers; ++i) workers_.emplace_back([this, path] { Work(path); });
}

ReadAhead::~ReadAhead() {
  {
    std::lock_guard lock(mutex_);
    stop_ = true;
  }
  changed_.notify_all();
  for (std::thread& t : workers_) t.join();
}

void ReadAhead::Work(const std::string& path) {
  HunkReader reader(header_, map_);
  const bool opened = reader.Open(path);
  std::unique_lock lock(mutex_);
  for (;;) {
    // A hunk may be started once the reader has taken the one that used its slot before.
    changed_.wait(lock, [&] {
      return stop_ || claim_ >= header_.hunkCount || claim_ < next_ + ring_.size();
    });
    if (stop_ || claim_ >= header_.hunkCount) return;
    const uint32_t hunk = claim_++;
    Slot& slot = ring_[hunk % ring_.size()];
    slot.ready = false;
    slot.hunk = hunk;
    lock.unlock();
    std::string error =
        opened ? reader.Read(hunk, slot.data) : "could not be opened: " + reader.OpenError();
    lock.lock();
    slot.error = std::move(error);
    slot.ready = true;
    changed_.notify_all();
  }
}

std::string ReadAhead::Take(std::span<uint8_t> out) {
  std::unique_lock lock(mutex_);
  Slot& slot = ring_[next_ % ring_.size()];
  changed_.wait(lock, [&] { return slot.ready && slot.hunk == next_; });
  std::string error = slot.error;
  if (error.empty()) std::memcpy(out.data(), slot.data.data(), out.size());
  slot.ready = false;
  ++next_;
  lock.unlock();
  changed_.notify_all();
  return error;
}

}  // namespace ebf::chd
