// Private to the library: pieces of work over the runner's threads, and the blocks they work in.
#pragma once

#include <atomic>

#include "fftlib/fft_lines_simd.h"
#include "fftlib/fft_plan.h"
#include "imagelib/aligned_block.h"
#include "imagelib/imagelib.h"

using FFTBlock = AlignedBlock<float, false>;
using FFTPlane = AlignedBlock<float, true>;

// Points of a block of so many, and of what loading writes behind it.
inline std::size_t fft_room(int points) { return std::size_t(points + 2 * FFT_LINES) * FFT_POINT; }

inline int fft_groups(int count, int size) { return (count + size - 1) / size; }

// Runs pieces of work; ends early when an abort is asked for or a piece fails.
struct FFTWork {
    RowRunner runner;
    bool (*abort)(void* context) = nullptr;
    void* abort_context = nullptr;
    std::atomic<bool> aborted{false}, out_of_memory{false};

    // Before each piece: whether to leave the rest.
    bool ended() {
        if (abort && !aborted.load(std::memory_order_relaxed) && abort(abort_context)) aborted = true;
        return aborted.load(std::memory_order_relaxed) || out_of_memory.load(std::memory_order_relaxed);
    }

    // work(block, second, piece) for each of the pieces 0 to pieces - 1. Each thread has a block of `plan` and a second
    // one of so many points. The runner sees `rows` rows, so that it splits as it would a picture of that many.
    // False when ended early.
    template <class Work>
    bool each(const FFTPlan& plan, int second, int pieces, int rows, const Work& work) {
        const std::size_t room = fft_room(plan.block_points()), second_room = fft_room(second);
        runner(rows, [&, pieces, rows](int first, int last) {
            const auto piece_of = [&](long row) { return static_cast<int>((row * pieces + rows - 1) / rows); };
            const int begin = piece_of(first), end = piece_of(long{last} + 1);
            if (begin >= end) return;
            const FFTBlock block = make_aligned_block<float, false>(room + second_room);
            if (!block) out_of_memory = true;
            for (int piece = begin; piece < end && !ended(); ++piece) work(block.get(), block.get() + room, piece);
        });
        return !aborted && !out_of_memory;
    }
};
