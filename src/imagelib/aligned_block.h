// Private to the image library: work memory of whole operations and of single threads.
#pragma once

#include <cstddef>
#include <memory>

#include "k7pi_baselib/k7pi_baselib.h"

// IMAGE: from the memory of images, which is kept for the next render and begins at a page; otherwise at a cache line.
template <class T, bool IMAGE>
struct AlignedBlockDeleter {
    void operator()(T* block) const { k7_aligned_free(block, IMAGE); }
};
template <class T, bool IMAGE>
using AlignedBlock = std::unique_ptr<T[], AlignedBlockDeleter<T, IMAGE>>;

// Not cleared; null when there is no memory.
template <class T, bool IMAGE>
AlignedBlock<T, IMAGE> make_aligned_block(std::size_t count) {
    void* block = k7_aligned_malloc_uncleared(count * sizeof(T), IMAGE ? 0 : 64, IMAGE);
    return AlignedBlock<T, IMAGE>(static_cast<T*>(block));
}
