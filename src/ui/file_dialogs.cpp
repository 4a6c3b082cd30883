#include "ui/file_dialogs.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>

namespace ebf::ui {

QStringList ToQtFilters(const FileFilters& filters) {
  QStringList out;
  for (const auto& [description, patterns] : filters) {
    // Qt reads the patterns from the parentheses; "*.*" must match names without a dot.
    QString qtPatterns = patterns;
    qtPatterns.replace(';', ' ');
    if (qtPatterns == QStringLiteral("*.*")) qtPatterns = QStringLiteral("*");
    QString text = description;
    const qsizetype open = text.indexOf('(');
    if (open >= 0) text = text.left(open).trimmed();
    out << QStringLiteral("%1 (%2)").arg(text, qtPatterns);
  }
  return out;
}

QStringList QtFileDialogs::OpenFiles(QWidget* parent, const QString& title, const QString& startAt,
                                     const FileFilters& filters) {
  return QFileDialog::getOpenFileNames(parent, title, startAt, ToQtFilters(filters).join(";;"));
}

QString QtFileDialogs::OpenFile(QWidget* parent, const QString& title, const QString& startAt,
                                const FileFilters& filters) {
  return QFileDialog::getOpenFileName(parent, title, startAt, ToQtFilters(filters).join(";;"));
}

QString QtFileDialogs::SaveFile(QWidget* parent, const QString& title, const QString& startAt,
                                const QString& proposedName, const QString& defaultExtension,
                                const FileFilters& filters) {
  QFileDialog dialog(parent, title);
  dialog.setAcceptMode(QFileDialog::AcceptSave);
  dialog.setNameFilters(ToQtFilters(filters));
  dialog.setDefaultSuffix(defaultExtension);
  if (!startAt.isEmpty())
    dialog.setDirectory(QFileInfo(startAt).isDir() ? startAt : QFileInfo(startAt).path());
  if (!proposedName.isEmpty()) dialog.selectFile(proposedName);
  if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return {};
  return QDir::toNativeSeparators(dialog.selectedFiles().first());
}

QString QtFileDialogs::PickFolder(QWidget* parent, const QString& title, const QString& startAt) {
  return QDir::toNativeSeparators(QFileDialog::getExistingDirectory(parent, title, startAt));
}

}  // namespace ebf::ui
