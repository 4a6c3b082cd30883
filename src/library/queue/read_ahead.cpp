#include "library/queue/read_ahead.h"

#include "common/run_lock.h"

namespace ebf {

ReadAhead::ReadAhead(const QueueSetup& setup, QueueObserver& observer,
                     const CancelToken& queueCancel)
    : setup_(setup), observer_(observer), cancel_(&queueCancel) {}

ReadAhead::~ReadAhead() {
  Drop();
}

void ReadAhead::Start(const QueueRow& row) {
  Drop();
  if (!row.problem.empty() || row.discs.empty()) return;
  cancel_.Take();  // a request meant for the preparation before
  id_ = row.id;
  revision_ = row.revision;
  worker_ = std::thread([this, row] {
    // Held as a run holds it: no start of the program empties Temp under the preparation.
    RunLock lock(setup_.folders.work, RunLockMode::Shared);
    if (!lock.held()) return;
    auto stage = std::make_unique<DiscStage>(setup_.folders.work, row.id);
    // The row's own progress belongs to the game being converted; what the preparation
    // says is said again when the row runs.
    NoProgress quiet;
    if (!stage->Prepare(row.discs, setup_.settings.addIsoPadding, quiet, cancel_).succeeded())
      return;
    stage_ = std::move(stage);
    observer_.RowPrepared(row);
  });
}

void ReadAhead::Wait() {
  if (worker_.joinable()) worker_.join();
}

void ReadAhead::Drop() {
  cancel_.Request();
  Wait();
  stage_.reset();
  id_ = 0;
}

std::unique_ptr<DiscStage> ReadAhead::TakeFor(const QueueRow& row) {
  if (id_ != row.id) {
    Drop();
    return nullptr;
  }
  Wait();
  std::unique_ptr<DiscStage> stage = std::move(stage_);
  if (revision_ != row.revision) stage.reset();
  Drop();
  return stage;
}

void ReadAhead::Cancel(int id) {
  if (id_ == id) cancel_.Request();
}

}  // namespace ebf
