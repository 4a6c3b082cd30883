#pragma once
// Hunks decoded ahead of a reader that goes through a CHD in order: worker threads, each
// with its own HunkReader, take the next hunks in turn and leave them in a small ring
// (two slots a worker), which the reader empties in order. Used when a whole disc is read
// (the prepared image); random reads do without.

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "disc/chd/chd_hunk_reader.h"

namespace ebf::chd {

class ReadAhead {
 public:
  // Decodes hunks first, first + 1, ... up to the last; `header` and `map` must outlive it.
  ReadAhead(const std::string& path, const Header& header, const std::vector<MapEntry>& map,
            uint32_t first, int workers);
  ~ReadAhead();
  ReadAhead(const ReadAhead&) = delete;
  ReadAhead& operator=(const ReadAhead&) = delete;

  // The hunk that comes next in order (Next()): copied into out. "" or the sentence a
  // worker's HunkReader gave.
  std::string Take(std::span<uint8_t> out);
  uint32_t Next() const { return next_; }

  // Workers for this machine: one a core, at most four; 0 when there is only one core.
  static int DefaultWorkers();

 private:
  struct Slot {
    uint32_t hunk = ~0u;  // which hunk the slot holds once ready
    bool ready = false;
    std::string error;
    std::vector<uint8_t> data;
  };
  void Work(const std::string& path);

  const Header& header_;
  const std::vector<MapEntry>& map_;
  std::vector<Slot> ring_;
  std::mutex mutex_;
  std::condition_variable changed_;
  uint32_t claim_;  // the next hunk a worker takes up
  uint32_t next_;   // the next hunk the reader takes
  bool stop_ = false;
  std::vector<std::thread> workers_;
};

}  // namespace ebf::chd
