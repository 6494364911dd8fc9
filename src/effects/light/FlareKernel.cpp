#include "effects/light/FlareKernel.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "Library2/Made.h"
#include "clk7/clk7.h"
#include "effects/light/Flare_simd.h"
#include "graphicslib/line_draw.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"

namespace {

constexpr double PI = 3.141592653589793;

// ---- Colours ----------------------------------------------------------------------------------------------------

struct Colour {
    float red, green, blue;
    float grey() const { return 0.3F * red + 0.5F * green + 0.2F * blue; }
    float sum() const { return red + green + blue; }
};

// What a screen far behind the slits shows, an entry for each hundred-thousandth of a radian; the square root brings
// out the faint fringes.
std::vector<Colour> diffraction_colours(const FlareSlits& slits) {
    constexpr double STEP = 1e-5;
    CLRK7 engine;
    made(engine.init(FLARE_SHORTEST, FLARE_LONGEST));
    std::vector<Colour> colours(HALO_ENTRIES);
    for_rows_float(HALO_ENTRIES, [&](int first, int last) {
        float spectrum[FLARE_LINES + FLARE_ROOM];
        for (int i = first; i <= last; ++i) {
            flare_kernels().diffraction(slits, k7_sin(std::max(i * STEP, STEP)), spectrum);
            float rgb[3];
            engine.spectrum_to_rgb(spectrum, rgb);
            for (float& c : rgb) c = std::sqrt(std::max(c, 0.0F));
            colours[static_cast<std::size_t>(i)] = {rgb[0], rgb[1], rgb[2]};
        }
    });
    return colours;
}

// ---- Rays -------------------------------------------------------------------------------------------------------

// The pixels of an antialiased line.
class Ray final : public LineDraw {
  public:
    struct Point {
        int x, y;
        float coverage, t;
    };
    explicit Ray(const ImagePtr& bounds) : LineDraw(bounds.get()) {}
    void pixel(int x, int y, float coverage, float t) override { points.push_back({x, y, coverage, t}); }
    std::vector<Point> points;
};

class KernelMaker {
  public:
    KernelMaker(const FlareShape& shape, MTRandom& random, const StopRequested& stop)
        : m_shape(shape), m_random(random), m_stop(stop) {}
    FlareKernel make() {
        prepare_colours();
        allocate();
        const std::vector<double> angles = random_angles();
        const ImagePtr darkness = spokes();
        halo(*darkness);
        if (!wants_end(m_stop)) streaks(angles);
        glow();
        return std::move(m_kernel);
    }

  private:
    static constexpr std::size_t RANDOM_PAIRS = 1000;
    int centreX() const { return m_shape.width / 2; }
    int centreY() const { return m_shape.height / 2; }
    float* row(int plane, int y) { return image_row<float>(m_kernel.planes[plane].get(), y); }
    void draw(Ray& ray, double angle, double length) const {
        const auto x = static_cast<float>(centreX()), y = static_cast<float>(centreY());
        const K7SineCosine turn = k7_sine_cosine(angle);
        ray.draw(x, y, x + static_cast<float>(turn.cosine * length),
                 y + static_cast<float>(turn.sine * length / m_shape.row_height));
    }
    bool has_streaks() const {
        return m_shape.streaks > 0 && m_shape.streak_energy > 0.0 && m_shape.streak_length >= 1.0;
    }
    // Over the outer half of its reach.
    float halo_fade(double distance) const {
        if (!(m_shape.halo_reach > 0.0)) return 1.0F;
        return static_cast<float>(std::clamp(2.0 - 2.0 * distance / m_shape.halo_reach, 0.0, 1.0));
    }
    void prepare_colours();
    void allocate();
    std::vector<double> random_angles();
    ImagePtr spokes();
    void halo(const K7Image& darkness);
    void streaks(const std::vector<double>& angles);
    void glow();

