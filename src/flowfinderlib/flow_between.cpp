#include <cmath>
#include <vector>

#include "flowfinderlib/flow_motion.h"
#include "flowfinderlib/flowfinderlib.h"
#include "k7pi_baselib/in_memory.h"

namespace {

constexpr float LONGEST = 65535.0F;

bool is_flow(const K7Image* image) { return image && image->channels == 2 && image->sample_type == SAMPLE_F32; }

// What is not a number, or longer than any picture, counts as no motion.
bool read_flow(const K7Image* flow, float still, FlowGround& ground) {
    if (!ground.make(flow->width, flow->height)) return false;
    flow_rows(flow->height, [&](int y) {
        const float* from = image_row<float>(flow, y);
        float *u = ground.u.row(y), *v = ground.v.row(y);
        for (int x = 0; x < flow->width; ++x) {
            const float fu = from[2 * x], fv = from[2 * x + 1], length = fu * fu + fv * fv;
            const bool moves = length >= still * still && length <= LONGEST * LONGEST;
            u[x] = moves ? fu : 0.0F;
            v[x] = moves ? fv : 0.0F;
        }
        std::fill_n(ground.sure.row(y), flow->width, 1.0F);
    });
    return true;
}

void extend(FlowPlane& plane) {
    flow_rows(plane.height, [&](int y) { plane.extend_row(y); });
    plane.extend_above_and_below();
}
void extend(FlowGround& ground) {
    extend(ground.u);
    extend(ground.v);
}

void find_sure(FlowGround& ground, const FlowGround& back, float threshold) {
    flow_rows(ground.u.height, [&](int y) {
        flow_between().agreement(ground.pair(), back.pair(), y, threshold * threshold, ground.sure.row(y));
    });
}

// RGBA floats with an edge around them.
ImagePtr with_edge(const K7Image* picture) {
    const int width = picture->width, height = picture->height;
    ImagePtr plain = make_image_uncleared(width, height, 4, SAMPLE_F32);
    ImagePtr out = make_image_uncleared(width + 2 * BETWEEN_EDGE, height + 2 * BETWEEN_EDGE, 4, SAMPLE_F32);
    if (!plain || !out || !image_convert(picture, plain.get(), true, 0)) return nullptr;
    flow_rows(out->height, [&](int y) {
        const float* from = image_row<float>(plain.get(), std::clamp(y - BETWEEN_EDGE, 0, height - 1));
        float* to = image_row<float>(out.get(), y);
        for (int x = 0; x < out->width; ++x)
            for (int c = 0; c < 4; ++c) {
                const float v = from[4 * std::clamp(x - BETWEEN_EDGE, 0, width - 1) + c];
                to[4 * x + c] = std::isfinite(v) ? v : 0.0F;
            }
    });
    return out;
}
BetweenPicture inner(const K7Image* image) {
    const long stride = 4L * image->width;
    return {image_row<float>(image, 0) + BETWEEN_EDGE * stride + 4 * BETWEEN_EDGE, stride};
}
// Conversions truncate: half a level more makes them round.
void round(K7Image* picture, int sample_type) {
    const float half = 0.5F / image_full_value(sample_type);
    flow_rows(picture->height, [&](int y) {
        float* row = image_row<float>(picture, y);
        for (int n = 0; n < 4 * picture->width; ++n) row[n] += half;
    });
}

// The picture without its edge, as a header over the same pixels would have to have a stride: a copy.
ImagePtr without_edge(const K7Image* image) {
    ImagePtr out =
        make_image_uncleared(image->width - 2 * BETWEEN_EDGE, image->height - 2 * BETWEEN_EDGE, 4, SAMPLE_F32);
    if (!out) return nullptr;
    flow_rows(out->height, [&](int y) {
        std::copy_n(image_row<float>(image, y + BETWEEN_EDGE) + 4 * BETWEEN_EDGE, 4L * out->width,
                    image_row<float>(out.get(), y));
    });
    return out;
}

}  // namespace

struct FlowBetween::State {
    ImagePtr first, second, layout;
    FlowGround forward, backward;
    bool both_ways = false;
    BetweenSettings settings;

    bool fill(FlowGround& ground, const K7Image* picture) const {
        if (!settings.fill_covered) return true;
        const ImagePtr plain = without_edge(picture);
        if (!plain || !flow_fill_covered(plain.get(), ground, settings.fill_r_blur, settings.fill_r_error))
            return false;
        extend(ground);
        return true;
    }
    bool take_flows(const FlowFields& fields) {
        both_ways = fields.backward != nullptr;
        if (!read_flow(fields.forward.get(), settings.velocity_thresh, forward)) return false;
        extend(forward);
        if (!both_ways) return true;
        if (!read_flow(fields.backward.get(), settings.velocity_thresh, backward)) return false;
        extend(backward);
        find_sure(forward, backward, settings.cover_thresh);
        find_sure(backward, forward, settings.cover_thresh);
        return fill(forward, first.get()) && fill(backward, second.get());
    }
};

