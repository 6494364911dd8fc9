#include "effects/pixels/PixFly.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

#include "effects/engines/replay/FrameShape.h"
#include "effects/pixels/PictureLayer.h"
#include "effects/pixels/PixFly_simd.h"
#include "imagelib/imagelib_colour.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/rows.h"
#include "noiselib/solidnoise.h"

namespace {

constexpr int BAND = 16;                     // rows of the picture that are drawn together, and that leave together
constexpr float BURST_REACH = 0.25F;         // widths from the centre at which a burst has half its speed
constexpr int MOST_MATTES = 16;              // frames at which a matte that brightens is read
constexpr float NEVER = 1e6F;                // frames
constexpr float EDDY_NODES = 12;             // to a cell of the noise
constexpr float BUNCHED = 0.6F;              // how strongly pieces gather between eddies, as things with a mass do
constexpr float FINER = 2.7F, FINE = 0.45F;  // smaller eddies in large ones: cells to a cell, and their strength
constexpr float GATHER_PLACE = 37.3F;        // cells away: of the slopes down which pieces gather
constexpr float EDDY_UNIT = 1.0F / 8192;
constexpr int MOST_NODES = 300;     // of the grid of eddies along either axis
constexpr float EDDY_MARGIN = 0.5;  // widths around the picture that it covers

float length_of(const float v[2]) { return std::sqrt(v[0] * v[0] + v[1] * v[1]); }

float tallness_of(const K7Image& image) {
    return static_cast<float>(image.height) / (static_cast<float>(image.width) * image.pixel_aspect);
}

int parts_of(int whole, int part) { return (whole + part - 1) / part; }

}  // namespace

PixFlyInfo::PixFlyInfo() {
    ghost({&MatteFrame}, MatteTime, isNot(HeldFrame));
    ghost({&timing.MatteUse}, MatteTime, is(WhenItBrightens));
    declarePresets();
    scene.inputs = {"portrait-small.png", "", "launch-small.png"};
    scene.settings = {{"PixelSize", "2"}};
    scene.frame = 24;
    scene.plates = {"portrait.jpg", "", "launch.jpg"};
    scene.look = {{"Demos", "Sand Storm"}};
}

void PixFly::PrepareOverlay() {
    wipeWidget.visible = !timing.WipeAngle.ghosted();
    forces.prepare();
    vortex.prepare();
}

// ---- The Time Matte -------------------------------------------------------------------------------------------

namespace {

// Frames of the clip at which a matte that brightens is read: even steps over Duration, so that they are the same for
// every frame of the picture. The first that is not before `frame` is the last one needed.
std::vector<int> matte_frames(const PixFlyInfo& from, double frame) {
    const int duration = static_cast<int>(std::ceil(from.timing.Duration.limited()));
    const int step = std::max(parts_of(duration, MOST_MATTES), 1);
    const bool all = from.timing.Timing.value == DepartureControls::ByProgress;
    std::vector<int> frames;
    for (int later = 0; later < duration + step; later += step) {
        frames.push_back(from.timing.StartAt.value + later);
        if (!all && frames.back() >= frame) break;
    }
    return frames;
}

}  // namespace

void PixFly::FramePrepare(PixFlyInfo& plan, const FrameSpan& frames) const {
    if (plan.MatteTime.value == HeldFrame) plan.timeMatte.addFrame(plan.MatteFrame.value);
    if (plan.MatteTime.value != WhenItBrightens) return;
    // From the newest to the oldest: hosts are told of the range between the two ends.
    std::vector<int> wanted = matte_frames(plan, frames.current);
    std::reverse(wanted.begin(), wanted.end());
    for (const int frame : wanted)
        if (frame >= 0) plan.timeMatte.addFrame(frame);
}

// ---- When blocks leave ----------------------------------------------------------------------------------------

