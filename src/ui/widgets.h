#pragma once
// Small pieces that several windows build the same way.

#include <QString>
#include <QStringList>
#include <string>

class QComboBox;
class QDialog;
class QHBoxLayout;
class QMimeData;
class QPushButton;
class QWidget;

namespace ebf::ui {

inline QString Q(const std::string& s) {
  return QString::fromStdString(s);
}
inline std::string S(const QString& s) {
  return s.toStdString();
}

// A push button with an object name that never takes Return for itself.
QPushButton* Button(const QString& text, const char* name, QWidget* parent);

// The OK / Cancel row at the foot of a dialog: cmdOK (the default, accented) and cmdCancel,
// which rejects the dialog. The caller connects OK.
struct OkCancelRow {
  QHBoxLayout* row;
  QPushButton* ok;
  QPushButton* cancel;
};
OkCancelRow MakeOkCancelRow(QDialog* dialog, const QString& okText = QStringLiteral("OK"),
                            const QString& cancelText = QStringLiteral("Cancel"));

// The editable combo of game ID prefixes (cboID), nothing chosen.
QComboBox* MakeIdPrefixCombo(QWidget* parent);

// The local files a drag carries.
QStringList DroppedFiles(const QMimeData* data);

}  // namespace ebf::ui
