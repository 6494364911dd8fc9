#include "graphicslib/graphics_path.h"

#include <algorithm>

namespace {

float table_at(const float* table, int count, float x) {
    if (!table || count < 1) return 0;
    if (!(x > 0)) return table[0];
    if (x >= static_cast<float>(count - 1)) return table[count - 1];
    const int entry = std::min(static_cast<int>(x), count - 2);
    return table[entry] + (x - static_cast<float>(entry)) * (table[entry + 1] - table[entry]);
}

}  // namespace

float remap_value(float x, float p, float q, int mode, const float* table, int count) {
    switch (mode) {
        case 1:
            return x / p;
        case 2:
            return table_at(table, count, x);
        case 3:
            return p / 100 * x;
        case 4:
            return 100 / (p + 100) * x;
        case 5:
            return 100 / (100 - std::min(p, 99.9999F)) * x;
        case 6:
            return q / p * x;
        case 7:
            return x;
        case 8:
            return x * p;
        case 9:
            return p / q * x;
        default:
            return 0;
    }
}
