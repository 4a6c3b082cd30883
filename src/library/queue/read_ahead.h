#pragma once
// The next game's discs prepared on a worker thread while the converter compresses the game
// before it: one game ahead at most, so the work folder holds the discs of two games at most.
// Only the queue's own thread starts, waits for, takes and drops; Cancel may come from any.

#include <atomic>
#include <memory>
#include <thread>

#include "common/cancel.h"
#include "engine/disc_stage.h"
#include "library/queue/queue.h"

namespace ebf {

class ReadAhead {
 public:
  // The preparation stops when `queueCancel` is asked to.
  ReadAhead(const QueueSetup& setup, QueueObserver& observer, const CancelToken& queueCancel);
  ~ReadAhead();
  ReadAhead(const ReadAhead&) = delete;
  ReadAhead& operator=(const ReadAhead&) = delete;

  // Starts preparing `row`'s discs; what was staged before and not taken is dropped.
  void Start(const QueueRow& row);
  // The row being prepared or prepared; 0 for none.
  int RowId() const { return id_; }
  // Waits until the preparation has ended.
  void Wait();
  // Stops the preparation and removes what it staged.
  void Drop();
  // The discs staged for `row` when it is the row prepared and has not been edited since;
  // otherwise what was staged is dropped and there is none.
  std::unique_ptr<DiscStage> TakeFor(const QueueRow& row);
  // Stops the preparation of row `id` (edited or removed while it was prepared).
  void Cancel(int id);

 private:
  const QueueSetup& setup_;
  QueueObserver& observer_;
  CancelToken cancel_;
  std::thread worker_;
  std::unique_ptr<DiscStage> stage_;  // set by the worker, read once it has ended
  std::atomic<int> id_{0};
  int revision_ = 0;
};

}  // namespace ebf
