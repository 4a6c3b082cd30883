#pragma once
// The queue's rows as a table: title, ID, discs, source size, state, progress (a bar with
// the stage) and the reason a row failed or was skipped. Title and ID of a queued row are
// edited in place.

#include <QTableWidget>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "library/queue/queue.h"

namespace ebf::ui {

class QueueTable : public QTableWidget {
  Q_OBJECT
 public:
  enum Column { kTitle, kId, kDiscs, kSize, kState, kProgress, kReason, kColumns };
  explicit QueueTable(QWidget* parent = nullptr);

  // The table becomes `rows`, in their order; the selection stays with its rows.
  void ShowRows(const std::vector<QueueRow>& rows);
  // One row's cells anew (its progress emptied unless it is running).
  void ShowRow(const QueueRow& row);
  // The running row's bar (0 to 1; below 0 none: the end is not known) and its text.
  void ShowProgress(int id, double fraction, const QString& text);

  int IdAt(int tableRow) const;
  int TableRowOf(int id) const;
  std::vector<int> SelectedIds() const;

 signals:
  // The user typed a new title or ID into a queued row.
  void edited(int id, std::optional<std::string> title, std::optional<std::string> gameId);

 private:
  void Fill(int tableRow, const QueueRow& row);
  bool filling_ = false;
};

}  // namespace ebf::ui
