#include "effects/trails/TrailLive.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "effects/engines/replay/FrameClock.h"
#include "effects/trails/TrailLines.h"
#include "effects/trails/TrailLive_simd.h"
#include "effects/trails/TrailMoved.h"
#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_guided.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"

namespace {

constexpr double MOST_PIXELS = 960.0 * 544.0;  // of a layer; of lines four times as many
constexpr double MOST_BYTES = 416e6;           // of all layers of a frame
constexpr double BYTES_OF_PIXEL = 28.0;
constexpr int LEVELS = 3;                                // of the trail, from sharp to blurred
constexpr float BLURS[LEVELS] = {0.0F, 1.0F / 3, 1.0F};  // parts of Spread
constexpr int LEVEL_SHRINKS[LEVELS] = {1, 2, 4}, GLOW_SHRINK = 4;

int frame_number(double frame) { return static_cast<int>(std::floor(frame + 0.5)); }

int shrink_to(const K7Image& picture, double pixels) {
    return std::max(static_cast<int>(std::ceil(std::sqrt(double(picture.width) * double(picture.height) / pixels))), 1);
}
ImagePtr blank(int width, int height, int channels) {
    ImagePtr image = made(make_image_uncleared(width, height, channels, SAMPLE_F32));
    each_row_float(height, [&](int y) { std::fill_n(image_row<float>(image.get(), y), channels * width, 0.0F); });
    return image;
}

}  // namespace

// ---- Declaration ----------------------------------------------------------------------------------------------

TrailLiveInfo::TrailLiveInfo() {
    ghost({&Spacing}, Style, isNot(Echoes));
    ghost({&Curl, &CurlSize}, Style, is(Lines));
    ghost({&LineSpacing, &LineWidth, &LineVariety}, Style, isNot(Lines));
    declarePresets();
    scene.inputs = {"@flight"};
    scene.settings = {{"Mode", "Screen"}, {"TintAmount", "60"}, {"Taper", "80"}, {"Glow", "40"}};
    scene.frame = 22;
}

// ---- Which frames ---------------------------------------------------------------------------------------------

// The frame itself first, then backwards from the one after it: hosts are told of the range between the two ends.
void TrailLive::FramePrepare(TrailLiveInfo& plan, const FrameSpan& frames) const {
    const int frame = frame_number(frames.current);
    plan.input.addFrame(frame);
    for (int age = -1; age <= plan.Length.value + 1 && frame - age >= 0; ++age)
        if (age != 0 && frame - age <= static_cast<int>(frames.last)) plan.input.addFrame(frame - age);
    for (int age = 0; age < plan.Length.value && frame - age >= 0; ++age) plan.matte.addFrame(frame - age);
}

const K7Image* TrailLive::pictureOf(int frame) {
    const K7Image& now = *input.image;
    if (frame == frame_number(currentFrame)) return &now;
    for (const Held& held : m_held)
        if (held.picture && held.frame == frame) return held.picture.get();
    std::rotate(std::begin(m_held), std::end(m_held) - 1, std::end(m_held));
    Held& held = m_held[0];
    held.frame = frame;
    if (!held.picture) held.picture = made(make_image_uncleared(now.width, now.height, 4, SAMPLE_F32));
    if (frame < 0 || !input.GetFrame(frame, held.picture.get())) held.picture.reset();
    return held.picture.get();
}

const FrameMotion* TrailLive::motionOf(int frame) {
    return m_motion.at(
        frame, [this](int one) { return pictureOf(one); }, stopRequested());
}

// ---- What frames have left ------------------------------------------------------------------------------------

TrailMaking TrailLive::making() const {
    const float low = SpeedLow.percent(), bright = BrightLow.percent();
    TrailMaking how{};
    how.key = {low, std::max(SpeedHigh.percent(), low + 1e-4F), bright,
               BrightHigh.value > 0.0 ? std::max(BrightHigh.percent(), bright + 1e-4F) : 0.0F, FollowCamera.value};
    how.shrink = Style.value == Lines
                     ? m_motion.shrink()
                     : shrink_to(*input.image, std::min(MOST_PIXELS, MOST_BYTES / BYTES_OF_PIXEL / (Length.value + 1)));
    how.smears = Style.value == Smear;
    how.brightest = Mode.value != Over && Mode.value != Multiply;
    how.depth = Taper.limited() > 0.0 && Style.value != Lines;
    how.masked = matte.image && matte.isConnected();
    return how;
}

// Whether what was kept no longer holds.
bool TrailLive::changed(int frame) {
    bool stays = m_motion.begin(*input.image, frame);
    if (!stays) m_layers.clear();
    const TrailMaking how = making();
    if (how.masked) {
        stays = m_mattes.begin(*matte.image, frame, m_motion.shrink()) && stays;
    }
    return !stays || !(how == m_making);
}

