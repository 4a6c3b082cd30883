#pragma once
// The output folder named by a template (setting NameTemplate, --name): what many PSP
// users keep is one folder per game ID, "%GAMEID%". The name is made fit for the memory
// stick, and a folder that already holds another game's package is never taken.

#include <string>

#include "app/settings.h"
#include "disc/resolver.h"
#include "library/game_names.h"

namespace ebf {

// The folder `nameTemplate` names under `base`. Tokens: %GAMEID% (the package's ID as it
// is), %TITLE%, %FILENAME%, %REGION%; a "/" or "\" in the template makes sub-folders. Every
// part is FAT-safe; a template that leaves no name names the folder after %FILENAME%.
std::string NamedOutputFolder(const std::string& base, const std::string& nameTemplate,
                              const GameNames& names);

// `folder` when it holds no EBOOT.PBP or the package of the game `gameId`; else the first
// of "<folder> (2)", "<folder> (3)" ... that does.
std::string FolderForGame(const std::string& folder, const std::string& gameId);

// With a name template in the settings, the resolved input's output folder becomes the
// template's folder under DefaultOutputDir (or the image's folder), told apart from
// another game's; without one it stays as the resolver made it.
void ApplyNameTemplate(ResolvedInput& resolved, const Settings& settings);

}  // namespace ebf
