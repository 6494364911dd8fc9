// Private to what collects drawing and does it later: items sorted into bands of rows, which threads draw in parallel.
//
// Within a band items keep the order in which they are given, so that every pixel is covered in that order whatever the
// number of threads.
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "k7pi_baselib/rows.h"

namespace row_bands {

constexpr int HEIGHT = 16;  // rows: of a 1920 wide picture 480 KB, which stay in a core's cache

// Draws `count` items into a picture of `height` rows. rows_of(i) gives the first and the last row of an item, inside
// the picture; draw(first, last, begin, end) draws the items of the list begin..end into the rows first to last.
// `order`, when not null, holds the items in the order to draw them in.
template <class RowsOf, class Draw>
void draw(std::size_t count, int height, RowsOf rows_of, Draw draw, const std::uint32_t* order = nullptr) {
    const int bands = (height + HEIGHT - 1) / HEIGHT;
    std::vector<std::uint32_t> begins(static_cast<std::size_t>(bands) + 2);
    const auto for_bands = [&](std::size_t item, auto&& visit) {
        const std::pair<int, int> rows = rows_of(item);
        for (int b = rows.first / HEIGHT; b <= rows.second / HEIGHT; ++b) visit(static_cast<std::size_t>(b));
    };
    for (std::size_t i = 0; i < count; ++i) for_bands(i, [&](std::size_t b) { ++begins[b + 2]; });
    for (std::size_t b = 2; b < begins.size(); ++b) begins[b] += begins[b - 1];
    std::vector<std::uint32_t> items(begins.back());
    for (std::size_t n = 0; n < count; ++n) {
        const std::uint32_t i = order ? order[n] : static_cast<std::uint32_t>(n);
        for_bands(i, [&](std::size_t b) { items[begins[b + 1]++] = i; });
    }
    each_task_float(
        bands, [] { return false; }, [] { return 0; },
        [&](int, int b) {
            draw(b * HEIGHT, std::min(b * HEIGHT + HEIGHT, height) - 1,
                 items.data() + begins[static_cast<std::size_t>(b)],
                 items.data() + begins[static_cast<std::size_t>(b) + 1]);
        });
}

}  // namespace row_bands