FlowBetween::FlowBetween() = default;
FlowBetween::~FlowBetween() = default;

bool FlowBetween::set_pair(const K7Image* first, const K7Image* second, const FlowFields& fields,
                           const BetweenSettings& settings) {
    m_state.reset();
    const K7Image *forward = fields.forward.get(), *backward = fields.backward.get();
    if (!image_same_layout(first, second) || first->channels > 4 || !is_flow(forward) ||
        forward->width != first->width || forward->height != first->height ||
        (backward && !image_same_layout(forward, backward)) || !between_settings_are_valid(settings))
        return false;
    return in_memory([&] {
        auto state = std::make_unique<State>();
        state->settings = settings;
        state->layout.reset(image_create(first->width, first->height, first->channels, first->sample_type, 0));
        state->first = with_edge(first);
        state->second = with_edge(second);
        if (!state->layout || !state->first || !state->second || !state->take_flows(fields)) return false;
        m_state = std::move(state);
        return true;
    });
}

bool FlowBetween::at(float scale, float mix, K7Image* result, const StopRequested& stop) const {
    const auto is_part = [](float v) { return v >= 0.0F && v <= 1.0F; };
    if (!m_state || !image_same_layout(m_state->layout.get(), result) || !is_part(scale) || !is_part(mix)) return false;
    return in_memory([&] {
        const State& s = *m_state;
        FlowPlane u, v;
        if (!flow_motion_at(s.forward, s.both_ways ? &s.backward : nullptr, scale, u, v)) return false;
        const bool in_place = result->channels == 4 && result->sample_type == SAMPLE_F32;
        const ImagePtr own = in_place ? nullptr : make_image_uncleared(result->width, result->height, 4, SAMPLE_F32);
        if (!in_place && !own) return false;
        K7Image* out = in_place ? result : own.get();
        for_rows_float(out->height, [&](int from, int to) {
            std::vector<float> weights(5 * (std::size_t(out->width) + 16));
            for (int y = from; y <= to && !wants_end(stop); ++y)
                flow_between().mix_row({s.forward.pair(), s.both_ways ? s.backward.pair() : s.forward.pair(),
                                        inner(s.first.get()), inner(s.second.get()), u.row(y), v.row(y), y, scale, mix,
                                        s.settings.cover_thresh * s.settings.cover_thresh, s.both_ways,
                                        s.settings.warp_mode > 0, weights.data(), image_row<float>(out, y)});
        });
        result->stats_valid = 0;
        if (wants_end(stop)) return false;
        if (in_place) return true;
        if (result->sample_type != SAMPLE_F32) round(out, result->sample_type);
        return image_convert(out, result, true, 0);
    });
}

bool between_settings_are_valid(const BetweenSettings& s) {
    const auto within = [](float v, float low, float high) { return v >= low && v <= high; };
    return within(s.cover_thresh, 1e-3F, 1000) && within(s.velocity_thresh, 0, 1000) &&
           within(s.fill_r_blur, 1, 1000) && within(s.fill_r_error, 1e-4F, 1000) && s.warp_mode >= 0 &&
           s.warp_mode <= 1;
}

ImagePtr flow_covered(const K7Image* flow, const K7Image* back, float threshold) {
    if (!is_flow(flow) || !image_same_layout(flow, back) || !(threshold > 0.0F)) return nullptr;
    return in_memory([&]() -> ImagePtr {
        FlowGround there, here;
        ImagePtr out = make_image_uncleared(flow->width, flow->height, 1, SAMPLE_F32);
        if (!out || !read_flow(flow, 0, there) || !read_flow(back, 0, here)) return nullptr;
        extend(there);
        extend(here);
        find_sure(there, here, threshold);
        flow_rows(flow->height, [&](int y) {
            for (int x = 0; x < flow->width; ++x) image_row<float>(out.get(), y)[x] = 1.0F - there.sure.row(y)[x];
        });
        return out;
    });
}

// ---- Fields -------------------------------------------------------------------------------------------------------

ImagePtr flow_take_field(const K7Image* picture, bool odd) {
    if (!picture || picture->height < 2) return nullptr;
    ImagePtr field =
        make_image_uncleared(picture->width, (picture->height + !odd) / 2, picture->channels, picture->sample_type);
    if (!field) return nullptr;
    for (int y = 0; y < field->height; ++y)
        std::copy_n(image_row<std::byte>(picture, 2 * y + odd), picture->row_bytes,
                    image_row<std::byte>(field.get(), y));
    return field;
}

bool flow_put_field(const K7Image* field, bool odd, K7Image* picture) {
    if (!field || !picture || field->row_bytes != picture->row_bytes || field->sample_type != picture->sample_type ||
        field->height != (picture->height + !odd) / 2)
        return false;
    for (int y = 0; y < field->height; ++y)
        std::copy_n(image_row<std::byte>(field, y), picture->row_bytes, image_row<std::byte>(picture, 2 * y + odd));
    picture->stats_valid = 0;
    return true;
}
