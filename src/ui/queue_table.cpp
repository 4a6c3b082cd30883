#include "ui/queue_table.h"

#include <QApplication>
#include <QHeaderView>
#include <QPainter>
#include <QRegularExpression>
#include <QStyledItemDelegate>

#include "common/files.h"
#include "common/text.h"
#include "ui/widgets.h"

namespace ebf::ui {
namespace {

constexpr int kIdRole = Qt::UserRole;
constexpr int kFractionRole = Qt::UserRole + 1;  // 0 to 1; below 0 no bar, the text alone

// The progress cell: a bar with the percentage and the stage on it.
class ProgressDelegate : public QStyledItemDelegate {
 public:
  using QStyledItemDelegate::QStyledItemDelegate;
  void paint(QPainter* painter, const QStyleOptionViewItem& option,
             const QModelIndex& index) const override {
    const QVariant value = index.data(kFractionRole);
    const double fraction = value.isValid() ? value.toDouble() : -1;
    if (fraction < 0) return QStyledItemDelegate::paint(painter, option, index);
    QStyleOptionProgressBar bar;
    bar.rect = option.rect.adjusted(2, 3, -2, -3);
    bar.minimum = 0;
    bar.maximum = 1000;
    bar.progress = static_cast<int>(fraction * 1000);
    bar.text = index.data(Qt::DisplayRole).toString();
    bar.textVisible = true;
    bar.state = option.state | QStyle::State_Horizontal;
    QApplication::style()->drawControl(QStyle::CE_ProgressBar, &bar, painter);
  }
};

QString StateText(const QueueRow& row) {
  const QString state = QLatin1String(RowStateName(row.state));
  if (row.state != RowState::Skipped) return state;
  return QStringLiteral("%1 (%2)").arg(state, QLatin1String(SkipReasonName(row.skip)));
}

// The first line of what the row has to say: why it failed or was skipped, or what the
// package made lacks.
QString ReasonText(const QueueRow& row) {
  std::string text = row.reason;
  if (text.empty() && !row.warnings.empty()) text = row.warnings.front();
  if (text.empty() && !row.copiedTo.empty()) text = "Copied to " + row.copiedTo;
  return Q(text).split(QRegularExpression(QStringLiteral("[\r\n]+"))).front();
}

}  // namespace

QueueTable::QueueTable(QWidget* parent) : QTableWidget(0, kColumns, parent) {
  setObjectName(QStringLiteral("tblQueue"));
  setHorizontalHeaderLabels({QStringLiteral("Title"), QStringLiteral("ID"), QStringLiteral("Discs"),
                             QStringLiteral("Size"), QStringLiteral("State"),
                             QStringLiteral("Progress"), QStringLiteral("Reason")});
  verticalHeader()->hide();
  setSelectionBehavior(QAbstractItemView::SelectRows);
  setWordWrap(false);
  setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed);
  setItemDelegateForColumn(kProgress, new ProgressDelegate(this));
  QHeaderView* header = horizontalHeader();
  header->setSectionResizeMode(kTitle, QHeaderView::Stretch);
  header->setSectionResizeMode(kReason, QHeaderView::Stretch);
  for (int c : {kId, kDiscs, kSize, kState})
    header->setSectionResizeMode(c, QHeaderView::ResizeToContents);
  header->resizeSection(kProgress, 280);
  connect(this, &QTableWidget::itemChanged, this, [this](QTableWidgetItem* item) {
    if (filling_ || (item->column() != kTitle && item->column() != kId)) return;
    const int id = IdAt(item->row());
    const std::string text = S(item->text().trimmed());
    if (item->column() == kTitle)
      emit edited(id, text, std::nullopt);
    else
      emit edited(id, std::nullopt, ToUpperAscii(text));
  });
}

int QueueTable::IdAt(int tableRow) const {
  const QTableWidgetItem* first = item(tableRow, kTitle);
  return first ? first->data(kIdRole).toInt() : 0;
}

int QueueTable::TableRowOf(int id) const {
  for (int r = 0; r < rowCount(); ++r)
    if (IdAt(r) == id) return r;
  return -1;
}

std::vector<int> QueueTable::SelectedIds() const {
  std::vector<int> ids;
  for (const QModelIndex& index : selectionModel()->selectedRows())
    ids.push_back(IdAt(index.row()));
  return ids;
}

void QueueTable::ShowRows(const std::vector<QueueRow>& rows) {
  const std::vector<int> selected = SelectedIds();
  filling_ = true;
  setRowCount(static_cast<int>(rows.size()));
  for (int r = 0; r < rowCount(); ++r) Fill(r, rows[static_cast<std::size_t>(r)]);
  filling_ = false;
  clearSelection();
  for (int id : selected)
    if (int r = TableRowOf(id); r >= 0)
      selectionModel()->select(model()->index(r, 0),
                               QItemSelectionModel::Select | QItemSelectionModel::Rows);
}

void QueueTable::ShowRow(const QueueRow& row) {
  const int r = TableRowOf(row.id);
  if (r < 0) return;
  filling_ = true;
  Fill(r, row);
  filling_ = false;
}

void QueueTable::ShowProgress(int id, double fraction, const QString& text) {
  const int r = TableRowOf(id);
  if (r < 0) return;
  QTableWidgetItem* cell = item(r, kProgress);
  filling_ = true;
  cell->setData(kFractionRole, fraction);
  cell->setText(text);
  filling_ = false;
}

void QueueTable::Fill(int r, const QueueRow& row) {
  const bool editable = row.state == RowState::Queued;
  const QString cells[kColumns] = {Q(row.title),
                                   Q(row.gameId),
                                   QString::number(row.discs.size()),
                                   row.identified ? Q(FormatSize(row.sourceBytes)) : QString(),
                                   StateText(row),
                                   row.state == RowState::Done ? QStringLiteral("100%") : QString(),
                                   ReasonText(row)};
  for (int c = 0; c < kColumns; ++c) {
    QTableWidgetItem* cell = item(r, c);
    if (!cell) {
      cell = new QTableWidgetItem;
      setItem(r, c, cell);
    }
    cell->setText(cells[c]);
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    if (editable && (c == kTitle || c == kId)) flags |= Qt::ItemIsEditable;
    cell->setFlags(flags);
    if (c == kDiscs || c == kSize) cell->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
  }
  item(r, kTitle)->setData(kIdRole, row.id);
  QStringList discs;
  for (const std::string& disc : row.discs) discs << Q(disc);
  item(r, kTitle)->setToolTip(discs.join(QLatin1Char('\n')));
  item(r, kProgress)->setData(kFractionRole, -1.0);
  item(r, kReason)->setToolTip(Q(row.reason));
}

}  // namespace ebf::ui
