#include "ui/patch_list.h"

#include <algorithm>

#include <QFileInfo>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include "engine/converter_run.h"
#include "ui/widgets.h"

namespace ebf::ui {
namespace {

constexpr int kDiscRole = Qt::UserRole + 1;

}  // namespace

PatchList::PatchList(QWidget* parent) : QWidget(parent) {
  setObjectName(QStringLiteral("frmPatches"));
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(6);
  auto* row = new QHBoxLayout;
  row->setSpacing(8);
  lst_ = new QListWidget(this);
  lst_->setObjectName(QStringLiteral("lstPatches"));
  lst_->setToolTip(
      QStringLiteral("PPF, IPS, BPS or xdelta patches, applied in this order to the package's "
                     "copy of the disc; the disc image itself is not changed"));
  // As tall as its buttons beside it, three rows at least.
  lst_->setMinimumHeight(lst_->fontMetrics().lineSpacing() * 3 + 12);
  lst_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
  row->addWidget(lst_, 1);
  auto* buttons = new QGridLayout;
  buttons->setSpacing(4);
  add_ = Button(QStringLiteral("Add &patch..."), "cmdPatchAdd", this);
  remove_ = Button(QStringLiteral("Remove"), "cmdPatchRemove", this);
  up_ = Button(QStringLiteral("Up"), "cmdPatchUp", this);
  down_ = Button(QStringLiteral("Down"), "cmdPatchDown", this);
  disc_ = new QSpinBox(this);
  disc_->setObjectName(QStringLiteral("txtPatchDisc"));
  disc_->setPrefix(QStringLiteral("for disc "));
  disc_->setRange(1, 1);
  disc_->setToolTip(QStringLiteral("The disc the next patch added is for"));
  buttons->addWidget(add_, 0, 0);
  buttons->addWidget(remove_, 0, 1);
  buttons->addWidget(up_, 1, 0);
  buttons->addWidget(down_, 1, 1);
  buttons->addWidget(disc_, 2, 0, 1, 2);
  buttons->setRowStretch(3, 1);
  row->addLayout(buttons);
  column->addLayout(row);
  libcrypt_ = new QLabel(this);
  libcrypt_->setObjectName(QStringLiteral("lblLibCrypt"));
  libcrypt_->setProperty("role", QStringLiteral("info"));
  libcrypt_->setWordWrap(true);
  libcrypt_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  column->addWidget(libcrypt_);
  connect(add_, &QPushButton::clicked, this, &PatchList::addRequested);
  connect(remove_, &QPushButton::clicked, this, [this] {
    delete lst_->takeItem(lst_->currentRow());
    Refresh();
  });
  connect(up_, &QPushButton::clicked, this, [this] { MoveSelected(-1); });
  connect(down_, &QPushButton::clicked, this, [this] { MoveSelected(1); });
  connect(lst_, &QListWidget::currentRowChanged, this, [this] { Refresh(); });
  SetDiscCount(1);
}

void PatchList::SetDiscCount(int count) {
  discCount_ = std::clamp(count, 1, kMaxPackageDiscs);
  disc_->setRange(1, discCount_);
  disc_->setVisible(discCount_ > 1);
  Refresh();
}

void PatchList::AddPatch(const std::string& path) {
  AddPatch(disc_->value(), path);
}

void PatchList::AddPatch(int disc, const std::string& path) {
  const QString full = QString::fromStdString(path);
  auto* item = new QListWidgetItem(lst_);
  item->setData(Qt::UserRole, full);
  item->setData(kDiscRole, disc);
  item->setToolTip(full);
  lst_->setCurrentItem(item);
  Refresh();
}

void PatchList::Clear() {
  lst_->clear();
  protected_.clear();
  Refresh();
}

std::vector<PatchChoice> PatchList::patches() const {
  std::vector<PatchChoice> out;
  for (int i = 0; i < lst_->count(); ++i)
    out.push_back({lst_->item(i)->data(kDiscRole).toInt(),
                   lst_->item(i)->data(Qt::UserRole).toString().toStdString()});
  return out;
}

void PatchList::SetLibCrypt(const std::vector<DiscLibCrypt>& discs) {
  protected_ = discs;
  Refresh();
}

void PatchList::MoveSelected(int by) {
  const int from = lst_->currentRow();
  const int to = from + by;
  if (from < 0 || to < 0 || to >= lst_->count()) return;
  lst_->insertItem(to, lst_->takeItem(from));
  lst_->setCurrentRow(to);
}

void PatchList::Refresh() {
  for (int i = 0; i < lst_->count(); ++i) {
    QListWidgetItem* item = lst_->item(i);
    const QString name = QFileInfo(item->data(Qt::UserRole).toString()).fileName();
    item->setText(discCount_ > 1
                      ? QStringLiteral("Disc %1: %2").arg(item->data(kDiscRole).toInt()).arg(name)
                      : name);
  }
  const int row = lst_->currentRow();
  remove_->setEnabled(row >= 0);
  up_->setEnabled(row > 0);
  down_->setEnabled(row >= 0 && row + 1 < lst_->count());

  QStringList lines;
  std::vector<std::string> unpatched;
  for (const DiscLibCrypt& d : protected_) {
    if (d.disc > discCount_) continue;
    lines << QString::fromStdString(
        (discCount_ > 1 ? "Disc " + std::to_string(d.disc) + ": " : "") + LibCryptKeyLine(d));
    bool patched = false;
    for (const PatchChoice& p : patches()) patched = patched || p.disc == d.disc;
    if (!patched) unpatched.push_back(SbiFileName(d.disc, discCount_));
  }
  if (!unpatched.empty()) lines << QString::fromStdString(LibCryptNotice(unpatched));
  libcrypt_->setText(lines.join(QLatin1Char('\n')));
  libcrypt_->setVisible(!lines.isEmpty());
}

}  // namespace ebf::ui
