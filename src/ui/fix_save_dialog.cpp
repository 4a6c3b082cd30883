#include "ui/fix_save_dialog.h"

#include <QComboBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "common/text.h"
#include "ui/id_key_filter.h"
#include "ui/prompter.h"
#include "ui/widgets.h"

namespace ebf::ui {

QStringList GameIdPrefixList() {
  return {QStringLiteral("SCUS"), QStringLiteral("SLUS"), QStringLiteral("SLES"),
          QStringLiteral("SCES"), QStringLiteral("SCED"), QStringLiteral("SLPS"),
          QStringLiteral("SLPM"), QStringLiteral("SCPS"), QStringLiteral("SLED"),
          QStringLiteral("SLPS"), QStringLiteral("SIPS"), QStringLiteral("ESPM")};
}

FixSaveDialog::FixSaveDialog(const ThemeContext& theme, Prompter& prompter,
                             const std::string& saveName, const std::string& gameId,
                             QWidget* parent)
    : BackdropDialog(theme, "BG_SaveID.jpg", parent), prompter_(prompter) {
  setObjectName(QStringLiteral("frmFixSave"));
  setWindowTitle(QStringLiteral("save name and game ID"));

  txtSave_ = new QLineEdit(QString::fromStdString(saveName), this);
  txtSave_->setObjectName(QStringLiteral("txtSave"));
  txtSave_->setMinimumWidth(220);
  cboID_ = MakeIdPrefixCombo(this);
  txtID_ = new QLineEdit(this);
  txtID_->setObjectName(QStringLiteral("txtID"));
  txtID_->setPlaceholderText(QStringLiteral("12345"));
  IdKeyFilter::Attach(txtID_);
  if (!gameId.empty()) {
    cboID_->setEditText(QString::fromStdString(LeftChars(gameId, 4)));
    txtID_->setText(QString::fromStdString(gameId).mid(4));
  }

  auto* grid = new QGridLayout;
  grid->setHorizontalSpacing(8);
  grid->setVerticalSpacing(10);
  auto* saveLabel = new QLabel(QStringLiteral("&Save name:"), this);
  saveLabel->setBuddy(txtSave_);
  auto* idLabel = new QLabel(QStringLiteral("Game &ID:"), this);
  idLabel->setBuddy(cboID_);
  grid->addWidget(saveLabel, 0, 0);
  grid->addWidget(txtSave_, 0, 1, 1, 2);
  grid->addWidget(idLabel, 1, 0);
  grid->addWidget(cboID_, 1, 1);
  grid->addWidget(txtID_, 1, 2);
  grid->setColumnStretch(2, 1);
  auto* hint = new QLabel(QStringLiteral("Four letters and five digits, e.g. SLUS 01234."), this);
  hint->setProperty("role", QStringLiteral("info"));

  const OkCancelRow okCancel = MakeOkCancelRow(this);
  connect(okCancel.ok, &QPushButton::clicked, this, &FixSaveDialog::OkClicked);
  QHBoxLayout* buttons = okCancel.row;

  auto* outer = new QVBoxLayout(this);
  outer->setContentsMargins(18, 16, 18, 14);
  outer->setSpacing(10);
  outer->addLayout(grid);
  outer->addWidget(hint);
  outer->addStretch(1);
  outer->addLayout(buttons);
  ApplyTheme(this, theme, WindowKind::Dialog);
}

void FixSaveDialog::OkClicked() {
  if (txtSave_->text().isEmpty()) return prompter_.Warn(this, QLatin1String(kMsgEnterSaveName));
  if (txtID_->text().size() != 5 || cboID_->currentText().size() != 4)
    return prompter_.Warn(this, QLatin1String(kMsgEnterValidId));
  saveName_ = txtSave_->text().toStdString();
  gameId_ = (cboID_->currentText() + txtID_->text()).toStdString();
  accept();
}

}  // namespace ebf::ui
