// Dense inverse search after Kroeger, Timofte, Dai and Van Gool, "Fast Optical Flow using Dense Inverse Search" (2016).
// A patch is eight rows of eight floats whatever the register, so that sums have one order everywhere.
#include "flowfinderlib/flow_search_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

using Eight = Vec<float, 8>;
constexpr float PATCH_PIXELS = FLOW_PATCH * FLOW_PATCH;
constexpr float GRADIENT_FLOOR = 2.0F;       // squared, over the whole patch: keeps flat patches where they began
constexpr float NEWS = 0.5F;                 // pixels between two guesses worth comparing
constexpr float ENOUGH = 0.0004F;            // squared pixels of a step that ends the search
constexpr float FLOW_WORST_MISFIT = 40.0F;   // grey levels; more is all the same
constexpr float FLOW_BETTER = 0.85F;         // a flow from elsewhere must fit this much better than a pixel's own
constexpr float FLOW_GAIN = 25.0F;           // and by so many grey levels over 25 pixels
constexpr float FAR_RESIDUAL = 200.0F;       // squared levels
constexpr float FAR_BETTER = 0.25F;          // of its error: what a lost patch must find far off
constexpr float GREY_OF_COLOURS = 0.57735F;  // of a grey pixel's differences in all planes, which are 1 / sqrt 3 of it
constexpr float ROOM = 14.0F;                // pixels beyond the edge that a patch may reach

QUILLON_VECTOR float sum_of(Eight v) {
    const Vec<float, 4> four = in_order<0, 1, 2, 3>(v, v) + in_order<4, 5, 6, 7>(v, v);
    return (four[0] + four[1]) + (four[2] + four[3]);
}

// One plane of a patch of the first picture.
struct PatchPlane {
    Eight picture[FLOW_PATCH], x[FLOW_PATCH], y[FLOW_PATCH];
    float sum_x, sum_y;
};

template <int PLANES>
struct Patch {
    PatchPlane planes[PLANES];
    float xx, xy, yy;  // the inverse of the normal equations' matrix
};

template <int PLANES>
static void read_patch(const FlowSearch& s, int left, int top, Patch<PLANES>& patch) {
    float a = GRADIENT_FLOOR, b = 0, c = GRADIENT_FLOOR;
    for (int n = 0; n < PLANES; ++n) {
        PatchPlane& plane = patch.planes[n];
        Eight xx = {}, xy = {}, yy = {}, x = {}, y = {};
        for (int r = 0; r < FLOW_PATCH; ++r) {
            const long at = long(top + r) * s.stride + left;
            plane.picture[r] = load<Eight>(s.planes[n].first + at);
            const Eight gx = plane.x[r] = load<Eight>(s.planes[n].first_x + at);
            const Eight gy = plane.y[r] = load<Eight>(s.planes[n].first_y + at);
            x += gx, y += gy;
            xx += gx * gx, xy += gx * gy, yy += gy * gy;
        }
        plane.sum_x = sum_of(x);
        plane.sum_y = sum_of(y);
        a += sum_of(xx) - plane.sum_x * plane.sum_x / PATCH_PIXELS;
        b += sum_of(xy) - plane.sum_x * plane.sum_y / PATCH_PIXELS;
        c += sum_of(yy) - plane.sum_y * plane.sum_y / PATCH_PIXELS;
    }
    const float over = 1.0F / (a * c - b * b);
    patch.xx = c * over, patch.xy = -b * over, patch.yy = a * over;
}

// A place between pixels, kept within what the border allows: eight rows of eight are read from there.
struct Place {
    long at;
    float fx, fy;
    Place(const FlowSearch& s, float x, float y) {
        x = limited(x, -ROOM, float(s.width) + ROOM - FLOW_PATCH - 1);
        y = limited(y, -ROOM, float(s.height) + ROOM - FLOW_PATCH - 1);
        const int column = floor_of(x), row = floor_of(y);
        fx = x - float(column), fy = y - float(row);
        at = long(row) * s.stride + column;
    }
    Eight row(const float* plane, long stride, int r) const {
        const float* above = plane + at + r * stride;
        const float* below = above + stride;
        const Eight a = load<Eight>(above), b = load<Eight>(below);
        const Eight upper = a + (load<Eight>(above + 1) - a) * fx;
        const Eight lower = b + (load<Eight>(below + 1) - b) * fx;
        return upper + (lower - upper) * fy;
    }
};

