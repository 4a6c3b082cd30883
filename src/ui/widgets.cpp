#include "ui/widgets.h"

#include <QComboBox>
#include <QDialog>
#include <QHBoxLayout>
#include <QMimeData>
#include <QPushButton>
#include <QUrl>

#include "ui/fix_save_dialog.h"

namespace ebf::ui {

QPushButton* Button(const QString& text, const char* name, QWidget* parent) {
  auto* b = new QPushButton(text, parent);
  b->setObjectName(QLatin1String(name));
  b->setAutoDefault(false);
  return b;
}

OkCancelRow MakeOkCancelRow(QDialog* dialog, const QString& okText, const QString& cancelText) {
  OkCancelRow r;
  r.ok = new QPushButton(okText, dialog);
  r.ok->setObjectName(QStringLiteral("cmdOK"));
  r.ok->setDefault(true);
  r.ok->setProperty("accent", true);
  r.cancel = Button(cancelText, "cmdCancel", dialog);
  QObject::connect(r.cancel, &QPushButton::clicked, dialog, &QDialog::reject);
  r.row = new QHBoxLayout;
  r.row->addStretch(1);
  r.row->addWidget(r.ok);
  r.row->addWidget(r.cancel);
  return r;
}

QComboBox* MakeIdPrefixCombo(QWidget* parent) {
  auto* combo = new QComboBox(parent);
  combo->setObjectName(QStringLiteral("cboID"));
  combo->setEditable(true);
  combo->setInsertPolicy(QComboBox::NoInsert);
  combo->addItems(GameIdPrefixList());
  combo->setCurrentIndex(-1);
  combo->setMinimumWidth(90);
  return combo;
}

QStringList DroppedFiles(const QMimeData* data) {
  QStringList paths;
  for (const QUrl& url : data->urls())
    if (url.isLocalFile()) paths << url.toLocalFile();
  return paths;
}

}  // namespace ebf::ui
