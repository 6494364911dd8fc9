#include "imagelib/quilt_search.h"

#include <algorithm>
#include <cmath>

namespace {

using simd::Pixel;

constexpr std::size_t MOST_CELLS = 96;     // that places are compared by
constexpr std::size_t MOST_POINTS = 220;   // that the last pixels are compared by
constexpr std::size_t MOST_LATTICE = 256;  // places
constexpr std::uint32_t GUESSES = 64;
constexpr std::size_t KEPT = 5;  // places that are looked at closely

// Evenly chosen ones of too many.
template <class T>
void thin_out(std::vector<T>& all, std::size_t most) {
    if (all.size() <= most) return;
    for (std::size_t i = 0; i < most; ++i) all[i] = all[i * all.size() / most];
    all.erase(all.begin() + static_cast<std::ptrdiff_t>(most), all.end());
}

float sum_of(const Pixel& v) { return (v[0] + v[1]) + v[2]; }

}  // namespace

QuiltSearch::QuiltSearch(const QuiltTask& task, const QuiltShape& shape, const QuiltSample& sample, int places)
    : m_task(task), m_shape(shape), m_sample(sample), m_places(places) {
    const auto room = static_cast<std::size_t>(sample.columns) + 256;
    m_costs.resize(room);
    if (task.guide) m_guide_costs.resize(room);
}

bool QuiltSearch::known(int x, int y) const {
    return x >= 0 && y >= 0 && x < m_task.canvas->width && y < m_task.canvas->height &&
           image_row<std::uint8_t>(m_task.state, y)[x] != QUILT_EMPTY;
}

void QuiltSearch::gather_points(const QuiltBlock& block) {
    m_points.clear();
    const int pixels = m_shape.width * m_shape.height;
    const int step = std::max(1, static_cast<int>(std::sqrt(static_cast<float>(pixels) / 500.0F)));
    for (int y = step / 2; y < m_shape.height; y += step)
        for (int x = step / 2; x < m_shape.width; x += step)
            if (known(block.x + x, block.y + y))
                m_points.push_back(
                    {x, y, quilt_colour(image_row<float>(m_task.canvas, block.y + y) + 4 * (block.x + x))});
    thin_out(m_points, MOST_POINTS);
}

// Cells all of whose pixels are there.
void QuiltSearch::gather_cells(const QuiltBlock& block) {
    m_cells.clear();
    const int factor = m_shape.factor;
    const float share = 1.0F / static_cast<float>(factor * factor);
    for (int v = 0; v < m_shape.cell_height; ++v)
        for (int u = 0; u < m_shape.cell_width; ++u) {
            Pixel sum{};
            bool whole = true;
            for (int y = 0; y < factor && whole; ++y)
                for (int x = 0; x < factor && whole; ++x) {
                    const int px = block.x + u * factor + x, py = block.y + v * factor + y;
                    whole = known(px, py);
                    if (whole) sum += quilt_colour(image_row<float>(m_task.canvas, py) + 4 * px);
                }
            if (!whole) continue;
            sum *= share;
            m_cells.push_back({v * m_sample.columns + u, {sum[0], sum[1], sum[2]}});
        }
    thin_out(m_cells, MOST_CELLS);
}

void QuiltSearch::gather_guide(const QuiltBlock& block) {
    m_guide.clear();
    if (!m_task.guide) return;
    const int box = m_shape.box, side = box * m_shape.factor, step = std::max(1, side / 6);
    for (int v = 0; v + box <= m_shape.cell_height; v += box)
        for (int u = 0; u + box <= m_shape.cell_width; u += box) {
            float sum = 0, count = 0;
            for (int y = step / 2; y < side; y += step)
                for (int x = step / 2; x < side; x += step) {
                    const int px = block.x + u * m_shape.factor + x, py = block.y + v * m_shape.factor + y;
                    if (px < 0 || py < 0 || px >= m_task.canvas->width || py >= m_task.canvas->height) continue;
                    sum += image_row<float>(m_task.guide, py)[px], count += 1.0F;
                }
            if (count > 0.0F) m_guide.push_back({v * m_sample.columns + u, {sum / count, 0, 0}});
        }
}

// ---- All places, in cells -----------------------------------------------------------------------------------------

