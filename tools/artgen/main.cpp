// Draws the program's own artwork into the runtime tree: default menu assets, the preview's
// stock pictures and the Default theme's headers, backgrounds and buttons; or the
// desktop icon in the sizes of the hicolor icon theme.
//   ebf_artgen <runtime folder>
//   ebf_artgen --icons <folder> <name>   writes <folder>/<N>x<N>/apps/<name>.png

#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>

#include "canvas.h"

namespace artgen {
namespace {

const Colour kNavy = Hex(0x0B1426), kDeep = Hex(0x11294A), kTeal = Hex(0x1B5A80);
const Colour kSky = Hex(0x40A0E0), kIce = Hex(0xBFE8FF), kLilac = Hex(0xB9B4FF);

// The calm backdrop shared by every scene: a diagonal night-blue gradient, a soft light
// from the upper right and a few ribbons of light drifting across the lower half.
void Backdrop(Canvas& c, float phase, float light = 1.0f) {
  const float w = c.width(), h = c.height();
  c.LinearGradient(1.0f, 0.55f, {kNavy, kDeep, kTeal});
  c.Glow(w * 0.78f, h * 0.18f, h * 0.9f, Hex(0x6FB8FF), 0.22f * light, 0.7f);
  c.Glow(w * 0.12f, h * 1.05f, h * 0.8f, Hex(0x2F6FB0), 0.18f * light);
  using W = Canvas::Wave;
  const W top{h * 0.60f, h * 0.10f, w * 1.30f, phase, h * 0.04f, w * 0.55f, phase * 1.7f};
  const W bottom{h * 0.74f, h * 0.08f, w * 1.10f, phase + 1.1f, h * 0.05f, w * 0.48f, 0.4f};
  c.Sheet(top, bottom, kIce, 0.05f * light);
  const float t = std::max(1.0f, h / 200.0f);
  c.Ribbon(top, 1.1f * t, kIce, 0.55f * light);
  c.Ribbon(bottom, 0.9f * t, kIce, 0.35f * light);
  for (int i = 0; i < 4; ++i) {
    const W thread{h * (0.63f + 0.03f * i),
                   h * (0.09f - 0.01f * i),
                   w * (1.2f + 0.1f * i),
                   phase + 0.35f * (i + 1),
                   h * 0.03f,
                   w * 0.62f,
                   phase * 0.6f + 0.9f * i};
    c.Ribbon(thread, 0.6f * t, i % 2 ? kLilac : kIce, (0.22f - 0.04f * i) * light);
  }
  c.Grain(0.012f, static_cast<uint32_t>(phase * 1000) + c.width());
}

void DiscEmblem(Canvas& c, float cx, float cy, float r, float opacity = 1.0f) {
  c.Glow(cx, cy, r * 1.6f, kSky, 0.25f * opacity);
  c.Shadow(cx + r * 0.04f, cy + r * 0.08f, r, r * 0.18f, 0.45f * opacity);
  c.Disc(cx, cy, r, opacity);
}

Canvas Icon0() {
  Canvas c(144, 80);
  Backdrop(c, 0.6f, 1.2f);
  DiscEmblem(c, 72, 40, 29);
  c.RoundRectOutline(0.5f, 0.5f, 143, 79, 9, 1.2f, Hex(0xFFFFFF, 0.22f));
  c.ClipRoundRect(0, 0, 144, 80, 9.5f);
  return c;
}

Canvas Pic0() {
  Canvas c(310, 180);
  // Mostly clear: light threads that fade in towards the right and a pair of rings.
  Canvas threads(310, 180);
  using W = Canvas::Wave;
  for (int i = 0; i < 3; ++i)
    threads.Ribbon(W{120.0f + 14 * i, 16.0f, 420, 0.8f + 0.5f * i, 6.0f, 170, 0.3f * i}, 0.8f,
                   i == 1 ? kLilac : kIce, 0.6f - 0.12f * i);
  for (int y = 0; y < 180; ++y)
    for (int x = 0; x < 310; ++x) threads.Fade(x, y, (x / 310.0f) * (x / 310.0f));
  c = threads;
  c.Ring(262, 132, 30, 1.4f, Hex(0xFFFFFF, 0.35f));
  c.Ring(262, 132, 12, 1.0f, Hex(0xFFFFFF, 0.25f));
  c.RoundRect(178, 36, 112, 4, 2, Hex(0xFFFFFF, 0.45f), Hex(0xFFFFFF, 0.45f));
  c.RoundRect(206, 48, 84, 3, 1.5f, Hex(0xFFFFFF, 0.25f), Hex(0xFFFFFF, 0.25f));
  return c;
}

Canvas Pic1() {
  Canvas c(480, 272);
  Backdrop(c, 0.0f);
  return c;
}

Canvas Gameboot() {
  Canvas c(480, 272);
  Backdrop(c, 2.2f, 0.8f);
  DiscEmblem(c, 240, 130, 64);
  c.Glow(240, 226, 120, kIce, 0.08f, 0.08f);
  return c;
}

Canvas Back() {
  Canvas c(480, 272);
  Backdrop(c, 1.3f, 0.9f);
  // Category marks along the top, the first one lit.
  for (int i = 0; i < 6; ++i) {
    const float x = 44 + 46.0f * i;
    c.RoundRect(x - 9, 26, 18, 18, 5, Hex(0xFFFFFF, i == 0 ? 0.85f : 0.28f),
                Hex(0xDDEBFF, i == 0 ? 0.75f : 0.2f));
  }
  c.RoundRect(400, 12, 22, 10, 2.5f, Hex(0xFFFFFF, 0.0f), Hex(0xFFFFFF, 0.0f));
  c.RoundRectOutline(408, 14, 20, 9, 2.5f, 1.0f, Hex(0xFFFFFF, 0.55f));
  c.RoundRect(410, 16, 12, 5, 1, Hex(0xFFFFFF, 0.55f), Hex(0xFFFFFF, 0.55f));
  c.RoundRect(428, 16.5f, 2, 4, 0.8f, Hex(0xFFFFFF, 0.55f), Hex(0xFFFFFF, 0.55f));
  return c;
}

Canvas Highlight() {
  Canvas c(162, 100);
  for (int i = 6; i >= 1; --i)
    c.RoundRectOutline(9 - i, 10 - i, 144 + 2 * i, 80 + 2 * i, 10 + i, 1.0f,
                       Hex(0x9FD8FF, 0.05f * (7 - i) / 6.0f));
  c.RoundRect(9, 10, 144, 80, 10, Hex(0xFFFFFF, 0.18f), Hex(0xFFFFFF, 0.04f));
  c.RoundRectOutline(9, 10, 144, 80, 10, 1.5f, Hex(0xE8F6FF, 0.75f));
  return c;
}

Canvas DefIcon() {
  Canvas c(144, 80);
  c.RoundRect(0.5f, 0.5f, 143, 79, 9, Hex(0x3A4A60, 0.75f), Hex(0x232E3E, 0.75f));
  c.RoundRectOutline(0.5f, 0.5f, 143, 79, 9, 1.2f, Hex(0xFFFFFF, 0.25f));
  c.Ring(72, 40, 26, 2.0f, Hex(0xFFFFFF, 0.55f));
  c.Ring(72, 40, 9, 1.6f, Hex(0xFFFFFF, 0.45f));
  c.Ring(72, 40, 17, 1.0f, Hex(0xFFFFFF, 0.18f));
  return c;
}

// Dialog header: drawn twice the size it is shown at; the emblem sits at the right so that
// a narrow dialog that crops the left side still shows it.
Canvas Header(float phase, const std::function<void(Canvas&, float, float, float)>& emblem) {
  Canvas c(1200, 128);
  c.LinearGradient(1.0f, 0.15f, {kNavy, kDeep, Hex(0x1A4E74)});
  c.Glow(1020, 10, 260, Hex(0x6FB8FF), 0.25f, 0.6f);
  using W = Canvas::Wave;
  for (int i = 0; i < 4; ++i)
    c.Ribbon(
        W{100.0f + 5 * i, 12.0f - 2 * i, 1500.0f + 90 * i, phase + 0.5f * i, 5, 520, phase * 2 + i},
        1.3f, i % 2 ? kLilac : kIce, 0.42f - 0.07f * i);
  emblem(c, 1110, 64, 44);
  c.Grain(0.01f, static_cast<uint32_t>(phase * 77));
  return c;
}

Canvas Panel(float phase, const std::function<void(Canvas&)>& extra) {
  Canvas c(480, 320);
  Backdrop(c, phase, 0.6f);
  extra(c);
  return c;
}

// 9-slice button faces, twice the size they are shown at (12 px corners = 6 logical).
Canvas Button(uint32_t top, uint32_t bottom, float border, float shine) {
  Canvas c(64, 48);
  c.RoundRect(1, 1, 62, 46, 12, Hex(top), Hex(bottom));
  c.RoundRect(3, 3, 58, 20, 10, Hex(0xFFFFFF, shine), Hex(0xFFFFFF, 0.0f));
  c.RoundRectOutline(1, 1, 62, 46, 12, 2.0f, Hex(0xFFFFFF, border));
  c.RoundRectOutline(0, 0, 64, 48, 13, 1.0f, Hex(0x000000, 0.25f));
  return c;
}

// Check box and option button marks, twice the size they are shown at.
Canvas Check(bool on) {
  Canvas c(32, 32);
  if (on) {
    c.RoundRect(2, 2, 28, 28, 7, Hex(0x55B6F4), Hex(0x2479C6));
    c.RoundRectOutline(2, 2, 28, 28, 7, 1.5f, Hex(0xFFFFFF, 0.30f));
    c.Line(9, 16.5f, 14, 21.5f, 3.4f, Hex(0xFFFFFF));
    c.Line(14, 21.5f, 23.5f, 10.5f, 3.4f, Hex(0xFFFFFF));
  } else {
    c.RoundRect(2, 2, 28, 28, 7, Hex(0x2C3545), Hex(0x242B38));
    c.RoundRectOutline(2, 2, 28, 28, 7, 2.0f, Hex(0xFFFFFF, 0.32f));
  }
  return c;
}

Canvas Radio(bool on) {
  Canvas c(32, 32);
  if (on) {
    c.Circle(16, 16, 14, Hex(0x55B6F4), Hex(0x2479C6));
    c.Ring(16, 16, 13.3f, 1.5f, Hex(0xFFFFFF, 0.30f));
    c.Circle(16, 16, 5.5f, Hex(0xFFFFFF), Hex(0xEAF4FF));
  } else {
    c.Circle(16, 16, 14, Hex(0x2C3545), Hex(0x242B38));
    c.Ring(16, 16, 13, 2.0f, Hex(0xFFFFFF, 0.32f));
  }
  return c;
}

// The desktop icon: the disc emblem on the night backdrop, in a rounded square with the
// margin that icon themes leave around a square icon.
Canvas AppIcon(int size) {
  Canvas c(size, size);
  const float s = static_cast<float>(size);
  Backdrop(c, 0.6f, 1.3f);
  DiscEmblem(c, s * 0.5f, s * 0.5f, s * 0.33f);
  const float m = s * 0.06f, r = s * 0.2f;
  if (size >= 32)
    c.RoundRectOutline(m, m, s - 2 * m, s - 2 * m, r, s / 96.0f, Hex(0xFFFFFF, 0.25f));
  c.ClipRoundRect(m, m, s - 2 * m, s - 2 * m, r);
  return c;
}

int WriteIcons(const std::filesystem::path& root, const std::string& name) {
  bool ok = true;
  for (int size : {16, 22, 24, 32, 48, 64, 128, 256, 512}) {
    const std::string dim = std::to_string(size) + "x" + std::to_string(size);
    const std::filesystem::path folder = root / dim / "apps";
    std::filesystem::create_directories(folder);
    ok &= WritePng((folder / (name + ".png")).string(), AppIcon(size));
  }
  if (!ok) std::fprintf(stderr, "ebf_artgen: could not write the icons under %s\n", root.c_str());
  return ok ? 0 : 1;
}

}  // namespace
}  // namespace artgen

