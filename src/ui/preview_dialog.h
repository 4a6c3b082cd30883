#pragma once
// frmPreview: roughly what the PSP's game menu will show, on a 480 x 272 view. Four
// layers are drawn once; a timer holds the menu layer, cross-fades from the boot picture
// to the background, holds that, and starts over.

#include <QDialog>
#include <QTimer>
#include <array>
#include <string>

#include "imaging/surface.h"
#include "ui/theme_apply.h"

namespace ebf::ui {

// What the layers are drawn from: the slot files as the conversion resolves them
// (ICON0, ICON1, PIC0, PIC1, SND0, Gameboot) and the picture settings.
struct PreviewInputs {
  std::string programFolder;  // ends in the separator; Data/back.png etc. live there
  std::array<std::string, 6> slotFiles;
  int resizeMode = 0;
  bool centre = false;
  int holdMs = 2000;  // the previewdelay setting
};

struct PreviewLayers {
  Surface base, background, gameboot, menu;
};
PreviewLayers DrawPreviewLayers(const PreviewInputs& in);

// Where a PIC0 of the given size goes: its bottom-right corner 5 pixels inside the screen's.
inline int Pic0X(int width) {
  return 475 - width;
}
inline int Pic0Y(int height) {
  return 267 - height;
}

class PreviewDialog : public QDialog {
  Q_OBJECT
 public:
  PreviewDialog(const PreviewInputs& in, const ThemeContext& theme, QWidget* parent = nullptr);

  // One tick of timAnim (the timer calls it; tests call it directly).
  void Tick();
  int alpha() const { return alpha_; }
  bool animating() const { return animating_; }
  int interval() const { return timAnim_.interval(); }
  const PreviewLayers& layers() const { return layers_; }
  // What the view shows now.
  const Surface& shown() const { return animating_ ? composition_ : layers_.menu; }
  QTimer& timer() { return timAnim_; }

 private:
  PreviewLayers layers_;
  Surface composition_;
  QTimer timAnim_;
  int holdMs_;
  int16_t alpha_ = 0;
  bool animating_ = false;
  QWidget* picPreview_;
};

}  // namespace ebf::ui
