#include "flowfinderlib/flow_finder.h"

#include <cmath>

#include "flowfinderlib/flow_far.h"
#include "flowfinderlib/flow_levels.h"
#include "flowfinderlib/flow_search_simd.h"
#include "k7pi_baselib/in_memory.h"

namespace {

constexpr int SMALLEST_LEVEL = 16;  // pixels; smaller ones tell nothing
constexpr int SEARCH_ITERATIONS = 12;
constexpr int FINEST_SEARCH = 1;            // level; below it patches would blur what the refinement has found
constexpr int FIRST_COLOUR = 1;             // level; the finest one is refined from the luminance alone
constexpr float COLOUR_GAIN = 0.57735027F;  // 1 / sqrt 3: grey in three planes counts as it does in one
constexpr int FINEST_FAR = 2;               // level
constexpr int SMALLEST_FAR = 40;            // pixels of the shorter side: smaller levels show too little of a thing
constexpr float FAR_DRIFT = 0.5F;           // pixels by which the finest level may move what was found far off
constexpr int FINEST_WARPS = 2, WARPS = 3;
// How far pixels look for another flow, at level 0 and level 1: first beyond what a patch of a coarser level covers
// there, then close by.
constexpr int REACHES[2][2] = {{16, 5}, {8, 0}};

}  // namespace

struct FlowFinder::State {
    struct Level {
        FlowGrey pictures[2];
        FlowGrey colours[2][FLOW_COLOUR_PLANES];  // from FIRST_COLOUR on, if the pictures have any
        bool in_colour = false;
        FlowWork work;
    };
    std::vector<Level> levels;
    int count = 0;  // of the levels in use; 0: there is no pair
    FlowSettings settings;

    bool set_pair(const K7Image* const pair[2], const FlowSettings& wanted);
    bool set_colours(int number, const K7Image* const pair[2]);
    bool find(bool backward, const StopRequested& stop);
    bool find_level(int number, bool backward, const StopRequested& stop);
    void search(Level& level, bool backward, const StopRequested& stop);
    ImagePtr result();
};

bool FlowFinder::State::set_pair(const K7Image* const pair[2], const FlowSettings& wanted) {
    settings = wanted;
    count = 0;
    int width = pair[0]->width, height = pair[0]->height, wanted_levels = 1;
    const int most = wanted.num_stages > 0 ? wanted.oflow_res + wanted.num_stages : 32;
    for (int w = width, h = height; wanted_levels < most && std::min(w, h) / 2 >= SMALLEST_LEVEL; ++wanted_levels)
        w = (w + 1) / 2, h = (h + 1) / 2;
    if (int(levels.size()) < wanted_levels) levels.resize(std::size_t(wanted_levels));
    for (int n = 0; n < wanted_levels; ++n) {
        for (int p = 0; p < 2; ++p) {
            FlowGrey& level = levels[std::size_t(n)].pictures[p];
            if (!level.make(width, height)) return false;
            if (n == 0) {
                if (!flow_read_grey(pair[p], settings.proc_chan, level.grey) ||
                    (settings.dc_fix && !flow_flatten_brightness(level.grey)))
                    return false;
            } else {
                flow_halve(levels[std::size_t(n) - 1].pictures[p].grey, level.grey, settings.pyr_filter);
            }
            flow_differentiate(level);
        }
        if (!set_colours(n, pair)) return false;
        width = (width + 1) / 2, height = (height + 1) / 2;
    }
    count = wanted_levels;
    return true;
}

