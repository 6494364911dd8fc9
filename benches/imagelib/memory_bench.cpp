// What the machine's memory gives: the yardstick of all other measurements.
#include <cstring>

#include "benches/support/bench.h"

namespace {

const Bench plain_memcpy("memcpy", "memcpy", 2, [](int) {
    auto source = test_frame(), result = blank_frame();
    return [=] {
        for_rows(source->height, [&](int first, int last) {
            std::memcpy(image_row<float>(result.get(), first), image_row<float>(source.get(), first),
                        std::size_t(last - first + 1) * source->row_bytes);
        });
    };
});

const Bench copy("image_copy", QUILLON, 2, [](int) {
    auto source = test_frame(), result = blank_frame();
    return [=] { image_copy(source.get(), result.get()); };
});

}  // namespace
