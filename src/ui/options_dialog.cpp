#include "ui/options_dialog.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "common/text.h"
#include "ui/file_dialogs.h"
#include "ui/prompter.h"
#include "ui/widgets.h"

namespace ebf::ui {
namespace {

QPushButton* BrowseButton(const char* name, QWidget* parent) {
  auto* b = new QPushButton(QStringLiteral("Browse..."), parent);
  b->setObjectName(QLatin1String(name));
  b->setAutoDefault(false);
  return b;
}

}  // namespace

QStringList OptionsDialog::ResizeModeNames() {
  return {QStringLiteral("No resizing (crop)"), QStringLiteral("Zoom: fill, crop the overflow"),
          QStringLiteral("Stretch: ignore aspect ratio"), QStringLiteral("Fit: keep aspect ratio")};
}

OptionsDialog::OptionsDialog(Settings& settings, std::string settingsFile,
                             const ThemeContext& theme, FileDialogs& dialogs, Prompter& prompter,
                             std::function<void()> onThemeChanged, QWidget* parent)
    : QDialog(parent),
      settings_(settings),
      settingsFile_(std::move(settingsFile)),
      folders_(theme.folders),
      dialogs_(dialogs),
      prompter_(prompter),
      onThemeChanged_(std::move(onThemeChanged)) {
  setObjectName(QStringLiteral("frmOpt"));
  setWindowTitle(QStringLiteral("options"));
  auto* outer = new QVBoxLayout(this);
  outer->setContentsMargins(0, 0, 0, 0);
  outer->setSpacing(0);
  outer->addWidget(
      new ThemedHeader(QStringLiteral("Ti_Options.jpg"), QStringLiteral("options"), this));
  auto* body = new QVBoxLayout;
  body->setContentsMargins(16, 12, 16, 16);
  body->setSpacing(12);
  outer->addLayout(body);

  // Folders.
  auto* folders = new QGroupBox(QStringLiteral("Default folders"), this);
  auto* grid = new QGridLayout(folders);
  grid->setHorizontalSpacing(8);
  auto row = [&](int r, const QString& label, const char* boxName, const char* buttonName,
                 QLineEdit*& box, const char* title) {
    box = new QLineEdit(folders);
    box->setObjectName(QLatin1String(boxName));
    box->setMinimumWidth(300);
    auto* l = new QLabel(label, folders);
    l->setBuddy(box);
    QPushButton* b = BrowseButton(buttonName, folders);
    grid->addWidget(l, r, 0);
    grid->addWidget(box, r, 1);
    grid->addWidget(b, r, 2);
    connect(b, &QPushButton::clicked, this, [this, &box, title] { Browse(box, title); });
  };
  // The image and customise titles are crossed on purpose; users know them that way.
  row(0, QStringLiteral("&Images:"), "txtIn", "cmdInBrowse", txtIn_,
      "Select Default Customize Folder");
  row(1, QStringLiteral("&Output:"), "txtOut", "cmdOutBrowse", txtOut_,
      "Select Default Output Folder");
  row(2, QStringLiteral("&Customise:"), "txtCust", "cmdCustBrowse", txtCust_,
      "Select Default Image Folder");
  chkCustSearchDest_ =
      new QCheckBox(QStringLiteral("Load ICON0.PNG etc. from the image's own folder"), folders);
  chkCustSearchDest_->setObjectName(QStringLiteral("chkCustSearchDest"));
  grid->addWidget(chkCustSearchDest_, 3, 1, 1, 2);
  grid->setColumnStretch(1, 1);
  body->addWidget(folders);

  // Pictures for every game from the user's own folders.
  auto* found = new QGroupBox(QStringLiteral("Pictures for every game"), this);
  auto* foundGrid = new QGridLayout(found);
  foundGrid->setHorizontalSpacing(8);
  auto folderRow = [&](int r, const QString& label, const char* boxName, const char* buttonName,
                       QLineEdit*& box, const char* title, const QString& hint) {
    box = new QLineEdit(found);
    box->setObjectName(QLatin1String(boxName));
    box->setPlaceholderText(hint);
    auto* l = new QLabel(label, found);
    l->setBuddy(box);
    QPushButton* b = BrowseButton(buttonName, found);
    foundGrid->addWidget(l, r, 0);
    foundGrid->addWidget(box, r, 1);
    foundGrid->addWidget(b, r, 2);
    connect(b, &QPushButton::clicked, this, [this, &box, title] { Browse(box, title); });
  };
  folderRow(0, QStringLiteral("R&esources:"), "txtResources", "cmdResourcesBrowse", txtResources_,
            "Select Resource Folder", QStringLiteral("One folder per game ID or image name"));
  folderRow(1, QStringLiteral("T&humbnails:"), "txtThumbnails", "cmdThumbnailsBrowse",
            txtThumbnails_, "Select Thumbnails Folder",
            QStringLiteral("RetroArch thumbnails (Named_Boxarts, Named_Titles, Named_Snaps)"));
  foundGrid->setColumnStretch(1, 1);
  body->addWidget(found);

  // The two choices side by side.
  auto* choices = new QHBoxLayout;
  choices->setSpacing(12);
  auto* outDir =
      new QGroupBox(QStringLiteral("After choosing an input, add to the output folder"), this);
  auto* outLayout = new QVBoxLayout(outDir);
  const QString outNames[] = {QStringLiteral("Nothing"), QStringLiteral("The image file name"),
                              QStringLiteral("The game title"), QStringLiteral("The game ID")};
  auto* outGroup = new QButtonGroup(this);
  for (int i = 0; i < 4; ++i) {
    optOutDirAct_[i] = new QRadioButton(outNames[i], outDir);
    optOutDirAct_[i]->setObjectName(QStringLiteral("optOutDirAct_%1").arg(i));
    outGroup->addButton(optOutDirAct_[i], i);
    outLayout->addWidget(optOutDirAct_[i]);
  }
  optNameTemplate_ = new QRadioButton(QStringLiteral("A name &template:"), outDir);
  optNameTemplate_->setObjectName(QStringLiteral("optNameTemplate"));
  outGroup->addButton(optNameTemplate_, 4);
  txtNameTemplate_ = new QLineEdit(outDir);
  txtNameTemplate_->setObjectName(QStringLiteral("txtNameTemplate"));
  txtNameTemplate_->setToolTip(
      QStringLiteral("%GAMEID%, %TITLE%, %FILENAME%, %REGION%; characters a memory stick "
                     "cannot hold become _"));
  auto* templateRow = new QHBoxLayout;
  templateRow->addWidget(optNameTemplate_);
  templateRow->addWidget(txtNameTemplate_, 1);
  outLayout->addLayout(templateRow);
  connect(txtNameTemplate_, &QLineEdit::textEdited, this,
          [this] { optNameTemplate_->setChecked(true); });
  auto* transfer = new QGroupBox(QStringLiteral("After a conversion"), this);
  auto* transLayout = new QVBoxLayout(transfer);
  const QString transNames[] = {QStringLiteral("Do not offer a transfer to the PSP"),
                                QStringLiteral("Offer a transfer, folder named by title"),
                                QStringLiteral("Offer a transfer, folder named by game ID")};
  auto* transGroup = new QButtonGroup(this);
  for (int i = 0; i < 3; ++i) {
    optAutoTransAct_[i] = new QRadioButton(transNames[i], transfer);
    optAutoTransAct_[i]->setObjectName(QStringLiteral("optAutoTransAct_%1").arg(i));
    transGroup->addButton(optAutoTransAct_[i], i);
    transLayout->addWidget(optAutoTransAct_[i]);
  }
  transLayout->addStretch(1);
  choices->addWidget(outDir, 1);
  choices->addWidget(transfer, 1);
  body->addLayout(choices);

  // Pictures and look.
  auto* look = new QGroupBox(QStringLiteral("Pictures and look"), this);
  auto* form = new QFormLayout(look);
  form->setLabelAlignment(Qt::AlignRight | Qt::AlignVCenter);
  cboImgRes_ = new QComboBox(look);
  cboImgRes_->setObjectName(QStringLiteral("cboImgRes"));
  cboImgRes_->addItems(ResizeModeNames());
  chkImgResCentre_ = new QCheckBox(QStringLiteral("Centre converted pictures on black"), look);
  chkImgResCentre_->setObjectName(QStringLiteral("chkImgResCentre"));
  chkHideTags_ =
      new QCheckBox(QStringLiteral("Hide [NTSC-...] and [PAL-...] tags in game names"), look);
  chkHideTags_->setObjectName(QStringLiteral("chkHideTags"));
  cboTheme_ = new QComboBox(look);
  cboTheme_->setObjectName(QStringLiteral("cboTheme"));
  form->addRow(QStringLiteral("&Resize pictures:"), cboImgRes_);
  form->addRow(QString(), chkImgResCentre_);
  form->addRow(QString(), chkHideTags_);
  form->addRow(QStringLiteral("&Theme:"), cboTheme_);
  body->addWidget(look);

  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  auto* cmdOK = new QPushButton(QStringLiteral("OK"), this);
  cmdOK->setObjectName(QStringLiteral("cmdOK"));
  cmdOK->setProperty("accent", true);
  cmdOK->setDefault(true);
  cmdOK->setMinimumWidth(96);
  auto* cmdCancel = new QPushButton(QStringLiteral("Cancel"), this);
  cmdCancel->setObjectName(QStringLiteral("cmdCancel"));
  cmdCancel->setAutoDefault(false);
  cmdCancel->setMinimumWidth(96);
  buttons->addWidget(cmdOK);
  buttons->addWidget(cmdCancel);
  body->addLayout(buttons);
  connect(cmdOK, &QPushButton::clicked, this, &OptionsDialog::OkClicked);
  connect(cmdCancel, &QPushButton::clicked, this, &QDialog::reject);

  // Fill from the current settings.
  txtIn_->setText(Q(settings_.defaultImagePath));
  txtOut_->setText(Q(settings_.defaultOutputDir));
  txtCust_->setText(Q(settings_.defaultCustDir));
  chkCustSearchDest_->setChecked(settings_.useSourceDirAsCust);
  chkHideTags_->setChecked(settings_.hideNameTags);
  chkImgResCentre_->setChecked(settings_.imgResCentre);
  if (settings_.imgResMode >= 0 && settings_.imgResMode < 4)
    cboImgRes_->setCurrentIndex(settings_.imgResMode);
  txtResources_->setText(Q(settings_.resourceRoot));
  txtThumbnails_->setText(Q(settings_.thumbnailsRoot));
  // One folder per game ID is one click away.
  txtNameTemplate_->setText(
      Q(settings_.nameTemplate.empty() ? std::string("%GAMEID%") : settings_.nameTemplate));
  if (!settings_.nameTemplate.empty())
    optNameTemplate_->setChecked(true);
  else if (settings_.defaultOutDirOpt >= 0 && settings_.defaultOutDirOpt < 4)
    optOutDirAct_[settings_.defaultOutDirOpt]->setChecked(true);
  if (settings_.autoTransfer >= 0 && settings_.autoTransfer < 3)
    optAutoTransAct_[settings_.autoTransfer]->setChecked(true);
  for (const std::string& name : ListThemes(folders_)) {
    cboTheme_->addItem(Q(name));
    if (EqualsCaseBlind(name, settings_.theme)) cboTheme_->setCurrentIndex(cboTheme_->count() - 1);
  }

  ApplyTheme(this, theme, WindowKind::Dialog);
}

void OptionsDialog::Browse(QLineEdit* box, const char* title) {
  const QString folder = dialogs_.PickFolder(this, QLatin1String(title), box->text());
  if (!folder.isEmpty()) box->setText(folder);
}

void OptionsDialog::OkClicked() {
  settings_.defaultImagePath = txtIn_->text().toStdString();
  settings_.defaultOutputDir = txtOut_->text().toStdString();
  settings_.defaultCustDir = txtCust_->text().toStdString();
  settings_.useSourceDirAsCust = chkCustSearchDest_->isChecked();
  settings_.hideNameTags = chkHideTags_->isChecked();
  settings_.imgResCentre = chkImgResCentre_->isChecked();
  settings_.imgResMode = std::max(0, cboImgRes_->currentIndex());
  settings_.resourceRoot = txtResources_->text().toStdString();
  settings_.thumbnailsRoot = txtThumbnails_->text().toStdString();
  for (int i = 0; i < 4; ++i)
    if (optOutDirAct_[i]->isChecked()) settings_.defaultOutDirOpt = i;
  const std::string nameTemplate = Trim(txtNameTemplate_->text().toStdString());
  settings_.nameTemplate = optNameTemplate_->isChecked() ? nameTemplate : std::string();
  for (int i = 0; i < 3; ++i)
    if (optAutoTransAct_[i]->isChecked()) settings_.autoTransfer = i;

  const std::string chosen = cboTheme_->currentText().toStdString();
  if (!chosen.empty() && !EqualsCaseBlind(chosen, settings_.theme)) {
    settings_.theme = chosen;
    if (onThemeChanged_) onThemeChanged_();
  }

  const std::string error =
      SaveSettingsFile(settingsFile_, settings_, ReadLastUsedImage(settingsFile_));
  if (!error.empty()) prompter_.Warn(this, Q(error));
  accept();
}

}  // namespace ebf::ui
