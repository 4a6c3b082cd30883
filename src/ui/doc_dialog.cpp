#include "ui/doc_dialog.h"

#include <QComboBox>
#include <QDir>
#include <QDragEnterEvent>
#include <QFileInfo>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeData>
#include <QPushButton>
#include <QVBoxLayout>

#include "common/files.h"
#include "docmaker/document_dat.h"
#include "ui/file_dialogs.h"
#include "ui/fix_save_dialog.h"
#include "ui/id_key_filter.h"
#include "ui/job_runner.h"
#include "ui/progress_window.h"
#include "ui/prompter.h"
#include "ui/widgets.h"

namespace ebf::ui {
namespace {

const QString kPictureFilter =
    QStringLiteral("*.png;*.bmp;*.gif;*.wmf;*.emf;*.jpg;*.jpeg;*.ico;*.cur");

}  // namespace

bool IsDocPagePath(const QString& path) {
  static const QStringList kTails = {
      QStringLiteral(".png"), QStringLiteral(".jpg"), QStringLiteral("jpeg"),
      QStringLiteral(".bmp"), QStringLiteral(".ico"), QStringLiteral(".cur"),
      QStringLiteral(".wmf"), QStringLiteral(".emf"), QStringLiteral(".gif")};
  return kTails.contains(path.right(4).toLower());
}

DocDialog::DocDialog(const ThemeContext& theme, Prompter& prompter, FileDialogs& dialogs,
                     const std::string& gameId, const std::string& outputFolder, QWidget* parent)
    : QDialog(parent), theme_(theme), prompter_(prompter), dialogs_(dialogs) {
  setObjectName(QStringLiteral("frmDoc"));
  setWindowTitle(QStringLiteral("Documentation Maker"));
  auto* outer = new QVBoxLayout(this);
  outer->setContentsMargins(0, 0, 0, 0);
  outer->setSpacing(0);
  auto* header = new ThemedHeader(QStringLiteral("Ti_DocMaker.jpg"),
                                  QStringLiteral("Documentation Maker"), this);
  header->SetSubtitle(QStringLiteral("Pages of the game's manual, in reading order"));
  outer->addWidget(header);
  auto* body = new QVBoxLayout;
  body->setContentsMargins(16, 12, 16, 14);
  body->setSpacing(10);
  outer->addLayout(body, 1);

  auto* pagesBox = new QGroupBox(QStringLiteral("Pages"), this);
  auto* pagesRow = new QHBoxLayout(pagesBox);
  lst_ = new QListWidget(pagesBox);
  lst_->setObjectName(QStringLiteral("lst"));
  lst_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  lst_->setAcceptDrops(true);
  lst_->viewport()->setAcceptDrops(true);
  lst_->setDragDropMode(QAbstractItemView::DropOnly);
  lst_->installEventFilter(this);
  lst_->viewport()->installEventFilter(this);
  lst_->setMinimumSize(420, 220);
  lst_->setToolTip(
      QStringLiteral("Drop pictures or folders here.  Delete removes, Alt+Up/Down moves."));
  auto* side = new QVBoxLayout;
  side->setSpacing(6);
  QPushButton* add = Button(QStringLiteral("&Add..."), "cmdAdd", pagesBox);
  QPushButton* addDir = Button(QStringLiteral("Add &folder..."), "cmdAddDir", pagesBox);
  QPushButton* del = Button(QStringLiteral("&Remove"), "cmdDel", pagesBox);
  QPushButton* up = Button(QStringLiteral("Move &up"), "cmdUp", pagesBox);
  QPushButton* down = Button(QStringLiteral("Move do&wn"), "cmdDown", pagesBox);
  connect(add, &QPushButton::clicked, this, &DocDialog::AddClicked);
  connect(addDir, &QPushButton::clicked, this, &DocDialog::AddDirClicked);
  connect(del, &QPushButton::clicked, this, &DocDialog::DeleteSelected);
  connect(up, &QPushButton::clicked, this, &DocDialog::MoveUp);
  connect(down, &QPushButton::clicked, this, &DocDialog::MoveDown);
  for (QPushButton* b : {add, addDir}) side->addWidget(b);
  side->addSpacing(10);
  for (QPushButton* b : {up, down, del}) side->addWidget(b);
  side->addStretch(1);
  pagesRow->addWidget(lst_, 1);
  pagesRow->addLayout(side);
  body->addWidget(pagesBox, 1);

  auto* outBox = new QGroupBox(QStringLiteral("DOCUMENT.DAT"), this);
  auto* grid = new QGridLayout(outBox);
  grid->setHorizontalSpacing(8);
  cboID_ = MakeIdPrefixCombo(outBox);
  txtID_ = new QLineEdit(outBox);
  txtID_->setObjectName(QStringLiteral("txtID"));
  txtID_->setPlaceholderText(QStringLiteral("12345"));
  txtID_->setMaximumWidth(110);
  IdKeyFilter::Attach(txtID_);
  if (gameId.size() == 9) {
    const QString id = QString::fromStdString(gameId);
    cboID_->setEditText(id.left(4));
    txtID_->setText(id.mid(4));
  }
  txtOut_ = new QLineEdit(outBox);
  txtOut_->setObjectName(QStringLiteral("txtOut"));
  if (!outputFolder.empty())
    txtOut_->setText(QString::fromStdString(WithTrailingSep(outputFolder) + "DOCUMENT.DAT"));
  QPushButton* outBrowse = Button(QStringLiteral("&Browse..."), "cmdOutBrowse", outBox);
  connect(outBrowse, &QPushButton::clicked, this, &DocDialog::BrowseOutput);
  auto* idLabel = new QLabel(QStringLiteral("Game &ID:"), outBox);
  idLabel->setBuddy(cboID_);
  auto* outLabel = new QLabel(QStringLiteral("&Save as:"), outBox);
  outLabel->setBuddy(txtOut_);
  auto* idRow = new QHBoxLayout;
  idRow->addWidget(cboID_);
  idRow->addWidget(txtID_);
  idRow->addStretch(1);
  grid->addWidget(idLabel, 0, 0);
  grid->addLayout(idRow, 0, 1, 1, 2);
  grid->addWidget(outLabel, 1, 0);
  grid->addWidget(txtOut_, 1, 1);
  grid->addWidget(outBrowse, 1, 2);
  grid->setColumnStretch(1, 1);
  body->addWidget(outBox);

  QPushButton* extract = Button(QStringLiteral("&Extract..."), "cmdExtract", this);
  extract->setToolTip(QStringLiteral("Take an existing DOCUMENT.DAT apart into PNG files"));
  QPushButton* ok = Button(QStringLiteral("&Create"), "cmdOK", this);
  ok->setProperty("accent", true);
  ok->setDefault(true);
  QPushButton* cancel = Button(QStringLiteral("Close"), "cmdCancel", this);
  connect(extract, &QPushButton::clicked, this, &DocDialog::ExtractClicked);
  connect(ok, &QPushButton::clicked, this, &DocDialog::OkClicked);
  connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(extract);
  buttons->addStretch(1);
  buttons->addWidget(ok);
  buttons->addWidget(cancel);
  body->addLayout(buttons);
  ApplyTheme(this, theme_, WindowKind::Dialog);
}

QStringList DocDialog::pages() const {
  QStringList out;
  for (int i = 0; i < lst_->count(); ++i) out << lst_->item(i)->text();
  return out;
}

void DocDialog::AddPage(const QString& path, bool select) {
  lst_->addItem(path);
  if (select) lst_->item(lst_->count() - 1)->setSelected(true);
}

void DocDialog::AddFolder(const QString& folder) {
  // The file system's own order, as the user sees it in a plain listing.
  const QFileInfoList entries =
      QDir(folder).entryInfoList(QDir::Files | QDir::Hidden | QDir::System, QDir::Unsorted);
  for (const QFileInfo& e : entries)
    if (IsDocPagePath(e.fileName())) AddPage(e.filePath(), false);
}

void DocDialog::DropPaths(const QStringList& paths) {
  for (const QString& p : paths) {
    if (QFileInfo(p).isDir()) {
      AddFolder(p);
    } else if (IsDocPagePath(p)) {
      AddPage(p, true);
    }
  }
}

void DocDialog::AddClicked() {
  const QStringList files = dialogs_.OpenFiles(
      this, QStringLiteral("Select PNG Images to add"), QString(),
      {{QStringLiteral("Supported Images (%1)").arg(kPictureFilter), kPictureFilter},
       {QStringLiteral("All Files (*.*)"), QStringLiteral("*.*")}});
  for (const QString& f : files) AddPage(f, true);
}

void DocDialog::AddDirClicked() {
  const QString folder =
      dialogs_.PickFolder(this, QStringLiteral("Select Directory to Add"), QString());
  if (!folder.isEmpty()) AddFolder(folder);
}

void DocDialog::DeleteSelected() {
  for (int i = lst_->count() - 1; i >= 0; --i)
    if (lst_->item(i)->isSelected()) delete lst_->takeItem(i);
}

void DocDialog::MoveUp() {
  const int n = lst_->count();
  if (n == 0 || lst_->item(0)->isSelected()) return;
  for (int i = 1; i < n; ++i) {
    if (!lst_->item(i)->isSelected()) continue;
    QListWidgetItem* item = lst_->takeItem(i);
    lst_->insertItem(i - 1, item);
    item->setSelected(true);
  }
}

void DocDialog::MoveDown() {
  const int n = lst_->count();
  if (n == 0 || lst_->item(n - 1)->isSelected()) return;
  for (int i = n - 2; i >= 0; --i) {
    if (!lst_->item(i)->isSelected()) continue;
    QListWidgetItem* item = lst_->takeItem(i);
    lst_->insertItem(i + 1, item);
    item->setSelected(true);
  }
}

void DocDialog::BrowseOutput() {
  const QString path =
      dialogs_.SaveFile(this, QStringLiteral("Save DOCUMENT.DAT as"), txtOut_->text(),
                        QStringLiteral("DOCUMENT.DAT"), QStringLiteral("DAT"),
                        {{QStringLiteral("DAT Files (*.dat)"), QStringLiteral("*.dat")},
                         {QStringLiteral("All Files (*.*)"), QStringLiteral("*.*")}});
  if (!path.isEmpty()) txtOut_->setText(path);
}

void DocDialog::OkClicked() {
  if (lst_->count() == 0) return prompter_.Warn(this, QLatin1String(kMsgNothingToConvert));
  if (lst_->count() > 100 && !prompter_.Ask(this, QLatin1String(kMsgTooManyPages), true)) return;
  if (!FileExists(DocumentTemplatePath(theme_.folders)))
    return prompter_.Warn(this, QLatin1String(kMsgDocHeadMissing));
  if (txtID_->text().size() != 5 || cboID_->currentText().size() != 4)
    return prompter_.Warn(this, QLatin1String(kMsgEnterValidId));

  std::vector<std::string> pagePaths;
  for (const QString& p : pages()) pagePaths.push_back(S(p));
  ProgressWindow progress(ProgressWindow::Kind::Progress, prompter_, theme_, this);
  progress.SetCaption("Creating Documentation...");
  progress.show();
  WorkerQuestions questions(prompter_, &progress);
  const std::string output = S(txtOut_->text()), prefix = S(cboID_->currentText()),
                    number = S(txtID_->text());
  const DocResult result =
      RunJob(progress, questions, [&](Progress& p, Questions&, CancelToken& cancel) {
        Stage stage(p, "Creating Documentation...");
        return WriteDocumentDat(theme_.folders, output, prefix, number, pagePaths, p, cancel);
      });
  progress.hide();
  if (result.outcome.succeeded()) {
    prompter_.Inform(this, QLatin1String(kMsgDocDone));
  } else if (result.outcome.failed()) {
    prompter_.Warn(this, QString::fromStdString(result.outcome.text()));
  }
}

void DocDialog::ExtractClicked() {
  const QString dat =
      dialogs_.OpenFile(this, QStringLiteral("Select a DOCUMENT.DAT file"), QString(),
                        {{QStringLiteral("DOCUMENT.DAT (*.dat)"), QStringLiteral("*.dat")},
                         {QStringLiteral("All Files (*.*)"), QStringLiteral("*.*")}});
  if (dat.isEmpty()) return;
  const QString folder =
      dialogs_.PickFolder(this, QStringLiteral("Select Output Directory"), QString());
  if (folder.isEmpty()) return;
  ProgressWindow progress(ProgressWindow::Kind::Progress, prompter_, theme_, this);
  progress.SetCaption("Extracting DOCUMENT.DAT...");
  progress.show();
  WorkerQuestions questions(prompter_, &progress);
  const std::string datPath = S(dat), outFolder = WithTrailingSep(S(folder));
  const DocResult result =
      RunJob(progress, questions, [&](Progress& p, Questions&, CancelToken& cancel) {
        Stage stage(p, "Extracting DOCUMENT.DAT...");
        return ExtractDocumentDat(datPath, outFolder, p, cancel);
      });
  progress.hide();
  if (result.outcome.succeeded()) {
    prompter_.Inform(this, QLatin1String(kMsgDocExtracted));
  } else if (result.outcome.failed()) {
    prompter_.Warn(this, QString::fromStdString(result.outcome.text()));
  }
}

bool DocDialog::eventFilter(QObject* watched, QEvent* event) {
  if (watched == lst_ && event->type() == QEvent::KeyPress) {
    const auto* key = static_cast<QKeyEvent*>(event);
    const Qt::KeyboardModifiers mods = key->modifiers() & ~Qt::KeypadModifier;
    if (key->key() == Qt::Key_Delete && mods == Qt::ControlModifier) {
      lst_->clear();
    } else if (key->key() == Qt::Key_Delete && mods == Qt::NoModifier) {
      DeleteSelected();
    } else if (key->key() == Qt::Key_Up && mods == Qt::AltModifier) {
      MoveUp();
    } else if (key->key() == Qt::Key_Down && mods == Qt::AltModifier) {
      MoveDown();
    } else if (key->key() == Qt::Key_A && mods == Qt::ControlModifier) {
      lst_->selectAll();
    } else {
      return QDialog::eventFilter(watched, event);
    }
    return true;
  }
  if (watched == lst_->viewport()) {
    if (event->type() == QEvent::DragEnter || event->type() == QEvent::DragMove) {
      auto* e = static_cast<QDropEvent*>(event);
      if (e->mimeData()->hasUrls()) e->acceptProposedAction();
      return true;
    }
    if (event->type() == QEvent::Drop) {
      auto* e = static_cast<QDropEvent*>(event);
      const QStringList paths = DroppedFiles(e->mimeData());
      if (!paths.isEmpty()) {
        e->acceptProposedAction();
        DropPaths(paths);
      }
      return true;
    }
  }
  return QDialog::eventFilter(watched, event);
}

}  // namespace ebf::ui
