#include "effects/sky/StarScatter.h"

#include <algorithm>
#include <cmath>

#include "clk7/clk7.h"
#include "effects/sky/StarFlight.h"
#include "k7pi_baselib/portable_math.h"
#include "noiselib/place_hash.h"

namespace {

// ---- Kinds ----------------------------------------------------------------------------------------------------

// From one end of a part of the diagram to the other, evenly: temperatures in kelvin and absolute magnitudes.
struct DiagramPart {
    double share, first_kelvin, last_kelvin, first_magnitude, last_magnitude;
};
constexpr DiagramPart DIAGRAM[] = {
    {0.20, 3000, 3800, 11.0, 8.5},     // red dwarfs
    {0.22, 3900, 5200, 8.0, 6.0},      // class K
    {0.18, 5300, 6000, 5.8, 4.4},      // class G
    {0.15, 6100, 7400, 4.2, 2.8},      // class F
    {0.12, 7600, 10000, 2.5, 0.5},     // class A
    {0.045, 11000, 22000, 0.0, -3.0},  // class B
    {0.065, 3900, 4800, 1.0, -0.3},    // orange giants
    {0.02, 3100, 3700, -0.5, -1.5},    // red giants
};
constexpr double SUN = 4.83, DAYLIGHT = 6504.0;

void balanced(double kelvin, double (&mix)[3]) {
    double xyz[3], white[3];
    black_body_xyz(DAYLIGHT, xyz);
    mix_of_primaries(DEFAULT_PRIMARIES, xyz, white);
    black_body_xyz(kelvin, xyz);
    mix_of_primaries(DEFAULT_PRIMARIES, xyz, mix);
    for (int c = 0; c < 3; ++c) mix[c] = std::max(mix[c] / white[c], 0.0);
}

StarKind kind_of(double kelvin, double magnitude, double saturation) {
    double mix[3];
    balanced(kelvin, mix);
    const double most = std::max({mix[0], mix[1], mix[2], 1e-9});
    StarKind kind{static_cast<float>(k7_exp((SUN - magnitude) * 0.4 * 2.302585092994046)), {}};
    for (int c = 0; c < 3; ++c)
        kind.colour[c] = static_cast<float>(std::max(1.0 + (mix[c] / most - 1.0) * saturation, 0.0));
    return kind;
}

// ---- Places ---------------------------------------------------------------------------------------------------

enum Population : std::uint32_t { NEAR = 1, FAR = 2, CLUSTER = 3, GROUPS = 4 };

// Numbers after a word.
class Draws {
  public:
    explicit Draws(std::uint32_t word) : m_word(word) {}
    float unit() { return unit_of(next()); }
    float both() { return signed_of(next()); }

  private:
    std::uint32_t next() { return place_hash(m_word, ++m_count); }
    std::uint32_t m_word, m_count = 0;
};

// Evenly over all directions: a point of the ball, drawn until it is in it.
void draw_direction(Draws& draws, float (&v)[3]) {
    for (int tries = 0; tries < 64; ++tries) {
        for (float& part : v) part = draws.both();
        const float squared = v[0] * v[0] + v[1] * v[1] + v[2] * v[2];
        if (squared > 1.0F || squared < 1e-4F) continue;
        const float scale = 1.0F / std::sqrt(squared);
        for (float& part : v) part *= scale;
        return;
    }
    v[0] = v[1] = 0.0F, v[2] = 1.0F;
}

// Plummer's sphere of radius 1, its outermost part left out. The largest of three numbers is spread as the cube root
// that its distribution asks for.
void draw_plummer(Draws& draws, float (&place)[3]) {
    const float root = 0.986F * std::max({draws.unit(), draws.unit(), draws.unit()});
    const float radius = root / std::sqrt(1.0F - root * root);
    draw_direction(draws, place);
    for (float& part : place) part *= radius;
}

}  // namespace

