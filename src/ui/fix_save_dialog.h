#pragma once
// frmFixSave: the save name and game ID typed by hand, for games the database does not
// know or when the user wants other values.

#include <string>

#include "ui/backdrop_dialog.h"

class QComboBox;
class QLineEdit;

namespace ebf::ui {

class Prompter;

inline constexpr const char* kMsgEnterSaveName = "Please enter a game save name!";
inline constexpr const char* kMsgEnterValidId =
    "Please enter a valid Game ID (must be 9 characters according to tarnwick)!";

// The prefix list of the ID combo boxes; SLPS is listed twice on purpose.
QStringList GameIdPrefixList();

class FixSaveDialog : public BackdropDialog {
  Q_OBJECT
 public:
  FixSaveDialog(const ThemeContext& theme, Prompter& prompter, const std::string& saveName,
                const std::string& gameId, QWidget* parent = nullptr);

  // Valid after the dialog was accepted.
  const std::string& saveName() const { return saveName_; }
  const std::string& gameId() const { return gameId_; }

 public slots:
  void OkClicked();

 private:
  Prompter& prompter_;
  std::string saveName_, gameId_;
  QLineEdit *txtSave_, *txtID_;
  QComboBox* cboID_;
};

}  // namespace ebf::ui
