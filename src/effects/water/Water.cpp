#include "effects/water/Water.h"

#include <algorithm>
#include <cmath>

#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_colour.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr int STRIP = 16;  // rows of a strip of rain
constexpr float HIGHEST = 1.0f;

// Numbers from 0 to 1 for the rain of one strip in one frame, however many threads there are: the top bytes of pairs of
// values of a linear congruential generator (the one of the C standard's example). Its seeds are mixed first (the
// finaliser of A. Appleby's MurmurHash3): from seeds in equal steps it gives numbers in equal steps, and rain would
// fall on one stripe that sweeps over the picture.
class StripRandom {
  public:
    explicit StripRandom(std::uint32_t seed) : m_value(mixed(seed)) {}
    float next() {
        const std::uint32_t first = step() >> 16 & 0xFF, second = step() >> 16 & 0xFF;
        return float(second ^ first << 7) * 3.051851e-05f;
    }

  private:
    static std::uint32_t mixed(std::uint32_t seed) {
        seed = (seed ^ seed >> 16) * 0x85EBCA6BU;
        seed = (seed ^ seed >> 13) * 0xC2B2AE35U;
        return seed ^ seed >> 16;
    }
    std::uint32_t step() { return m_value = m_value * 0x41C64E6DU + 0x3039U; }
    std::uint32_t m_value;
};

// A clip counts when the host has a picture for it, or when there is no host.
bool has_picture(const ClipRecord& clip) { return !clip.handle() || clip.isConnected(); }

std::uint64_t fingerprint_of(const K7Image& plane, std::uint64_t before) {
    for (int y = 0; y < plane.height; ++y) before = fingerprint(image_row<float>(&plane, y), plane.row_bytes, before);
    return before;
}

}  // namespace

// ---- When, and with what --------------------------------------------------------------------------------------

SimulationTiming Water::timing() const {
    const bool moving = (UseDrips.value && has_picture(drips)) || (UseWalls.value && has_picture(walls));
    return {.pre_roll = PreRoll.value, .moving_inputs = moving};
}

std::uint64_t Water::readControls() {
    const float scale = frame().unit_scale;
    m_ripples = {.blur = float(RippleWavelength.value) * 0.5f / scale,
                 .damping = float(RippleDamping.value),
                 .pre_roll = PreRoll.value,
                 .use_drips = UseDrips.value,
                 .use_walls = UseWalls.value && has_picture(walls),
                 .seed = float(RainSeed.value),
                 .rate = float(RainFreq.value) * 0.01f,
                 .power = float(RainPower.value),
                 .radius = float(RainSize.value) * 0.1f / scale,
                 .wall_min = float(WallMin.value),
                 .wall_max = float(WallMax.value)};
    return fingerprint(&m_ripples, sizeof m_ripples);
}

// The frames before the first one see the first one's drips and walls.
bool Water::readInputs(int frame_number, std::uint64_t* sum) {
    const int shown = std::max(frame_number, PreRoll.value);
    std::uint64_t found = FINGERPRINT_SEED;
    for (auto [clip, plane, used] :
         {std::tuple{&drips, &m_drips, UseDrips.value}, {&walls, &m_walls, UseWalls.value}}) {
        plane->reset();
        if (!used || !has_picture(*clip)) continue;
        *plane = luminance(*clip, shown);
        if (!*plane) return false;
        found = fingerprint_of(**plane, found);
    }
    *sum = found;
    return true;
}

ImagePtr Water::luminance(ClipRecord& clip, int frame_number) {
    ImagePtr fetched;
    const K7Image* picture = pictureAt(clip, frame_number, fetched);
    if (!picture) return {};
    ImagePtr plane = made(make_image_uncleared(picture->width, picture->height, 1, SAMPLE_F32));
    for_rows_float(picture->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* from = image_row<float>(picture, y);
            float* to = image_row<float>(plane.get(), y);
            for (int x = 0; x < picture->width; ++x) to[x] = ::luminance(from + 4L * x);
        }
    });
    return plane;
}

void Water::FramePrepare(WaterInfo& plan, const FrameSpan& frames) const {
    for (ClipRecord* clip : {&plan.drips, &plan.walls}) clip->addFrame(int(frames.current));
}

// ---- The simulation -------------------------------------------------------------------------------------------

void Water::begin() {
    const int width = int(frame().width), height = int(frame().height);
    m_heights = made(make_image(width, height, 1, SAMPLE_F32));
    m_before = made(make_image(width, height, 1, SAMPLE_F32));
    m_blurred = made(make_image_uncleared(width, height, 1, SAMPLE_F32));
}

void Water::state(StateWalk& walk) {
    for (const ImagePtr* plane : {&m_heights, &m_before})
        walk.bytes((*plane)->pixels, std::size_t((*plane)->row_bytes) * (*plane)->height);
}

