#include "effects/fluids/FlowMaps.h"

#include <algorithm>
#include <cmath>

namespace {

// Where cell i of `count` stands at rest.
float at_rest(int i, int count) { return count > 1 ? static_cast<float>(i - 1) / static_cast<float>(count - 1) : 0.5F; }

// Calls change(cell, rest) for every interior cell of both maps; `index` runs as in the other fields of the grid.
template <class Change>
void for_cells(FluidFlow& flow, Change change) {
    ScalarField &map_x = *flow.coordinate_x, &map_y = *flow.coordinate_y;
    for (int j = 1; j <= map_x.height; ++j)
        for (int i = 1; i <= map_x.width; ++i) {
            const std::size_t n = map_x.index(i, j);
            change(n, map_x.data[n], at_rest(i, map_x.width));
            change(n, map_y.data[n], at_rest(j, map_y.height));
        }
    map_x.set_boundary();
    map_y.set_boundary();
}

}  // namespace

bool diffuse_maps(FluidFlow& flow, float amount) {
    const float cells = std::sqrt(static_cast<float>(flow.density_width) * static_cast<float>(flow.density_height));
    // At rest nothing moves, also beside edges, where a blur would bend the maps themselves.
    for_cells(flow, [](std::size_t, float& place, float rest) { place -= rest; });
    const bool blurred = flow.blur_field(*flow.coordinate_x, cells * amount * 0.01F) &&
                         flow.blur_field(*flow.coordinate_y, cells * amount * 0.01F);
    for_cells(flow, [](std::size_t, float& place, float rest) { place += rest; });
    return blurred;
}

void settle_maps(FluidFlow& flow, float factor) {
    for_cells(flow, [&](std::size_t, float& place, float rest) { place = rest + (place - rest) * factor; });
}

void well_up(FluidFlow& flow, const ScalarField& sources, float amount) {
    for_cells(flow, [&](std::size_t n, float& place, float rest) {
        place += (rest - place) * std::clamp(sources.data[n] * amount, 0.0F, 1.0F);
    });
}

bool drain(FluidFlow& flow, const ScalarField& sinks, float amount) {
    ScalarField before_x(sinks.kind, sinks.width, sinks.height), before_y(sinks.kind, sinks.width, sinks.height);
    if (!before_x.valid() || !before_y.valid()) return false;
    std::copy_n(flow.coordinate_x->data.get(), before_x.size(), before_x.data.get());
    std::copy_n(flow.coordinate_y->data.get(), before_y.size(), before_y.data.get());
    for (int j = 1; j <= sinks.height; ++j)
        for (int i = 1; i <= sinks.width; ++i) {
            const std::size_t n = sinks.index(i, j);
            // The picture streams up the gradient, so what stands here came from further down.
            const float u = amount * (sinks.data[n + 1] - sinks.data[n - 1]) / 2;
            const float v = amount * (sinks.data[n + sinks.stride()] - sinks.data[n - sinks.stride()]) / 2;
            if (u == 0 && v == 0) continue;
            const float x = sinks.place_x(i) - u, y = sinks.place_y(j) - v;
            flow.coordinate_x->data[n] = before_x.sample(x, y);
            flow.coordinate_y->data[n] = before_y.sample(x, y);
        }
    flow.coordinate_x->set_boundary();
    flow.coordinate_y->set_boundary();
    return true;
}
