// frmMain and patches: the Patches list's Add button, and what lies beside the discs of a
// new input (a patch named like a disc, offered at a question; LibCrypt data for the notice).

#include <QLineEdit>

#include "common/files.h"
#include "common/text.h"
#include "disc/cue_sheet.h"
#include "disc/libcrypt.h"
#include "engine/patch_plan.h"
#include "ui/file_dialogs.h"
#include "ui/main_window.h"
#include "ui/patch_list.h"
#include "ui/prompter.h"
#include "ui/widgets.h"

namespace ebf::ui {

void MainWindow::AddPatch() {
  const QString patterns = QStringLiteral("*.ppf;*.ips;*.bps;*.xdelta;*.vcdiff");
  const QString path = services_.dialogs->OpenFile(
      this, QStringLiteral("Select a patch for the disc"), Q(FolderOf(S(txtIn_->text()))),
      {{QStringLiteral("Patches (%1)").arg(patterns), patterns},
       {QStringLiteral("All Files (*.*)"), QStringLiteral("*.*")}});
  if (!path.isEmpty()) patches_->AddPatch(S(path));
}

void MainWindow::FindDiscCompanions(bool offer) {
  const std::vector<std::string> discs = Discs();
  patches_->SetDiscCount(static_cast<int>(discs.size()));
  std::vector<DiscLibCrypt> protectedDiscs;
  for (std::size_t i = 0; i < discs.size(); ++i) {
    const int disc = static_cast<int>(i) + 1;
    std::string dataFile = discs[i];
    if (Extension4(dataFile) == ".CUE") dataFile = FindCueDataFile(discs[i]).value_or(discs[i]);
    const std::string sub = FindSubchannelFile(discs[i], dataFile);
    SubchannelData data;
    if (!sub.empty() && ReadSubchannelFile(sub, data).empty() && HasLibCrypt(data))
      protectedDiscs.push_back({disc, sub, LibCryptKey(data), {}});
    if (!offer) continue;
    const std::string beside = FindPatchBeside(discs[i], dataFile);
    if (!beside.empty() &&
        services_.prompter->Ask(this, Q(BesidePatchQuestion(beside)), false, MsgIcon::Information))
      patches_->AddPatch(disc, beside);
  }
  patches_->SetLibCrypt(protectedDiscs);
}

}  // namespace ebf::ui