const TrailLayer* TrailLive::layerOf(int frame) {
    if (const auto kept = m_layers.find(frame); kept != m_layers.end()) return &kept->second;
    const FrameMotion* motion = motionOf(frame);
    if (!motion) return nullptr;
    const FrameMotion* earlier = m_making.smears && frame > 1 ? motionOf(frame - 1) : nullptr;
    if (abortRequested()) return nullptr;
    bool masked = true;
    const ImagePtr mask =
        m_making.masked ? MatteFrames::at(matte, frame, frame == frame_number(currentFrame), masked) : nullptr;
    const K7Image* picture = pictureOf(frame);
    if (!picture) return nullptr;
    TrailLayer layer;
    if (!make_trail_layer(m_making, {*picture, mask.get(), *motion, earlier, m_motion.shrink()}, stopRequested(),
                          layer))
        return nullptr;
    const bool bends = !m_making.smears || frame <= 1 || (earlier && earlier->whole);
    layer.whole = masked && bends && motion->whole;
    return &m_layers.emplace(frame, std::move(layer)).first->second;
}

// The last frames, the newest first, as far as the host gives them. False: it wants an end.
bool TrailLive::collect(int frame, std::vector<Shown>& shown) {
    const auto cell = static_cast<float>(m_motion.shrink()), width = static_cast<float>(input.image->width);
    const float row_height = input.image->pixel_aspect > 0.0F ? input.image->pixel_aspect : 1.0F;
    const float drift_x = DriftX.percent() * width, drift_y = DriftY.percent() * width * row_height;
    float u = 0.0F, v = 0.0F;
    for (int age = 0; age < Length.value && frame - age >= 1; ++age) {
        if (abortRequested()) return false;
        const FrameMotion* motion = motionOf(frame - age);
        if (!motion) break;
        const bool wanted = Style.value != Echoes || age % std::max(Spacing.value, 1) == 0;
        const TrailLayer* layer = wanted ? layerOf(frame - age) : nullptr;
        if (wanted && !layer) break;
        const auto old = static_cast<float>(age);
        shown.push_back({age, layer, motion, drift_x * old - u * cell, drift_y * old - v * cell});
        if (!FollowCamera.value) continue;
        u += motion->camera_u;
        v += motion->camera_v;
    }
    return !abortRequested();
}

// ---- How a trail ages -----------------------------------------------------------------------------------------

float TrailLive::strengthAt(double age) const {
    const double left = 1.0 - age / Length.value;
    return left <= 0.0 ? 0.0F : Opacity.percent() * static_cast<float>(k7_pow(left, Fade.limited() / 25.0));
}

TrailLook TrailLive::lookAt(int age) const {
    TrailLook look{};
    const float colours[2][3] = {{NewColour.red, NewColour.green, NewColour.blue},
                                 {OldColour.red, OldColour.green, OldColour.blue}};
    for (int end = 0; end < 2; ++end) {
        const double then = Style.value == Smear ? age + end : age;
        const auto old = static_cast<float>(then / Length.value);
        look.strength[end] = strengthAt(then);
        look.worn[end] = Taper.percent() * std::min(old, 1.0F);
        for (int c = 0; c < 3; ++c) look.tint[end][c] = colours[0][c] + old * (colours[1][c] - colours[0][c]);
    }
    look.tinted = TintAmount.percent();
    look.saturation = Saturation.percent();
    look.gain = Gain.percent();
    look.lighten = Mode.value != Over && Mode.value != Multiply;
    return look;
}

// ---- The trail ------------------------------------------------------------------------------------------------

// From sharp to blurred; pictures may be null.
struct TrailLive::Trail {
    int shrink = 1;  // of the first level
    ImagePtr levels[LEVELS];
    ImagePtr glow;
    int glow_shrink = 1;
};

namespace {

// How much of a trail of an age (0 to 1) is in each level.
void level_shares(float age, bool spreads, float (&shares)[LEVELS]) {
    const float sharp = spreads ? std::max(1.0F - 3.0F * age, 0.0F) : 1.0F;
    const float blurred = std::max(1.5F * (age - 1.0F / 3), 0.0F);
    shares[0] = sharp;
    shares[1] = spreads ? std::max(1.0F - sharp - blurred, 0.0F) : 0.0F;
    shares[2] = spreads ? blurred : 0.0F;
}

}  // namespace

