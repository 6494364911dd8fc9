// Typo at 1920x1080. The default may take 60 times a copy of the picture. cairo, where it is installed, sets as many
// letters of one weight, without measuring a picture.
#include "effects/abstract/Typo.h"

#include "benches/support/bench.h"
#include "effects/abstract/TypoText.h"

#ifdef QUILLON_RIVAL_CAIRO
#include <cairo.h>
#endif

namespace {

Bench::Factory type(void (*adjust)(Typo&)) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<Typo>();
        effect->input.image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        adjust(*effect);
        return [=] { effect->ProcessFrame(); };
    };
}

const Bench standard("Typo, default", QUILLON, 2, type([](Typo&) {}));
const BenchGate gate = BenchGate::memcpys("Typo, default", 60.0);
const Bench ragged("Typo, ragged and detailed", QUILLON, 2, type([](Typo& e) {
                       e.Detail.value = e.Roughness.value = e.PaperGrain.value = 50;
                       e.Picture.value = 20;
                       e.Font.value = TypoInfo::RomanBold;
                   }));
const Bench turned("Typo, turned windows that glow", QUILLON, 2, type([](Typo& e) {
                       e.Angle.value = 30;
                       e.InkFrom.value = TypoInfo::ClipByPixel;
                       e.Glow.value = 80;
                   }));

#ifdef QUILLON_RIVAL_CAIRO
const Bench rival("Typo, default", "cairo, one weight", 2, [](int) -> Bench::Work {
    return [] {
        cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, FRAME_WIDTH, FRAME_HEIGHT);
        cairo_t* cairo = cairo_create(surface);
        cairo_set_source_rgb(cairo, 0.93, 0.91, 0.86);
        cairo_paint(cairo);
        cairo_set_source_rgb(cairo, 0.05, 0.05, 0.06);
        cairo_set_font_size(cairo, 21.5);
        std::string line;
        while (line.size() < 160) line += wording(0);
        line.resize(160);
        for (int y = 23; y < FRAME_HEIGHT + 23; y += 23) {
            cairo_move_to(cairo, 0, y);
            cairo_show_text(cairo, line.c_str());
        }
        cairo_destroy(cairo);
        cairo_surface_destroy(surface);
    };
});
#endif

}  // namespace