struct PixFly::Turns {
    const Departures& departures;
    int block = 1, wide = 0, high = 0;  // blocks
    float tallness = 1;
    int matte_use = 0;  // 0: there is none
    ImagePtr held;      // where another frame of the matte is read
    const K7Image* matte = nullptr;
    std::vector<float> left;  // frames at which the matte brightened, of each block
    // The order and its clumps on a coarse grid, `cell` blocks apart.
    int cell = 1, nodes_wide = 0;
    std::vector<float> order, clump;

    explicit Turns(const Departures& given) : departures(given) {}
    void makeGrid();
    float brightness(int x, int y) const {
        const int half = block / 2;
        const int column = std::min(x * block + half, matte->width - 1),
                  row = std::min(y * block + half, matte->height - 1);
        return luminance(image_row<float>(matte, row) + 4 * std::ptrdiff_t(column));
    }
    bool onlyBright() const { return matte_use == Departures::OnlyBright; }
    // The smooth part of a row's turns, and its brightness where only bright ones fly.
    void row(int y, float* base, float* light) const;
};

void PixFly::Turns::makeGrid() {
    cell = std::max(16 / block, 2);
    nodes_wide = parts_of(wide, cell) + 1;
    const int nodes_high = parts_of(high, cell) + 1;
    order.resize(std::size_t(nodes_wide) * std::size_t(nodes_high));
    clump.resize(order.size());
    each_row_float(nodes_high, [&](int j) {
        for (int i = 0; i < nodes_wide; ++i) {
            const float x = (static_cast<float>(i * cell) + 0.5F) / static_cast<float>(wide) - 0.5F;
            const float y = ((static_cast<float>(j * cell) + 0.5F) / static_cast<float>(high) - 0.5F) * tallness;
            const std::size_t at = std::size_t(j) * std::size_t(nodes_wide) + std::size_t(i);
            order[at] = departures.order(x, y), clump[at] = departures.clump(x, y);
        }
    });
}

void PixFly::Turns::row(int y, float* base, float* light) const {
    const Departures::Settings& set = departures.settings();
    if (!left.empty()) {
        const auto duration = static_cast<float>(std::max(set.duration, 1e-3));
        for (int x = 0; x < wide; ++x) base[x] = left[std::size_t(y) * std::size_t(wide) + std::size_t(x)] / duration;
        return;
    }
    const int below = y / cell;
    const float ty = static_cast<float>(y % cell) / static_cast<float>(cell);
    const auto node = [&](const std::vector<float>& grid, int i) {
        const float* at = grid.data() + std::size_t(below) * std::size_t(nodes_wide) + i;
        return at[0] + ty * (at[nodes_wide] - at[0]);
    };
    const bool mixes = matte_use == Departures::BrightFirst || matte_use == Departures::DarkFirst;
    const float ordered = (1 - set.ragged) * (mixes ? 1 - set.matte_mix : 1), clumped = 0.5F * set.ragged;
    float next = ordered * node(order, 0) + clumped * node(clump, 0);
    for (int first = 0, i = 1; first < wide; first += cell, ++i) {
        const float here = next;
        next = ordered * node(order, i) + clumped * node(clump, i);
        const float slope = (next - here) / static_cast<float>(cell);
        for (int x = first; x < std::min(first + cell, wide); ++x)
            base[x] = here + slope * static_cast<float>(x - first);
    }
    const float mixed = (1 - set.ragged) * set.matte_mix;
    if (mixes)
        for (int x = 0; x < wide; ++x) {
            const float bright = std::clamp(brightness(x, y), 0.0F, 1.0F);
            base[x] += mixed * (matte_use == Departures::BrightFirst ? 1 - bright : bright);
        }
    if (onlyBright())
        for (int x = 0; x < wide; ++x) light[x] = brightness(x, y);
}

