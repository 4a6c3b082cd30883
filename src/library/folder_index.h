#pragma once
// A folder's entries read once and found by name case-blind, as the user's folders are
// matched on every platform: thousands of lookups then cost no folder reads.

#include <map>
#include <string>
#include <string_view>
#include <unordered_map>

namespace ebf {

class FolderIndex {
 public:
  FolderIndex() = default;
  // Reads `folder`'s entries; a folder that cannot be read gives an empty index.
  explicit FolderIndex(const std::string& folder);

  // The path of the entry named `name` (its own spelling first, else any spelling, the
  // first by byte order when several differ only in case); "" when there is none or it is
  // not of the kind asked for.
  std::string Find(std::string_view name, bool folder = false) const;
  std::size_t size() const { return exact_.size(); }

 private:
  std::string folder_;                                  // with its trailing separator
  std::unordered_map<std::string, bool> exact_;         // name -> is a folder
  std::unordered_map<std::string, std::string> lower_;  // lower case -> exact name
};

// Indexes made on first use, kept for the next lookup in the same folder.
class FolderIndexCache {
 public:
  const FolderIndex& Index(const std::string& folder);
  // `relative` ("SLUS-00594/ICON0.png") under `root`, every part matched case-blind;
  // "" when a part is missing. Parts "", "." and ".." match nothing.
  std::string Resolve(const std::string& root, std::string_view relative);

 private:
  std::map<std::string, FolderIndex> indexes_;
};

}  // namespace ebf