// The best place of a row becomes a candidate.
void QuiltSearch::scan_row(int variant, int row) {
    const QuiltVariant& from = m_sample.variants[static_cast<std::size_t>(variant)];
    const int count = (m_sample.width - m_shape.width) / m_shape.factor + 1;
    const std::ptrdiff_t start = std::ptrdiff_t{row} * m_sample.columns;
    const float guided = m_guide.empty() ? 0.0F : (m_cells.empty() ? 1.0F : m_task.guide_weight);
    if (!m_cells.empty()) {
        const float* const planes[3] = {from.planes[0].data() + start, from.planes[1].data() + start,
                                        from.planes[2].data() + start};
        quilt_kernels().scan(planes, 3, m_cells.data(), static_cast<int>(m_cells.size()), count, m_costs.data());
    }
    if (guided > 0.0F) {
        const float* const planes[3] = {from.luminance.data() + start, nullptr, nullptr};
        quilt_kernels().scan(planes, 1, m_guide.data(), static_cast<int>(m_guide.size()), count, m_guide_costs.data());
    }
    const float match = (1.0F - guided) / static_cast<float>(std::max<std::size_t>(m_cells.size(), 1));
    const float follow = 3.0F * guided / static_cast<float>(std::max<std::size_t>(m_guide.size(), 1));
    Candidate best{INFINITY, {variant, -1, row * m_shape.factor}};
    for (int x = 0; x < count; ++x) {
        float cost = m_cells.empty() ? 0.0F : match * m_costs[static_cast<std::size_t>(x)];
        if (guided > 0.0F) cost += follow * m_guide_costs[static_cast<std::size_t>(x)];
        if (!(cost < best.cost)) continue;
        if (m_sample.has_blocked() && !m_sample.usable(m_shape, {variant, x * m_shape.factor, best.place.y})) continue;
        best.cost = cost, best.place.x = x * m_shape.factor;
    }
    if (best.place.x >= 0) m_candidates.push_back(best);
}

// Rows at even distances, so many that about m_places are compared.
void QuiltSearch::scan(std::uint32_t hash) {
    const int columns = (m_sample.width - m_shape.width) / m_shape.factor + 1;
    const int rows = (m_sample.height - m_shape.height) / m_shape.factor + 1;
    int variants = 0;
    for (const QuiltVariant& variant : m_sample.variants) variants += variant.picture != nullptr;
    const std::int64_t all = std::int64_t{columns} * rows * variants;
    const int stride = static_cast<int>(std::clamp<std::int64_t>((all + m_places - 1) / m_places, 1, rows));
    for (std::size_t v = 0; v < m_sample.variants.size(); ++v) {
        if (!m_sample.variants[v].picture) continue;
        const int phase = quilt_pick(quilt_hash(hash, static_cast<std::uint32_t>(v)), stride);
        for (int row = phase; row < rows; row += stride) scan_row(static_cast<int>(v), row);
    }
}

// The best ones that do not lie on each other.
void QuiltSearch::keep_best() {
    std::sort(m_candidates.begin(), m_candidates.end(), [](const Candidate& a, const Candidate& b) {
        if (a.cost != b.cost) return a.cost < b.cost;
        if (a.place.variant != b.place.variant) return a.place.variant < b.place.variant;
        return a.place.y != b.place.y ? a.place.y < b.place.y : a.place.x < b.place.x;
    });
    const int apart = 2 * m_shape.factor;
    std::vector<Candidate>& all = m_candidates;
    std::size_t kept = 0;
    for (std::size_t i = 0; i < all.size() && kept < KEPT; ++i) {
        const auto near = [&](const Candidate& other) {
            return other.place.variant == all[i].place.variant && std::abs(other.place.x - all[i].place.x) < apart &&
                   std::abs(other.place.y - all[i].place.y) < apart;
        };
        if (std::none_of(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(kept), near)) all[kept++] = all[i];
    }
    all.resize(kept);
}

// ---- Single places, in pixels -------------------------------------------------------------------------------------

float QuiltSearch::guide_cost(const QuiltPlace& place) const {
    if (m_guide.empty()) return 0.0F;
    const QuiltVariant& from = m_sample.variants[static_cast<std::size_t>(place.variant)];
    const int start = place.y / m_shape.factor * m_sample.columns + place.x / m_shape.factor;
    float sum = 0;
    for (const QuiltPoint& point : m_guide) {
        const float d = from.luminance[static_cast<std::size_t>(start + point.offset)] - point.value[0];
        sum += d * d;
    }
    return 3.0F * sum / static_cast<float>(m_guide.size());
}

// Mean squared difference; something above the limit where it is above the limit.
float QuiltSearch::cost_of(const QuiltPlace& place, float limit) const {
    const float guided = m_guide.empty() ? 0.0F : (m_points.empty() ? 1.0F : m_task.guide_weight);
    const float base = guided > 0.0F ? guided * guide_cost(place) : 0.0F;
    if (m_points.empty() || base > limit) return base;
    const K7Image* picture = m_sample.variants[static_cast<std::size_t>(place.variant)].picture.get();
    const float share = (1.0F - guided) / static_cast<float>(m_points.size());
    Pixel sum{};
    for (std::size_t first = 0; first < m_points.size(); first += 16) {
        const std::size_t end = std::min(first + 16, m_points.size());
        for (std::size_t i = first; i < end; ++i) {
            const Point& point = m_points[i];
            const float* at = image_row<float>(picture, place.y + point.y) + 4 * (place.x + point.x);
            const Pixel d = quilt_colour(at) - point.colour;
            sum += d * d;
        }
        if (base + share * sum_of(sum) > limit) return INFINITY;
    }
    return base + share * sum_of(sum);
}

