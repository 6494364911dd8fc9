// Renders every effect of a bundle, as it is and with each of its presets, and writes the checksum of each picture.
// Needs nothing but the C library, so that it runs on other systems than the one it is built on.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>

#include "host/core/ofxhost.h"
#include "ofx/ofx_names.h"

namespace {

constexpr int WIDTH = 96, HEIGHT = 54;
constexpr double FRAME = 4.0;

ofxhost::ImagePtr picture(bool filled) {
    ofxhost::ImageLayout layout;
    layout.bounds = {0, 0, WIDTH, HEIGHT};
    const auto image = std::make_shared<ofxhost::Image>(layout);
    unsigned noise = 1;
    for (int y = 0; filled && y < HEIGHT; ++y)
        for (int x = 0; x < WIDTH; ++x)
            for (int channel = 0; channel < 4; ++channel) {
                noise = noise * 1664525u + 1013904223u;
                const float slope = static_cast<float>(x * (channel + 1) + y) / (4.0f * WIDTH + HEIGHT);
                const float grain = static_cast<float>(noise >> 24) / 1024.0f;
                image->setSample(x, y, channel, channel == 3 ? 1.0f : slope + grain);
            }
    return image;
}

unsigned long long checksum(ofxhost::EffectInstance& effect) {
    const ofxhost::ImagePtr result = picture(false);
    effect.output().setOutputImage(result, FRAME);
    effect.render({.time = FRAME}, result);
    return result->checksum();
}

void renderEffect(ofxhost::Plugin& plugin) {
    const auto descriptor = plugin.describeInContext(ofx::context::General);
    if (!descriptor) throw ofxhost::Error("not described");
    const ofxhost::ProjectSettings project{.width = WIDTH, .height = HEIGHT};
    ofxhost::EffectInstance effect(*descriptor, project);
    effect.create();
    for (ofxhost::Clip* clip : effect.inputs()) clip->connect(picture(true), 0, 99);
    const std::string name = plugin.name();
    std::printf("%s %016llx\n", name.c_str(), checksum(effect));
    ofxhost::Param* presets = effect.findParam("Demos");
    if (!presets) return;
    for (std::size_t i = 0; i < presets->choiceOptions().size(); ++i) {
        effect.setParam(*presets, static_cast<double>(i));
        std::printf("%s %zu %016llx\n", name.c_str(), i, checksum(effect));
    }
}

// The unwinder inside a library finds its way on this system.
bool exceptionsArrive(ofxhost::Host& host) {
    try {
        const ofxhost::Bundle missing(host, "/nowhere.ofx.bundle");
        return false;
    } catch (const ofxhost::Error&) {
        return true;
    }
}

}  // namespace

// The whole program. Apart from main() because an older system runs static constructors of shared libraries only, when
// the program is linked on a newer one.
extern "C" [[gnu::visibility("default")]] int renderAll(int count, char** arguments) {
    try {
        if (count != 2) throw ofxhost::Error("one bundle is needed");
        ::setenv("JAWS_DISABLE", "yes", 1);  // no service is there to wait for
        ofxhost::Host host(ofxhost::hostConfig("generic"));
        if (!exceptionsArrive(host)) return 1;
        const ofxhost::Bundle bundle(host, arguments[1]);
        for (const auto& plugin : bundle.plugins()) renderEffect(*plugin);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "render_all: %s\n", error.what());
        return 1;
    }
}
