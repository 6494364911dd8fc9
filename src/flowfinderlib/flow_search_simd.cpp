// Dense inverse search after Kroeger, Timofte, Dai and Van Gool, "Fast Optical Flow using Dense Inverse Search" (2016).
// A patch is eight rows of eight floats whatever the register, so that sums have one order everywhere.
#include "flowfinderlib/flow_search_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

using Eight = Vec<float, 8>;
constexpr float PATCH_PIXELS = FLOW_PATCH * FLOW_PATCH;
constexpr float GRADIENT_FLOOR = 2.0F;      // squared, over the whole patch: keeps flat patches where they began
constexpr float NEWS = 0.5F;                // pixels between two guesses worth comparing
constexpr float ENOUGH = 0.0004F;           // squared pixels of a step that ends the search
constexpr float FLOW_WORST_MISFIT = 40.0F;  // grey levels; more is all the same
constexpr float FLOW_BETTER = 0.85F;        // a flow from elsewhere must fit this much better than a pixel's own
constexpr float FLOW_GAIN = 25.0F;          // and by so many grey levels over 25 pixels
constexpr float ROOM = 14.0F;               // pixels beyond the edge that a patch may reach

QUILLON_VECTOR float sum_of(Eight v) {
    const Vec<float, 4> four = in_order<0, 1, 2, 3>(v, v) + in_order<4, 5, 6, 7>(v, v);
    return (four[0] + four[1]) + (four[2] + four[3]);
}

struct Patch {
    Eight picture[FLOW_PATCH], x[FLOW_PATCH], y[FLOW_PATCH];
    float sum_x, sum_y;
    float xx, xy, yy;  // the inverse of the normal equations' matrix
};

static void read_patch(const FlowSearch& s, int left, int top, Patch& patch) {
    Eight xx = {}, xy = {}, yy = {}, x = {}, y = {};
    for (int r = 0; r < FLOW_PATCH; ++r) {
        const long at = long(top + r) * s.stride + left;
        patch.picture[r] = load<Eight>(s.first + at);
        const Eight gx = patch.x[r] = load<Eight>(s.first_x + at);
        const Eight gy = patch.y[r] = load<Eight>(s.first_y + at);
        x += gx, y += gy;
        xx += gx * gx, xy += gx * gy, yy += gy * gy;
    }
    patch.sum_x = sum_of(x);
    patch.sum_y = sum_of(y);
    const float a = sum_of(xx) - patch.sum_x * patch.sum_x / PATCH_PIXELS + GRADIENT_FLOOR;
    const float b = sum_of(xy) - patch.sum_x * patch.sum_y / PATCH_PIXELS;
    const float c = sum_of(yy) - patch.sum_y * patch.sum_y / PATCH_PIXELS + GRADIENT_FLOOR;
    const float over = 1.0F / (a * c - b * b);
    patch.xx = c * over, patch.xy = -b * over, patch.yy = a * over;
}

// A place between pixels, kept within what the border allows: eight rows of eight are read from there.
struct Place {
    const float* at;
    float fx, fy;
    Place(const FlowSearch& s, float x, float y) {
        x = limited(x, -ROOM, float(s.width) + ROOM - FLOW_PATCH - 1);
        y = limited(y, -ROOM, float(s.height) + ROOM - FLOW_PATCH - 1);
        const int column = floor_of(x), row = floor_of(y);
        fx = x - float(column), fy = y - float(row);
        at = s.second + long(row) * s.stride + column;
    }
    Eight row(long stride, int r) const {
        const float* above = at + r * stride;
        const float* below = above + stride;
        const Eight a = load<Eight>(above), b = load<Eight>(below);
        const Eight upper = a + (load<Eight>(above + 1) - a) * fx;
        const Eight lower = b + (load<Eight>(below + 1) - b) * fx;
        return upper + (lower - upper) * fy;
    }
};

// Squared differences without their mean, so that a change of brightness counts for nothing.
static float misfit(const FlowSearch& s, const Patch& patch, float x, float y) {
    const Place place(s, x, y);
    Eight sum = {}, squares = {};
    for (int r = 0; r < FLOW_PATCH; ++r) {
        const Eight d = place.row(s.stride, r) - patch.picture[r];
        sum += d;
        squares += d * d;
    }
    const float total = sum_of(sum);
    return sum_of(squares) - total * total / PATCH_PIXELS;
}

// The best of the guesses around the patch: motion comes in from neighbours that the coarser level knew better.
static float best_guess(const FlowSearch& s, const Patch& patch, int left, int top, float& u, float& v) {
    static const int around[][2] = {{0, 0}, {-FLOW_PATCH, 0}, {FLOW_PATCH, 0}, {0, -FLOW_PATCH}, {0, FLOW_PATCH}};
    float best = 0;
    bool first = true;
    for (const auto& [dx, dy] : around) {
        const int x = left + FLOW_PATCH / 2 + dx, y = top + FLOW_PATCH / 2 + dy;
        const long at = long(y < 0 ? 0 : (y >= s.height ? s.height - 1 : y)) * s.stride +
                        (x < 0 ? 0 : (x >= s.width ? s.width - 1 : x));
        const float gu = s.guess_u[at], gv = s.guess_v[at];
        if (!first && absolute(gu - u) < NEWS && absolute(gv - v) < NEWS) continue;
        const float error = misfit(s, patch, float(left) + gu, float(top) + gv);
        if (first || error < best) best = error, u = gu, v = gv;
        first = false;
    }
    return best;
}

