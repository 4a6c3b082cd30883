#include "imaging/picture.h"

#include <cstring>

namespace ebf {

bool AllocatePicture(Picture& picture, int64_t width, int64_t height) {
  picture = Picture{};
  if (width < 1 || height < 1 || width > kMaxPictureSide || height > kMaxPictureSide) return false;
  picture.width = static_cast<int>(width);
  picture.height = static_cast<int>(height);
  picture.ownWidth = picture.width;
  picture.ownHeight = picture.height;
  picture.bgra.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4, 0);
  return true;
}

bool StartPicture(Picture& picture, int64_t width, int64_t height) {
  picture = Picture{};
  if (width < 1 || height < 1 || width > kMaxPictureSide || height > kMaxPictureSide) return false;
  picture.width = picture.ownWidth = static_cast<int>(width);
  picture.height = picture.ownHeight = static_cast<int>(height);
  picture.bgra.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
  return true;
}

uint8_t* NextRow(Picture& picture) {
  const std::size_t rowBytes = static_cast<std::size_t>(picture.width) * 4;
  picture.bgra.resize(picture.bgra.size() + rowBytes);
  return picture.bgra.data() + picture.bgra.size() - rowBytes;
}

PictureFormat SniffPictureFormat(std::span<const uint8_t> data) {
  auto starts = [&](std::initializer_list<uint8_t> sig) {
    if (data.size() < sig.size()) return false;
    return std::equal(sig.begin(), sig.end(), data.begin());
  };
  if (starts({0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A})) return PictureFormat::Png;
  if (starts({0xFF, 0xD8, 0xFF})) return PictureFormat::Jpeg;
  if (starts({'B', 'M'})) return PictureFormat::Bmp;
  if (data.size() >= 6) {
    char head[7] = {};
    for (int i = 0; i < 6; ++i) {
      char c = static_cast<char>(data[i]);
      head[i] = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    }
    if (std::strcmp(head, "gif87a") == 0 || std::strcmp(head, "gif89a") == 0)
      return PictureFormat::Gif;
  }
  // ICO (type 1) and CUR (type 2) share one layout; the image count must be non-zero.
  if (starts({0, 0, 1, 0}) || starts({0, 0, 2, 0})) {
    if (data.size() >= 6 && (data[4] | data[5]) != 0) return PictureFormat::Ico;
  }
  return PictureFormat::Unknown;
}

bool DecodePicture(std::span<const uint8_t> data, Picture& out, int minWidth, int minHeight) {
  out = Picture{};
  bool ok = false;
  switch (SniffPictureFormat(data)) {
    case PictureFormat::Png:
      ok = DecodePng(data, out);
      break;
    case PictureFormat::Jpeg:
      ok = DecodeJpeg(data, out, minWidth, minHeight);
      break;
    case PictureFormat::Bmp:
      ok = DecodeBmp(data, out);
      break;
    case PictureFormat::Gif:
      ok = DecodeGif(data, out);
      break;
    case PictureFormat::Ico:
      ok = DecodeIco(data, out);
      break;
    case PictureFormat::Unknown:
      break;
  }
  if (!ok) out = Picture{};
  return ok;
}

bool ReadPictureSize(std::span<const uint8_t> data, int& width, int& height) {
  width = height = 0;
  const PictureFormat format = SniffPictureFormat(data);
  if (format == PictureFormat::Png) {
    if (data.size() < 24) return false;
    const auto be32 = [&](std::size_t at) {
      return (uint32_t{data[at]} << 24) | (uint32_t{data[at + 1]} << 16) |
             (uint32_t{data[at + 2]} << 8) | data[at + 3];
    };
    const uint32_t w = be32(16), h = be32(20);
    if (w < 1 || h < 1 || w > kMaxPictureSide || h > kMaxPictureSide) return false;
    width = static_cast<int>(w);
    height = static_cast<int>(h);
    return true;
  }
  if (format == PictureFormat::Jpeg) return ReadJpegSize(data, width, height);
  Picture picture;
  if (!DecodePicture(data, picture)) return false;
  width = picture.ownWidth;
  height = picture.ownHeight;
  return true;
}

}  // namespace ebf
