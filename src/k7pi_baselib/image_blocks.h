// Large blocks for image pixels, kept for the next image when they are freed.
#pragma once

#include <cstddef>

// Blocks of at least this size come from here; below it the C heap is as good.
inline constexpr std::size_t SMALLEST_IMAGE_BLOCK = std::size_t(1) << 20;

// Page aligned; null when there is no memory, or in builds whose sanitizer wants to see every allocation. Without
// `cleared` the content is what the last user left.
void* image_block_take(std::size_t bytes, bool cleared);
bool image_block_give(void* block);  // false when it is not one of ours; a page of it must be readable
