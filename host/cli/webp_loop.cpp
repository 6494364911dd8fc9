#include "host/cli/webp_loop.h"

#include <webp/encode.h>
#include <webp/mux.h>

#include <cmath>
#include <memory>

#include "host/cli/failure.h"

namespace quillon {

namespace {

using Encoder = std::unique_ptr<WebPAnimEncoder, decltype(&WebPAnimEncoderDelete)>;

struct EncodedPicture : WebPPicture {
    EncodedPicture(const LoopFrame& frame) {
        if (!WebPPictureInit(this)) throw RunError("libwebp is of another version than its headers");
        width = frame.width;
        height = frame.height;
        use_argb = 1;
        if (!WebPPictureImportRGBX(this, frame.levels.data(), frame.width * 4)) throw std::bad_alloc();
    }
    ~EncodedPicture() { WebPPictureFree(this); }
    EncodedPicture(const EncodedPicture&) = delete;
    EncodedPicture& operator=(const EncodedPicture&) = delete;
};

[[noreturn]] void fail(WebPAnimEncoder* encoder) {
    throw RunError(std::string("cannot write a moving picture: ") + WebPAnimEncoderGetError(encoder));
}

}  // namespace

LoopFrame loopFrame(const Picture& picture) {
    LoopFrame frame{picture.width, picture.height, {}};
    frame.levels.reserve(picture.rgba.size());
    for (int y = picture.height - 1; y >= 0; --y)
        for (int i = 0; i < picture.width * 4; ++i) frame.levels.push_back(quantise<std::uint8_t>(picture.row(y)[i]));
    return frame;
}

std::vector<LoopFrame> closedLoop(std::vector<LoopFrame> frames, std::size_t count) {
    const std::size_t beyond = frames.size() > count ? frames.size() - count : 0;
    for (std::size_t i = 0; i < beyond && i < count; ++i) {
        const auto weight = static_cast<unsigned>((i + 1) * 256 / (beyond + 1));
        const LoopFrame& late = frames[count + i];
        for (std::size_t k = 0; k < frames[i].levels.size(); ++k) {
            std::uint8_t& level = frames[i].levels[k];
            level = static_cast<std::uint8_t>((level * weight + late.levels[k] * (256 - weight) + 128) / 256);
        }
    }
    frames.resize(std::min(frames.size(), count));
    return frames;
}

std::string encodeLoop(const std::vector<LoopFrame>& frames, double framesPerSecond, float quality) {
    WebPAnimEncoderOptions options;
    WebPConfig config;
    if (!WebPAnimEncoderOptionsInit(&options) || !WebPConfigInit(&config))
        throw RunError("libwebp is of another version than its headers");
    options.anim_params.loop_count = 0;  // without end
    config.quality = quality;
    const Encoder encoder(WebPAnimEncoderNew(frames.front().width, frames.front().height, &options),
                          &WebPAnimEncoderDelete);
    if (!encoder) throw std::bad_alloc();
    const auto time = [=](std::size_t frame) {
        return static_cast<int>(std::lround(static_cast<double>(frame) * 1000.0 / framesPerSecond));
    };
    for (std::size_t i = 0; i < frames.size(); ++i) {
        EncodedPicture picture(frames[i]);
        if (!WebPAnimEncoderAdd(encoder.get(), &picture, time(i), &config)) fail(encoder.get());
    }
    WebPData data;
    WebPDataInit(&data);
    if (!WebPAnimEncoderAdd(encoder.get(), nullptr, time(frames.size()), nullptr) ||
        !WebPAnimEncoderAssemble(encoder.get(), &data))
        fail(encoder.get());
    const std::string file(reinterpret_cast<const char*>(data.bytes), data.size);
    WebPDataClear(&data);
    return file;
}

}  // namespace quillon
