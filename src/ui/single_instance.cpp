#include "ui/single_instance.h"

#include <QCryptographicHash>
#include <QLocalSocket>

namespace ebf::ui {

namespace {
constexpr char kRaise[] = "raise\n";
}

QString InstanceKey(const std::string& programFolder) {
  QString user = qEnvironmentVariable("USER");
  if (user.isEmpty()) user = qEnvironmentVariable("USERNAME");
  const QByteArray digest =
      QCryptographicHash::hash(QByteArray::fromStdString(programFolder), QCryptographicHash::Sha1)
          .toHex()
          .left(16);
  return QStringLiteral("ebootforge-%1-%2").arg(user, QString::fromLatin1(digest));
}

SingleInstance::SingleInstance(QString key, QObject* parent)
    : QObject(parent), key_(std::move(key)) {
  connect(&server_, &QLocalServer::newConnection, this, [this] {
    while (QLocalSocket* socket = server_.nextPendingConnection()) {
      connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
        if (socket->readAll().startsWith("raise")) emit Activated();
        socket->disconnectFromServer();
      });
      connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    }
  });
}

bool SingleInstance::AskRunningCopy(int timeoutMs) {
  QLocalSocket socket;
  socket.connectToServer(key_);
  if (!socket.waitForConnected(timeoutMs)) return false;
  socket.write(kRaise);
  socket.waitForBytesWritten(timeoutMs);
  socket.disconnectFromServer();
  return true;
}

bool SingleInstance::Listen() {
  server_.setSocketOptions(QLocalServer::UserAccessOption);
  if (server_.listen(key_)) return true;
  // Nobody answered on the name a moment ago, so it is left over from a copy that died.
  QLocalServer::removeServer(key_);
  return server_.listen(key_);
}

}  // namespace ebf::ui
