#pragma once
// frmMain: the one main window. It owns the program-wide state of a session (the current
// input, title, save name, game ID, region, settings and the asset slots) and leaves
// hooks where the input resolver, the conversion and the other dialogs plug in.

#include <QWidget>
#include <array>
#include <functional>
#include <string>
#include <vector>

#include "app/settings.h"
#include "engine/conversion.h"
#include "ui/cd_menu.h"
#include "ui/theme_apply.h"

class QCheckBox;
class QFrame;
class QLabel;
class QLineEdit;
class QMenu;
class QPushButton;
class QSpinBox;

namespace ebf::ui {

class DiscList;
class FileDialogs;
class PatchList;
class Prompter;
class ProgressWindow;

class MainWindow : public QWidget {
  Q_OBJECT
 public:
  // The pieces that other parts of the program provide. An empty hook leaves its control
  // disabled, or does the least that makes sense (the input goes into txtIn as it is).
  struct Hooks {
    // A dropped, browsed, command-line or last-used input (classification and resolver).
    std::function<void(MainWindow&, const std::string& path)> resolveInput;
    std::function<bool(const std::string& folder)> isOnPspGameFolder;
    std::function<void(MainWindow&, const std::string& outputFolder)> openTransfer;
    std::function<void(MainWindow&)> selectGame, customGame, openDocMaker, openPreview;
    // Takes the disc image out of the loaded package (enabled for package inputs).
    std::function<void(MainWindow&)> ebootToIso;
    // The CD drives for the CD menu; empty: the system's own.
    DriveLister listDrives;
    // Reads every block of the loaded package and shows the per-track figures.
    std::function<void(MainWindow&)> verifyPackage;
    // The batch queue: a whole library in one run.
    std::function<void(MainWindow&)> openBatch;
  };

  struct Services {
    ProgramFolders folders;
    std::string settingsFile;
    Prompter* prompter = nullptr;
    FileDialogs* dialogs = nullptr;
  };

  enum SlotIndex { kIcon0, kIcon1, kPic0, kPic1, kSnd0, kGameboot, kSlotCount };

  MainWindow(Services services, Hooks hooks = {}, QWidget* parent = nullptr);

  // Program-wide state.
  Settings& settings() { return settings_; }
  const ThemeContext& theme() const { return theme_; }
  const ProgramFolders& folders() const { return services_.folders; }
  const std::string& settingsFile() const { return services_.settingsFile; }
  Prompter& prompter() { return *services_.prompter; }
  FileDialogs& dialogs() { return *services_.dialogs; }
  void SetHooks(Hooks hooks);

  // What the resolver and the game dialogs fill in.
  void SetInputText(const std::string& path);
  void SetTitleText(const std::string& title);
  void SetOutputText(const std::string& folder);
  void SetGameIdentity(const std::string& saveName, const std::string& gameId);
  void SetRegion(const std::string& region);  // "NTSC", "PAL" or ""
  const std::string& saveName() const { return saveName_; }
  const std::string& gameId() const { return gameId_; }
  // Package inputs enable the Extract buttons and the rebuild choice.
  void SetPackageLoaded(bool loaded);
  bool packageLoaded() const { return packageLoaded_; }
  // `source`: where the text was found; the row says so until the user changes the text.
  void SetSlot(int slot, bool ticked, const std::string& text,
               SlotSource source = SlotSource::Chosen);
  SlotSource slotSource(int slot) const { return slotSources_.at(slot); }

  // Hands a path to the resolver (or, until there is one, puts it into txtIn).
  void ResolveInput(const std::string& path);
  // The per-game asset search for the current input and game ID (after a game was chosen).
  void ReloadGameAssets();

  // Loads the named theme from the program folder and applies it here.
  void LoadAndApplyTheme();
  // Shows or hides the customisation panel and records it in ShowCust.
  void ToggleCustomisation();
  bool customisationShown() const;
  // Puts settings-driven values into the controls (compression level, output folder).
  void ShowSettings();
  // The controls' values that the settings file keeps (CompressLevel, ShowCust).
  void TakeSettingsFromControls();

