#include "effects/paint/BrushStrokes.h"

#include <algorithm>
#include <cmath>

#include "imagelib/imagelib_colour.h"
#include "imagelib/imagelib_curves.h"
#include "imagelib/imagelib_palette.h"
#include "k7pi_baselib/portable_math.h"

namespace {

using simd::Pixel;

constexpr double COVERS = 3.2;       // times that a layer covers the picture
constexpr int MOST_SEEDS = 600'000;  // of a layer
constexpr int STEPS = 4;             // of a path, to either side
constexpr double LASTS = 0.04;       // part of a layer's time that one stroke takes

// Numbers that belong to a place: the finaliser of A. Appleby's MurmurHash3 over the words.
std::uint32_t mixed(std::uint32_t h) {
    h ^= h >> 16, h *= 0x85ebca6bU;
    h ^= h >> 13, h *= 0xc2b2ae35U;
    return h ^ (h >> 16);
}
struct PlaceNumbers {
    std::uint32_t state;
    PlaceNumbers(std::uint32_t seed, int layer, int column, int row)
        : state(
              mixed(mixed(mixed(seed * 64U + static_cast<std::uint32_t>(layer)) + static_cast<std::uint32_t>(column)) *
                        0x9e3779b1U +
                    static_cast<std::uint32_t>(row))) {}
    std::uint32_t word() { return mixed(state += 0x9e3779b9U); }
    float next() { return static_cast<float>(word() >> 8) * 0x1p-24f; }  // 0 to 1, without 1
    float signed_next() { return 2 * next() - 1; }
};

float distance(Pixel a, Pixel b) {
    const Pixel d = a - b;
    return std::sqrt(0.3f * d[0] * d[0] + 0.5f * d[1] * d[1] + 0.2f * d[2] * d[2]);
}

struct Layer {
    int index;
    double width, coarser;  // of its strokes and of those of the layer before
    double spacing;
    int first_column, columns, first_row, rows;
};

class Planner {
  public:
    Planner(const BrushSettings& settings, const BrushCanvas& canvas, const BrushField& field, const BrushCanvas* matte)
        : s(settings), m_canvas(canvas), m_field(field), m_matte(matte) {}

    Layer layer(int index) const;
    // Plans the stroke of a seed. False where none is seen.
    bool plan(const Layer& layer, int column, int row, BrushStroke& stroke, std::uint16_t& turn) const;

  private:
    float row_of(float y) const { return y / s.row_height; }
    Pixel canvas(float x, float y, double size) const { return m_canvas.mean(x, row_of(y), static_cast<float>(size)); }
    float detail_at(const Layer& layer, float x, float y) const;
    void walk(BrushStroke& stroke, BrushField::Axis axis, float turn_c, float turn_s, float half, const Layer& layer,
              float& u, float& v) const;
    void bend(BrushStroke& stroke, float behind_u, float behind_v, float ahead_u, float ahead_v) const;
    void colour(BrushStroke& stroke, Pixel seen, PlaceNumbers& numbers) const;
    std::uint16_t turn_of(float x, float y, PlaceNumbers& numbers) const;

