#include "ui/preview_dialog.h"

#include <QHBoxLayout>
#include <QImage>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>

#include "assets/convert.h"
#include "common/files.h"
#include "imaging/blend.h"
#include "imaging/dib.h"

namespace ebf::ui {
namespace {

constexpr int kScreenW = 480, kScreenH = 272;

bool HasContent(const std::string& path) {
  if (path.empty()) return false;
  const auto size = FileSize(path);
  return size && *size > 0;
}

void DrawOwnSize(const std::string& path, Surface& s, int x, int y) {
  c32bppDIB pic;
  if (pic.LoadPictureFile(path)) pic.Render(s, x, y);
}

void CopyInto(const Surface& from, Surface& to) {
  BlendSurface(from, to, 255);
}

// The view: paints whichever surface the dialog currently shows.
class PreviewView : public QWidget {
 public:
  explicit PreviewView(const PreviewDialog& owner, QWidget* parent)
      : QWidget(parent), owner_(owner) {
    setObjectName(QStringLiteral("picPreview"));
    setFixedSize(kScreenW, kScreenH);
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    const Surface& s = owner_.shown();
    QPainter p(this);
    if (s.empty()) return;
    const QImage image(s.Row(0), s.width(), s.height(), s.width() * 4, QImage::Format_RGB32);
    p.drawImage(0, 0, image);
  }

 private:
  const PreviewDialog& owner_;
};

}  // namespace

PreviewLayers DrawPreviewLayers(const PreviewInputs& in) {
  const std::string data = in.programFolder + "Data" + kSep;
  PreviewLayers l{Surface(kScreenW, kScreenH), Surface(kScreenW, kScreenH),
                  Surface(kScreenW, kScreenH), Surface(kScreenW, kScreenH)};
  DrawOwnSize(ResolveCaseBlind(data + "back.png"), l.base, 0, 0);

  c32bppDIB scratch;
  const std::string& pic1 = in.slotFiles[3];
  if (HasContent(pic1))
    DrawScaledPicture(pic1, l.background, scratch, kScreenW, kScreenH, in.resizeMode, in.centre, 0,
                      0);
  const std::string& boot = in.slotFiles[5];
  if (HasContent(boot))
    DrawScaledPicture(boot, l.gameboot, scratch, kScreenW, kScreenH, in.resizeMode, in.centre, 0,
                      0);

  // The menu shows the background over the base, as the PSP does behind its icons.
  CopyInto(l.base, l.menu);
  if (HasContent(pic1)) CopyInto(l.background, l.menu);
  const std::string& pic0 = in.slotFiles[2];
  if (HasContent(pic0)) {
    c32bppDIB pic;
    if (pic.LoadPictureFile(pic0)) pic.Render(l.menu, Pic0X(pic.Width()), Pic0Y(pic.Height()));
  }
  DrawOwnSize(ResolveCaseBlind(data + "highlight.png"), l.menu, 15, 86);
  const std::string& icon0 = in.slotFiles[0];
  DrawScaledPicture(HasContent(icon0) ? icon0 : ResolveCaseBlind(data + "deficon.png"), l.menu,
                    scratch, 144, 80, in.resizeMode, in.centre, 24, 96);
  return l;
}

PreviewDialog::PreviewDialog(const PreviewInputs& in, const ThemeContext& theme, QWidget* parent)
    : QDialog(parent), layers_(DrawPreviewLayers(in)), holdMs_(in.holdMs) {
  setObjectName(QStringLiteral("frmPreview"));
  setWindowTitle(QStringLiteral("preview"));
  auto* outer = new QVBoxLayout(this);
  outer->setContentsMargins(14, 14, 14, 12);
  outer->setSpacing(10);
  picPreview_ = new PreviewView(*this, this);
  auto* frame = new QHBoxLayout;
  frame->addStretch(1);
  frame->addWidget(picPreview_);
  frame->addStretch(1);
  outer->addLayout(frame);
  auto* note = new QLabel(
      QStringLiteral("Roughly how the PSP's game menu will show the game with these assets."),
      this);
  note->setProperty("role", QStringLiteral("info"));
  auto* close = new QPushButton(QStringLiteral("Close"), this);
  close->setObjectName(QStringLiteral("cmdClose"));
  close->setDefault(true);
  connect(close, &QPushButton::clicked, this, &QDialog::accept);
  auto* row = new QHBoxLayout;
  row->addWidget(note, 1);
  row->addWidget(close);
  outer->addLayout(row);
  ApplyTheme(this, theme, WindowKind::Dialog);

  timAnim_.setObjectName(QStringLiteral("timAnim"));
  timAnim_.setInterval(holdMs_);
  connect(&timAnim_, &QTimer::timeout, this, &PreviewDialog::Tick);
  // A delay of 0 (the setting's default) keeps the menu still.
  if (holdMs_ > 0) timAnim_.start();
}

void PreviewDialog::Tick() {
  if (timAnim_.interval() == holdMs_) {
    if (alpha_ >= 255) {
      alpha_ = 0;
      animating_ = false;
      picPreview_->update();
    } else {
      timAnim_.setInterval(60);
    }
    return;
  }
  animating_ = true;
  alpha_ = static_cast<int16_t>(std::min(alpha_ + 40, 255));
  composition_ = layers_.base;
  BlendSurface(layers_.background, composition_, alpha_);
  BlendSurface(layers_.gameboot, composition_, 255 - alpha_);
  picPreview_->update();
  if (alpha_ >= 255) timAnim_.setInterval(holdMs_);
}

}  // namespace ebf::ui