void PixFly::readTurns(const Departures& departures, PixFlight& flight, Turns& turns) {
    const K7Image& source = *picture.image;
    turns.block = static_cast<int>(flight.block);
    turns.wide = parts_of(source.width, turns.block), turns.high = parts_of(source.height, turns.block);
    turns.tallness = tallness_of(source);
    turns.matte = timeMatte.image.get();
    const Departures::Settings& set = departures.settings();
    turns.matte_use = set.matte_use;
    const bool mixes = set.matte_use == Departures::BrightFirst || set.matte_use == Departures::DarkFirst;
    flight.ragged = 0.5F * set.ragged;
    flight.random = set.order == Departures::Random ? (1 - set.ragged) * (mixes ? 1 - set.matte_mix : 1) : 0.0F;
    const auto fetched = [&](int frame) {
        ImagePtr image = made(make_image_uncleared(source.width, source.height, 4, SAMPLE_F32));
        return frame >= 0 && timeMatte.GetFrame(frame, image.get()) ? std::move(image) : ImagePtr();
    };
    if (!timeMatte.isConnected() || MatteTime.value != WhenItBrightens) {
        if (timeMatte.isConnected() && MatteTime.value == HeldFrame) turns.held = fetched(MatteFrame.value);
        if (turns.held) turns.matte = turns.held.get();
        return turns.makeGrid();
    }
    // Between two of the frames that are read the matte is taken to change evenly.
    flight.ragged = flight.random = 0, flight.most_turn = 1e9F;
    turns.matte_use = 0;
    turns.left.assign(std::size_t(turns.wide) * std::size_t(turns.high), NEVER);
    std::vector<float> before(turns.left.size());
    float last = 0;
    bool any = false;
    const auto read = [&](float at) {
        each_row_float(turns.high, [&](int y) {
            for (int x = 0; x < turns.wide; ++x) {
                const std::size_t i = std::size_t(y) * std::size_t(turns.wide) + std::size_t(x);
                const float bright = turns.brightness(x, y);
                if (turns.left[i] == NEVER && bright > 0.5F)
                    turns.left[i] = any ? last + (at - last) * (0.5F - before[i]) / (bright - before[i]) : at;
                before[i] = bright;
            }
        });
        last = at, any = true;
    };
    for (const int frame : matte_frames(*this, currentFrame)) {
        if (abortRequested()) return;
        const ImagePtr image = fetched(frame);
        if (!image) continue;
        turns.matte = image.get();
        read(static_cast<float>(frame - timing.StartAt.value));
    }
    turns.matte = timeMatte.image.get();
    if (!any) read(0);
}

// ---- How they fly ---------------------------------------------------------------------------------------------

struct PixFly::Air {
    std::vector<float> swells;
    std::vector<std::int32_t> eddies;
};

