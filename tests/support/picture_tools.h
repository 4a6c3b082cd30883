#pragma once
// Independent witnesses for picture tests: ImageMagick's `convert` makes and reads
// pictures, pngcheck judges PNG files. build.sh installs both; a test that needs one fails,
// or skips saying so, when it is missing, and never passes without asking it.

#include <gtest/gtest.h>

#include <string>

#include "imaging/picture.h"

namespace ebf::test {

// Fails, naming the tool, when it is not installed.
::testing::AssertionResult Installed(const std::string& tool);
// pngcheck's verdict on a file; fails when pngcheck is not installed.
::testing::AssertionResult PngcheckAccepts(const std::string& path);
// Single-quoted for the shell.
std::string ShellQuote(const std::string& text);

// ImageMagick draws a picture from a recipe of its own instead of an input file
// ("-size 60x40 xc:green", "-size 300x200 gradient:red-blue", put on the shell line as
// written) into `output`, which may start with a format ("JPEG:a.png").
::testing::AssertionResult DrawWithImageMagick(const std::string& recipe,
                                               const std::string& output);
// Writes `source` into `folder` as `target`, a file name with an optional format in front
// ("bmp3:a.bmp" -> <folder>/a.bmp written as bmp3); returns the path, "" when convert failed.
std::string MakeWithImageMagick(const std::string& source, const std::string& target,
                                const std::string& options, const std::string& folder);

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
