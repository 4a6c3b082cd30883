#include "ui/slot_table.h"

#include <array>

namespace ebf::ui {
namespace {

const std::pair<QString, QString> kAll{QStringLiteral("All Files (*.*)"), QStringLiteral("*.*")};

FileFilters ImageFilters() {
  const QString patterns = QStringLiteral("*.png;*.bmp;*.jpg;*.jpeg;*.gif;*.wmf;*.emf;*.ico;*.cur");
  return {{QStringLiteral("Supported Image Files (%1)").arg(patterns), patterns}, kAll};
}

FileFilters One(const char* description, const char* pattern) {
  return {{QLatin1String(description), QLatin1String(pattern)}, kAll};
}

}  // namespace

const SlotInfo& SlotAt(int index) {
  static const std::array<SlotInfo, 6> table = {{
      {"ICON0", "ICON0.PNG", "ICON0", "Icon, 144 x 80", "Select an Image file", ImageFilters(),
       "Select where to save ICON0.PNG", "ICON0.PNG", "png", One("PNG Files (*.png)", "*.png")},
      {"ICON1", "ICON1.PMF", "ICON1", "Icon animation (PSMF)", "Select a PSMF file",
       One("PSMF Files (*.pmf)", "*.pmf"), "Select where to save ICON1.PMF", "ICON1.PMF", "pmf",
       One("PSMF Files (*.pmf)", "*.pmf")},
      {"PIC0", "PIC0.PNG", "PIC0", "Information, up to 480 x 272", "Select a PNG Image file",
       One("PNG Images (*.png)", "*.png"), "Select where to save PIC0.PNG", "PIC0.PNG", "png",
       One("PNG Files (*.png)", "*.png")},
      {"PIC1", "PIC1.PNG", "PIC1", "Background, 480 x 272", "Select an Image file", ImageFilters(),
       "Select where to save PIC1.PNG", "PIC1.PNG", "png", One("PNG Files (*.png)", "*.png")},
      {"SND0", "SND0.AT3", "SND0", "Background sound (ATRAC3)", "Select a ATRAC3 file",
       One("ATRAC3 Files (*.at3)", "*.at3"), "Select where to save SND0.AT3", "SND0.AT3", "at3",
       One("ATRAC3 Files (*.at3)", "*.at3")},
      {"Gameboot", "Gameboot.png", "Gameboot", "Boot picture, 480 x 272", "Select an Image file",
       ImageFilters(), "Select where to save the gameboot PNG", "", "png",
       One("PNG Files (*.png)", "*.png")},
  }};
  return table.at(static_cast<size_t>(index));
}

}  // namespace ebf::ui
