// Private to imgio: the compression of GIF files, LZW with codes of growing length. Source: Graphics Interchange
// Format, Version 89a, CompuServe 1990, appendix F.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "imgio/bytes.h"

namespace imgio {

// Reads sub-blocks of codes until `indices` is full. False when the data ends before or holds a code that cannot be.
bool gif_decode(ByteReader& bytes, std::span<std::uint8_t> indices);

// Writes the minimum code size, the codes in sub-blocks, and the block of size 0.
void gif_encode(ByteWriter& out, std::span<const std::uint8_t> indices, int index_bits);

}  // namespace imgio
