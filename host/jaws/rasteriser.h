// From the page that Ghostscript has drawn to the picture that the client takes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace jaws {

// Bytes red, green, blue and alpha, the top row first.
using Samples = std::vector<std::uint8_t>;

// Reads a picture of exactly this size with four channels; empty for any other file. Colours come multiplied by alpha.
Samples readPage(const std::filesystem::path& file, int width, int height);

// A TIFF of 8 bits without compression, its fourth sample an alpha that the colours are multiplied by.
std::string tiffOf(const Samples& samples, int width, int height);

}  // namespace jaws
