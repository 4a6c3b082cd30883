#pragma once
// One copy per user and program folder: a later copy asks the running one, over a local
// socket, to come to the front, and then ends.

#include <QLocalServer>
#include <QObject>
#include <QString>
#include <string>

namespace ebf::ui {

// The socket's name: the user and a digest of the program folder.
QString InstanceKey(const std::string& programFolder);

class SingleInstance : public QObject {
  Q_OBJECT
 public:
  explicit SingleInstance(QString key, QObject* parent = nullptr);
  // True when a copy is already running; it has been asked to come to the front.
  bool AskRunningCopy(int timeoutMs = 1000);
  // Becomes the running copy. False when the socket cannot be set up (the program then
  // runs without the single-copy rule).
  bool Listen();

 signals:
  void Activated();

 private:
  QString key_;
  QLocalServer server_;
};

}  // namespace ebf::ui
