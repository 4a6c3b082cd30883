// Time from opening the game selection dialog on the shipped database to a list the user
// can type into, and the time one typed filter takes.
//   bench_select_bench [runtime folder]

#include <QApplication>
#include <QComboBox>
#include <QCompleter>
#include <QElapsedTimer>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "common/files.h"
#include "disc/game_db.h"
#include "ui/prompter.h"
#include "ui/select_dialog.h"

namespace {

class SilentPrompter : public ebf::ui::Prompter {
 public:
  ebf::ui::Answer Show(QWidget*, ebf::MsgIcon, const QString& text, ebf::ui::Buttons,
                       bool) override {
    std::fprintf(stderr, "message: %s\n", qPrintable(text));
    return ebf::ui::Answer::Ok;
  }
};

double Median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  if (!std::getenv("QT_QPA_PLATFORM")) setenv("QT_QPA_PLATFORM", "offscreen", 1);
  QApplication app(argc, argv);
  const std::string runtime = ebf::WithTrailingSep(argc > 1 ? argv[1] : EBF_BENCH_RUNTIME_DIR);
  const std::string db = ebf::GameDbPath(runtime);
  ebf::ui::ThemeContext theme;
  theme.folders = runtime;
  SilentPrompter prompter;

  std::vector<double> open, filter;
  int count = 0, matches = 0;
  for (int run = 0; run < 7; ++run) {
    QElapsedTimer t;
    t.start();
    ebf::ui::SelectDialog d(theme, prompter);
    if (!d.Load(db, true, "SLUS00594", "")) return 1;
    d.show();
    QApplication::processEvents();
    open.push_back(t.nsecsElapsed() / 1e6);
    count = d.count();

    t.restart();
    QCompleter* c = d.list()->completer();
    c->setCompletionPrefix(QStringLiteral("the"));
    matches = c->completionCount();
    filter.push_back(t.nsecsElapsed() / 1e6);
  }
  std::printf("select dialog: %d games, open to usable list %.1f ms (median of %zu, first %.1f)\n",
              count, Median(open), open.size(), open.front());
  std::printf("select dialog: filter \"the\" -> %d titles in %.1f ms (median)\n", matches,
              Median(filter));
  return Median(open) < 200 ? 0 : 1;
}