    const FlareShape& m_shape;
    MTRandom& m_random;
    const StopRequested& m_stop;
    FlareKernel m_kernel;
    HaloTable m_halo;
    std::vector<Colour> m_streak;  // along a ray
};

void KernelMaker::prepare_colours() {
    const StageTimer timer("Generate Kernel 1D");
    const auto strength = static_cast<float>(m_shape.halo_energy);
    const std::vector<Colour> colours = diffraction_colours({m_shape.slit, 0.0, 1});
    for (int i = 0; i <= HALO_ENTRIES; ++i) {
        const Colour& colour = colours[static_cast<std::size_t>(std::min(i, HALO_ENTRIES - 1))];
        const float light = strength * halo_fade(i * m_shape.scale / HALO_ENTRIES);
        m_halo.red[i] = colour.red * light, m_halo.green[i] = colour.green * light,
        m_halo.blue[i] = colour.blue * light;
    }
    if (!has_streaks()) return;
    m_streak = diffraction_colours({1.0, 1.2, 2});
    const auto loss = static_cast<float>(1.0 - m_shape.streak_chroma);
    for (Colour& c : m_streak) {
        const float grey = c.grey();
        c = {c.red + (grey - c.red) * loss, c.green + (grey - c.green) * loss, c.blue + (grey - c.blue) * loss};
    }
}

void KernelMaker::allocate() {
    const StageTimer timer("Allocate kernel buffer");
    for (ImagePtr& plane : m_kernel.planes)
        plane = made(make_image_uncleared(m_shape.width, m_shape.height, 1, SAMPLE_F32));
}

std::vector<double> KernelMaker::random_angles() {
    std::vector<double> angles(RANDOM_PAIRS);
    for (double& angle : angles) {
        angle = m_random.next_double() * PI;
        m_random.next_double();  // the pair's other number, which nothing needs
    }
    return angles;
}

// How dark the rays make the halo: from nothing at the middle to all of their contrast half way along.
ImagePtr KernelMaker::spokes() {
    const double reach = 0.5 * std::max(m_shape.width, m_shape.height);
    ImagePtr darkness = made(make_image(m_shape.width, m_shape.height, 1, SAMPLE_F32));
    Ray ray(darkness);
    for (int i = 0; i < m_shape.spokes; ++i) {
        const double angle = m_random.next_double() * 2.0 * PI;
        const auto contrast = static_cast<float>(m_random.next_double() * m_shape.spoke_contrast * m_shape.line_width);
        ray.points.clear();
        draw(ray, angle, m_random.next_double() * reach);
        for (const Ray::Point& p : ray.points)
            image_row<float>(darkness.get(), p.y)[p.x] += contrast * std::min(1.0F, 2.0F * p.t) * p.coverage;
    }
    return darkness;
}

// A quarter of it is worked out, the others mirror it.
void KernelMaker::halo(const K7Image& darkness) {
    const StageTimer timer("Central blob 2D");
    const auto entries = static_cast<float>(HALO_ENTRIES / m_shape.scale);
    const int width = m_shape.width, height = m_shape.height, half = centreX(), half_height = centreY();
    std::vector<double> sums(static_cast<std::size_t>(height));
    for_rows_float(half_height + 1, [&](int first, int last) {
        std::vector<float> quarter[3];
        for (auto& colour : quarter) colour.resize(static_cast<std::size_t>(half + 1 + FLARE_ROOM));
        for (int dy = first; dy <= last && !wants_end(m_stop); ++dy) {
            flare_kernels().halo(m_halo, entries, static_cast<float>(dy * m_shape.row_height), half + 1,
                                 quarter[0].data(), quarter[1].data(), quarter[2].data());
            for (const int y : {half_height - dy, half_height + dy}) {
                if (y < 0 || y >= height) continue;
                for (int c = 0; c < 3; ++c) {
                    const float* const from = quarter[c].data();
                    float* const to = row(c, y);
                    std::reverse_copy(from, from + half + 1, to);
                    std::copy_n(from, width - half, to + half);
                }
                sums[static_cast<std::size_t>(y)] =
                    flare_kernels().darken(row(0, y), row(1, y), row(2, y), image_row<float>(&darkness, y), width);
                if (dy == 0) break;
            }
        }
    });
    double sum = 0.0;
    for (const double part : sums) sum += part;
    if (sum > 0.0) m_kernel.unit = sum / 3.0 / m_shape.halo_energy;
}

// The light of two slits along each of them, fading at its end.
void KernelMaker::streaks(const std::vector<double>& angles) {
    const StageTimer timer("Streaks 2D");
    constexpr float FADE_START = 0.5F;
    if (!has_streaks()) return;
    const auto colour_at = [&](float t) {
        const float s = std::clamp((t - FADE_START) / (1.0F - FADE_START), 0.0F, 1.0F);
        const float fade = 1.0F - 3.0F * s * s + 2.0F * s * s * s;
        const Colour& c = m_streak[static_cast<std::size_t>(t * static_cast<float>(HALO_ENTRIES - 1))];
        return Colour{c.red * fade, c.green * fade, c.blue * fade};
    };
    Ray ray(m_kernel.planes[0]);
    for (int i = 0; i < m_shape.streaks; ++i) {
        const double angle = angles[static_cast<std::size_t>(i) % RANDOM_PAIRS] + m_shape.streak_turn;
        ray.points.clear();
        draw(ray, angle, m_shape.streak_length);
        draw(ray, angle + PI, m_shape.streak_length);
        double light = 0.0;
        for (const Ray::Point& p : ray.points) light += static_cast<double>(p.coverage * colour_at(p.t).sum()) / 3.0;
        if (!(light > 0.0)) continue;
        const auto scale = static_cast<float>(m_shape.streak_energy / m_shape.streaks * m_kernel.unit / light);
        for (const Ray::Point& p : ray.points) {
            const Colour colour = colour_at(p.t);
            row(0, p.y)[p.x] += p.coverage * scale * colour.red;
            row(1, p.y)[p.x] += p.coverage * scale * colour.green;
            row(2, p.y)[p.x] += p.coverage * scale * colour.blue;
        }
    }
}

// Grains that thin out towards the radius.
void KernelMaker::glow() {
    const StageTimer timer("Fuzz Fog 2D");
    const double radius = m_shape.glow_radius;
    if (!(m_shape.glow_energy > 0.0) || !(radius > 0.0)) return;
    const int across = static_cast<int>(std::min(radius, m_shape.width * 0.5));
    const int up = static_cast<int>(std::min(radius / m_shape.row_height, m_shape.height * 0.5));
    std::vector<float> grains;
    double sum = 0.0;
    const auto each = [&](const auto& work) {
        for (int dy = -up; dy <= up; ++dy)
            for (int dx = -across; dx <= across; ++dx) {
                const int x = centreX() + dx, y = centreY() + dy;
                const double high = dy * m_shape.row_height, distance = std::sqrt(dx * double(dx) + high * high);
                if (distance < radius && x >= 0 && x < m_shape.width && y >= 0 && y < m_shape.height)
                    work(x, y, distance);
            }
    };
    each([&](int, int, double distance) {
        grains.push_back(static_cast<float>(m_random.next_double() * ((radius - distance) / radius)));
        sum += static_cast<double>(grains.back());
    });
    if (!(sum > 0.0)) return;
    const auto scale = static_cast<float>(m_shape.glow_energy * m_kernel.unit / sum);
    std::size_t grain = 0;
    each([&](int x, int y, double) {
        const float light = grains[grain++] * scale;
        for (int c = 0; c < 3; ++c) row(c, y)[x] += light;
    });
}

}  // namespace

FlareKernel make_flare_kernel(const FlareShape& shape, MTRandom& random, const StopRequested& stop) {
    return KernelMaker(shape, random, stop).make();
}