// The colours of a level: of the pictures themselves at the first one, of the level before it at the others.
bool FlowFinder::State::set_colours(int number, const K7Image* const pair[2]) {
    Level& level = levels[std::size_t(number)];
    level.in_colour = number >= FIRST_COLOUR && settings.proc_chan == FLOW_LUMINANCE && pair[0]->channels >= 3;
    for (int p = 0; p < 2 && level.in_colour; ++p)
        for (int n = 0; n < FLOW_COLOUR_PLANES; ++n) {
            FlowGrey& colour = level.colours[p][n];
            if (!colour.make(level.pictures[p].grey.width, level.pictures[p].grey.height)) return false;
            if (number > FIRST_COLOUR) {
                flow_halve(levels[std::size_t(number) - 1].colours[p][n].grey, colour.grey, settings.pyr_filter);
            } else {
                flow_read_shrunk(pair[p], n, 1 << FIRST_COLOUR, COLOUR_GAIN, colour.grey);
                if (settings.dc_fix && !flow_flatten_brightness(colour.grey)) return false;
            }
            flow_differentiate(colour);
        }
    return true;
}

void FlowFinder::State::search(Level& level, bool backward, const StopRequested& stop) {
    const FlowGrey& grey = level.pictures[backward];
    FlowWork& work = level.work;
    const int width = grey.grey.width, height = grey.grey.height;
    FlowSearch s = {};
    s.in_colour = level.in_colour;
    for (int n = 0; n < (s.in_colour ? FLOW_COLOUR_PLANES : 1); ++n) {
        const FlowGrey& first = s.in_colour ? level.colours[backward][n] : grey;
        const FlowGrey& second = s.in_colour ? level.colours[!backward][n] : level.pictures[!backward];
        s.planes[n] = {first.grey.row(0), first.x.row(0), first.y.row(0), second.grey.row(0)};
    }
    s.guess_u = work.u.row(0);
    s.guess_v = work.v.row(0);
    s.stride = grey.grey.stride();
    s.width = width;
    s.height = height;
    s.columns = flow_patch_count(width);
    s.rows = flow_patch_count(height);
    s.iterations = SEARCH_ITERATIONS;
    work.patch_u.resize(std::size_t(s.columns) * std::size_t(s.rows));
    work.patch_v.resize(work.patch_u.size());
    s.patch_u = work.patch_u.data();
    s.patch_v = work.patch_v.data();
    const FlowSearchTable& table = flow_search();
    for_rows_float(s.rows, [&](int from, int to) {
        for (int y = from; y <= to && !wants_end(stop); ++y) table.search_row(s, y);
    });
    const bool far = &level - levels.data() >= FINEST_FAR && std::min(width, height) >= SMALLEST_FAR;
    if (far && s.in_colour) flow_look_far(s, work, stop);
    for_rows_float(height, [&](int from, int to) {
        std::vector<float> sums(3 * std::size_t(width + FLOW_PATCH));
        for (int y = from; y <= to; ++y) table.spread_row(s, y, work.u.row(y), work.v.row(y), sums.data());
    });
}

bool FlowFinder::State::find_level(int number, bool backward, const StopRequested& stop) {
    Level& level = levels[std::size_t(number)];
    const FlowPlane& grey = level.pictures[0].grey;
    if (!level.work.make(grey.width, grey.height)) return false;
    if (number + 1 < count) {
        flow_enlarge(levels[std::size_t(number) + 1].work.u, level.work.u, 2.0F);
        flow_enlarge(levels[std::size_t(number) + 1].work.v, level.work.v, 2.0F);
    } else {
        level.work.u.clear();
        level.work.v.clear();
    }
    flow_keep_far(number + 1 < count ? &levels[std::size_t(number) + 1].work : nullptr, level.work);
    if (number >= FINEST_SEARCH && std::min(grey.width, grey.height) >= FLOW_PATCH) search(level, backward, stop);
    for (int n = 0; number < 2 && n < 2; ++n)
        if (REACHES[number][n] > 0)
            flow_sharpen_edges(level.pictures[backward], level.pictures[!backward], level.work, REACHES[number][n]);
    if (settings.lambda1 + settings.lambda2 <= 0.0F) return !wants_end(stop);
    const float coarse = count > 1 ? float(number) / float(count - 1) : 0.0F;
    const auto between = [&](float init, float end) { return end + (init - end) * coarse; };
    const FlowFarStart start(level.work);
    if (!flow_refine_level({level.pictures[backward], level.pictures[!backward], level.work, settings,
                            between(settings.sigma1_init, settings.sigma1_end),
                            between(settings.sigma2_init, settings.sigma2_end), number == 0 ? FINEST_WARPS : WARPS},
                           stop))
        return false;
    start.hold(level.work, number == 0 ? FAR_DRIFT : 0.0F);
    return true;
}

