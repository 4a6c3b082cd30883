#pragma once
// frmOpt: edits the settings that users change often and rewrites the settings file at
// once, keeping its LastUsedImage line and every file-only setting.

#include <QDialog>
#include <array>
#include <functional>
#include <string>

#include "app/settings.h"
#include "ui/theme_apply.h"

class QCheckBox;
class QComboBox;
class QLineEdit;
class QRadioButton;

namespace ebf::ui {

class FileDialogs;
class Prompter;

class OptionsDialog : public QDialog {
  Q_OBJECT
 public:
  // `settings` is the program's record, changed only on OK; `settingsFile` is rewritten then.
  // `onThemeChanged` runs when OK picks another theme (names compared case-blind).
  OptionsDialog(Settings& settings, std::string settingsFile, const ThemeContext& theme,
                FileDialogs& dialogs, Prompter& prompter, std::function<void()> onThemeChanged,
                QWidget* parent = nullptr);

  // The four resize modes as the list shows them.
  static QStringList ResizeModeNames();

 public slots:
  void OkClicked();

 private:
  void Browse(QLineEdit* box, const char* title);

  Settings& settings_;
  std::string settingsFile_;
  ProgramFolders folders_;
  FileDialogs& dialogs_;
  Prompter& prompter_;
  std::function<void()> onThemeChanged_;
  QLineEdit *txtIn_, *txtOut_, *txtCust_, *txtResources_, *txtThumbnails_, *txtNameTemplate_;
  QCheckBox *chkCustSearchDest_, *chkHideTags_, *chkImgResCentre_;
  QComboBox *cboImgRes_, *cboTheme_;
  std::array<QRadioButton*, 4> optOutDirAct_{};
  QRadioButton* optNameTemplate_ = nullptr;
  std::array<QRadioButton*, 3> optAutoTransAct_{};
};

}  // namespace ebf::ui
