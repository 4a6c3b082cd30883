#pragma once
// The patches of the game in the Game box: files added, removed and put in the order they
// are applied, each for one disc of the game (a spin box picks the disc when the game has
// several), and under them the LibCrypt line of the game's discs.

#include <QWidget>
#include <string>
#include <vector>

#include "engine/patch_plan.h"

class QLabel;
class QListWidget;
class QPushButton;
class QSpinBox;

namespace ebf::ui {

class PatchList : public QWidget {
  Q_OBJECT
 public:
  explicit PatchList(QWidget* parent = nullptr);

  // The game's disc count: more than one shows which disc each patch is for.
  void SetDiscCount(int count);
  // For the disc the spin box shows (disc 1 for a game of one disc).
  void AddPatch(const std::string& path);
  void AddPatch(int disc, const std::string& path);
  void Clear();
  std::vector<PatchChoice> patches() const;
  // The LibCrypt line: the discs' keys, and the notice for those without a patch.
  void SetLibCrypt(const std::vector<DiscLibCrypt>& discs);

 signals:
  void addRequested();

 private:
  void MoveSelected(int by);
  void Refresh();

  QListWidget* lst_;
  QPushButton *add_, *remove_, *up_, *down_;
  QSpinBox* disc_;
  QLabel* libcrypt_;
  std::vector<DiscLibCrypt> protected_;
  int discCount_ = 1;
};

}  // namespace ebf::ui