namespace {

// How strong gusts have made the wind, on the mean over an age.
std::vector<float> mean_swells(const particles::ForceField& field, const SolidNoise& noise, float now, float life) {
    const float step = life / PixFlight::SWELLS, speed = length_of(field.wind);
    const auto swell = [&](float age) {
        const particles::ForceField::Moment then = field.at(now - age, noise);
        return length_of(then.wind) / speed;
    };
    std::vector<float> means(PixFlight::SWELLS + 2);
    float sum = 0;
    means[0] = swell(0);
    for (int i = 1; i <= PixFlight::SWELLS; ++i) {
        sum += swell((static_cast<float>(i) - 0.5F) * step);
        means[std::size_t(i)] = sum / static_cast<float>(i);
    }
    means.back() = means[PixFlight::SWELLS];
    return means;
}

std::vector<std::int32_t> eddy_grid(const particles::ForceField& field, const SolidNoise& noise, float now,
                                    PixFlight& flight) {
    const float margin = EDDY_MARGIN * flight.width, high = flight.height / flight.aspect;
    const float longest = std::max(flight.width, high) + 2 * margin;
    flight.eddies_left = flight.eddies_low = -margin;
    const float step = std::max(1 / (EDDY_NODES * field.swirl_cells), longest / MOST_NODES);
    flight.eddies_per_width = 1 / step;
    flight.eddies_wide = std::max(static_cast<int>((flight.width + 2 * margin) / step) + 2, 3);
    flight.eddies_high = std::max(static_cast<int>((high + 2 * margin) / step) + 2, 3);
    flight.eddy_unit = EDDY_UNIT;
    std::vector<std::int32_t> grid(std::size_t(flight.eddies_wide) * std::size_t(flight.eddies_high));
    particles::ForceField large = field, small = field;
    large.swirl_speed = small.swirl_speed = 1;
    small.swirl_cells *= FINER;
    const particles::ForceField::Moment then = large.at(now, noise);
    each_row_float(flight.eddies_high, [&](int j) {
        constexpr int ABREAST = particles::ForceField::ABREAST;
        float x[ABREAST], y[ABREAST], along[3][2][ABREAST];
        for (int first = 0; first < flight.eddies_wide; first += ABREAST) {
            const int count = std::min(ABREAST, flight.eddies_wide - first);
            for (int i = 0; i < count; ++i) {
                x[i] = flight.eddies_left + static_cast<float>(first + i) * step;
                y[i] = flight.eddies_low + static_cast<float>(j) * step;
            }
            large.swirl(then, noise, x, y, along[0][0], along[0][1], count);
            small.swirl(then, noise, x, y, along[1][0], along[1][1], count);
            for (int i = 0; i < count; ++i) x[i] += GATHER_PLACE / field.swirl_cells;
            large.swirl(then, noise, x, y, along[2][0], along[2][1], count);
            std::int32_t* out = grid.data() + std::size_t(j) * std::size_t(flight.eddies_wide) + first;
            for (int i = 0; i < count; ++i) {
                // A curl turned by a right angle is a slope.
                const float across = along[0][0][i] + FINE * along[1][0][i] - BUNCHED * along[2][1][i];
                const float upwards = along[0][1][i] + FINE * along[1][1][i] + BUNCHED * along[2][0][i];
                const auto whole = [](float v) {
                    return static_cast<std::uint32_t>(
                        static_cast<std::int32_t>(std::clamp(v, -3.9F, 3.9F) * (1 / EDDY_UNIT)));
                };
                out[i] = static_cast<std::int32_t>(whole(upwards) << 16 | (whole(across) & 0xFFFFU));
            }
        }
    });
    return grid;
}

}  // namespace

void PixFly::read(const Departures& departures, PixFlight& flight, Air& air) const {
    const FrameShape frame(*picture.image);
    const particles::ForceField field = particles::read_forces(frame, forces, vortex);
    const Departures::Settings& set = departures.settings();
    const SolidNoise noise(static_cast<std::uint32_t>(Seed.value) + 31);
    const auto limited = [](double frames) { return static_cast<float>(std::clamp(frames, -1e6, 1e6)); };
    flight.seed = static_cast<std::uint32_t>(Seed.value);
    flight.soft_matte = Departures::SOFT_MATTE;
    flight.now = limited(set.now), flight.duration = limited(std::max(set.duration, 1e-3));
    flight.flight_time = limited(set.flight_time);
    flight.arrive = set.arrive ? 1 : 0;
    flight.half_open = 0.5F * std::clamp(Shutter.percent(), 0.0F, 2.0F);

    flight.block = std::max(std::round(static_cast<float>(PixelSize.value) / frame.unit_scale), 1.0F);
    flight.width = frame.width, flight.height = frame.height, flight.aspect = field.aspect;
    flight.grip = std::clamp(field.grip, 0.0F, 1.0F);
    std::copy_n(field.gravity, 2, flight.gravity);
    std::copy_n(field.wind, 2, flight.wind);
    const float unit = frame.width / 1000.0F, high = frame.height / field.aspect;
    flight.spread = unit * static_cast<float>(Spread.limited());
    flight.burst = unit * static_cast<float>(Burst.limited());
    flight.burst_centre[0] = (set.centre_x + 0.5F) * frame.width;
    flight.burst_centre[1] = set.centre_y * frame.width + 0.5F * high;
    flight.burst_reach = BURST_REACH * frame.width;
    flight.vortex_turn = 2 * field.vortex_speed / field.vortex_radius;
    std::copy_n(field.vortex, 2, flight.vortex);
    flight.vortex_radius = field.vortex_radius;
    flight.pull = 2 * field.attractor_strength / field.attractor_radius;
    std::copy_n(field.attractor, 2, flight.attractor);
    flight.attractor_radius = field.attractor_radius;

    const auto now = limited(currentFrame);
    if (field.gusts > 0 && (field.wind[0] != 0 || field.wind[1] != 0)) {
        air.swells = mean_swells(field, noise, now, flight.flight_time);
        flight.swells = air.swells.data();
    }
    if (field.swirls() && flight.grip > 0) {
        air.eddies = eddy_grid(field, noise, now, flight);
        flight.eddies = air.eddies.data();
        flight.swirl_speed = field.swirl_speed;
        flight.swirl_time = 0.5F / field.swirl_cells / field.swirl_speed;
    }

    flight.vary = Vary.percent(), flight.end_size = EndSize.percent(), flight.fade = FadeOut.percent();
    flight.tint_part = std::max(TintTime.percent(), 0.01F);
}

