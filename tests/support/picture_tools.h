#pragma once
// Independent witnesses for picture tests: ImageMagick's `convert` makes and reads
// pictures, pngcheck judges PNG files. Tests skip when a tool is missing.

#include <string>

#include "imaging/picture.h"

namespace ebf::test {

bool HaveTool(const std::string& name);
// Runs a shell command quietly; true when it exits with 0.
bool RunQuiet(const std::string& command);
// Single-quoted for the shell.
std::string ShellQuote(const std::string& text);

// The picture as ImageMagick reads it (frame `frame` of the file), as BGRA.
Picture ReadWithImageMagick(const std::string& path, int frame = 0);

// Largest difference of any colour or alpha byte between two pictures of the same size;
// colours of pixels transparent in both are not compared. -1 when the sizes differ.
int MaxPixelDifference(const Picture& a, const Picture& b);

// A picture of the given size with smooth colour gradients and, when `withAlpha`, an alpha
// ramp across it: enough structure for scaling and decoding to be checked.
Picture GradientPicture(int width, int height, bool withAlpha);

// Writes a picture as 8-bit RGBA PAM, which `convert` reads as the source of a variant.
void WritePam(const std::string& path, const Picture& picture);

}  // namespace ebf::test
