#pragma once
// frmTransfer: copies a new EBOOT.PBP onto a PSP connected as a removable volume, into
// PSP/GAME/<title or ID>/.

#include <QDialog>
#include <string>

#include "ui/backdrop_dialog.h"

class QComboBox;
class QPushButton;

namespace ebf {
class VolumeSource;
}

namespace ebf::ui {

class Prompter;

struct TransferRequest {
  std::string sourceFolder;  // holds the EBOOT.PBP to copy
  std::string title, gameId;
  int autoTransfer = 1;  // 1: folder named by the title, otherwise by the ID
};

// Lists the volumes in `drives` ("[E:] MEMSTICK"), keeping the one chosen when it is still
// there, else choosing the first.
void FillDriveList(QComboBox* drives, VolumeSource& volumes);

class TransferDialog : public BackdropDialog {
  Q_OBJECT
 public:
  TransferDialog(const ThemeContext& theme, Prompter& prompter, VolumeSource& volumes,
                 TransferRequest request, QWidget* parent = nullptr);

  QComboBox* drives() const { return cboDrive_; }
  // The game folder the copy went to (after OK).
  const std::string& target() const { return target_; }

 public slots:
  void Refresh();
  void OkClicked();

 private:
  ThemeContext theme_;
  Prompter& prompter_;
  VolumeSource& volumes_;
  TransferRequest request_;
  std::string target_;
  QComboBox* cboDrive_;
  QPushButton* cmdOK_;
};

}  // namespace ebf::ui
