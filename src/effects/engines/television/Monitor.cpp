#include "effects/engines/television/Monitor.h"

#include <cmath>
#include <vector>

#include "effects/engines/television/Monitor_simd.h"
#include "k7pi_baselib/portable_math.h"

namespace {

constexpr double PI = 3.14159265358979323846;
constexpr int ENTRIES_A_LINE = 16;
constexpr float BLANKING = 0.08F;  // heights of black between two pictures that roll

float fraction(double v) { return static_cast<float>(v - std::floor(v)); }

// Brightness over the height of the picture: the scan lines, averaged over a pixel of the destination, and the hum bar.
std::vector<float> brightness_table(const MonitorLook& look, int lines, int height) {
    const int entries = lines * ENTRIES_A_LINE;
    // A wave averaged over a pixel loses contrast, down to none where a pixel holds a line.
    const double pixel = PI * lines / height;
    const double seen = pixel < PI ? double(look.scan_lines) * k7_sin(pixel) / pixel : 0.0;
    const double light = 1.0 / (1.0 - 0.5 * double(look.scan_lines));  // the tube is turned up for it
    std::vector<float> table(static_cast<std::size_t>(entries) + 2);
    for (int i = 0; i < entries + 2; ++i) {
        const double line = double(i) / ENTRIES_A_LINE;
        const double wave = 1.0 - 0.5 * double(look.scan_lines) - 0.5 * seen * k7_cos(2.0 * PI * line);
        const double bar = 0.5 + 0.5 * k7_cos(2.0 * PI * (line / lines - double(look.hum_place)));
        table[static_cast<std::size_t>(i)] = static_cast<float>(light * wave * (1.0 - double(look.hum) * bar * bar));
    }
    return table;
}

}  // namespace

bool show_on_monitor(const K7Image& picture, const MonitorLook& look, K7Image& destination, const StopRequested& stop) {
    const std::vector<float> brightness = brightness_table(look, picture.height, destination.height);
    const float rolled = fraction(double(look.roll));
    MonitorGlass glass{.picture = image_row<float>(&picture, 0),
                       .pitch = picture.width * 4,
                       .columns = picture.width,
                       .lines = picture.height,
                       .brightness = brightness.data(),
                       .entries_a_line = ENTRIES_A_LINE,
                       .width = destination.width,
                       .height = destination.height,
                       .curvature = look.curvature,
                       .vignette = look.vignette,
                       .rolled = rolled,
                       .span = 1.0F + BLANKING,
                       .tint = {look.tint[0], look.tint[1], look.tint[2]}};
    if (picture.height > 1)
        glass.pitch = static_cast<int>(image_row<float>(&picture, 1) - image_row<float>(&picture, 0));
    const MonitorRows& rows = monitor_rows();
    return each_row_float(destination.height, stop,
                          [&](int y) { rows.show(glass, y, image_row<float>(&destination, y)); });
}
