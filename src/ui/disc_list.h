#pragma once
// The discs of a game on several discs, under the input: shown only when the chosen input is
// one disc of a set, where discs can be added, removed and put in order.

#include <QWidget>
#include <string>
#include <vector>

class QListWidget;
class QPushButton;

namespace ebf::ui {

class DiscList : public QWidget {
  Q_OBJECT
 public:
  explicit DiscList(QWidget* parent = nullptr);

  // Shows the discs in this order; one disc (or none) hides the list.
  void SetDiscs(const std::vector<std::string>& discs);
  // In disc order; empty while the list is hidden (the input is a single disc).
  std::vector<std::string> discs() const;
  // Adds a disc at the end (up to five); false when the list is full.
  bool AddDisc(const std::string& path);
  // The field label beside the list, shown and hidden with it.
  void SetLabel(QWidget* label);

 signals:
  // The user asked to add a disc (the window picks the file).
  void addRequested();

 private:
  void MoveSelected(int by);
  void UpdateButtons();

  QListWidget* lst_;
  QWidget* label_ = nullptr;
  QPushButton *add_, *remove_, *up_, *down_;
};

}  // namespace ebf::ui
