#include "host/cli/webp_loop.h"

#include <webp/encode.h>
#include <webp/mux.h>

#include <cmath>
#include <cstdlib>
#include <memory>

#include "host/cli/failure.h"

namespace quillon {

namespace {

struct SourcePicture : WebPPicture {
    SourcePicture(const LoopFrame& frame) {
        if (!WebPPictureInit(this)) throw RunError("libwebp is of another version than its headers");
        width = frame.width;
        height = frame.height;
        if (!WebPPictureImportRGBX(this, frame.levels.data(), frame.width * 4)) throw std::bad_alloc();
    }
    ~SourcePicture() { WebPPictureFree(this); }
    SourcePicture(const SourcePicture&) = delete;
    SourcePicture& operator=(const SourcePicture&) = delete;
};

struct Bytes : WebPMemoryWriter {
    Bytes() { WebPMemoryWriterInit(this); }
    ~Bytes() { WebPMemoryWriterClear(this); }
    Bytes(const Bytes&) = delete;
    Bytes& operator=(const Bytes&) = delete;
};

void check(bool done) {
    if (!done) throw RunError("cannot write a moving picture: libwebp refuses it");
}

void addFrame(WebPMux& mux, const LoopFrame& frame, const WebPConfig& config, int duration) {
    SourcePicture picture(frame);
    Bytes bytes;
    picture.writer = WebPMemoryWrite;
    picture.custom_ptr = static_cast<WebPMemoryWriter*>(&bytes);
    check(WebPEncode(&config, &picture));
    WebPMuxFrameInfo info{};
    info.bitstream = {bytes.mem, bytes.size};
    info.id = WEBP_CHUNK_ANMF;
    info.duration = duration;
    info.dispose_method = WEBP_MUX_DISPOSE_NONE;
    info.blend_method = WEBP_MUX_NO_BLEND;
    check(WebPMuxPushFrame(&mux, &info, 1) == WEBP_MUX_OK);
}

}  // namespace

LoopFrame loopFrame(const Picture& picture) {
    LoopFrame frame{picture.width, picture.height, {}};
    frame.levels.reserve(picture.rgba.size());
    for (int y = picture.height - 1; y >= 0; --y)
        for (int i = 0; i < picture.width * 4; ++i) frame.levels.push_back(quantise<std::uint8_t>(picture.row(y)[i]));
    return frame;
}

bool looksOther(const LoopFrame& frame, const LoopFrame& than) {
    constexpr int Seen = 4, OneOf = 1000;  // levels, and numbers
    std::size_t changed = 0;
    for (std::size_t i = 0; i < frame.levels.size(); ++i)
        changed += std::abs(frame.levels[i] - than.levels[i]) > Seen ? 1 : 0;
    return changed * OneOf > frame.levels.size();
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

// Each frame is whole. libwebp's own encoder of animations takes what changes by a few levels from one frame to the
// next for unchanged: slow clouds leave blocks behind them.
std::string encodeLoop(const std::vector<LoopFrame>& frames, double framesPerSecond, float quality) {
    WebPConfig config;
    if (!WebPConfigInit(&config)) throw RunError("libwebp is of another version than its headers");
    config.quality = quality;
    const std::unique_ptr<WebPMux, decltype(&WebPMuxDelete)> mux(WebPMuxNew(), &WebPMuxDelete);
    if (!mux) throw std::bad_alloc();
    const WebPMuxAnimParams endless{0, 0};
    check(WebPMuxSetAnimationParams(mux.get(), &endless) == WEBP_MUX_OK);
    const auto time = [=](std::size_t frame) {
        return static_cast<int>(std::lround(static_cast<double>(frame) * 1000.0 / framesPerSecond));
    };
    for (std::size_t i = 0, next; i < frames.size(); i = next) {
        for (next = i + 1; next < frames.size() && frames[next].levels == frames[i].levels;) ++next;
        addFrame(*mux, frames[i], config, time(next) - time(i));
    }
    WebPData data;
    WebPDataInit(&data);
    check(WebPMuxAssemble(mux.get(), &data) == WEBP_MUX_OK);
    const std::string file(reinterpret_cast<const char*>(data.bytes), data.size);
    WebPDataClear(&data);
    return file;
}

}  // namespace quillon
