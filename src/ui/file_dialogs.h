#pragma once
// The open, save and folder pickers, behind an interface so that tests can pick files
// from a script. Filters are (description, patterns) pairs, patterns separated by ";".

#include <QString>
#include <QStringList>
#include <utility>
#include <vector>

class QWidget;

namespace ebf::ui {

using FileFilters = std::vector<std::pair<QString, QString>>;

class FileDialogs {
 public:
  virtual ~FileDialogs() = default;
  // Each returns "" when the user cancels.
  virtual QString OpenFile(QWidget* parent, const QString& title, const QString& startAt,
                           const FileFilters& filters) = 0;
  virtual QString SaveFile(QWidget* parent, const QString& title, const QString& startAt,
                           const QString& proposedName, const QString& defaultExtension,
                           const FileFilters& filters) = 0;
  virtual QString PickFolder(QWidget* parent, const QString& title, const QString& startAt) = 0;
  // Several files at once; a picker that offers only one file answers with that one.
  virtual QStringList OpenFiles(QWidget* parent, const QString& title, const QString& startAt,
                                const FileFilters& filters) {
    const QString one = OpenFile(parent, title, startAt, filters);
    return one.isEmpty() ? QStringList() : QStringList{one};
  }
};

class QtFileDialogs : public FileDialogs {
 public:
  QString OpenFile(QWidget* parent, const QString& title, const QString& startAt,
                   const FileFilters& filters) override;
  QString SaveFile(QWidget* parent, const QString& title, const QString& startAt,
                   const QString& proposedName, const QString& defaultExtension,
                   const FileFilters& filters) override;
  QString PickFolder(QWidget* parent, const QString& title, const QString& startAt) override;
  QStringList OpenFiles(QWidget* parent, const QString& title, const QString& startAt,
                        const FileFilters& filters) override;
};

// "Desc (*.a *.b)" filter strings in the form Qt's dialogs read.
QStringList ToQtFilters(const FileFilters& filters);

}  // namespace ebf::ui
