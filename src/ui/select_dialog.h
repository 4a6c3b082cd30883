#pragma once
// frmSelect: the whole game database in one editable combo box; typing filters the list
// to the titles that contain the typed text. OK hands back the chosen entry and the title
// as the box shows it (the user may have edited it).

#include <QDialog>
#include <string>
#include <vector>

#include "disc/game_db.h"
#include "ui/theme_apply.h"

class QComboBox;

namespace ebf::ui {

class Prompter;

inline constexpr const char* kMsgTitleTooLong =
    "The maximum length for the title is 127 characters - please adhere to that XD.";
inline constexpr const char* kMsgSelectGame = "Please select a game. :P";

class SelectDialog : public QDialog {
  Q_OBJECT
 public:
  SelectDialog(const ThemeContext& theme, Prompter& prompter, QWidget* parent = nullptr);

  // Fills the list from the database and preselects the current ID's entry (or the
  // fallback one). With nothing to list it says so and returns false; the caller then
  // does not show the dialog.
  bool Load(const std::string& dbPath, bool hideNameTags, const std::string& currentId,
            const std::string& title);

  int count() const;
  int selectedIndex() const;
  QString titleText() const;
  // The entry OK accepted.
  const GameDbEntry& chosen() const { return chosen_; }
  QComboBox* list() const { return cboList_; }

 public slots:
  void OkClicked();

 private:
  Prompter& prompter_;
  QComboBox* cboList_;
  std::vector<GameDbEntry> entries_;
  GameDbEntry chosen_;
};

}  // namespace ebf::ui
