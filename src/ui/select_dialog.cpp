#include "ui/select_dialog.h"

#include <QComboBox>
#include <QCompleter>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStringListModel>
#include <QVBoxLayout>

#include "ui/prompter.h"
#include "ui/widgets.h"

namespace ebf::ui {

SelectDialog::SelectDialog(const ThemeContext& theme, Prompter& prompter, QWidget* parent)
    : QDialog(parent), prompter_(prompter) {
  setObjectName(QStringLiteral("frmSelect"));
  setWindowTitle(QStringLiteral("select game"));
  auto* outer = new QVBoxLayout(this);
  outer->setContentsMargins(0, 0, 0, 0);
  outer->setSpacing(0);
  outer->addWidget(
      new ThemedHeader(QStringLiteral("Ti_Select.jpg"), QStringLiteral("select game"), this));

  auto* body = new QVBoxLayout;
  body->setContentsMargins(16, 12, 16, 14);
  body->setSpacing(8);
  outer->addLayout(body);
  auto* label = new QLabel(QStringLiteral("&Game (type part of the title to search):"), this);
  cboList_ = new QComboBox(this);
  cboList_->setObjectName(QStringLiteral("cboList"));
  cboList_->setEditable(true);
  cboList_->setInsertPolicy(QComboBox::NoInsert);
  cboList_->setMaxVisibleItems(18);
  // Sizing by contents would measure every title of a ten-thousand-line list.
  cboList_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  cboList_->setMinimumContentsLength(48);
  label->setBuddy(cboList_);
  body->addWidget(label);
  body->addWidget(cboList_);
  auto* hint = new QLabel(
      QStringLiteral("The title may be changed before pressing OK; the save name and game ID "
                     "come from the chosen entry."),
      this);
  hint->setProperty("role", QStringLiteral("info"));
  hint->setWordWrap(true);
  body->addWidget(hint);
  body->addSpacing(6);

  const OkCancelRow okCancel = MakeOkCancelRow(this);
  connect(okCancel.ok, &QPushButton::clicked, this, &SelectDialog::OkClicked);
  body->addLayout(okCancel.row);
  ApplyTheme(this, theme, WindowKind::Dialog);
}

bool SelectDialog::Load(const std::string& dbPath, bool hideNameTags, const std::string& currentId,
                        const std::string& title) {
  GameList list = LoadGameList(dbPath, hideNameTags, currentId);
  entries_ = std::move(list.entries);
  if (entries_.empty()) {
    prompter_.Warn(this, QLatin1String(kNoGamesMessage));
    return false;
  }
  QStringList titles;
  titles.reserve(static_cast<qsizetype>(entries_.size()));
  for (const GameDbEntry& e : entries_) titles.append(QString::fromStdString(e.title));

  // One model reset instead of ten thousand inserts, with drawing held back meanwhile.
  cboList_->setUpdatesEnabled(false);
  auto* model = new QStringListModel(std::move(titles), cboList_);
  cboList_->setModel(model);
  auto* completer = new QCompleter(model, cboList_);
  completer->setCaseSensitivity(Qt::CaseInsensitive);
  completer->setFilterMode(Qt::MatchContains);
  completer->setCompletionMode(QCompleter::PopupCompletion);
  completer->setMaxVisibleItems(14);
  cboList_->setCompleter(completer);
  cboList_->setEditText(QString::fromStdString(title));
  cboList_->setCurrentIndex(list.selected);
  if (list.selected < 0) cboList_->setEditText(QString::fromStdString(title));
  cboList_->setUpdatesEnabled(true);
  return true;
}

int SelectDialog::count() const {
  return cboList_->count();
}

int SelectDialog::selectedIndex() const {
  return cboList_->currentIndex();
}

QString SelectDialog::titleText() const {
  return cboList_->currentText();
}

void SelectDialog::OkClicked() {
  if (cboList_->currentText().size() > 127)
    return prompter_.Warn(this, QLatin1String(kMsgTitleTooLong));
  const int index = cboList_->currentIndex();
  if (index < 0 || index >= static_cast<int>(entries_.size()))
    return prompter_.Warn(this, QLatin1String(kMsgSelectGame));
  chosen_ = entries_[static_cast<std::size_t>(index)];
  accept();
}

}  // namespace ebf::ui