StarKinds::StarKinds(double saturation) {
    double before = 0.0, sum = 0.0;
    std::size_t filled = 0;
    for (const DiagramPart& part : DIAGRAM) {
        before += part.share;
        const auto end = &part == std::end(DIAGRAM) - 1
                             ? m_kinds.size()
                             : static_cast<std::size_t>(std::lround(before * static_cast<double>(m_kinds.size())));
        const std::size_t begin = filled;
        for (; filled < end; ++filled) {
            const double t = (static_cast<double>(filled - begin) + 0.5) / static_cast<double>(end - begin);
            m_kinds[filled] =
                kind_of(part.first_kelvin + (part.last_kelvin - part.first_kelvin) * t,
                        part.first_magnitude + (part.last_magnitude - part.first_magnitude) * t, saturation);
        }
    }
    constexpr std::size_t FIRST_HOT = 192, FIRST_GIANT = 235;  // classes A and B lie between
    for (std::size_t i = 0; i < m_old.size(); ++i) {
        const bool burnt = i >= FIRST_HOT && i < FIRST_GIANT && i % 8 != 0;
        m_old[i] =
            static_cast<std::uint8_t>(burnt ? FIRST_GIANT + (i - FIRST_HOT) % (m_kinds.size() - FIRST_GIANT) : i);
        sum += static_cast<double>(m_kinds[m_old[i]].light);
    }
    m_mean_light = static_cast<float>(sum / static_cast<double>(m_old.size()));
}

StarBandAxes star_band_axes(double heading, double pitch, double tilt) {
    const StarPose pose = star_pose(heading, pitch, -tilt);
    StarBandAxes axes{};
    for (int k = 0; k < 3; ++k) {
        axes.middle[k] = static_cast<float>(pose.forward[k]);
        axes.along[k] = static_cast<float>(pose.right[k]);
        axes.pole[k] = static_cast<float>(pose.up[k]);
    }
    return axes;
}

std::uint32_t StarScatter::near_word(std::uint32_t star) const { return place_hash(place_hash(seed, NEAR), star); }
std::uint32_t StarScatter::far_word(std::uint32_t star) const { return place_hash(place_hash(seed, FAR), star); }
std::uint32_t StarScatter::cluster_word(std::uint32_t star) const {
    return place_hash(place_hash(seed, CLUSTER), star);
}

// Some groups are rich and most are poor.
void StarScatter::near_place(std::uint32_t word, float (&place)[3]) const {
    Draws draws(word);
    if (draws.unit() >= clumping) {
        for (float& part : place) part = draws.unit();
        return;
    }
    const float chosen = draws.unit();
    const auto group = static_cast<std::uint32_t>(chosen * chosen * static_cast<float>(groups));
    Draws centre(place_hash(place_hash(seed, GROUPS), group));
    const float radius = 0.006F + 0.02F * centre.unit();
    draw_plummer(draws, place);
    for (float& part : place) part = part * radius + centre.unit();
}

void StarScatter::far_direction(std::uint32_t word, float (&direction)[3]) const {
    Draws draws(word);
    if (draws.unit() >= band_share) return draw_direction(draws, direction);
    // Dense in the plane with long tails, and denser towards the middle.
    const float v = draws.both(), turn = draws.both();
    const float sine = std::clamp(0.5F * v / (1.12F - std::fabs(v)) * band_width, -1.0F, 1.0F);
    const float cosine = std::sqrt(1.0F - sine * sine);
    const K7SineCosine longitude =
        k7_sine_cosine(3.141592653589793 * static_cast<double>(turn * (0.4F + 0.6F * std::fabs(turn))));
    const float ahead = cosine * static_cast<float>(longitude.cosine),
                aside = cosine * static_cast<float>(longitude.sine);
    for (int k = 0; k < 3; ++k) direction[k] = ahead * band.middle[k] + aside * band.along[k] + sine * band.pole[k];
}

void StarScatter::cluster_place(std::uint32_t word, float (&place)[3]) const {
    Draws draws(word);
    draw_plummer(draws, place);
}

// log N = 0.5 m makes N of at least a light L go with L to the power of -1.25.
float StarScatter::far_light(std::uint32_t word) const {
    const float rank = unit_of(place_hash(word, 0xF1U)) + 1e-6F;
    return k7_pow_float(static_cast<double>(rank), -0.8);
}

float star_flicker(std::uint32_t star, double time) {
    const double shifted = time + static_cast<double>(unit_of(star));
    const double whole = std::floor(shifted);
    const float part = static_cast<float>(shifted - whole);
    const auto step = static_cast<std::uint32_t>(static_cast<std::int64_t>(whole));
    const float before = signed_of(place_hash(star, step)), after = signed_of(place_hash(star, step + 1U));
    return before + (after - before) * part * part * (3.0F - 2.0F * part);
}
