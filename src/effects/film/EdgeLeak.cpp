#include "effects/film/EdgeLeak.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "k7pi_baselib/k7pi_baselib.h"
#include "noiselib/solidnoise.h"

namespace {

constexpr uint32_t SEED = 1234567;
constexpr double CELLS = 6.0;   // of the noise over the height of the frame
constexpr double PACE = 4.0;    // largest change of the position over one cell; 1 is from the middle to a bound
constexpr double REACH = 0.4;   // the same in widths of the picture, where the bounds are far apart
constexpr double DRIFT = 0.03;  // of the noise in time for each frame
constexpr double OWN = 0.3;     // weight of a band's own path; the rest is common to all three, as one leak lights them
constexpr double FARTHEST = 4.0;    // widths of the picture
constexpr double SHARPEST = 0.001;  // softness, in widths of the picture

double limited(double v, double low, double high) { return v > low ? std::min(v, high) : low; }

// Reflects a position at -1 and 1, and eases it there so that the border has no corners.
double turnedBack(double position) {
    const double x = position - 4.0 * std::floor((position + 1.0) * 0.25);
    const double way = x <= 1.0 ? x : 2.0 - x;
    return way * (1.5 - 0.5 * way * way);
}

// Where a border lies in each row, from -1 to 1. It walks from row to row by noise and turns back at its bounds. Its
// mean is taken out, since otherwise the lower end of the frame would hardly move and the upper end would move most.
std::vector<float> wander(const SolidNoise& noise, int path, double frame, double speed, int rows) {
    const double step = CELLS / rows;
    const NoiseLine line{.x = 0.5 * step,
                         .step = step,
                         .y = static_cast<float>(3.7 * path + 0.5),
                         .z = static_cast<float>(DRIFT * frame)};
    std::vector<float> places(static_cast<std::size_t>(rows));
    noise.noise_row(line, 0, places.data(), rows);
    double position = 0.0, mean = 0.0;
    for (const float pace : places) mean += (position += double(pace) * speed * step) / rows;
    position = -mean;
    for (float& place : places) {
        position += double(place) * speed * step;
        place = static_cast<float>(turnedBack(position));
    }
    return places;
}

}  // namespace

void EdgeLeak::ProcessFrame() {
    K7Image* picture = output.image.get();
    const StageTimer timer("EdgeLeak (CPU)");
    const FilmLight light{.thickness = static_cast<float>(ThickE.value * 0.01),
                          .fog = static_cast<float>(FogE.value * 0.01),
                          .negative = NegEdgeON.value,
                          .use_alpha = Modulate.value};
    const double width = picture->width;
    const double bound = limited(WobbleE.value * 0.01 * ThickE.value * 0.01, -FARTHEST, FARTHEST) * width;
    const bool fromRight = DirE.value == FromRight;
    const double positions[] = {RedXE.value, YellowXE.value, WhiteXE.value};
    const double softness[] = {RedSoftE.value, YellowSoftE.value, WhiteSoftE.value};

    const double speed = std::min(PACE, REACH / limited(ThickE.value * 0.01, SHARPEST, FARTHEST));
    const SolidNoise noise(SEED);
    const std::vector<float> common = wander(noise, LIGHT_BANDS, currentFrame, speed, picture->height);
    std::vector<EdgeRow> rows(picture->height);
    for (int band = 0; band < LIGHT_BANDS; ++band) {
        const double middle = limited(positions[band], -FARTHEST, FARTHEST) * width;
        const double soft = limited(softness[band] * 0.01, SHARPEST, FARTHEST) * width;
        const std::vector<float> own = wander(noise, band, currentFrame, speed, picture->height);
        for (std::size_t y = 0; y < rows.size(); ++y) {
            const double path = (1.0 - OWN) * common[y] + OWN * own[y];
            rows[y].positions[band] = static_cast<float>(middle + bound * path);
            rows[y].inverse_widths[band] = static_cast<float>(fromRight ? -1.0 / soft : 1.0 / soft);
        }
    }
    const auto& kernels = film_light_kernels();
    const float lastColumn = static_cast<float>(picture->width - 1);
    eachRow(picture->height, [&](int y) {
        const EdgeRow& row = rows[static_cast<std::size_t>(y)];
        const auto [least, most] = std::minmax({row.positions[0], row.positions[1], row.positions[2]});
        const float from = fromRight ? std::max(least, 0.0F) : 0.0F;
        const float to = fromRight ? lastColumn : std::min(most, lastColumn);
        if (from <= to)
            kernels.light_edges(light, row, static_cast<int>(from), static_cast<int>(to), image_row<float>(picture, y));
    });
}

// ---- Overlay --------------------------------------------------------------------------------------------------

void EdgeOverlayK7::moveTo(int, Point pen) { m_position.overlayValue = static_cast<double>(pen.x) / view().width; }
void EdgeOverlayK7::draw(const OverlayPen& pen) const {
    pen.line(view().place(m_position.overlayValue, 0.0), view().place(m_position.overlayValue, 1.0));
    pen.handle(partPlace(1, {}), hovered == 1);
}