bool Water::advance() {
    if (m_ripples.use_walls && m_walls) {
        const float low = m_ripples.wall_min, high = m_ripples.wall_max;
        for_rows_float(m_walls->height, [&](int first, int last) {
            for (int y = first; y <= last; ++y) {
                float* row = image_row<float>(m_walls.get(), y);
                for (int x = 0; x < m_walls->width; ++x)
                    row[x] = high > low ? (std::clamp(row[x], low, high) - low) / (high - low) : float(row[x] >= high);
            }
        });
    }
    if (!m_ripples.use_drips)
        rain();
    else if (m_drips)
        addDrips();
    ripple();
    m_drips.reset();
    m_walls.reset();
    return true;
}

void Water::rain() {
    const int shown_frame = stepFrame() - m_ripples.pre_roll;
    for (int strip = 0; strip * STRIP < m_heights->height; ++strip) {
        const std::uint32_t seed = std::uint32_t(int(m_ripples.seed * 32767.0f)) + 7919U * std::uint32_t(strip) +
                                   104729U * std::uint32_t(shown_frame);
        StripRandom random(seed);
        const int whole = int(m_ripples.rate);
        const float part = m_ripples.rate - float(whole);
        const int count = whole + (part > 0.0f && random.next() <= part ? 1 : 0);
        for (int i = 0; i < count; ++i) {
            const float x = random.next() * float(m_heights->width);
            const float y = float(strip * STRIP) + random.next() * float(STRIP);
            splash(x, y);
        }
    }
}

// A cone.
void Water::splash(float x, float y) {
    const float radius_y = m_ripples.radius, radius_x = radius_y * frame().aspect();
    if (!(radius_x > 0.0f && radius_y > 0.0f)) return;
    const int width = m_heights->width, height = m_heights->height;
    const int left = std::max(int(std::floor(x - radius_x)), 0), right = std::min(int(x + radius_x) + 1, width - 1);
    const int low = std::max(int(std::floor(y - radius_y)), 0), high = std::min(int(y + radius_y) + 1, height - 1);
    for (int row = low; row <= high; ++row) {
        float* out = image_row<float>(m_heights.get(), row);
        const float* open = m_walls ? image_row<float>(m_walls.get(), row) : nullptr;
        const float dy = (float(row) - y) / radius_y;
        for (int column = left; column <= right; ++column) {
            const float dx = (float(column) - x) / radius_x;
            const float push = std::max(1.0f - std::sqrt(dx * dx + dy * dy), 0.0f) * m_ripples.power;
            out[column] += open ? push * open[column] : push;
        }
    }
}

void Water::addDrips() {
    for_rows_float(m_heights->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* push = image_row<float>(m_drips.get(), y);
            const float* open = m_walls ? image_row<float>(m_walls.get(), y) : nullptr;
            float* out = image_row<float>(m_heights.get(), y);
            for (int x = 0; x < m_heights->width; ++x) out[x] += open ? push[x] * open[x] : push[x];
        }
    });
}

// The blur stands for the Laplacian of the wave equation.
void Water::ripple() {
    constexpr int ALL_CHANNELS = -1;
    const StageTimer timer("Ripples");
    made(image_gaussian_blur_to(m_heights.get(), m_blurred.get(), m_ripples.blur, m_ripples.blur, ALL_CHANNELS));
    const float kept = m_ripples.damping;
    for_rows_float(m_heights->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* blurred = image_row<float>(m_blurred.get(), y);
            const float* open = m_walls ? image_row<float>(m_walls.get(), y) : nullptr;
            float* height = image_row<float>(m_before.get(), y);
            for (int x = 0; x < m_heights->width; ++x) {
                float v = 2.0f * blurred[x] - height[x];
                v = v - kept * v;
                height[x] = std::clamp(v, -HIGHEST, HIGHEST);
            }
            for (int x = 0; open && x < m_heights->width; ++x) height[x] *= open[x];
        }
    });
    std::swap(m_heights, m_before);
}

// ---- The picture ----------------------------------------------------------------------------------------------

void Water::finish(K7Image& result) {
    const K7Image& source = *input.image;
    const bool map = OutType.value == RippleMap;
    const double index = (RefractiveIndex.value - 1.0) * 0.01 + 1.0;
    if (!map && index == 1.0) return;  // the result began as the source
    const ImagePtr shown(made(image_duplicate(m_heights.get())));
    weigh_by_alpha(source, *shown);
    if (map) {
        for_rows_float(result.height, [&](int first, int last) {
            for (int y = first; y <= last; ++y) {
                const float* height = image_row<float>(shown.get(), y);
                float* out = image_row<float>(&result, y);
                for (long i = 0; i < 4L * result.width; ++i) out[i] = height[i / 4];
            }
        });
        return;
    }
    RefractingSurface look{.index = float(index),
                           .chromatic = surface.parting(),
                           .axial = surface.DoLight.value,
                           .edge = edge_of_choice(1),
                           .light = surface.shining(),
                           .to_plane = {}};
    look.light.softness = float(LightSoftness.value) / source.unit_scale;
    refract_through(*shown, source, look, doAlpha, stopRequested(), result);
}
