#pragma once
// The Verify action of a loaded package: every block read with a progress window, then the
// per-track figures (as a split extraction writes the tracks) and the verdict.

#include <QDialog>
#include <string>

#include "engine/verify.h"
#include "ui/theme_apply.h"

class QLabel;
class QTableWidget;

namespace ebf::ui {

class Prompter;

class VerifyDialog : public QDialog {
  Q_OBJECT
 public:
  VerifyDialog(const ThemeContext& theme, const std::string& packagePath,
               const VerifyReport& report, QWidget* parent = nullptr);

  QTableWidget* table() const { return table_; }
  QLabel* verdict() const { return verdict_; }

 private:
  QTableWidget* table_;
  QLabel* verdict_;
};

// The one-line verdict the dialog shows.
QString VerifyVerdictText(const VerifyReport& report);

// Runs the check and shows the dialog; a package that cannot be read gets a warning
// instead, a cancelled run nothing.
void VerifyLoadedPackage(QWidget* parent, Prompter& prompter, const ThemeContext& theme,
                         const std::string& packagePath);

}  // namespace ebf::ui
