#include "ui/disc_list.h"

#include <QFileInfo>
#include <QHBoxLayout>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include "engine/converter_run.h"
#include "ui/widgets.h"

namespace ebf::ui {

DiscList::DiscList(QWidget* parent) : QWidget(parent) {
  setObjectName(QStringLiteral("frmDiscs"));
  auto* row = new QHBoxLayout(this);
  row->setContentsMargins(0, 0, 0, 0);
  row->setSpacing(8);
  lst_ = new QListWidget(this);
  lst_->setObjectName(QStringLiteral("lstDiscs"));
  lst_->setToolTip(QStringLiteral("The discs of the game, in the order the PSP offers them"));
  // As tall as its buttons: five rows at most, so it never needs to scroll.
  lst_->setMinimumHeight(lst_->fontMetrics().lineSpacing() * kMaxPackageDiscs + 12);
  lst_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
  lst_->setSpacing(2);
  row->addWidget(lst_, 1);
  auto* buttons = new QVBoxLayout;
  buttons->setSpacing(4);
  add_ = Button(QStringLiteral("&Add disc..."), "cmdDiscAdd", this);
  remove_ = Button(QStringLiteral("Remove"), "cmdDiscRemove", this);
  up_ = Button(QStringLiteral("Up"), "cmdDiscUp", this);
  down_ = Button(QStringLiteral("Down"), "cmdDiscDown", this);
  for (QPushButton* b : {add_, remove_, up_, down_}) buttons->addWidget(b);
  buttons->addStretch(1);
  row->addLayout(buttons);
  connect(add_, &QPushButton::clicked, this, &DiscList::addRequested);
  connect(remove_, &QPushButton::clicked, this, [this] {
    delete lst_->takeItem(lst_->currentRow());
    UpdateButtons();
  });
  connect(up_, &QPushButton::clicked, this, [this] { MoveSelected(-1); });
  connect(down_, &QPushButton::clicked, this, [this] { MoveSelected(1); });
  connect(lst_, &QListWidget::currentRowChanged, this, [this] { UpdateButtons(); });
  setVisible(false);
}

void DiscList::SetDiscs(const std::vector<std::string>& discs) {
  package_ = false;
  lst_->clear();
  for (const std::string& d : discs) AddDisc(d);
  for (QPushButton* b : {add_, remove_, up_, down_}) b->setVisible(true);
  setVisible(discs.size() > 1);
  if (label_) label_->setVisible(discs.size() > 1);
  UpdateButtons();
}

void DiscList::ShowPackageDiscs(const std::vector<std::string>& lines) {
  package_ = true;
  lst_->clear();
  for (const std::string& line : lines) new QListWidgetItem(QString::fromStdString(line), lst_);
  // A package's discs are changed by converting the game again, not here.
  for (QPushButton* b : {add_, remove_, up_, down_}) b->setVisible(false);
  setVisible(lines.size() > 1);
  if (label_) label_->setVisible(lines.size() > 1);
}

void DiscList::SetLabel(QWidget* label) {
  label_ = label;
  label_->setVisible(isVisibleTo(parentWidget()));
}

bool DiscList::AddDisc(const std::string& path) {
  if (lst_->count() >= kMaxPackageDiscs) return false;
  const QString full = QString::fromStdString(path);
  auto* item = new QListWidgetItem(QFileInfo(full).fileName(), lst_);
  item->setData(Qt::UserRole, full);
  item->setToolTip(full);
  UpdateButtons();
  return true;
}

std::vector<std::string> DiscList::discs() const {
  std::vector<std::string> out;
  if (package_ || !isVisibleTo(parentWidget())) return out;
  for (int i = 0; i < lst_->count(); ++i)
    out.push_back(lst_->item(i)->data(Qt::UserRole).toString().toStdString());
  return out;
}

void DiscList::MoveSelected(int by) {
  const int from = lst_->currentRow();
  const int to = from + by;
  if (from < 0 || to < 0 || to >= lst_->count()) return;
  lst_->insertItem(to, lst_->takeItem(from));
  lst_->setCurrentRow(to);
}

void DiscList::UpdateButtons() {
  const int row = lst_->currentRow();
  add_->setEnabled(lst_->count() < kMaxPackageDiscs);
  remove_->setEnabled(row >= 0 && lst_->count() > 1);
  up_->setEnabled(row > 0);
  down_->setEnabled(row >= 0 && row + 1 < lst_->count());
}

}  // namespace ebf::ui
