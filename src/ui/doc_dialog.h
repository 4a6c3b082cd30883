#pragma once
// frmDoc, the "Documentation Maker": an ordered list of page pictures, the game ID and
// the DOCUMENT.DAT to write; it can also take a DOCUMENT.DAT apart into PNG files.

#include <QDialog>
#include <string>

#include "ui/theme_apply.h"

class QComboBox;
class QLineEdit;
class QListWidget;

namespace ebf::ui {

class FileDialogs;
class Prompter;

inline constexpr const char* kMsgNothingToConvert = "Erm, nothing to convert... >:0";
inline constexpr const char* kMsgTooManyPages =
    "Warning: The PSP's documentation reader doesn't support more than 100 pages!  Are you "
    "sure you wish to continue?";
inline constexpr const char* kMsgDocHeadMissing = "DOCHead.dat file missing!";
inline constexpr const char* kMsgDocDone =
    "Done =)  Just copy the generated DOCUMENT.DAT file into the folder with the game.";
inline constexpr const char* kMsgDocExtracted = "Done :-)";

// ".png", ".jpg", "jpeg", ... compared on the last four characters, lower-cased.
bool IsDocPagePath(const QString& path);

class DocDialog : public QDialog {
  Q_OBJECT
 public:
  // `gameId` fills the ID boxes when it has 9 characters; `outputFolder` proposes where
  // DOCUMENT.DAT goes.
  DocDialog(const ThemeContext& theme, Prompter& prompter, FileDialogs& dialogs,
            const std::string& gameId, const std::string& outputFolder, QWidget* parent = nullptr);

  QListWidget* list() const { return lst_; }
  QStringList pages() const;
  void AddPage(const QString& path, bool select);
  void AddFolder(const QString& folder);
  void DropPaths(const QStringList& paths);

 public slots:
  void AddClicked();
  void AddDirClicked();
  void DeleteSelected();
  void MoveUp();
  void MoveDown();
  void BrowseOutput();
  void OkClicked();
  void ExtractClicked();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  ThemeContext theme_;
  Prompter& prompter_;
  FileDialogs& dialogs_;
  QListWidget* lst_;
  QComboBox* cboID_;
  QLineEdit *txtID_, *txtOut_;
};

}  // namespace ebf::ui
