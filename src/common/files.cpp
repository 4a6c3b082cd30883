#include "common/files.h"

#include <clocale>
#include <cmath>
#include <filesystem>
#include <system_error>

#include "common/text.h"

namespace fs = std::filesystem;

namespace ebf {

static fs::path P(const std::string& utf8) {
  return fs::path(std::u8string(utf8.begin(), utf8.end()));
}

bool IsSeparator(char c) {
#ifdef _WIN32
  return c == '\\' || c == '/';
#else
  return c == '/';
#endif
}

std::string WithTrailingSep(std::string folder) {
  if (!folder.empty() && !IsSeparator(folder.back())) folder.push_back(kSep);
  return folder;
}

std::string JoinPath(const std::string& folder, const std::string& name) {
  if (folder.empty()) return name;
  return WithTrailingSep(folder) + name;
}

static std::size_t LastSep(const std::string& path) {
  for (std::size_t i = path.size(); i-- > 0;)
    if (IsSeparator(path[i])) return i;
  return std::string::npos;
}

std::string FileNameOf(const std::string& path) {
  std::size_t p = LastSep(path);
  return p == std::string::npos ? path : path.substr(p + 1);
}

std::string FolderOf(const std::string& path) {
  std::size_t p = LastSep(path);
  return p == std::string::npos ? std::string() : path.substr(0, p + 1);
}

std::string StemOf(const std::string& path) {
  std::string name = FileNameOf(path);
  std::size_t dot = name.rfind('.');
  return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

std::string WithoutExtension(const std::string& path) {
  return FolderOf(path) + StemOf(path);
}

std::string AbsolutePath(const std::string& path) {
  if (path.empty() || IsAbsolutePath(path)) return path;
  std::error_code ec;
  auto abs = fs::absolute(P(path), ec);
  if (ec) return path;
  auto u8 = abs.u8string();
  std::string out(u8.begin(), u8.end());
  // Keep a trailing separator: folder strings rely on it.
  if (IsSeparator(path.back()) && !IsSeparator(out.back())) out.push_back(kSep);
  return out;
}

std::string CanonicalPath(const std::string& path) {
  std::error_code ec;
  auto p = fs::weakly_canonical(P(path), ec);
  if (ec) return path;
  auto u8 = p.u8string();
  return std::string(u8.begin(), u8.end());
}

bool IsAbsolutePath(const std::string& path) {
#ifdef _WIN32
  if (path.size() >= 3 && path[1] == ':' && IsSeparator(path[2])) return true;
  return path.size() >= 2 && IsSeparator(path[0]) && IsSeparator(path[1]);
#else
  return !path.empty() && path[0] == '/';
#endif
}

// Wildcards as the file system's own search knows them: "*" any run, "?" one character.
static bool GlobMatch(const std::string& name, const std::string& pattern) {
  std::size_t n = 0, p = 0, starP = std::string::npos, starN = 0;
  while (n < name.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      starP = p++;
      starN = n;
    } else if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == name[n])) {
      ++p;
      ++n;
    } else if (starP != std::string::npos) {
      p = starP + 1;
      n = ++starN;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') ++p;
  return p == pattern.size();
}

bool FileExists(const std::string& path) {
  if (path.empty()) return false;
  std::string name = FileNameOf(path);
  std::error_code ec;
  if (name.find_first_of("*?") != std::string::npos) {
    std::string folder = FolderOf(path);
    fs::directory_iterator it(folder.empty() ? fs::path(".") : P(folder), ec);
    for (; !ec && it != fs::directory_iterator(); it.increment(ec)) {
      auto u8 = it->path().filename().u8string();
      if (GlobMatch(std::string(u8.begin(), u8.end()), name)) return true;
    }
    return false;
  }
  return fs::exists(P(path), ec);
}

bool IsDirectory(const std::string& path) {
  std::error_code ec;
  return !path.empty() && fs::is_directory(P(path), ec);
}

// Length of the part of a path that names its root ("/", "C:\", "\\server\share\").
static std::size_t RootLength(const std::string& path) {
#ifdef _WIN32
  if (path.size() >= 3 && path[1] == ':' && IsSeparator(path[2])) return 3;
  if (path.size() >= 2 && IsSeparator(path[0]) && IsSeparator(path[1])) {
    std::size_t server = path.find_first_of("\\/", 2);
    if (server == std::string::npos) return path.size();
    std::size_t share = path.find_first_of("\\/", server + 1);
    return share == std::string::npos ? path.size() : share + 1;
  }
  return 0;
#else
  return !path.empty() && path[0] == '/' ? 1 : 0;
#endif
}

static std::size_t NextSep(const std::string& path, std::size_t from) {
  for (std::size_t i = from; i < path.size(); ++i)
    if (IsSeparator(path[i])) return i;
  return std::string::npos;
}

bool MakeFolders(const std::string& path) {
  if (path.empty()) return false;
  std::size_t p = NextSep(path, std::max<std::size_t>(RootLength(path), 1));
  while (p != std::string::npos) {
    std::error_code ec;
    fs::create_directory(P(path.substr(0, p)), ec);
    if (ec && ec != std::errc::file_exists && ec != std::errc::permission_denied &&
        ec != std::errc::is_a_directory) {
      return false;
    }
    p = NextSep(path, p + 2);
  }
  std::error_code ignored;
  fs::create_directory(P(path), ignored);
  return true;
}

std::optional<uint64_t> FileSize(const std::string& path) {
  std::error_code ec;
  auto size = fs::file_size(P(path), ec);
  if (ec) return std::nullopt;
  return static_cast<uint64_t>(size);
}

bool DeleteFileIfExists(const std::string& path) {
  std::error_code ec;
  auto st = fs::symlink_status(P(path), ec);
  if (ec || !fs::exists(st)) return true;
  if (fs::is_directory(st)) return false;
  return fs::remove(P(path), ec) && !ec;
}

bool RenameReplacing(const std::string& from, const std::string& to, std::string* error) {
  std::error_code ec;
  fs::rename(P(from), P(to), ec);
  if (ec && error) *error = ec.message();
  return !ec;
}

std::string NotAFileMessage(const std::string& path) {
  std::error_code ec;
  auto st = fs::status(P(path), ec);
  if (ec || !fs::exists(st) || fs::is_regular_file(st)) return {};
  if (fs::is_directory(st)) return "\"" + path + "\" is a folder, not a file.";
  return "\"" + path + "\" is not a regular file (a pipe or a device) and cannot be read.";
}

bool IsRegularFile(const std::string& path) {
  std::error_code ec;
  return fs::is_regular_file(P(path), ec);
}

bool CopyFileTo(const std::string& from, const std::string& to, std::string* error) {
  // Through the program's own file layer rather than the system's copy call, so that every
  // write of a copy is checked like any other (and seen by the tests' fault seam). A large
  // buffer keeps big copies near the speed of the system's own.
  constexpr std::size_t kCopyBuffer = 1 << 20;
  auto fail = [&](const std::string& why) {
    if (error) *error = why;
    return false;
  };
  std::error_code ec;
  if (fs::equivalent(P(from), P(to), ec)) return fail("the source and the target are one file");
  File in(from, File::Mode::Read);
  if (!in) return fail(in.LastError());
  File out(to, File::Mode::Write);
  if (!out) return fail(out.LastError());
  // A copy cut short is of no use to anyone.
  auto failWritten = [&](const std::string& why) {
    out.Close();
    DeleteFileIfExists(to);
    return fail(why);
  };
  std::vector<uint8_t> buf(kCopyBuffer);
  for (;;) {
    const std::size_t n = in.Read(buf);
    if (n == 0) break;
    if (!out.Write(std::span<const uint8_t>(buf.data(), n))) return failWritten(out.LastError());
  }
  if (!in.LastError().empty()) return failWritten(in.LastError());
  if (!out.Close()) return failWritten(out.LastError());
  // The converter is staged by a copy: it must stay executable.
  const auto perms = fs::status(P(from), ec).permissions();
  if (!ec) fs::permissions(P(to), perms, ec);
  return true;
}

std::optional<uint64_t> FreeSpace(const std::string& path) {
  std::error_code ec;
  fs::path p = P(path);
  if (p.is_relative()) p = fs::absolute(p, ec);
  while (!p.empty() && !fs::exists(p, ec)) {
    fs::path parent = p.parent_path();
    if (parent == p) break;
    p = parent;
  }
  auto info = fs::space(p, ec);
  if (ec) return std::nullopt;
  return static_cast<uint64_t>(info.available);
}

std::string FormatSize(uint64_t n) {
  if (n < 1000) return std::to_string(n) + " bytes";
  const char* unit;
  double divisor;
  if (n < 1000ull * 1024) {
    unit = " KB";
    divisor = 1024.0;
  } else if (n < 1000ull * 1024 * 1024) {
    unit = " MB";
    divisor = 1024.0 * 1024;
  } else {
    unit = " GB";
    divisor = 1024.0 * 1024 * 1024;
  }
  // n * 10 / 2^k is exact in a double for any file size, so the tie test is exact too.
  double tenths = std::nearbyint(static_cast<double>(n) * 10.0 / divisor);
  auto whole = static_cast<uint64_t>(tenths) / 10;
  auto frac = static_cast<uint64_t>(tenths) % 10;
  std::string text = std::to_string(whole);
  if (frac) {
    const char* point = std::localeconv()->decimal_point;
    text += (point && *point) ? point : ".";
    text += std::to_string(frac);
  }
  return text + unit;
}

bool ReadWholeFile(const std::string& path, std::vector<uint8_t>& out, uint64_t maxBytes) {
  File f(path, File::Mode::Read);
  if (!f) return false;
  uint64_t size = f.Size();
  if (size > maxBytes) return false;
  if (size == 0) {
    out.assign(1, 0);
    return true;
  }
  out.resize(static_cast<std::size_t>(size));
  return f.ReadExact(out);
}

bool AppendFileToOpenFile(const std::string& path, File& out) {
  File in(path, File::Mode::Read);
  if (!in) return false;
  std::vector<uint8_t> buf(32768);
  for (;;) {
    std::size_t n = in.Read(buf);
    if (n == 0) break;
    if (!out.Write(std::span<const uint8_t>(buf.data(), n))) return false;
  }
  return in.LastError().empty();
}

bool ConfirmOverwrite(Questions& questions, const std::string& folder, const std::string& name,
                      const std::string& source) {
  std::string target = folder + name;
  if (target == source || !FileExists(target)) return false;
  return !questions.AskYesNo(
      std::string(kOverwriteWarningHead) + "\r\n" + target + "\r\nDo you wish to continue?", false,
      MsgIcon::Exclamation);
}

uint8_t ToBcd(uint16_t n) {
  return static_cast<uint8_t>((n / 10) * 16 + (n % 10));
}

Msf AddMsf(const Msf& a, const Msf& b) {
  Msf r{0, 0, 0};
  int carry = 0;
  int f = a[2] + b[2];
  if (f > 74) {
    f -= 75;
    carry = 1;
  }
  int s = a[1] + b[1] + carry;
  carry = 0;
  if (s > 59) {
    s -= 60;
    carry = 1;
  }
  int m = a[0] + b[0] + carry;
  r[0] = static_cast<uint8_t>(m);
  r[1] = static_cast<uint8_t>(s);
  r[2] = static_cast<uint8_t>(f);
  return r;
}

std::string ResolveCaseBlind(const std::string& path) {
  if (path.empty() || FileExists(path)) return path;
  std::string trimmed = path;
  while (trimmed.size() > 1 && IsSeparator(trimmed.back())) trimmed.pop_back();
  std::string folder = FolderOf(trimmed);
  std::string name = FileNameOf(trimmed);
  std::string resolvedFolder =
      folder.empty() || folder.size() <= RootLength(folder) ? folder : ResolveCaseBlind(folder);
  std::error_code ec;
  fs::directory_iterator it(resolvedFolder.empty() ? fs::path(".") : P(resolvedFolder), ec);
  std::string wanted = ToLowerAscii(name);
  for (; !ec && it != fs::directory_iterator(); it.increment(ec)) {
    auto u8 = it->path().filename().u8string();
    std::string entry(u8.begin(), u8.end());
    if (ToLowerAscii(entry) == wanted) {
      std::string result = resolvedFolder + entry;
      if (trimmed.size() < path.size()) result += path.substr(trimmed.size());
      return result;
    }
  }
  return resolvedFolder + name + path.substr(trimmed.size());
}

std::string ProgramFolder() {
  return WithTrailingSep(FolderOf(ExecutablePath()));
}

std::string TempFolder(const std::string& workFolder) {
  std::string temp = WithTrailingSep(workFolder) + "Temp";
  std::error_code ec;
  if (!fs::is_directory(P(temp), ec)) {
    fs::create_directories(P(temp), ec);
    MarkHidden(temp);
  }
  return temp + kSep;
}

}  // namespace ebf
