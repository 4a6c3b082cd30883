#pragma once
// File and folder helpers shared by the whole program. Paths are UTF-8 strings with the
// native separator; the program folder and other folders that are joined to names end in
// the separator.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/file_io.h"
#include "common/questions.h"

namespace ebf {

#ifdef _WIN32
inline constexpr char kSep = '\\';
#else
inline constexpr char kSep = '/';
#endif

bool IsSeparator(char c);
// Folder + separator when the folder does not already end in one (empty stays empty).
std::string WithTrailingSep(std::string folder);
std::string JoinPath(const std::string& folder, const std::string& name);
// The part after the last separator.
std::string FileNameOf(const std::string& path);
// Everything up to and including the last separator ("" when there is none).
std::string FolderOf(const std::string& path);
// The file name without its last extension ("Game.bin" -> "Game").
std::string StemOf(const std::string& path);
// The path without its last extension, folder kept.
std::string WithoutExtension(const std::string& path);
// The path made absolute against the current folder (as it is when that fails).
std::string AbsolutePath(const std::string& path);
// The path with links and "." and ".." resolved, so that two names of one file compare
// equal (as it is when that fails).
std::string CanonicalPath(const std::string& path);
// Absolute path: POSIX "/..."; Windows "X:\..." or "X:/..." or a UNC path.
bool IsAbsolutePath(const std::string& path);

// True when the file system has an entry for the path: a file, a folder, or, when the
// last component holds "*" or "?", anything matching it.
bool FileExists(const std::string& path);
bool IsDirectory(const std::string& path);
// Creates every folder along the path. A failure in the middle (other than "already
// exists" or "permission denied") gives false; the last folder's creation is attempted
// with its error ignored.
bool MakeFolders(const std::string& path);
std::optional<uint64_t> FileSize(const std::string& path);
// Deletes a file; a missing file is not an error. Never touches folders.
bool DeleteFileIfExists(const std::string& path);
bool CopyFileTo(const std::string& from, const std::string& to, std::string* error = nullptr);
// Gives `from` the name `to` in one step, replacing a file of that name.
bool RenameReplacing(const std::string& from, const std::string& to, std::string* error = nullptr);
// "" when the path is a regular file or names nothing; else the message that refuses it as
// an input (a folder, a pipe, a device), to be given before anything opens it.
std::string NotAFileMessage(const std::string& path);
// Whether the path names a regular file (a link is followed): not a folder, FIFO or device.
bool IsRegularFile(const std::string& path);
// Free bytes on the volume that holds the path (its nearest existing ancestor).
std::optional<uint64_t> FreeSpace(const std::string& path);
// Marks a file or folder hidden where the platform has such a mark (Windows).
void MarkHidden(const std::string& path);

// "999 bytes", "1 KB", "1000 KB", "1 MB", "1.5 GB": thresholds in thousands of binary
// units, one decimal rounded half to even, the locale's decimal separator.
std::string FormatSize(uint64_t bytes);

// Fills `out` with the whole file. An empty file leaves a single zero element, as the
// rest of the program expects. Returns false when the file cannot be read or is larger
// than maxBytes.
bool ReadWholeFile(const std::string& path, std::vector<uint8_t>& out,
                   uint64_t maxBytes = 256ull << 20);
// Copies a file to the current position of an open file in 32 KB blocks.
bool AppendFileToOpenFile(const std::string& path, File& out);

// How the question before an overwrite begins.
inline constexpr const char* kOverwriteWarningHead =
    "WARNING: the following file will be overwritten if you continue!!!";
// Asks before a file in `folder` would be overwritten. True means stop (the user said
// No). Never asks when the target is the source itself or does not exist.
bool ConfirmOverwrite(Questions& questions, const std::string& folder, const std::string& name,
                      const std::string& source);

bool IsProcessRunning(int64_t pid);
int64_t CurrentProcessId();

// True when this process may create files in `folder` (permissions, read-only mounts).
bool CanWriteFolder(const std::string& folder);
// "" when a file can be created in `folder` (tried without leaving one), else the system's
// reason ("Permission denied", "Read-only file system").
std::string FolderWriteError(const std::string& folder);

uint8_t ToBcd(uint16_t n);
using Msf = std::array<uint8_t, 3>;  // minute, second, frame
Msf AddMsf(const Msf& a, const Msf& b);

// A derived path that does not exist as written is looked up case-blind, component by
// component, among its folder's entries; the first entry that matches is taken. When
// nothing matches, the path comes back as written.
std::string ResolveCaseBlind(const std::string& path);

// The executable's own path, and its folder ending in the separator.
std::string ExecutablePath();
std::string ProgramFolder();
// The Temp folder under the work folder (see ProgramFolders), created (and marked hidden)
// when missing.
std::string TempFolder(const std::string& workFolder);

}  // namespace ebf
