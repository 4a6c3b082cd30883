#pragma once
// Where a game goes on a PSP (<volume>/PSP/GAME/<folder>/EBOOT.PBP) and the copy there.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "common/cancel.h"
#include "common/outcome.h"
#include "common/progress.h"
#include "common/questions.h"
#include "transfer/volumes.h"

namespace ebf {

inline constexpr const char* kMsgCouldNotCreateFolders = "Error: could not create folders!!!";

// True when `path` is exactly one folder below PSP/GAME on a removable volume with a
// medium (no trailing separator, no deeper level).
bool IsOnPspGameFolder(const std::string& path, VolumeSource& volumes);

// The game's folder on the volume: named by the title cut to 31 characters when
// autoTransfer is 1, by the game ID otherwise.
std::string PspGameFolder(const std::string& volumeRoot, const std::string& title,
                          const std::string& gameId, int autoTransfer);

// Copies sourceFolder/EBOOT.PBP into targetFolder (created with its parents), asking
// before an existing package is replaced. The old package stays until the new one is
// complete.
Outcome CopyEbootToPsp(const std::string& sourceFolder, const std::string& targetFolder,
                       Progress& progress, Questions& questions, CancelToken& cancel);

// Before packages of up to `bytes` in all are copied onto the volume at `volumeRoot`: ""
// when they fit (or its free space cannot be told), else what the user should know.
using VolumeFreeSpace = std::function<std::optional<uint64_t>(const std::string& path)>;
std::string CheckPspRoom(const std::string& volumeRoot, uint64_t bytes,
                         const VolumeFreeSpace& freeSpace = {});

}  // namespace ebf