// ---- What flies -----------------------------------------------------------------------------------------------

// Splats of a group of rows, sorted by the bands of the picture that they fall on. Groups are the same whatever the
// number of threads, and bands take them one after another.
struct PixFly::Swarm {
    struct Group {
        std::unique_ptr<PixSplat[]> splats;
        std::vector<std::uint32_t> begins;  // of each band, and the end
    };
    std::vector<unsigned char> away;  // of each block
    std::vector<Group> groups;
    int bands = 0;

    void sort(Group& group, const PixSplat* splats, std::size_t count, float aspect, int height) const;
};

void PixFly::Swarm::sort(Group& group, const PixSplat* splats, std::size_t count, float aspect, int height) const {
    struct Span {
        std::uint16_t low, high;
    };
    const auto spans = std::make_unique_for_overwrite<Span[]>(count);
    std::vector<std::uint32_t>& begins = group.begins;
    begins.assign(std::size_t(bands) + 2, 0);
    const auto highest = static_cast<float>(height - 1);
    for (std::size_t i = 0; i < count; ++i) {
        const PixSplat& s = splats[i];
        const float reach = 0.5F * (std::max(s.size() * aspect, 1.0F) + std::fabs(s.dy())) + 0.1F;
        const auto band = [&](float y) {
            return static_cast<std::uint16_t>(static_cast<int>(std::clamp(y, 0.0F, highest)) / BAND);
        };
        spans[i] = {band(s.y - reach), band(s.y + reach)};
        for (std::size_t b = spans[i].low; b <= spans[i].high; ++b) ++begins[b + 2];
    }
    for (std::size_t b = 2; b < begins.size(); ++b) begins[b] += begins[b - 1];
    group.splats = std::make_unique_for_overwrite<PixSplat[]>(begins.back());
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t b = spans[i].low; b <= spans[i].high; ++b) group.splats[begins[b + 1]++] = splats[i];
}

// False when the host wants an end.
bool PixFly::launch(const PixFlight& flight, const Turns& turns, Swarm& swarm) const {
    const auto wide = static_cast<std::size_t>(turns.wide);
    const int rows = std::max(BAND / turns.block, 1), groups = parts_of(turns.high, rows);
    const int height = picture.image->height;
    swarm.bands = parts_of(height, BAND);
    swarm.away.resize(wide * std::size_t(turns.high));
    swarm.groups.resize(std::size_t(groups));
    const PixFlyKernels& kernels = pix_fly_kernels();
    struct Scratch {
        std::vector<float> base, light;
        std::unique_ptr<PixSplat[]> splats;
    };
    const auto scratch = [&] {
        return Scratch{std::vector<float>(wide), std::vector<float>(wide),
                       std::make_unique_for_overwrite<PixSplat[]>(wide * std::size_t(rows) + PIX_ROOM)};
    };
    return each_task_float(groups, stopRequested(), scratch, [&](Scratch& own, int g) {
        std::size_t count = 0;
        for (int y = g * rows; y < std::min((g + 1) * rows, turns.high); ++y) {
            turns.row(y, own.base.data(), own.light.data());
            count += static_cast<std::size_t>(
                kernels.fly(flight, {y, turns.wide, own.base.data(), turns.onlyBright() ? own.light.data() : nullptr,
                                     swarm.away.data() + std::size_t(y) * wide, own.splats.get() + count}));
        }
        swarm.sort(swarm.groups[std::size_t(g)], own.splats.get(), count, flight.aspect, height);
    });
}