int main(int argc, char** argv) {
  using namespace artgen;
  if (argc == 4 && std::string(argv[1]) == "--icons") return WriteIcons(argv[2], argv[3]);
  if (argc != 2) {
    std::fprintf(stderr, "usage: ebf_artgen <runtime folder> | --icons <folder> <name>\n");
    return 2;
  }
  namespace fs = std::filesystem;
  const fs::path root = argv[1];
  for (const char* sub : {"PSXCust/Default", "Themes/Default", "Data"})
    fs::create_directories(root / sub);
  bool ok = true;
  auto png = [&](const char* name, const Canvas& c) { ok &= WritePng((root / name).string(), c); };
  auto jpg = [&](const char* name, const Canvas& c) {
    ok &= WriteJpeg((root / name).string(), c, 93);
  };

  png("PSXCust/Default/ICON0.PNG", Icon0());
  png("PSXCust/Default/PIC0.PNG", Pic0());
  png("PSXCust/Default/PIC1.PNG", Pic1());
  png("PSXCust/Default/Gameboot.png", Gameboot());
  png("Data/back.png", Back());
  png("Data/highlight.png", Highlight());
  png("Data/deficon.png", DefIcon());

  const Colour glyph = Hex(0xE8F4FF, 0.85f);
  jpg("Themes/Default/Ti_Select.jpg",
      Header(0.3f, [](Canvas& c, float x, float y, float r) { c.Disc(x, y, r * 0.95f); }));
  jpg("Themes/Default/Ti_Options.jpg",
      Header(1.4f, [&](Canvas& c, float x, float y, float r) { c.Cog(x, y, r, 8, glyph); }));
  jpg("Themes/Default/Ti_DocMaker.jpg",
      Header(2.5f, [&](Canvas& c, float x, float y, float r) { c.Page(x, y, r * 1.8f, glyph); }));
  jpg("Themes/Default/Ti_Main.jpg",
      Header(3.1f, [](Canvas& c, float x, float y, float r) { c.Disc(x, y, r * 0.95f); }));
  jpg("Themes/Default/BG_SaveID.jpg", Panel(0.9f, [](Canvas& c) {
        for (float r : {110.0f, 72.0f, 30.0f}) c.Ring(400, 250, r, 3, Hex(0xFFFFFF, 0.08f));
      }));
  jpg("Themes/Default/BG_Transfer.jpg", Panel(1.9f, [](Canvas& c) {
        c.RoundRectOutline(300, 190, 170, 96, 30, 3, Hex(0xFFFFFF, 0.10f));
        c.Ring(340, 238, 14, 3, Hex(0xFFFFFF, 0.10f));
      }));
  png("Themes/Default/Btn_Normal.png", Button(0x33445C, 0x27354A, 0.16f, 0.10f));
  png("Themes/Default/Btn_Hover.png", Button(0x3D5270, 0x2E4058, 0.30f, 0.14f));
  png("Themes/Default/Btn_Pressed.png", Button(0x1E2A3A, 0x243246, 0.12f, 0.0f));
  png("Themes/Default/Btn_Accent.png", Button(0x49AEF0, 0x2479C6, 0.35f, 0.22f));
  png("Themes/Default/Chk_On.png", Check(true));
  png("Themes/Default/Chk_Off.png", Check(false));
  png("Themes/Default/Rad_On.png", Radio(true));
  png("Themes/Default/Rad_Off.png", Radio(false));
  if (!ok) {
    std::fprintf(stderr, "ebf_artgen: could not write the artwork under %s\n", argv[1]);
    return 1;
  }
  return 0;
}
