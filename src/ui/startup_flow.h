#pragma once
// The main window's start-up, after the single-copy check: the converter and required
// files (a missing one ends the program after its critical message), the command-line
// file, the settings file, the theme and the customisation panel's state.

#include <string>

namespace ebf::ui {

class MainWindow;

// False when the program must end; the message has been shown by then.
bool RunStartup(MainWindow& window, const std::string& commandLine);

}  // namespace ebf::ui