// ---- The picture ----------------------------------------------------------------------------------------------

namespace {

// The mean colour of each block. Null where blocks are pixels.
ImagePtr block_colours(const K7Image& source, int block) {
    if (block == 1) return nullptr;
    const int width = source.width, height = source.height;
    const int wide = parts_of(width, block), high = parts_of(height, block);
    ImagePtr colours = made(make_image_uncleared(wide, high, 4, SAMPLE_F32));
    each_row_float(high, [&](int j) {
        float* out = image_row<float>(colours.get(), j);
        for (int i = 0; i < wide; ++i, out += 4) {
            const int right = std::min((i + 1) * block, width), top = std::min((j + 1) * block, height);
            float sum[4] = {};
            for (int y = j * block; y < top; ++y)
                for (int x = i * block; x < right; ++x)
                    for (int c = 0; c < 4; ++c) sum[c] += image_row<float>(&source, y)[4 * x + c];
            const float share = 1.0F / static_cast<float>((right - i * block) * (top - j * block));
            for (int c = 0; c < 4; ++c) out[c] = sum[c] * share;
        }
    });
    return colours;
}

}  // namespace

bool PixFly::draw(const PixFlight& flight, const K7Image& source, const Swarm& swarm) {
    K7Image& target = *output.image;
    const int width = target.width, height = target.height, block = static_cast<int>(flight.block);
    const auto wide = static_cast<std::size_t>(parts_of(width, block));
    const ImagePtr colours = block_colours(source, block);
    const std::size_t pitch = 4 * (std::size_t(width) + 2 * PIX_MARGIN);
    const PixFlyKernels& kernels = pix_fly_kernels();
    return each_task_float(
        swarm.bands, stopRequested(), [&] { return std::vector<float>(pitch * BAND); },
        [&](std::vector<float>& sums, int b) {
            std::fill(sums.begin(), sums.end(), 0.0F);
            const int first = b * BAND, last = std::min(first + BAND, height) - 1;
            const PixCanvas canvas{sums.data(),
                                   width,
                                   first,
                                   last,
                                   flight.aspect,
                                   image_row<float>(colours ? colours.get() : &source, 0),
                                   {TintColour.red, TintColour.green, TintColour.blue},
                                   Tint.percent(),
                                   Glow.percent()};
            for (const Swarm::Group& group : swarm.groups) {
                const std::uint32_t begin = group.begins[std::size_t(b)], end = group.begins[std::size_t(b) + 1];
                kernels.draw(canvas, group.splats.get() + begin, end - begin);
            }
            for (int y = first; y <= last; ++y)
                kernels.compose({sums.data() + std::size_t(y - first) * pitch + 4 * PIX_MARGIN,
                                 image_row<float>(&source, y), swarm.away.data() + std::size_t(y / block) * wide,
                                 reveal.isConnected() ? image_row<float>(reveal.image.get(), y) : nullptr,
                                 image_row<float>(&target, y), width, block});
        });
}

void PixFly::ProcessFrame() {
    const StageTimer timer("PixFly (CPU)");
    const ImagePtr own = multiplied_layer(*picture.image, doAlpha, PreMultiplied.value);
    const K7Image& source = own ? *own : *picture.image;
    const Departures departures = timing.departures(currentFrame, tallness_of(source), timeMatte.isConnected(),
                                                    static_cast<std::uint32_t>(Seed.value));
    PixFlight flight;
    Air air;
    read(departures, flight, air);
    Turns turns(departures);
    readTurns(departures, flight, turns);
    Swarm swarm;
    if (abortRequested() || !launch(flight, turns, swarm) || !draw(flight, source, swarm)) return;
    if (!doAlpha) image_copy_channels(picture.image.get(), output.image.get(), 8);
}
