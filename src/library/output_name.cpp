#include "library/output_name.h"

#include "common/file_io.h"
#include "common/files.h"
#include "common/text.h"
#include "pbp/container.h"
#include "pbp/sfo.h"

namespace ebf {
namespace {

// An ID compared as the package keeps it: no dash, upper case.
std::string IdKey(std::string id) {
  id = ReplaceAll(std::move(id), "-", "");
  return ToUpperAscii(id);
}

// The disc ID in the PARAM.SFO of a package; nullopt when `path` is no readable package.
std::optional<std::string> PackageId(const std::string& path) {
  File file(path, File::Mode::Read);
  if (!file) return std::nullopt;
  const auto header = pbp::ReadPbpHeader(file);
  if (!header || header->magic != pbp::kPbpMagic) return std::nullopt;
  return pbp::ReadSfoFields(file, header->offsets[pbp::kParamSfo]).discId;
}

}  // namespace

std::string NamedOutputFolder(const std::string& base, const std::string& nameTemplate,
                              const GameNames& names) {
  const std::string fileName = names.image.empty() ? std::string() : FileNameToken(names.image);
  auto one = [](const std::string& v) { return std::vector<std::string>{v}; };
  const TokenValues values = {
      {"GAMEID", one(names.gameIds.empty() ? std::string() : names.gameIds.front())},
      {"TITLE", one(names.title)},
      {"FILENAME", one(fileName)},
      {"REGION", one(names.region)}};
  // Split where the template itself has a separator; a token's own "/" is only a character.
  std::string relative;
  std::size_t pos = 0;
  for (std::size_t i = 0; i <= nameTemplate.size(); ++i) {
    if (i < nameTemplate.size() && !IsSeparator(nameTemplate[i])) continue;
    const std::string part = nameTemplate.substr(pos, i - pos);
    const auto texts = ExpandTemplate(part, values);
    const std::string safe = FatSafeName(texts.empty() ? std::string() : texts.front());
    if (!safe.empty()) relative = relative.empty() ? safe : relative + kSep + safe;
    pos = i + 1;
  }
  if (relative.empty()) relative = FatSafeName(fileName);
  return relative.empty() ? base : JoinPath(base, relative);
}

std::string FolderForGame(const std::string& folder, const std::string& gameId) {
  std::string trimmed = folder;
  while (trimmed.size() > 1 && IsSeparator(trimmed.back())) trimmed.pop_back();
  std::string candidate = trimmed;
  for (int n = 2; n < 1000; ++n) {
    const std::string package = ResolveCaseBlind(JoinPath(candidate, "EBOOT.PBP"));
    if (!FileExists(package)) return candidate;
    const auto id = PackageId(package);
    if (id && IdKey(*id) == IdKey(gameId)) return candidate;
    candidate = trimmed + " (" + std::to_string(n) + ")";
  }
  return candidate;
}

void ApplyNameTemplate(ResolvedInput& r, const Settings& settings) {
  if (Trim(settings.nameTemplate).empty() || !r.message.empty()) return;
  const std::string base = settings.defaultOutputDir.empty() ? FolderOf(AbsolutePath(r.dataFile))
                                                             : settings.defaultOutputDir;
  GameNames names{r.input, r.title, {r.gameId}, r.region};
  r.outputFolder = FolderForGame(NamedOutputFolder(base, settings.nameTemplate, names), r.gameId);
}

}  // namespace ebf
