#include "ui/main_window.h"

#include <algorithm>

#include <QApplication>
#include <QCheckBox>
#include <QDragEnterEvent>
#include <QFrame>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>
#include <QValidator>

#include "app/theme.h"
#include "common/text.h"
#include "pbp/sfo.h"
#include "ui/disc_list.h"
#include "ui/patch_list.h"
#include "ui/prompter.h"
#include "ui/slot_table.h"
#include "ui/widgets.h"

namespace ebf::ui {
namespace {

QLabel* FieldLabel(const QString& text, QWidget* buddy, QWidget* parent) {
  auto* l = new QLabel(text, parent);
  l->setBuddy(buddy);
  l->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
  // One width for the labels of both boxes, so that their fields line up.
  l->setMinimumWidth(l->fontMetrics().horizontalAdvance(QStringLiteral("Compression:")) + 6);
  return l;
}

// Takes whole characters away from before `end` until `excess` bytes of UTF-8 are gone or
// the text's start is reached; returns where the cut begins.
qsizetype CutBefore(QString& text, qsizetype end, qsizetype& excess) {
  qsizetype from = end;
  while (from > 0 && excess > 0) {
    const bool pair =
        from >= 2 && text[from - 1].isLowSurrogate() && text[from - 2].isHighSurrogate();
    const char16_t c = text[from - 1].unicode();
    excess -= pair ? 4 : c < 0x80 ? 1 : c < 0x800 ? 2 : 3;
    from -= pair ? 2 : 1;
  }
  text.remove(from, end - from);
  return from;
}

// Holds the title box to what PARAM.SFO carries: at most 127 bytes of UTF-8. What is typed,
// pasted or set beyond that is cut from the end of the new text (where the cursor stands),
// whole characters at a time; a box already full takes no more.
class TitleBytes : public QValidator {
 public:
  using QValidator::QValidator;
  State validate(QString& text, int& pos) const override {
    qsizetype excess = text.toUtf8().size() - static_cast<qsizetype>(pbp::kMaxTitleBytes);
    if (excess <= 0) return Acceptable;
    pos = static_cast<int>(CutBefore(text, pos > 0 ? pos : text.size(), excess));
    if (excess > 0) CutBefore(text, text.size(), excess);
    pos = std::min(pos, static_cast<int>(text.size()));
    return Acceptable;
  }
};

constexpr const char* kShownCaption = "    Customize the EBOOT (-)";
constexpr const char* kHiddenCaption = "    Customize the EBOOT (+)";

}  // namespace

MainWindow::MainWindow(Services services, Hooks hooks, QWidget* parent)
    : QWidget(parent), services_(std::move(services)), hooks_(std::move(hooks)) {
  setObjectName(QStringLiteral("frmMain"));
  setWindowTitle(QStringLiteral("ebootforge"));
  setAcceptDrops(true);
  theme_.folders = services_.folders;
  BuildLayout();
  UpdateHookedButtons();
  SetPackageLoaded(false);
  for (int i = 0; i < kSlotCount; ++i) UpdateSlotRow(i);
}

void MainWindow::BuildLayout() {
  auto* outer = new QVBoxLayout(this);
  outer->setContentsMargins(0, 0, 0, 0);
  outer->setSpacing(0);
  header_ = new ThemedHeader(QStringLiteral("Ti_Main.jpg"), QStringLiteral("ebootforge"), this);
  header_->SetSubtitle(QStringLiteral("PlayStation disc images into PSP packages"));
  outer->addWidget(header_);

  auto* body = new QVBoxLayout;
  body->setContentsMargins(16, 10, 16, 14);
  body->setSpacing(10);
  outer->addLayout(body, 1);
  body->addWidget(BuildInputBox());
  body->addWidget(BuildOutputBox());

  cmdCustShowHide_ = Button(QLatin1String(kHiddenCaption), "cmdCustShowHide", this);
  cmdCustShowHide_->setCursor(Qt::PointingHandCursor);
  connect(cmdCustShowHide_, &QPushButton::clicked, this, &MainWindow::ToggleCustomisation);
  body->addWidget(cmdCustShowHide_);
  body->addWidget(BuildCustomisationPanel());
  panelCust_->setVisible(false);
  body->addStretch(1);
  body->addWidget(BuildButtonBar());
  // No fixed minimum width: the layout's own minimum keeps every caption whole.
}

QWidget* MainWindow::BuildInputBox() {
  auto* box = new QGroupBox(QStringLiteral("Game"), this);
  auto* grid = new QGridLayout(box);
  grid->setContentsMargins(4, 0, 4, 2);
  grid->setHorizontalSpacing(8);
  grid->setVerticalSpacing(8);

  txtIn_ = new QLineEdit(box);
  txtIn_->setObjectName(QStringLiteral("txtIn"));
  txtIn_->setPlaceholderText(QStringLiteral("Drop a disc image or an EBOOT.PBP here"));
  txtIn_->setAcceptDrops(false);  // drops go to the window's own handler
  cmdInBrowse_ = Button(QStringLiteral("&Browse..."), "cmdInBrowse", box);
  cmdInBrowse_->setAcceptDrops(false);
  cmdInCD_ = Button(QStringLiteral("CD \u25BE"), "cmdInCD", box);
  cmdInCD_->setToolTip(QStringLiteral("Read from a disc drive"));
  mnuCD_ = new QMenu(cmdInCD_);
  mnuCD_->setObjectName(QStringLiteral("mnuCD"));
  QAction* image = mnuCD_->addAction(QStringLiteral("Make an image from a disc..."));
  image->setObjectName(QStringLiteral("mnuCDImage"));
  connect(image, &QAction::triggered, this, &MainWindow::MakeImageFromDrive);
  QAction* device = mnuCD_->addAction(QStringLiteral("Convert straight from a drive..."));
  device->setObjectName(QStringLiteral("mnuCDDevice"));
  connect(device, &QAction::triggered, this, &MainWindow::ConvertFromDrive);
  connect(cmdInCD_, &QPushButton::clicked, this,
          [this] { mnuCD_->popup(cmdInCD_->mapToGlobal(QPoint(0, cmdInCD_->height()))); });
  connect(cmdInBrowse_, &QPushButton::clicked, this, &MainWindow::BrowseInput);
  grid->addWidget(FieldLabel(QStringLiteral("&Input:"), txtIn_, box), 0, 0);
  grid->addWidget(txtIn_, 0, 1, 1, 2);
  grid->addWidget(cmdInBrowse_, 0, 3);
  grid->addWidget(cmdInCD_, 0, 4);

  txtTitle_ = new QLineEdit(box);
  txtTitle_->setObjectName(QStringLiteral("txtTitle"));
  txtTitle_->setPlaceholderText(QStringLiteral("The name shown in the PSP's game menu"));
  txtTitle_->setValidator(new TitleBytes(txtTitle_));
  cmdGame_ = Button(QStringLiteral("&Select..."), "cmdGame", box);
  cmdGame_->setToolTip(QStringLiteral("Choose the game from the database"));
  cmdGameCust_ = Button(QStringLiteral("Cus&tom..."), "cmdGameCust", box);
  cmdGameCust_->setToolTip(QStringLiteral("Type the save name and game ID yourself"));
  connect(cmdGame_, &QPushButton::clicked, this, [this] {
    if (hooks_.selectGame) hooks_.selectGame(*this);
  });
  connect(cmdGameCust_, &QPushButton::clicked, this, [this] {
    if (hooks_.customGame) hooks_.customGame(*this);
  });
  grid->addWidget(FieldLabel(QStringLiteral("&Title:"), txtTitle_, box), 2, 0);
  // The discs of a game on several discs, shown only for such a game.
  discs_ = new DiscList(box);
  connect(discs_, &DiscList::addRequested, this, &MainWindow::AddDisc);
  QWidget* discsLabel = FieldLabel(QStringLiteral("Discs:"), nullptr, box);
  discs_->SetLabel(discsLabel);
  grid->addWidget(discsLabel, 1, 0, Qt::AlignTop);
  grid->addWidget(discs_, 1, 1, 1, 4);

  grid->addWidget(txtTitle_, 2, 1, 1, 2);
  grid->addWidget(cmdGame_, 2, 3);
  grid->addWidget(cmdGameCust_, 2, 4);

  lblRegion_ = new QLabel(box);
  lblRegion_->setObjectName(QStringLiteral("lblRegion"));
  lblRegion_->setVisible(false);
  lblGameId_ = new QLabel(QStringLiteral("No game chosen yet"), box);
  lblGameId_->setObjectName(QStringLiteral("lblGameID"));
  lblGameId_->setProperty("role", QStringLiteral("info"));
  lblGameId_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  auto* identity = new QHBoxLayout;
  identity->setSpacing(8);
  identity->addWidget(lblRegion_);
  identity->addWidget(lblGameId_, 1);
  grid->addWidget(FieldLabel(QStringLiteral("Game ID:"), nullptr, box), 3, 0);
  grid->addLayout(identity, 3, 1, 1, 4);
  // Patches for the discs, and the LibCrypt line under them.
  patches_ = new PatchList(box);
  connect(patches_, &PatchList::addRequested, this, &MainWindow::AddPatch);
  grid->addWidget(FieldLabel(QStringLiteral("Patches:"), nullptr, box), 4, 0, Qt::AlignTop);
  grid->addWidget(patches_, 4, 1, 1, 4);
  grid->setColumnStretch(1, 1);
  return box;
}

QWidget* MainWindow::BuildOutputBox() {
  auto* box = new QGroupBox(QStringLiteral("Package"), this);
  auto* grid = new QGridLayout(box);
  grid->setContentsMargins(4, 0, 4, 2);
  grid->setHorizontalSpacing(8);
  grid->setVerticalSpacing(8);
  txtOut_ = new QLineEdit(box);
  txtOut_->setObjectName(QStringLiteral("txtOut"));
  txtOut_->setPlaceholderText(QStringLiteral("Folder that receives EBOOT.PBP"));
  cmdOutBrowse_ = Button(QStringLiteral("B&rowse..."), "cmdOutBrowse", box);
  connect(cmdOutBrowse_, &QPushButton::clicked, this, &MainWindow::BrowseOutput);
  grid->addWidget(FieldLabel(QStringLiteral("&Output:"), txtOut_, box), 0, 0);
  grid->addWidget(txtOut_, 0, 1, 1, 3);
  grid->addWidget(cmdOutBrowse_, 0, 4);

  txtCompress_ = new QSpinBox(box);
  txtCompress_->setObjectName(QStringLiteral("txtCompress"));
  txtCompress_->setRange(0, 9);
  txtCompress_->setValue(9);
  txtCompress_->setToolTip(QStringLiteral("0 = none, 1 = fastest, 9 = smallest"));
  txtCompress_->setMinimumWidth(64);
  auto* compressHint = new QLabel(QStringLiteral("0 = none, 9 = smallest"), box);
  compressHint->setProperty("role", QStringLiteral("info"));
  chkRecompressEBOOT_ = new QCheckBox(QStringLiteral("Re&build the EBOOT into a new file"), box);
  chkRecompressEBOOT_->setObjectName(QStringLiteral("chkRecompressEBOOT"));
  auto* compressRow = new QHBoxLayout;
  compressRow->setSpacing(10);
  compressRow->addWidget(txtCompress_);
  compressRow->addWidget(compressHint);
  compressRow->addStretch(1);
  compressRow->addWidget(chkRecompressEBOOT_);
  grid->addWidget(FieldLabel(QStringLiteral("&Compression:"), txtCompress_, box), 1, 0);
  grid->addLayout(compressRow, 1, 1, 1, 4);

  chkPAL2NTSCScr_ = new QCheckBox(QStringLiteral("PAL -> NTSC &screen fix"), box);
  chkPAL2NTSCScr_->setObjectName(QStringLiteral("chkPAL2NTSCScr"));
  chkPAL2NTSCGFX_ = new QCheckBox(QStringLiteral("PAL -> NTSC &graphics fix"), box);
  chkPAL2NTSCGFX_->setObjectName(QStringLiteral("chkPAL2NTSCGFX"));
  auto* palRow = new QHBoxLayout;
  palRow->setSpacing(18);
  palRow->addWidget(chkPAL2NTSCScr_);
  palRow->addWidget(chkPAL2NTSCGFX_);
  palRow->addStretch(1);
  grid->addWidget(FieldLabel(QStringLiteral("Fixes:"), nullptr, box), 2, 0);
  grid->addLayout(palRow, 2, 1, 1, 4);
  grid->setColumnStretch(1, 1);
  return box;
}

QWidget* MainWindow::BuildCustomisationPanel() {
  panelCust_ = new QFrame(this);
  panelCust_->setObjectName(QStringLiteral("panelCust"));
  auto* layout = new QVBoxLayout(panelCust_);
  layout->setContentsMargins(12, 10, 12, 10);
  layout->setSpacing(8);
  auto* hint = new QLabel(
      QStringLiteral("Leave textboxes blank for default/original pictures, animation and "
                     "sound.  Untick checkboxes to remove."),
      panelCust_);
  hint->setObjectName(QStringLiteral("lblHint"));
  hint->setWordWrap(true);
  layout->addWidget(hint);

  auto* grid = new QGridLayout;
  grid->setHorizontalSpacing(8);
  grid->setVerticalSpacing(6);
  for (int i = 0; i < kSlotCount; ++i) {
    const SlotInfo& info = SlotAt(i);
    const QString key = QLatin1String(info.key);
    SlotRow& row = slots_[i];
    row.check = new QCheckBox(QLatin1String(info.checkLabel), panelCust_);
    row.check->setObjectName(QStringLiteral("chkCust") + key);
    row.check->setChecked(true);
    row.text = new QLineEdit(panelCust_);
    row.text->setObjectName(QStringLiteral("txtCust") + key);
    row.text->setPlaceholderText(QStringLiteral("default"));
    row.browse = Button(QStringLiteral("Browse..."), "", panelCust_);
    row.browse->setObjectName(QStringLiteral("cmdCust%1Browse").arg(key));
    row.browse->setAccessibleName(QStringLiteral("Browse for ") + key);
    row.extract = Button(QStringLiteral("Extract..."), "", panelCust_);
    row.extract->setObjectName(QStringLiteral("cmdCust%1Extract").arg(key));
    row.extract->setAccessibleName(QStringLiteral("Extract ") + key);
    row.info = new QLabel(QLatin1String(info.infoText), panelCust_);
    row.info->setObjectName(QStringLiteral("lblCust%1Info").arg(key));
    row.info->setProperty("role", QStringLiteral("info"));
    row.info->setMinimumWidth(
        row.info->fontMetrics().horizontalAdvance(QStringLiteral("Information, up to 480 x 272")) +
        4);
    row.source = new QLabel(panelCust_);
    row.source->setObjectName(QStringLiteral("lblCust%1Source").arg(key));
    row.source->setProperty("role", QStringLiteral("info"));
    row.source->setToolTip(
        QStringLiteral("Found for this game. Type, browse or drop another file to use it "
                       "instead, clear the box for the default, or untick to remove it."));
    row.source->setVisible(false);
    for (QWidget* w : {static_cast<QWidget*>(row.check), static_cast<QWidget*>(row.text),
                       static_cast<QWidget*>(row.browse)}) {
      w->setAcceptDrops(true);
      w->installEventFilter(this);
      w->setProperty("slot", i);
    }
    connect(row.check, &QCheckBox::toggled, this, [this, i] { UpdateSlotRow(i); });
    // Any other text is the user's own choice.
    connect(row.text, &QLineEdit::textChanged, this, [this, i](const QString& text) {
      if (slotSources_[i] != SlotSource::Chosen && text != foundTexts_[i]) {
        slotSources_[i] = SlotSource::Chosen;
        ShowSlotSource(i);
      }
    });
    connect(row.browse, &QPushButton::clicked, this, [this, i] { BrowseSlot(i); });
    connect(row.extract, &QPushButton::clicked, this, [this, i] { ExtractSlot(i); });
    grid->addWidget(row.check, i, 0);
    grid->addWidget(row.text, i, 1);
    grid->addWidget(row.browse, i, 2);
    grid->addWidget(row.extract, i, 3);
    grid->addWidget(row.info, i, 4);
    grid->addWidget(row.source, i, 5);
  }
  grid->setColumnStretch(1, 1);
  layout->addLayout(grid);
  return panelCust_;
}

QWidget* MainWindow::BuildButtonBar() {
  auto* bar = new QWidget(this);
  auto* row = new QHBoxLayout(bar);
  row->setContentsMargins(0, 4, 0, 0);
  row->setSpacing(8);
  cmdOptions_ = Button(QStringLiteral("O&ptions..."), "cmdOptions", bar);
  cmdDoc_ = Button(QStringLiteral("&Documentation..."), "cmdDoc", bar);
  cmdPreview_ = Button(QStringLiteral("Pre&view..."), "cmdPreview", bar);
  cmdEBOOT2ISO_ = Button(QStringLiteral("EBOOT to &ISO..."), "cmdEBOOT2ISO", bar);
  cmdVerify_ = Button(QStringLiteral("Veri&fy..."), "cmdVerify", bar);
  cmdVerify_->setToolTip(
      QStringLiteral("Read every block of the package and show each track's checksums"));
  cmdAbout_ = Button(QStringLiteral("&About"), "cmdAbout", bar);
  cmdBatch_ = Button(QStringLiteral("Batc&h..."), "cmdBatch", bar);
  cmdBatch_->setToolTip(QStringLiteral("Convert a whole library of games in one run"));
  cmdGo_ = Button(QStringLiteral("&Go!"), "cmdGo", bar);
  cmdGo_->setProperty("accent", true);
  cmdGo_->setDefault(true);
  cmdGo_->setMinimumWidth(120);
  connect(cmdOptions_, &QPushButton::clicked, this, &MainWindow::OpenOptions);
  connect(cmdDoc_, &QPushButton::clicked, this, [this] {
    if (hooks_.openDocMaker) hooks_.openDocMaker(*this);
  });
  connect(cmdPreview_, &QPushButton::clicked, this, [this] {
    if (hooks_.openPreview) hooks_.openPreview(*this);
  });
  connect(cmdEBOOT2ISO_, &QPushButton::clicked, this, [this] {
    if (hooks_.ebootToIso) hooks_.ebootToIso(*this);
  });
  connect(cmdVerify_, &QPushButton::clicked, this, [this] {
    if (hooks_.verifyPackage) hooks_.verifyPackage(*this);
  });
  connect(cmdAbout_, &QPushButton::clicked, this, &MainWindow::ShowAbout);
  connect(cmdBatch_, &QPushButton::clicked, this, [this] {
    if (hooks_.openBatch) hooks_.openBatch(*this);
  });
  connect(cmdGo_, &QPushButton::clicked, this, &MainWindow::GoClicked);
  for (QPushButton* b :
       {cmdOptions_, cmdDoc_, cmdPreview_, cmdEBOOT2ISO_, cmdVerify_, cmdAbout_, cmdBatch_})
    row->addWidget(b);
  row->addStretch(1);
  row->addWidget(cmdGo_);
  return bar;
}

void MainWindow::SetHooks(Hooks hooks) {
  hooks_ = std::move(hooks);
  UpdateHookedButtons();
}

void MainWindow::UpdateHookedButtons() {
  const QString later = QStringLiteral("Not available in this build yet");
  auto gate = [&](QPushButton* b, bool available) {
    b->setEnabled(available);
    if (!available) b->setToolTip(later);
  };
  gate(cmdGame_, bool(hooks_.selectGame));
  gate(cmdGameCust_, bool(hooks_.customGame));
  gate(cmdDoc_, bool(hooks_.openDocMaker));
  gate(cmdPreview_, bool(hooks_.openPreview));
  gate(cmdBatch_, bool(hooks_.openBatch));
  cmdEBOOT2ISO_->setEnabled(packageLoaded_ && hooks_.ebootToIso);
  cmdVerify_->setEnabled(packageLoaded_ && hooks_.verifyPackage);
}

void MainWindow::SetInputText(const std::string& path) {
  txtIn_->setText(Q(path));
  if (path.empty()) discs_->SetDiscs({});
}
void MainWindow::SetTitleText(const std::string& title) {
  txtTitle_->setText(Q(title));
}
void MainWindow::SetOutputText(const std::string& folder) {
  txtOut_->setText(Q(folder));
}

void MainWindow::SetGameIdentity(const std::string& saveName, const std::string& gameId) {
  saveName_ = saveName;
  gameId_ = gameId;
  if (gameId.empty() && saveName.empty()) {
    lblGameId_->setText(QStringLiteral("No game chosen yet"));
  } else {
    lblGameId_->setText(
        QStringLiteral("%1   \u2022   save name %2")
            .arg(Q(gameId.empty() ? "?" : gameId), Q(saveName.empty() ? "?" : saveName)));
  }
}

void MainWindow::SetRegion(const std::string& region) {
  lblRegion_->setText(Q(region));
  lblRegion_->setVisible(!region.empty());
}

void MainWindow::SetPackageLoaded(bool loaded) {
  packageLoaded_ = loaded;
  for (int i = 0; i < kSlotCount; ++i) slots_[i].extract->setEnabled(loaded);
  chkRecompressEBOOT_->setEnabled(loaded);
  cmdEBOOT2ISO_->setEnabled(loaded && hooks_.ebootToIso);
  cmdVerify_->setEnabled(loaded && hooks_.verifyPackage);
}

void MainWindow::SetSlot(int slot, bool ticked, const std::string& text, SlotSource source) {
  slotSources_.at(slot) = source;
  foundTexts_.at(slot) = Q(text);
  slots_.at(slot).check->setChecked(ticked);
  slots_.at(slot).text->setText(Q(text));
  UpdateSlotRow(slot);
  ShowSlotSource(slot);
}

void MainWindow::ShowSlotSource(int slot) {
  const QString caption = QLatin1String(SlotSourceCaption(slotSources_.at(slot)));
  slots_.at(slot).source->setText(caption);
  slots_.at(slot).source->setVisible(!caption.isEmpty());
}

void MainWindow::UpdateSlotRow(int slot) {
  const SlotRow& row = slots_.at(slot);
  const bool on = row.check->isChecked();
  row.text->setEnabled(on);
  row.browse->setEnabled(on);
  row.info->setEnabled(on);
}

void MainWindow::ResolveInput(const std::string& path) {
  if (hooks_.resolveInput) {
    hooks_.resolveInput(*this, path);
  } else {
    ResolveWithCore(path);
  }
}

void MainWindow::LoadAndApplyTheme() {
  theme_.name = settings_.theme;
  theme_.values = LoadTheme(services_.folders, theme_.name, theme_.values);
  const QString title =
      theme_.values.mainTitle.empty() ? QStringLiteral("ebootforge") : Q(theme_.values.mainTitle);
  setWindowTitle(title);
  header_->SetTitle(title);
  ApplyTheme(this, theme_, WindowKind::Main);
}

bool MainWindow::customisationShown() const {
  return !panelCust_->isHidden();
}

void MainWindow::ToggleCustomisation() {
  const bool show = panelCust_->isHidden();
  panelCust_->setVisible(show);
  cmdCustShowHide_->setText(QLatin1String(show ? kShownCaption : kHiddenCaption));
  settings_.showCust = show;
  // Let the window shrink back when the panel folds away.
  if (!show && isVisible()) {
    layout()->activate();
    resize(width(), minimumSizeHint().height());
  }
}

void MainWindow::ShowSettings() {
  txtCompress_->setValue(std::clamp(ValInt(settings_.compressLevel), 0, 9));
  if (!settings_.defaultOutputDir.empty()) txtOut_->setText(Q(settings_.defaultOutputDir));
}

void MainWindow::TakeSettingsFromControls() {
  settings_.compressLevel = txtCompress_->text().toStdString();
  settings_.showCust = customisationShown();
}

void MainWindow::BringToFront() {
  if (isMinimized()) showNormal();
  show();
  raise();
  activateWindow();
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
  if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
  const QStringList paths = DroppedFiles(event->mimeData());
  if (paths.isEmpty()) return;
  event->acceptProposedAction();
  DropFiles(paths, -1);
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event) {
  const QVariant slot = watched->property("slot");
  if (slot.isValid()) {
    if (event->type() == QEvent::DragEnter) {
      auto* e = static_cast<QDragEnterEvent*>(event);
      if (e->mimeData()->hasUrls()) e->acceptProposedAction();
      return true;
    }
    if (event->type() == QEvent::DragMove) {
      static_cast<QDragMoveEvent*>(event)->acceptProposedAction();
      return true;
    }
    if (event->type() == QEvent::Drop) {
      auto* e = static_cast<QDropEvent*>(event);
      const QStringList paths = DroppedFiles(e->mimeData());
      if (!paths.isEmpty()) {
        e->acceptProposedAction();
        DropFiles(paths, slot.toInt());
      }
      return true;
    }
  }
  return QWidget::eventFilter(watched, event);
}

}  // namespace ebf::ui