// Squared differences without their mean, so that a change of brightness counts for nothing.
template <int PLANES>
static float misfit(const FlowSearch& s, const Patch<PLANES>& patch, float x, float y) {
    const Place place(s, x, y);
    float all = 0;
    for (int n = 0; n < PLANES; ++n) {
        Eight sum = {}, squares = {};
        for (int r = 0; r < FLOW_PATCH; ++r) {
            const Eight d = place.row(s.planes[n].second, s.stride, r) - patch.planes[n].picture[r];
            sum += d;
            squares += d * d;
        }
        const float total = sum_of(sum);
        all += sum_of(squares) - total * total / PATCH_PIXELS;
    }
    return all;
}

// The best of the guesses around the patch: motion comes in from neighbours that the coarser level knew better.
template <int PLANES>
static float best_guess(const FlowSearch& s, const Patch<PLANES>& patch, int left, int top, float& u, float& v) {
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

// From a flow that misses by `before` to the nearest better one.
template <int PLANES>
static void descend(const FlowSearch& s, const Patch<PLANES>& patch, int left, int top, float before, float& found_u,
                    float& found_v) {
    float u = found_u, v = found_v;
    for (int n = 0; n < s.iterations; ++n) {
        const Place place(s, float(left) + u, float(top) + v);
        float bx = 0, by = 0;
        for (int p = 0; p < PLANES; ++p) {
            const PatchPlane& plane = patch.planes[p];
            Eight sum = {}, along_x = {}, along_y = {};
            for (int r = 0; r < FLOW_PATCH; ++r) {
                const Eight d = place.row(s.planes[p].second, s.stride, r) - plane.picture[r];
                sum += d;
                along_x += d * plane.x[r];
                along_y += d * plane.y[r];
            }
            const float total = sum_of(sum) / PATCH_PIXELS;
            bx += sum_of(along_x) - total * plane.sum_x;
            by += sum_of(along_y) - total * plane.sum_y;
        }
        const float step_u = patch.xx * bx + patch.xy * by, step_v = patch.xy * bx + patch.yy * by;
        u -= step_u, v -= step_v;
        if (step_u * step_u + step_v * step_v < ENOUGH) break;
    }
    const float du = u - found_u, dv = v - found_v;
    if (!(du * du + dv * dv < FLOW_PATCH * FLOW_PATCH)) return;  // it ran away
    if (misfit(s, patch, float(left) + u, float(top) + v) < before) found_u = u, found_v = v;
}

template <int PLANES>
static void search_patches(const FlowSearch& s, int patch_row) {
    const int top = flow_patch_corner(patch_row, s.height);
    Patch<PLANES> patch;
    for (int c = 0; c < s.columns; ++c) {
        const long at = long(patch_row) * s.columns + c;
        const int left = flow_patch_corner(c, s.width);
        read_patch(s, left, top, patch);
        const float before = best_guess(s, patch, left, top, s.patch_u[at], s.patch_v[at]);
        descend(s, patch, left, top, before, s.patch_u[at], s.patch_v[at]);
    }
}

static void search_row(const FlowSearch& s, int patch_row) {
    s.in_colour ? search_patches<FLOW_COLOUR_PLANES>(s, patch_row) : search_patches<1>(s, patch_row);
}

// ---- Looking far, in colour ---------------------------------------------------------------------------------------

using ColourPatch = Patch<FLOW_COLOUR_PLANES>;

// Squared differences of a row's pixels, in all planes.
static Eight far_row(const FlowSearch& s, const ColourPatch& patch, const Place& place, int r) {
    Eight squares = {};
    for (int n = 0; n < FLOW_COLOUR_PLANES; ++n) {
        const Eight d = place.row(s.planes[n].second, s.stride, r) - patch.planes[n].picture[r];
        squares += d * d;
    }
    return squares;
}

static void judge_row(const FlowSearch& s, int patch_row) {
    const int top = flow_patch_corner(patch_row, s.height);
    ColourPatch patch;
    for (int c = 0; c < s.columns; ++c) {
        const long at = long(patch_row) * s.columns + c;
        const int left = flow_patch_corner(c, s.width);
        read_patch(s, left, top, patch);
        const Place place(s, float(left) + s.patch_u[at], float(top) + s.patch_v[at]);
        Eight sum = {};
        for (int r = 0; r < FLOW_PATCH; ++r) sum += far_row(s, patch, place, r);
        s.patch_error[at] = sum_of(sum) / PATCH_PIXELS;
    }
}

// Whether no other patch has found the middle of a place.
static bool is_free(const FlowSearch& s, int left, int top) {
    constexpr int EDGE = FLOW_PATCH / 4, MIDDLE = FLOW_PATCH / 2, MOST_CLAIMED = 4;
    int claimed = 0;
    for (int y = top + EDGE; y < top + EDGE + MIDDLE; ++y)
        for (int x = left + EDGE; x < left + EDGE + MIDDLE; ++x) claimed += s.claimed[long(y) * s.width + x];
    return claimed <= MOST_CLAIMED;
}

// Pixels that fit where the patch is now belong to something else, and count for little.
static void look_far(const FlowSearch& s, const ColourPatch& patch, int left, int top, long at) {
    const Place now(s, float(left) + s.patch_u[at], float(top) + s.patch_v[at]);
    Eight weights[FLOW_PATCH], sum = {};
    for (int r = 0; r < FLOW_PATCH; ++r) {
        const Eight squares = far_row(s, patch, now, r);
        weights[r] = squares / (squares + FAR_RESIDUAL);
        sum += squares * weights[r];
    }
    float best = FAR_BETTER * sum_of(sum);
    for (int y = larger(top - FLOW_FAR, 0); y <= smaller(top + FLOW_FAR, s.height - FLOW_PATCH); ++y)
        for (int x = larger(left - FLOW_FAR, 0); x <= smaller(left + FLOW_FAR, s.width - FLOW_PATCH); ++x) {
            if (!is_free(s, x, y)) continue;
            const Place place(s, float(x), float(y));
            Eight errors = {};
            for (int r = 0; r < FLOW_PATCH; ++r) errors += far_row(s, patch, place, r) * weights[r];
            const float error = sum_of(errors);
            if (!(error < best)) continue;
            best = error;
            s.patch_u[at] = float(x - left);
            s.patch_v[at] = float(y - top);
            s.patch_error[at] = FLOW_FOUND_FAR;
        }
}

static void look_far_row(const FlowSearch& s, int patch_row) {
    const int top = flow_patch_corner(patch_row, s.height);
    ColourPatch patch;
    for (int c = 0; c < s.columns; ++c) {
        const long at = long(patch_row) * s.columns + c;
        if (!flow_patch_is_lost(s.patch_error[at])) continue;
        const int left = flow_patch_corner(c, s.width);
        read_patch(s, left, top, patch);
        look_far(s, patch, left, top, at);
    }
}

// ---- From patches to pixels ---------------------------------------------------------------------------------------

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
            Eight d = {};
            for (int n = 0; n < (s.in_colour ? FLOW_COLOUR_PLANES : 1); ++n)
                d += absolute(place.row(s.planes[n].second, s.stride, y - top) -
                              load<Eight>(s.planes[n].first + long(y) * s.stride + left));
            if (s.in_colour) d *= GREY_OF_COLOURS;
            const Eight more = larger(d, Eight{} + 1.0F);
            const Eight weight = 1.0F / (s.in_colour ? more * more : more);
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

extern const FlowSearchTable flow_search = {search_row, judge_row, look_far_row, spread_row, try_row, choose_row};

}  // namespace QUILLON_SIMD
