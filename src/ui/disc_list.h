#pragma once
// The discs of a game on several discs, under the input: shown only when the chosen input is
// one disc of a set, where discs can be added, removed and put in order, or a package of
// several discs, whose discs it lists as they are.

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
  // The discs of a loaded package, a line each, to be read only; fewer than two hide the list.
  void ShowPackageDiscs(const std::vector<std::string>& lines);
  // In disc order; empty while the list is hidden (the input is a single disc) or lists a
  // package's discs.
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
  bool package_ = false;
};

}  // namespace ebf::ui
