#include "effects/night/InfraRed.h"

#include <algorithm>
#include <vector>

#include "effects/night/NightLook.h"
#include "imagelib/imagelib_colour.h"
#include "imagelib/imagelib_composite.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr int LUMINANCE = 4;

// The three curves side by side.
std::vector<float> film_table(const InfraRedInfo& info) {
    std::vector<float> table(4 * (FILM_ENTRIES + 1));
    const CurveControls* curves[] = {&info.red, &info.green, &info.blue};
    for (int c = 0; c < 3; ++c)
        curves[c]->curve().tabulate(FILM_ENTRIES, [&](int i, float y) { table[std::size_t(4 * i + c)] = y; });
    std::copy_n(&table[4 * (FILM_ENTRIES - 1)], 4, &table[4 * FILM_ENTRIES]);
    return table;
}

}  // namespace

void InfraRed::ProcessFrame() {
    const StageTimer timer("InfraRed (CPU)");
    const K7Image* back = background.image.get();
    const K7Image* source = infraRed.image.get();
    K7Image* result = output.image.get();
    const float mix = std::clamp(static_cast<float>(Blend.value) * 0.01f, 0.0f, 1.0f);
    if (mix == 1.0f) {
        image_copy(back, result);
    } else {
        if (!expose(*source, *result)) return;
        if (BW.value) image_select_channel(result, result, LUMINANCE);
        if (mix > 0.0f) image_cross_dissolve(result, back, mix);
    }
}

// False when the host wants an end.
bool InfraRed::expose(const K7Image& source, K7Image& result) const {
    const ImagePtr working = softened(source, Soften.value, Softening.value);
    const std::vector<float> table = film_table(*this);
    const NightLookRows& rows = night_look_rows();
    return eachRow(result.height, [&](int y) {
        rows.film(table.data(), image_row<float>(&source, y), image_row<float>(working.get(), y),
                  image_row<float>(&result, y), result.width);
    });
}
