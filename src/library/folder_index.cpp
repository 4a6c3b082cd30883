#include "library/folder_index.h"

#include <filesystem>

#include "common/files.h"
#include "common/text.h"

namespace ebf {

namespace fs = std::filesystem;

FolderIndex::FolderIndex(const std::string& folder) : folder_(WithTrailingSep(folder)) {
  std::error_code ec;
  for (fs::directory_iterator it(fs::u8path(folder), ec), end; !ec && it != end; it.increment(ec)) {
    const std::u8string u8 = it->path().filename().u8string();
    std::string name(u8.begin(), u8.end());
    std::error_code kind;
    const bool isFolder = it->is_directory(kind);
    std::string lower = ToLowerAscii(name);
    auto [at, added] = lower_.emplace(lower, name);
    if (!added && name < at->second) at->second = name;
    exact_.emplace(std::move(name), isFolder);
  }
}

std::string FolderIndex::Find(std::string_view name, bool folder) const {
  auto exact = exact_.find(std::string(name));
  std::string found;
  if (exact != exact_.end()) {
    found = exact->first;
  } else {
    auto lower = lower_.find(ToLowerAscii(name));
    if (lower == lower_.end()) return "";
    found = lower->second;
    exact = exact_.find(found);
  }
  if (exact->second != folder) return "";
  return folder_ + found;
}

const FolderIndex& FolderIndexCache::Index(const std::string& folder) {
  auto at = indexes_.find(folder);
  if (at == indexes_.end()) at = indexes_.emplace(folder, FolderIndex(folder)).first;
  return at->second;
}

std::string FolderIndexCache::Resolve(const std::string& root, std::string_view relative) {
  std::string current = root;
  std::size_t pos = 0;
  while (true) {
    const std::size_t sep = relative.find_first_of("/\\", pos);
    const std::string_view part = relative.substr(pos, sep - pos);
    if (part.empty() || part == "." || part == "..") return "";
    const bool last = sep == std::string_view::npos;
    current = Index(current).Find(part, !last);
    if (current.empty() || last) return current;
    pos = sep + 1;
  }
}

}  // namespace ebf