void QuiltSearch::refine(Candidate& best, const QuiltPlace& middle, int reach, int step) const {
    const int right = m_sample.width - m_shape.width, top = m_sample.height - m_shape.height;
    for (int y = std::max(middle.y - reach, 0); y <= std::min(middle.y + reach, top); y += step)
        for (int x = std::max(middle.x - reach, 0); x <= std::min(middle.x + reach, right); x += step) {
            const QuiltPlace place{middle.variant, x, y};
            if (!m_sample.usable(m_shape, place)) continue;
            const float cost = cost_of(place, best.cost);
            if (cost < best.cost) best = {cost, place};
        }
}

// ---- Lattices -----------------------------------------------------------------------------------------------------

void quilt_lattice_places(const QuiltTask& task, const QuiltShape& shape, const QuiltSample& sample,
                          const QuiltBlock& block, std::uint32_t hash, std::vector<QuiltPlace>& places) {
    places.clear();
    const double ax = task.lattice.x[0], ay = task.lattice.y[0];
    double bx = task.lattice.x[1], by = task.lattice.y[1];
    double shift = 0.0;  // along b, where nothing repeats
    if (task.lattice.axes == 1) {
        const double length = std::sqrt(ax * ax + ay * ay);
        bx = -2.0 * ay / length, by = 2.0 * ax / length;
        shift = static_cast<double>(hash) / 4294967296.0;
    }
    const double area = ax * by - ay * bx;
    if (!(std::fabs(area) > 1e-6)) return;
    // The block's place in steps of the lattice: places of the sample have the same fractions.
    const double along = (block.x * by - block.y * bx) / area, across = (ax * block.y - ay * block.x) / area;
    const double first_a = along - std::floor(along);
    const double first_b = task.lattice.axes == 1 ? shift : across - std::floor(across);
    const int right = sample.width - shape.width, top = sample.height - shape.height;
    // Steps that can reach the sample: those of its corners.
    double low[2] = {INFINITY, INFINITY}, high[2] = {-INFINITY, -INFINITY};
    for (const auto& [x, y] : {std::pair{0, 0}, {right, 0}, {0, top}, {right, top}}) {
        const double steps[2] = {(x * by - y * bx) / area, (ax * y - ay * x) / area};
        for (int k = 0; k < 2; ++k) low[k] = std::min(low[k], steps[k]), high[k] = std::max(high[k], steps[k]);
    }
    for (double a = std::floor(low[0]) - 1 + first_a; a <= high[0] + 1; a += 1.0)
        for (double b = std::floor(low[1]) - 1 + first_b; b <= high[1] + 1; b += 1.0) {
            const int x = static_cast<int>(std::floor(a * ax + b * bx + 0.5));
            const int y = static_cast<int>(std::floor(a * ay + b * by + 0.5));
            if (x < 0 || y < 0 || x > right || y > top) continue;
            if (sample.usable(shape, {0, x, y})) places.push_back({0, x, y});
        }
}

void QuiltSearch::list_lattice(const QuiltBlock& block, std::uint32_t hash) {
    std::vector<QuiltPlace> places;
    quilt_lattice_places(m_task, m_shape, m_sample, block, hash, places);
    if (!places.empty())  // another begin each time, so that no few places serve all patches
        std::rotate(places.begin(), places.begin() + quilt_pick(hash, static_cast<int>(places.size())), places.end());
    thin_out(places, MOST_LATTICE);
    for (const QuiltPlace& place : places) m_candidates.push_back({cost_of(place, INFINITY), place});
}

// Too little is there for a search by cells.
void QuiltSearch::guess(const QuiltBlock& block, std::uint32_t hash) {
    m_candidates.push_back({cost_of(block.chance, INFINITY), block.chance});
    for (std::uint32_t i = 0; i < GUESSES; ++i) {
        const QuiltPlace place{0, quilt_pick(quilt_hash(hash, 2 * i), m_sample.width - m_shape.width + 1),
                               quilt_pick(quilt_hash(hash, 2 * i + 1), m_sample.height - m_shape.height + 1)};
        if (m_sample.usable(m_shape, place)) m_candidates.push_back({cost_of(place, INFINITY), place});
    }
}

// ---- The whole search ---------------------------------------------------------------------------------------------

QuiltPlace QuiltSearch::find(const QuiltBlock& block) {
    gather_points(block);
    gather_guide(block);
    if (m_points.empty() && m_guide.empty()) return block.chance;
    const std::uint32_t hash = quilt_hash(
        m_task.seed, quilt_hash(static_cast<std::uint32_t>(block.i), static_cast<std::uint32_t>(block.j) + 77U));
    m_candidates.clear();
    int reach = 2;
    if (m_task.lattice.axes > 0) list_lattice(block, hash);
    if (m_candidates.empty()) {
        gather_cells(block);
        if (m_cells.empty() && m_guide.empty())
            guess(block, hash);
        else
            scan(hash);
        reach = m_shape.factor - 1;
    }
    keep_best();
    if (m_candidates.empty()) return block.chance;
    const std::vector<Candidate> kept = m_candidates;
    Candidate best{INFINITY, block.chance};
    const int step = reach > 3 ? 2 : 1;
    for (const Candidate& candidate : kept) refine(best, candidate.place, reach, step);
    if (step > 1) refine(best, QuiltPlace(best.place), 1, 1);
    return best.place;
}
