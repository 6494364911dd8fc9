#include "fftlib/half_planes.h"

#include <algorithm>

namespace {

int pieces_of(const RealRows& rows) { return fft_groups(rows.rows, rows.channel < 0 ? FFT_PAIR : FFT_LINES); }

// Up to 16 rows from y on; none behind the last.
FFTRows block_of(const RealRows& rows, int y, int first, int count) {
    const int present = std::clamp(rows.rows - y, 0, FFT_LINES);
    const std::size_t number = std::size_t(first) * (rows.channel < 0 ? 1 : 4);
    return {rows.data + std::size_t(present ? y : 0) * rows.step + number, rows.step, present, count, rows.finite};
}

// Numbers [first, first + count) of the rows of a piece, to the block's points from `to` on.
void load_piece(const RealRows& rows, int piece, int first, int count, float* to) {
    const FFTLineKernels& kernels = fft_line_kernels();
    if (count == 0) return;
    if (rows.channel >= 0)
        return kernels.load_pixels(block_of(rows, piece * FFT_LINES, first, count), rows.channel, to);
    kernels.load_rows(block_of(rows, piece * FFT_PAIR, first, count), to);
    kernels.load_rows(block_of(rows, piece * FFT_PAIR + FFT_LINES, first, count), to + FFT_LINES);
}

void store_piece(const RealRows& rows, int piece, const float* block) {
    const FFTLineKernels& kernels = fft_line_kernels();
    if (rows.channel >= 0)
        return kernels.store_pixels(block_of(rows, piece * FFT_LINES, 0, rows.width), rows.channel, block);
    kernels.store_rows(block_of(rows, piece * FFT_PAIR, 0, rows.width), block, 1.0F);
    kernels.store_rows(block_of(rows, piece * FFT_PAIR + FFT_LINES, 0, rows.width), block + FFT_LINES, 1.0F);
}

// Where a piece's real and imaginary parts stand in the planes.
struct Places {
    float *a, *b;
};
Places places_of(const RealRows& rows, int piece, HalfPlane a, HalfPlane b) {
    if (rows.channel >= 0) return {a.at(0, piece * FFT_LINES), b.at(0, piece * FFT_LINES)};
    return {a.at(0, piece * FFT_PAIR), a.at(0, piece * FFT_PAIR + FFT_LINES)};
}

}  // namespace

bool rows_to_half_planes(FFTWork& work, const FFTPlan& plan, const RealRows& rows, int place, HalfPlane a,
                         HalfPlane b) {
    const int length = plan.length(), lead = std::max(-place, 0), start = std::max(place, 0);
    const int behind = rows.width - lead, end = start + behind;
    return work.each(plan, 0, pieces_of(rows), rows.rows, [&](float* block, float*, int piece) {
        fft_line_kernels().clear_points(block, start);
        load_piece(rows, piece, lead, behind, block + std::size_t(start) * FFT_POINT);
        fft_line_kernels().clear_points(block + std::size_t(end) * FFT_POINT, length - lead - end);
        load_piece(rows, piece, 0, lead, block + std::size_t(length - lead) * FFT_POINT);
        plan.to_frequencies(block, false);
        const Places to = places_of(rows, piece, a, b);
        fft_line_kernels().split(block, plan.positions(), length, to.a, to.b, a.strip_step);
    });
}

bool half_planes_to_rows(FFTWork& work, const FFTPlan& plan, HalfPlane a, HalfPlane b, const RealRows& rows) {
    return work.each(plan, 0, pieces_of(rows), rows.rows, [&](float* block, float*, int piece) {
        const Places from = places_of(rows, piece, a, b);
        fft_line_kernels().join(block, plan.positions(), plan.length(), from.a, from.b, a.strip_step);
        plan.from_frequencies(block, true);
        store_piece(rows, piece, block);
    });
}