TrailLive::Trail TrailLive::drawLayers(const std::vector<Shown>& shown) const {
    Trail trail;
    trail.shrink = m_making.shrink;
    const K7Image& frame = *input.image;
    const int width = (frame.width + trail.shrink - 1) / trail.shrink,
              height = (frame.height + trail.shrink - 1) / trail.shrink;
    const float pixels = static_cast<float>(frame.width) / static_cast<float>(trail.shrink);  // of the width
    const bool spreads = Spread.limited() > 0.0;
    const int levels = spreads ? LEVELS : 1;
    for (int n = 0; n < levels; ++n) trail.levels[n] = blank(width, height, 4);
    const float reach = Curl.percent() * pixels;
    std::unique_ptr<TrailEddies> eddies;
    if (reach > 0.0F)
        eddies =
            std::make_unique<TrailEddies>(width, height, CurlSize.percent() * pixels, reach, std::uint32_t(Seed.value));
    for_rows_float(height, [&](int from, int to) {
        std::vector<float> colours(4 * std::size_t(width)), extras(3 * std::size_t(width));
        for (int y = from; y <= to && !abortRequested(); ++y)
            for (auto one = shown.rbegin(); one != shown.rend(); ++one) {
                if (!one->layer || (Style.value == Echoes && one->age == 0)) continue;
                const float age = (static_cast<float>(one->age) + 0.5F) / static_cast<float>(Length.value);
                const float scale = 1.0F / static_cast<float>(trail.shrink), frames = static_cast<float>(Length.value);
                const TrailMoved moved{one->away_x * scale,
                                       one->away_y * scale,
                                       DriftX.percent() * pixels,
                                       DriftY.percent() * pixels * frame.pixel_aspect,
                                       static_cast<float>(one->age) / frames,
                                       1.0F / frames};
                const bool moves =
                    moved.x != 0.0F || moved.y != 0.0F || moved.drift_x != 0.0F || moved.drift_y != 0.0F || eddies;
                const TrailLayer::Row& row = one->layer->rows[std::size_t(y)];
                std::pair<int, int> span{row.first, row.last};
                if (moves) span = moved_trail_row(*one->layer, moved, eddies.get(), y, colours.data(), extras.data());
                if (span.first > span.second) continue;
                float shares[LEVELS];
                level_shares(age, spreads, shares);
                for (int n = 0; n < levels; ++n) {
                    if (!(shares[n] > 0.0F)) continue;
                    TrailLook look = lookAt(one->age);
                    for (float& strength : look.strength) strength *= shares[n];
                    trail_rows().add(look, moves ? colours.data() : one->layer->colours_of(y, span.first),
                                     moves ? extras.data() : one->layer->extras_of(y, span.first),
                                     image_row<float>(trail.levels[n].get(), y) + 4L * span.first,
                                     span.second - span.first + 1);
                }
            }
    });
    for (int n = 1; n < levels; ++n) {
        const int shrink = LEVEL_SHRINKS[n];
        trail.levels[n] = made(image_shrunk(trail.levels[n].get(), shrink));
        const float radius = BLURS[n] * Spread.percent() * pixels / static_cast<float>(shrink);
        made(image_gaussian_blur(trail.levels[n].get(), radius, radius * frame.pixel_aspect, -1));
    }
    return trail;
}

TrailLive::Trail TrailLive::drawLines(const std::vector<Shown>& shown) {
    Trail trail;
    const K7Image& frame = *input.image;
    trail.shrink = shrink_to(frame, 4.0 * MOST_PIXELS);
    trail.levels[0] =
        blank((frame.width + trail.shrink - 1) / trail.shrink, (frame.height + trail.shrink - 1) / trail.shrink, 4);
    const auto cell = static_cast<float>(m_motion.shrink());
    std::vector<TrailLineFrame> frames;
    for (auto one = shown.rbegin(); one != shown.rend(); ++one) {
        const TrailLook look = lookAt(one->age);
        frames.push_back({frame_number(currentFrame) - one->age,
                          one->layer,
                          one->motion,
                          one->away_x / cell,
                          one->away_y / cell,
                          look.strength[0],
                          1.0F - look.worn[0],
                          {look.tint[0][0], look.tint[0][1], look.tint[0][2]}});
    }
    const auto width = static_cast<float>(frame.width);
    const TrailPen pen{std::max(LineSpacing.percent() * width / cell, 0.5F),
                       LineWidth.percent() * width / static_cast<float>(trail.shrink),
                       LineVariety.percent(),
                       cell / static_cast<float>(trail.shrink),
                       TintAmount.percent(),
                       Saturation.percent(),
                       Gain.percent(),
                       std::max(Length.value, 2),
                       std::uint32_t(Seed.value)};
    draw_trail_lines(frames, pen, *trail.levels[0]);
    return trail;
}