    const BrushSettings& s;
    const BrushCanvas& m_canvas;
    const BrushField& m_field;
    const BrushCanvas* m_matte;
};

Layer Planner::layer(int index) const {
    const double step = s.layers > 1 ? 1.0 / (s.layers - 1) : 0.0;
    const auto width = [&](int i) { return s.largest * k7_pow(s.smallest / s.largest, i * step); };
    Layer l{};
    l.index = index, l.width = width(index), l.coarser = index ? width(index - 1) : l.width;
    const double area = l.width * l.width * std::max(s.length, 1.0);
    const double covers = COVERS * s.density * (index == 0 ? 1.5 : 1.0);
    const double high = s.height * double(s.row_height);
    l.spacing = std::max(std::sqrt(area / covers), std::sqrt(s.width * high / MOST_SEEDS));
    const double margin = std::min(0.5 * l.width * s.length, 2.5 * l.width);
    const int beyond = static_cast<int>(std::ceil(margin / l.spacing));
    l.first_column = l.first_row = -beyond;
    l.columns = static_cast<int>(std::ceil(s.width / l.spacing)) + 2 * beyond;
    l.rows = static_cast<int>(std::ceil(high / l.spacing)) + 2 * beyond;
    return l;
}

// How much of the canvas the layer before leaves out, round a place.
float Planner::detail_at(const Layer& layer, float x, float y) const {
    const auto reach = static_cast<float>(0.6 * layer.width);
    const float places[5][2] = {{0, 0}, {reach, 0}, {-reach, 0}, {0, reach}, {0, -reach}};
    float sum = 0;
    for (const auto& [dx, dy] : places)
        sum += distance(canvas(x + dx, y + dy, 0.6 * layer.width), canvas(x + dx, y + dy, 0.8 * layer.coarser));
    return 0.2f * sum;
}

// From the seed along the field, or against it where `half` is negative. Steps get shorter as the canvas departs from
// the stroke's colour. The end, in the stroke's own directions.
void Planner::walk(BrushStroke& stroke, BrushField::Axis axis, float turn_c, float turn_s, float half,
                   const Layer& layer, float& u, float& v) const {
    const float x0 = stroke.x, y0 = stroke.y, step = half / STEPS;
    const float sense = half < 0 ? -1.0f : 1.0f;
    const Pixel own = canvas(x0, y0, 0.6 * layer.width);
    float x = x0, y = y0, keep = 1;
    axis = {axis.x * sense, axis.y * sense};
    for (int i = 0; i < STEPS; ++i) {
        const float length = std::fabs(step) * keep;
        x += length * (axis.x * turn_c - axis.y * turn_s), y += length * (axis.x * turn_s + axis.y * turn_c);
        const float off = distance(own, canvas(x, y, 0.6 * layer.width));
        keep =
            std::min(keep, 1 - 0.9f * smooth_step(off, 0.4f * static_cast<float>(s.stop), static_cast<float>(s.stop)));
        axis = m_field.at(x, row_of(y), axis);
    }
    u = (x - x0) * stroke.cosine + (y - y0) * stroke.sine;
    v = (y - y0) * stroke.cosine - (x - x0) * stroke.sine;
}

// The cubic that leaves the seed straight on and meets both ends.
void Planner::bend(BrushStroke& stroke, float behind_u, float behind_v, float ahead_u, float ahead_v) const {
    const float least = 0.6f * stroke.half_width;
    stroke.ahead = std::max(ahead_u, least), stroke.behind = std::max(-behind_u, least);
    const float after = s.curvature * ahead_v / (stroke.ahead * stroke.ahead);
    const float before = s.curvature * behind_v / (stroke.behind * stroke.behind);
    stroke.twist = (after - before) / (stroke.ahead + stroke.behind);
    stroke.bend = after - stroke.twist * stroke.ahead;
    const auto slope = [&](float u) { return std::fabs(u * (2 * stroke.bend + 3 * stroke.twist * u)); };
    const float steepest = std::max(slope(stroke.ahead), slope(-stroke.behind));
    // Outlines of sharper bends than the stroke is wide would fold.
    const float sharpest = 2 * stroke.half_width *
                           std::max(std::fabs(stroke.bend + 3 * stroke.twist * stroke.ahead),
                                    std::fabs(stroke.bend - 3 * stroke.twist * stroke.behind));
    const float part = std::min(1.3f / std::max(steepest, 1.3f), 0.7f / std::max(sharpest, 0.7f));
    stroke.bend *= part, stroke.twist *= part;
}

void Planner::colour(BrushStroke& stroke, Pixel seen, PlaceNumbers& numbers) const {
    const float whole = 1 / std::max(seen[3], 1e-4f);
    float rgba[4] = {seen[0] * whole, seen[1] * whole, seen[2] * whole, 1}, lab[4];
    oklab_from_rgb(rgba, lab, 1);
    const K7SineCosine hue = k7_sine_cosine(double(s.hue_jitter * numbers.signed_next()));
    const auto c = static_cast<float>(hue.cosine), sn = static_cast<float>(hue.sine);
    const float chroma = std::max(s.saturation * (1 + s.saturation_jitter * numbers.signed_next()), 0.0f);
    const float lift_a = 0.06f * s.saturation_jitter * numbers.signed_next() * lab[0];
    const float lift_b = 0.06f * s.saturation_jitter * numbers.signed_next() * lab[0];
    const float a = lab[1], b = lab[2];
    lab[1] = (a * c - b * sn) * chroma + lift_a, lab[2] = (a * sn + b * c) * chroma + lift_b;
    lab[0] *= std::max(1 + s.value_jitter * numbers.signed_next(), 0.0f);
    rgb_from_oklab(lab, rgba, 1);
    if (s.colouring == BRUSH_PAINT) {
        std::copy_n(rgba, 3, stroke.colour);
        return;
    }
    // On paper the tone is how much pigment is laid on, not its colour.
    float way = 0;
    if (s.colouring == BRUSH_ONE_INK) {
        const float range = luminance(s.paper) - luminance(s.ink);
        way =
            std::clamp((luminance(s.paper) - luminance(rgba)) / (std::fabs(range) < 0.05f ? 0.05f : range), 0.0f, 1.0f);
        std::copy_n(s.ink, 3, stroke.colour);
    } else {
        for (int i = 0; i < 3; ++i) {
            const float p = s.paper[i], d = rgba[i] - p;
            way = std::max(way, d < 0 ? -d / std::max(p, 0.05f) : d / std::max(1 - p, 0.05f));
        }
        way = std::min(way, 1.0f);
        const float strength = 1 / std::max(std::sqrt(way), 0.3f);
        for (int i = 0; i < 3; ++i) stroke.colour[i] = std::max(s.paper[i] + (rgba[i] - s.paper[i]) * strength, 0.0f);
    }
    stroke.opacity *= smooth_step(way, 0.0f, 1.1f);
}

std::uint16_t Planner::turn_of(float x, float y, PlaceNumbers& numbers) const {
    const float across = x / static_cast<float>(s.width), up = row_of(y) / static_cast<float>(s.height);
    const float chance = numbers.next();
    float place = chance;
    if (s.order == BRUSH_LEFT_TO_RIGHT) place = across;
    if (s.order == BRUSH_TOP_TO_BOTTOM) place = 1 - up;
    if (s.order == BRUSH_FROM_MIDDLE)
        place = 1.4f * std::sqrt((across - 0.5f) * (across - 0.5f) + (up - 0.5f) * (up - 0.5f));
    const float turn = 0.12f * chance + 0.88f * std::clamp(place, 0.0f, 1.0f);
    return static_cast<std::uint16_t>(std::min(turn * 65536.0f, 65535.0f));
}

bool Planner::plan(const Layer& l, int column, int row, BrushStroke& stroke, std::uint16_t& turn) const {
    PlaceNumbers numbers(s.seed, l.index, column, row);
    const auto g = static_cast<float>(l.spacing);
    stroke.x = (static_cast<float>(column) + 0.5f + 0.45f * numbers.signed_next()) * g;
    stroke.y = (static_cast<float>(row) + 0.5f + 0.45f * numbers.signed_next()) * g;
    turn = turn_of(stroke.x, stroke.y, numbers);
    const double time = (l.index + turn / 65536.0 * (1 - LASTS)) / s.layers;
    const double grown = (s.progress - time) * s.layers / LASTS;
    if (!(grown > 0)) return false;

    const Pixel seen = canvas(stroke.x, stroke.y, 0.6 * l.width);
    float wanted = smooth_step(seen[3], 0.02f, 0.5f);
    if (l.index > 0 && wanted > 0 && s.detail > 0) {
        const auto least = static_cast<float>(s.detail);
        wanted *= smooth_step(detail_at(l, stroke.x, stroke.y), 0.5f * least, 1.6f * least);
    }
    if (m_matte && wanted > 0) {
        const Pixel matte = m_matte->mean(stroke.x, row_of(stroke.y), static_cast<float>(0.6 * l.width));
        wanted *= std::clamp(0.3f * matte[0] + 0.5f * matte[1] + 0.2f * matte[2], 0.0f, 1.0f);
    }
    if (!(wanted > 0.01f)) return false;

    // Strokes that are hardly wanted are thin and dry: they come and go without a jump.
    const float wide = 0.8f + 0.4f * numbers.next();
    stroke.half_width = static_cast<float>(0.5 * l.width) * wide * (0.6f + 0.4f * wanted);
    stroke.dryness = s.dryness + 0.9f * (1 - wanted);
    stroke.opacity = s.opacity * smooth_step(wanted, 0.0f, 0.35f);
    if (stroke.half_width < 0.4f) stroke.opacity *= stroke.half_width / 0.4f, stroke.half_width = 0.4f;
    const float gathers = numbers.next();
    stroke.rim = gathers * gathers;
    stroke.mirror = numbers.next() < 0.5f ? -1.0f : 1.0f;
    const BristleMarks marks = bristle_marks(static_cast<int>(numbers.word() % BRISTLE_KINDS), stroke.half_width);
    stroke.bristles = marks.marks, stroke.bristle_columns = marks.columns;
    stroke.bristle_offset = numbers.next() * BRISTLE_ROWS;

    const double any = 6.283185307179586 * double(numbers.next());
    const K7SineCosine sense = k7_sine_cosine(any), turned = k7_sine_cosine(s.jitter * double(numbers.signed_next()));
    const BrushField::Axis axis =
        m_field.at(stroke.x, row_of(stroke.y), {static_cast<float>(sense.cosine), static_cast<float>(sense.sine)});
    const auto tc = static_cast<float>(turned.cosine), ts = static_cast<float>(turned.sine);
    stroke.cosine = axis.x * tc - axis.y * ts, stroke.sine = axis.x * ts + axis.y * tc;
    const float half = static_cast<float>(0.5 * l.width * s.length) * (0.8f + 0.4f * numbers.next());
    float behind_u = -half, behind_v = 0, ahead_u = half, ahead_v = 0;
    if (s.length > 1.2) {
        walk(stroke, axis, tc, ts, half, l, ahead_u, ahead_v);
        walk(stroke, axis, tc, ts, -half, l, behind_u, behind_v);
    }
    bend(stroke, behind_u, behind_v, ahead_u, ahead_v);
    stroke.drawn = stroke.ahead;
    if (grown < 1) {  // a stroke begins as a dot, not as a line across its way
        const float length = static_cast<float>(grown) * (stroke.ahead + stroke.behind);
        stroke.drawn = length - stroke.behind;
        stroke.half_width = std::min(stroke.half_width, std::max(length, 0.1f));
    }
    colour(stroke, seen, numbers);
    return stroke.opacity > 0.004f;
}

}  // namespace

