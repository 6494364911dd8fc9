#include "effects/film/LightLeak.h"

#include <algorithm>
#include <cmath>

#include "k7pi_baselib/k7pi_baselib.h"
#include "noiselib/solidnoise.h"

namespace {

constexpr double FARTHEST = 1e6;  // pixels from the picture's origin, and the largest radius
constexpr double DRIFT = 0.004;   // of the noise in time for each frame, as the film moves in its magazine
constexpr double STEP = 0.12;     // the same for the randomness on top
constexpr double HARD = 0.001;    // width of a band without softness

double limited(double v, double low, double high) { return v > low ? std::min(v, high) : low; }

// Bands come to full strength over their softness, beginning where their spread ends.
LightBand bandOf(double spreadPercent, double softPercent) {
    const double width = softPercent > 0.0 ? softPercent * 0.01 : HARD;
    return {static_cast<float>(1.0 - spreadPercent * 0.01), static_cast<float>(1.0 / width)};
}

}  // namespace

// A spot follows from the seed and its number alone, so that one more spot does not change the others.
std::vector<LightSpot> LightLeak::drawSpots(const K7Image& picture) const {
    const SolidNoise random(static_cast<uint32_t>(LightPattB.value));
    const double width = picture.width, height = picture.height;
    const auto slow = static_cast<float>(0.5 + DRIFT * currentFrame);
    const auto moment = static_cast<float>(0.5 + STEP * currentFrame);
    std::vector<LightSpot> spots;
    for (int i = 0; i < LightSpotsB.value; ++i) {
        const auto draw = [&](int k, float z) {
            return double(random.noise(3.7F * static_cast<float>(i) + 0.5F, 5.3F * static_cast<float>(k) + 0.5F, z));
        };
        // Noise stays well inside -1 to 1; stretched, the spots use the range.
        const auto drifting = [&](int k) { return std::clamp(1.4 * draw(k, slow), -1.0, 1.0); };
        double radius = width * PattSizeB.value * 0.005 *
                        std::max(0.0, 0.5 + 0.5 * drifting(1) * PattVarB.value * 0.01) * (0.75 + 0.25 * drifting(2));
        double x = (drifting(3) * GroupB.value * 0.01 + CorePosB.x) * width;
        double y = (drifting(4) * GroupB.value * 0.01 + CorePosB.y) * height;
        if (AddRandB.value) {
            radius *= 1.0 + draw(1, moment) * WobbleSizeB.value * 0.01;
            x += draw(2, moment) * width * WobbleSpotB.value * 0.001;
            y += draw(3, moment) * height * WobbleSpotB.value * 0.001;
        }
        radius = limited(radius, 0.0, FARTHEST);
        if (!(radius > 0.0) || !(std::fabs(x) < FARTHEST) || !(std::fabs(y) < FARTHEST)) continue;
        spots.push_back({.x = static_cast<float>(x),
                         .y = static_cast<float>(y),
                         .inverse_radius = static_cast<float>(1.0 / radius),
                         .least = static_cast<float>(x - radius),
                         .most = static_cast<float>(x + radius)});
    }
    return spots;
}

void LightLeak::ProcessFrame() {
    K7Image* picture = output.image.get();
    const StageTimer timer("LightLeak (CPU)");
    const FilmLight light{.thickness = static_cast<float>(ThickB.value * 0.01),
                          .fog = static_cast<float>(FogB.value * 0.01),
                          .negative = NegBlobON.value,
                          .use_alpha = Modulate.value};
    const std::vector<LightSpot> spots = drawSpots(*picture);
    const LightBand bands[LIGHT_BANDS] = {bandOf(RedSpreadB.value, RedSoftB.value),
                                          bandOf(YellowSpreadB.value, YellowSoftB.value),
                                          bandOf(WhiteSpreadB.value, WhiteSoftB.value)};
    const float tall = picture->pixel_width > 0 ? picture->pixel_height / picture->pixel_width : 1.0F;
    const auto& kernels = film_light_kernels();
    eachRow(picture->height, [&](int y) {
        LightSpot met[MOST_SPOTS];
        float distances[MOST_SPOTS];
        SpotRow row{met, distances, 0, {bands[0], bands[1], bands[2]}};
        float left = picture->width, right = -1.0F;
        for (const LightSpot& spot : spots) {
            const float distance = (static_cast<float>(y) - spot.y) * tall;
            if (!(std::fabs(distance) * spot.inverse_radius < 1.0F)) continue;
            met[row.count] = spot;
            distances[row.count++] = distance * distance;
            left = std::min(left, spot.least), right = std::max(right, spot.most);
        }
        const int from = static_cast<int>(std::max(left, 0.0F));
        const int to = static_cast<int>(std::min(right, static_cast<float>(picture->width - 1)));
        if (from <= to && right >= 0.0F) kernels.light_spots(light, row, from, to, image_row<float>(picture, y));
    });
}
