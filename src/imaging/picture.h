#pragma once
// A decoded picture: top-down rows of blue, green, red, alpha bytes (straight alpha).
// Every decoder fills one of these and refuses anything larger than kMaxPictureSide on a
// side, so a hostile header can never ask for a huge allocation.

#include <cstdint>
#include <span>
#include <vector>

namespace ebf {

inline constexpr int64_t kMaxPictureSide = 16384;

struct Picture {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> bgra;  // width * height * 4
  // The picture's own size. A JPEG that will only be drawn small is decoded at a fraction
  // of it; the pixels then cover the whole picture at width x height.
  int ownWidth = 0;
  int ownHeight = 0;

  bool empty() const { return width <= 0 || height <= 0; }
  uint8_t* Row(int y) { return bgra.data() + static_cast<std::size_t>(y) * width * 4; }
  const uint8_t* Row(int y) const { return bgra.data() + static_cast<std::size_t>(y) * width * 4; }
};

// Sizes the picture (transparent black) when both sides lie in 1..kMaxPictureSide.
bool AllocatePicture(Picture& picture, int64_t width, int64_t height);

// For decoders that produce rows in order: sets the size and reserves the buffer without
// touching it, so memory is only used as rows really arrive (a file that lies about its
// size fails long before a huge picture is filled). Rows are then added with NextRow.
bool StartPicture(Picture& picture, int64_t width, int64_t height);
uint8_t* NextRow(Picture& picture);

// A file of `fileBytes` cannot hold more than `maxPerByte` units (pixels or raw bytes) per
// byte in its format's best case; a header that claims more lies about the file's size
// and is refused before anything is allocated. A small allowance covers tiny files.
inline bool FileCanHold(uint64_t units, uint64_t fileBytes, uint64_t maxPerByte) {
  return units <= fileBytes * maxPerByte + (1u << 20);
}

enum class PictureFormat { Unknown, Png, Bmp, Gif, Jpeg, Ico };

// The format is told by the first bytes of the file, never by its name.
PictureFormat SniffPictureFormat(std::span<const uint8_t> data);

// Each decoder leaves `out` empty and returns false on anything it cannot trust.
bool DecodePng(std::span<const uint8_t> data, Picture& out);
// `minWidth` x `minHeight`: the largest size the picture will be drawn at; the decoder
// may then keep fewer pixels, never fewer than that (0 = every pixel).
bool DecodeJpeg(std::span<const uint8_t> data, Picture& out, int minWidth = 0, int minHeight = 0);
bool DecodeGif(std::span<const uint8_t> data, Picture& out);
bool DecodeBmp(std::span<const uint8_t> data, Picture& out);
bool DecodeIco(std::span<const uint8_t> data, Picture& out);  // ICO and CUR

bool ReadJpegSize(std::span<const uint8_t> data, int& width, int& height);

bool DecodePicture(std::span<const uint8_t> data, Picture& out, int minWidth = 0,
                   int minHeight = 0);

// The picture's own size, from the headers where that is cheap (JPEG, PNG), else by
// decoding it.
bool ReadPictureSize(std::span<const uint8_t> data, int& width, int& height);

}  // namespace ebf