std::vector<BrushStroke> brush_strokes(const BrushSettings& settings, const BrushCanvas& canvas,
                                       const BrushField& field, const BrushCanvas* matte, const StopRequested& stop) {
    const Planner planner(settings, canvas, field, matte);
    std::vector<BrushStroke> strokes, planned;
    std::vector<std::uint16_t> turns;
    std::vector<std::uint8_t> seen;
    for (int index = 0; index < settings.layers && !wants_end(stop); ++index) {
        const Layer l = planner.layer(index);
        const std::size_t count = std::size_t(l.columns) * std::size_t(l.rows);
        planned.resize(count), turns.resize(count), seen.assign(count, 0);
        each_row_float(
            l.rows, [&] { return wants_end(stop); },
            [&](int row) {
                for (int column = 0; column < l.columns; ++column) {
                    const std::size_t at = std::size_t(row) * std::size_t(l.columns) + std::size_t(column);
                    seen[at] = planner.plan(l, l.first_column + column, l.first_row + row, planned[at], turns[at]);
                }
            });
        // In the order of their turns; equal ones as they stand.
        std::vector<std::uint32_t> begins(65537);
        for (std::size_t i = 0; i < count; ++i) begins[turns[i] + 1U] += seen[i];
        for (std::size_t i = 1; i < begins.size(); ++i) begins[i] += begins[i - 1];
        const std::size_t before = strokes.size();
        strokes.resize(before + begins.back());
        for (std::size_t i = 0; i < count; ++i)
            if (seen[i]) strokes[before + begins[turns[i]]++] = planned[i];
    }
    return strokes;
}