ImagePtr FlowFinder::State::result() {
    const int finest = std::min(settings.oflow_res, count - 1);
    for (int n = finest - 1; n >= 0; --n) {
        Level &level = levels[std::size_t(n)], &coarser = levels[std::size_t(n) + 1];
        if (!level.work.make(level.pictures[0].grey.width, level.pictures[0].grey.height)) return nullptr;
        flow_enlarge(coarser.work.u, level.work.u, 2.0F);
        flow_enlarge(coarser.work.v, level.work.v, 2.0F);
    }
    const FlowWork& work = levels[0].work;
    ImagePtr image = make_image_uncleared(work.u.width, work.u.height, 2, SAMPLE_F32);
    if (!image) return nullptr;
    const float most = settings.max_disp;
    for_rows_float(image->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float *u = work.u.row(y), *v = work.v.row(y);
            float* out = image_row<float>(image.get(), y);
            for (int x = 0; x < image->width; ++x) {
                const float length = std::sqrt(u[x] * u[x] + v[x] * v[x]);
                const float part = most > 0.0F && length > most ? most / length : 1.0F;
                out[2 * x] = u[x] * part;
                out[2 * x + 1] = v[x] * part;
            }
        }
    });
    return image;
}

FlowFinder::FlowFinder() = default;
FlowFinder::~FlowFinder() = default;

bool FlowFinder::set_pair(const K7Image* first, const K7Image* second, const FlowSettings& settings) {
    return in_memory([&] {
        if (!m_state) m_state = std::make_unique<State>();
        m_state->count = 0;
        const K7Image* pair[] = {first, second};
        return image_same_layout(first, second) && flow_settings_are_valid(settings) &&
               m_state->set_pair(pair, settings);
    });
}

ImagePtr FlowFinder::find(bool backward, const StopRequested& stop) {
    return in_memory([&]() -> ImagePtr {
        if (!m_state || m_state->count == 0) return nullptr;
        const int finest = std::min(m_state->settings.oflow_res, m_state->count - 1);
        for (int n = m_state->count - 1; n >= finest; --n)
            if (!m_state->find_level(n, backward, stop)) return nullptr;
        return m_state->result();
    });
}

bool flow_settings_are_valid(const FlowSettings& s) {
    const auto within = [](float v, float low, float high) { return v >= low && v <= high; };
    const auto above = [&](float v) { return within(v, 1e-6F, 1e6F); };
    return within(s.lambda1, 0, 1000) && within(s.lambda2, 0, 1000) && within(s.smoothness, 1e-6F, 1000) &&
           above(s.sigma1_init) && above(s.sigma1_end) && above(s.sigma2_init) && above(s.sigma2_end) &&
           within(s.max_disp, 0, 65535) && s.pyr_filter >= FLOW_BOX && s.pyr_filter <= FLOW_WIDE_BINOMIAL &&
           s.num_stages >= 0 && s.num_stages <= 32 && s.num_iterations >= 1 && s.num_iterations <= 1000 &&
           s.oflow_res >= 0 && s.oflow_res <= 8 && s.proc_chan >= 0 && s.pf_filtrad >= 0 && s.pf_filtrad <= 8;
}

bool find_flow(const K7Image* first, const K7Image* second, const FlowSettings& settings, bool both_ways,
               FlowFields& fields, const StopRequested& stop) {
    FlowFinder finder;
    fields = {};
    if (!finder.set_pair(first, second, settings)) return false;
    fields.forward = finder.find(false, stop);
    if (fields.forward && both_ways) fields.backward = finder.find(true, stop);
    return fields.forward && (fields.backward || !both_ways);
}