  // The handlers of the buttons, public so that the tests drive them as a click does.
  void GoClicked();
  // What the window says once a run has ended.
  void ShowClosingMessage(const ConversionResult& result, const ConversionPlan& plan);
  void BrowseInput();
  // Adds a disc to the game's disc list (a file picked by the user).
  void AddDisc();
  // The discs the package will hold, in order: the disc list, or the input alone.
  std::vector<std::string> Discs() const;
  // Adds a patch file picked by the user to the Patches list (patch_flow.cpp).
  void AddPatch();
  void BrowseOutput();
  // The CD menu's entries (cd_menu.h).
  void MakeImageFromDrive();
  void ConvertFromDrive();
  void BrowseSlot(int slot);
  void ExtractSlot(int slot);
  void OpenOptions();
  void ShowAbout();
  // A list of dropped files on the window (index -1) or on a slot's controls.
  void DropFiles(const QStringList& paths, int slot);
  // Brings a minimised or hidden window to the front (a second copy asked for it).
  void BringToFront();

 protected:
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  struct SlotRow {
    QCheckBox* check;
    QLineEdit* text;
    QPushButton* browse;
    QPushButton* extract;
    QLabel* info;
    QLabel* source;  // "from resource folder", "from thumbnails"
  };
  void BuildLayout();
  QWidget* BuildInputBox();
  QWidget* BuildOutputBox();
  QWidget* BuildCustomisationPanel();
  QWidget* BuildButtonBar();
  void UpdateSlotRow(int slot);
  void UpdateHookedButtons();
  // The job as the controls describe it.
  JobInput JobFromControls() const;
  // The input resolver and package inspection of the core (input_flow.cpp).
  void ResolveWithCore(const std::string& path);
  void InspectPackage(const std::string& path);
  void LoadSlotsForGame(const std::string& dataFile, const std::string& gameId);
  // Pictures from the resource and thumbnails folders for the slots left blank; the ones
  // found for the previous game are forgotten first (input_flow.cpp).
  void LoadFoundPictures(const GameNames& game);
  void ForgetFoundPictures();
  void ShowSlotSource(int slot);
  // What lies beside the discs of a new input (patch_flow.cpp): LibCrypt data for the notice,
  // and a patch named like a disc, offered at a question (`offer`).
  void FindDiscCompanions(bool offer);
  // Which controls a new input enables (package or disc image, existing or not).
  void UpdateControlStates();
  // Runs a plan on a worker thread behind the progress window (input_flow.cpp).
  ConversionResult RunPlan(const ConversionPlan& plan);

  Services services_;
  Hooks hooks_;
  Settings settings_;
  ThemeContext theme_;
  std::string saveName_, gameId_;
  bool packageLoaded_ = false;

  ThemedHeader* header_ = nullptr;
  QLineEdit *txtIn_ = nullptr, *txtTitle_ = nullptr, *txtOut_ = nullptr;
  DiscList* discs_ = nullptr;
  PatchList* patches_ = nullptr;
  QPushButton *cmdInBrowse_ = nullptr, *cmdInCD_ = nullptr, *cmdOutBrowse_ = nullptr;
  QPushButton *cmdGame_ = nullptr, *cmdGameCust_ = nullptr;
  QMenu* mnuCD_ = nullptr;
  QLabel *lblRegion_ = nullptr, *lblGameId_ = nullptr;
  QSpinBox* txtCompress_ = nullptr;
  QCheckBox *chkPAL2NTSCScr_ = nullptr, *chkPAL2NTSCGFX_ = nullptr, *chkRecompressEBOOT_ = nullptr;
  QPushButton* cmdCustShowHide_ = nullptr;
  QFrame* panelCust_ = nullptr;
  std::array<SlotRow, kSlotCount> slots_{};
  std::array<SlotSource, kSlotCount> slotSources_{};
  std::array<QString, kSlotCount> foundTexts_;
  QPushButton *cmdGo_ = nullptr, *cmdOptions_ = nullptr, *cmdDoc_ = nullptr, *cmdPreview_ = nullptr,
              *cmdAbout_ = nullptr, *cmdBatch_ = nullptr, *cmdEBOOT2ISO_ = nullptr,
              *cmdVerify_ = nullptr;
};

}  // namespace ebf::ui
