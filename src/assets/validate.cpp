#include "assets/validate.h"

#include <array>

#include "common/bytes.h"
#include "common/file_io.h"
#include "common/files.h"
#include "common/text.h"

namespace ebf {
namespace {

constexpr uint64_t kWidthOffset = 16;

// Reads four bytes at `offset`; bytes past the end of the file read as zero.
uint32_t ReadBe32At(File& file, uint64_t offset) {
  std::array<uint8_t, 4> bytes{};
  if (file.Seek(offset)) file.Read(bytes);
  return LoadBe32(bytes.data());
}

}  // namespace

Outcome ValidateCustomFile(const std::string& path, int16_t minimumLength, const std::string& name,
                           uint32_t signature, int16_t maximumWidth, int16_t maximumHeight) {
  if (path.empty()) return Outcome::Success();
  const uint64_t length = IsDirectory(path) ? 0 : FileSize(path).value_or(0);
  if (static_cast<int64_t>(length) < minimumLength)
    return Outcome::Failed("The " + name + " file is WAY too small to be valid.");

  File file(path, File::Mode::Read);
  std::array<uint8_t, 4> head{};
  if (!file || !file.ReadExact(head) || LoadLe32(head.data()) != signature)
    return Outcome::Failed("The selected " + name + " file is not valid! (invalid signature)");

  const std::string prefix =
      "The dimensions for " + name + " are too big - make sure the PNG file is ";
  uint64_t next = 4;
  if (maximumWidth > 0) {
    const uint32_t width = ReadBe32At(file, kWidthOffset);
    next = kWidthOffset + 4;
    if (width > static_cast<uint32_t>(maximumWidth)) {
      if (maximumHeight > 0)
        return Outcome::Failed(prefix + std::to_string(maximumWidth) + "x" +
                               std::to_string(maximumHeight) + " or less.");
      return Outcome::Failed(prefix + std::to_string(maximumWidth) + " pixels wide or less.");
    }
  }
  if (maximumHeight >= 1) {
    // The height is whatever follows the width field (or the signature, with no width test).
    const uint32_t height = ReadBe32At(file, next);
    if (height > static_cast<uint32_t>(maximumHeight)) {
      const std::string width = maximumWidth > 0 ? std::to_string(maximumWidth) + "x" : "";
      return Outcome::Failed(prefix + width + std::to_string(maximumHeight) + " or less.");
    }
  }
  return Outcome::Success();
}

Outcome ValidateSlot(const SlotInfo& slot, bool ticked, const std::string& text,
                     const std::string& convertedPath) {
  if (!ticked || Trim(text).empty() || !FileExists(text) || IsDirectory(text))
    return Outcome::Success();
  return ValidateCustomFile(convertedPath, slot.minimumLength, slot.messageName, slot.signature,
                            slot.maximumWidth, slot.maximumHeight);
}

}  // namespace ebf
