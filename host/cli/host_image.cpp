#include "host/cli/host_image.h"

#include <cstdint>
#include <cstring>

#include "ofx/ofx_names.h"

namespace quillon {

using ofxhost::Depth;

namespace {

template <class Level>
void quantiseRow(const float* from, std::byte* to, int samples) {
    for (int i = 0; i < samples; ++i) {
        const Level level = quantise<Level>(from[i]);
        std::memcpy(to + static_cast<std::size_t>(i) * sizeof level, &level, sizeof level);
    }
}

template <class Level>
void sampleRow(const std::byte* from, float* to, int samples) {
    for (int i = 0; i < samples; ++i) {
        Level level;
        std::memcpy(&level, from + static_cast<std::size_t>(i) * sizeof level, sizeof level);
        to[i] = sampleOf(level);
    }
}

}  // namespace

const char* premultiplicationText(Alpha alpha) {
    return alpha == Alpha::Premultiplied ? ofx::premultiplication::Premultiplied
                                         : ofx::premultiplication::UnPremultiplied;
}

ofxhost::ImagePtr toHostImage(const Picture& picture, const PictureForm& form) {
    ofxhost::ImageLayout layout;
    layout.bounds = {0, 0, picture.width, picture.height};
    layout.depth = form.depth;
    layout.pixelAspect = form.pixelAspect;
    layout.renderScale = {form.renderScale, form.renderScale};
    layout.premultiplication = premultiplicationText(form.alpha);
    auto image = std::make_shared<ofxhost::Image>(layout);
    const int samples = picture.width * 4;
    for (int y = 0; y < picture.height; ++y) {
        const float* from = picture.row(y);
        std::byte* to = image->pixel(0, y);
        if (form.depth == Depth::Byte)
            quantiseRow<std::uint8_t>(from, to, samples);
        else if (form.depth == Depth::Short)
            quantiseRow<std::uint16_t>(from, to, samples);
        else
            std::memcpy(to, from, static_cast<std::size_t>(samples) * sizeof(float));
    }
    return image;
}

Picture fromHostImage(const ofxhost::Image& image) {
    const OfxRectI& bounds = image.layout().bounds;
    Picture picture(image.layout().width(), image.layout().height());
    const int samples = picture.width * 4;
    for (int y = 0; y < picture.height; ++y) {
        const std::byte* from = image.pixel(bounds.x1, bounds.y1 + y);
        float* to = picture.row(y);
        if (image.layout().depth == Depth::Byte)
            sampleRow<std::uint8_t>(from, to, samples);
        else if (image.layout().depth == Depth::Short)
            sampleRow<std::uint16_t>(from, to, samples);
        else
            std::memcpy(to, from, static_cast<std::size_t>(samples) * sizeof(float));
    }
    return picture;
}

}  // namespace quillon