// What all levels show, blurred at a fraction of the size.
void TrailLive::addGlow(Trail& trail) const {
    if (!(Glow.limited() > 0.0)) return;
    trail.glow_shrink = trail.shrink * GLOW_SHRINK;
    const int shrink = trail.shrink == 1 ? 2 * GLOW_SHRINK : GLOW_SHRINK;
    trail.glow_shrink = trail.shrink * shrink;
    trail.glow = made(image_shrunk(trail.levels[0].get(), shrink));
    for (int n = 1; n < LEVELS; ++n) {
        if (!trail.levels[n]) continue;
        const ImagePtr more = made(image_shrunk(trail.levels[n].get(), shrink / LEVEL_SHRINKS[n]));
        for (int y = 0; y < std::min(more->height, trail.glow->height); ++y)
            for (int x = 0; x < 4 * std::min(more->width, trail.glow->width); ++x)
                image_row<float>(trail.glow.get(), y)[x] += image_row<float>(more.get(), y)[x];
    }
    const float radius =
        GlowSize.percent() * static_cast<float>(input.image->width) / static_cast<float>(trail.glow_shrink);
    made(image_gaussian_blur(trail.glow.get(), radius, radius * input.image->pixel_aspect, -1));
}

// ---- The picture ----------------------------------------------------------------------------------------------

void TrailLive::compose(const Trail& trail, const TrailLayer* newest) {
    K7Image& result = *output.image;
    const bool over_plate = background.image && background.isConnected();
    const bool wants_live = newest && (Live.value == OnTop || (Live.value == Beneath && over_plate));
    ImagePtr key;
    if (wants_live) {
        key = blank(newest->width, newest->height, 1);
        each_row_float(newest->height, [&](int y) {
            const TrailLayer::Row& row = newest->rows[std::size_t(y)];
            if (row.first > row.last) return;
            const float* extra = newest->extras_of(y, row.first);
            for (int x = row.first; x <= row.last; ++x, extra += 3) image_row<float>(key.get(), y)[x] = extra[2];
        });
    }
    const auto row_of = [](const K7Image* level, int shrink, int y, float share, bool adds) -> TrailLevelRow {
        if (!level) return {};
        const float per = 1.0F / static_cast<float>(shrink);
        const float at =
            std::clamp((static_cast<float>(y) + 0.5F) * per - 0.5F, 0.0F, static_cast<float>(level->height - 1));
        const int low = static_cast<int>(at);
        return {image_row<float>(level, low),
                image_row<float>(level, std::min(low + 1, level->height - 1)),
                at - static_cast<float>(low),
                level->width,
                per,
                share,
                adds};
    };
    for_rows_float(result.height, [&](int from, int to) {
        std::vector<float> scratch(8 * (std::size_t(result.width) + 8));
        for (int y = from; y <= to && !abortRequested(); ++y) {
            if (over_plate)
                std::copy_n(image_row<float>(background.image.get(), y), 4L * result.width,
                            image_row<float>(&result, y));
            TrailLevelRow levels[LEVELS + 1];
            int count = 0;
            for (int n = LEVELS - 1; n >= 0; --n)
                if (trail.levels[n])
                    levels[count++] = row_of(trail.levels[n].get(), trail.shrink * LEVEL_SHRINKS[n], y, 1.0F, false);
            if (trail.glow) levels[count++] = row_of(trail.glow.get(), trail.glow_shrink, y, Glow.percent(), true);
            const TrailFrame row{
                Mode.value,
                levels,
                count,
                wants_live ? image_row<float>(input.image.get(), y) : nullptr,
                Live.value == OnTop,
                row_of(key.get(), m_making.shrink, y, 1.0F, false),
                obscure.image && obscure.isConnected() ? image_row<float>(obscure.image.get(), y) : nullptr};
            trail_rows().compose(row, scratch.data(), image_row<float>(&result, y), result.width);
        }
    });
}

void TrailLive::ProcessFrame() {
    const StageTimer timer("TrailLive (CPU)");
    const int frame = frame_number(currentFrame);
    if (changed(frame)) m_layers.clear();
    m_making = making();
    const int longest = 2 * Length.value;
    std::erase_if(m_layers, [&](const auto& kept) {
        return !kept.second.whole || kept.first < frame - longest || kept.first > frame + longest;
    });
    std::vector<Shown> shown;
    const bool complete = collect(frame, shown);
    for (Held& held : m_held) held.picture.reset();
    if (!complete) return;
    Trail trail = Style.value == Lines ? drawLines(shown) : drawLayers(shown);
    addGlow(trail);
    compose(trail, shown.empty() ? nullptr : shown.front().layer);
    // No more is kept than the next frame needs.
    std::erase_if(m_layers, [&](const auto& kept) { return kept.first < frame - Length.value || kept.first > frame; });
}