static void search_patch(const FlowSearch& s, int left, int top, float& found_u, float& found_v) {
    Patch patch;
    read_patch(s, left, top, patch);
    const float before = best_guess(s, patch, left, top, found_u, found_v);
    float u = found_u, v = found_v;
    for (int n = 0; n < s.iterations; ++n) {
        const Place place(s, float(left) + u, float(top) + v);
        Eight sum = {}, along_x = {}, along_y = {};
        for (int r = 0; r < FLOW_PATCH; ++r) {
            const Eight d = place.row(s.stride, r) - patch.picture[r];
            sum += d;
            along_x += d * patch.x[r];
            along_y += d * patch.y[r];
        }
        const float total = sum_of(sum) / PATCH_PIXELS;
        const float bx = sum_of(along_x) - total * patch.sum_x, by = sum_of(along_y) - total * patch.sum_y;
        const float step_u = patch.xx * bx + patch.xy * by, step_v = patch.xy * bx + patch.yy * by;
        u -= step_u, v -= step_v;
        if (step_u * step_u + step_v * step_v < ENOUGH) break;
    }
    const float du = u - found_u, dv = v - found_v;
    if (!(du * du + dv * dv < FLOW_PATCH * FLOW_PATCH)) return;  // it ran away
    if (misfit(s, patch, float(left) + u, float(top) + v) < before) found_u = u, found_v = v;
}

static void search_row(const FlowSearch& s, int patch_row) {
    const int top = flow_patch_corner(patch_row, s.height);
    for (int c = 0; c < s.columns; ++c) {
        const long at = long(patch_row) * s.columns + c;
        search_patch(s, flow_patch_corner(c, s.width), top, s.patch_u[at], s.patch_v[at]);
    }
}

static void spread_row(const FlowSearch& s, int y, float* u, float* v, float* sums) {
    const long width = s.width + FLOW_PATCH;
    float* weights = sums + 2 * width;
    for (long n = 0; n < 3 * width; ++n) sums[n] = 0;
    // The rows of patches that cover y: two of the grid, and the last one at the edge
    const int first = y - FLOW_PATCH + 1 <= 0 ? 0 : (y - FLOW_PATCH + FLOW_GRID) / FLOW_GRID;
    for (int patch_row = first < s.rows ? first : s.rows - 1; patch_row < s.rows; ++patch_row) {
        const int top = flow_patch_corner(patch_row, s.height);
        if (top > y) break;
        for (int c = 0; c < s.columns; ++c) {
            const int left = flow_patch_corner(c, s.width);
            const float pu = s.patch_u[long(patch_row) * s.columns + c],
                        pv = s.patch_v[long(patch_row) * s.columns + c];
            const Place place(s, float(left) + pu, float(top) + pv);
            const Eight d = absolute(place.row(s.stride, y - top) - load<Eight>(s.first + long(y) * s.stride + left));
            const Eight weight = 1.0F / larger(d, Eight{} + 1.0F);
            store(sums + left, load<Eight>(sums + left) + weight * pu);
            store(sums + width + left, load<Eight>(sums + width + left) + weight * pv);
            store(weights + left, load<Eight>(weights + left) + weight);
        }
    }
    for (int x = 0; x < s.width; ++x) {
        u[x] = sums[x] / weights[x];
        v[x] = sums[width + x] / weights[x];
    }
}

QUILLON_VECTOR Ints floors(Floats v) {
    const Ints cut = to_ints(v);
    return cut + (to_floats(cut) > v);
}

static void try_row(const FlowTrialRow& row, float* misfit_out) {
    const Floats right = all<Floats>(float(row.width)), top = all<Floats>(float(row.height));
    for (int x = 0; x < row.width; x += LANES) {
        const Floats px = limited(to_floats(counting<Ints>() + x) + load(row.u + x), all<Floats>(-1.0F), right);
        const Floats py = limited(float(row.y) + load(row.v + x), all<Floats>(-1.0F), top);
        const Ints ix = floors(px), iy = floors(py), at = iy * int(row.stride) + ix;
        const Floats fx = px - to_floats(ix), fy = py - to_floats(iy);
        const Floats a = gather(row.second, at), b = gather(row.second + 1, at);
        const Floats c = gather(row.second + row.stride, at), d = gather(row.second + row.stride + 1, at);
        const Floats upper = a + (b - a) * fx, lower = c + (d - c) * fx;
        store(misfit_out + x,
              smaller(absolute(upper + (lower - upper) * fy - load(row.first + x)), all<Floats>(FLOW_WORST_MISFIT)));
    }
}

static void choose_row(const FlowChoiceRow& row) {
    for (int x = 0; x < row.width; x += LANES) {
        Floats sum = {};
        for (const float* line : row.misfits)
            sum += ((load(line + x - 2) + load(line + x + 2)) + (load(line + x - 1) + load(line + x + 1))) +
                   load(line + x);
        const Floats best = load(row.best + x);
        const Ints better = row.first_trial ? Ints{} - 1 : sum < best * FLOW_BETTER - FLOW_GAIN;
        store(row.best + x, better ? sum : best);
        store(row.best_u + x, better ? load(row.u + x) : load(row.best_u + x));
        store(row.best_v + x, better ? load(row.v + x) : load(row.best_v + x));
    }
}

}  // namespace

extern const FlowSearchTable flow_search = {search_row, spread_row, try_row, choose_row};

}  // namespace QUILLON_SIMD
