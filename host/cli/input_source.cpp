#include "host/cli/input_source.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "host/cli/failure.h"
#include "host/cli/frame_list.h"

namespace quillon {

namespace fs = std::filesystem;
using ofxhost::Depth;

namespace {

constexpr std::size_t RecentBytes = std::size_t{1} << 30;  // pictures kept for each input; always at least two

FilePattern patternOf(const std::string& file) {
    std::error_code error;
    return fs::exists(file, error) ? FilePattern::literal(file) : FilePattern(file);
}

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

ofxhost::ImagePtr toHostImage(const Picture& picture, const PictureForm& form) {
    ofxhost::ImageLayout layout;
    layout.bounds = {0, 0, picture.width, picture.height};
    layout.depth = form.depth;
    layout.pixelAspect = form.pixelAspect;
    layout.renderScale = {form.renderScale, form.renderScale};
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

InputSource::InputSource(const std::string& file) : m_pattern(patternOf(file)) {
    if (!isSequence()) {
        std::error_code error;
        if (!fs::exists(m_pattern.path(0), error)) throw RunError("cannot read " + file + ": there is no such file");
        return;
    }
    m_frames = m_pattern.framesOnDisk();
    if (m_frames.empty()) throw RunError("cannot read " + file + ": there is no file of this sequence");
}

int InputSource::frameAt(double time) const {
    if (!isSequence()) return 0;
    // Compared as doubles first: a plug-in may ask for any time at all.
    if (!(time > m_frames.front())) return m_frames.front();
    if (time >= m_frames.back()) return m_frames.back();
    return static_cast<int>(std::floor(time));
}

fs::path InputSource::fileAt(double time) const { return m_pattern.path(frameAt(time)); }

PictureSize InputSource::size(double time) const { return readPictureSize(fileAt(time)); }

ofxhost::ImagePtr InputSource::load(int frame) const {
    if (isSequence() && !std::binary_search(m_frames.begin(), m_frames.end(), frame)) {
        const auto after = std::upper_bound(m_frames.begin(), m_frames.end(), frame);
        throw RunError("cannot read " + m_pattern.path(frame).string() + ": frame " + std::to_string(frame) +
                       " is missing (the nearest are " + std::to_string(*(after - 1)) + " and " +
                       std::to_string(*after) + ")");
    }
    const Picture picture = readPicture(m_pattern.path(frame));
    return toHostImage(m_form.renderScale == 1.0 ? picture : boxScaled(picture, m_form.renderScale), m_form);
}

ofxhost::ImagePtr InputSource::imageAt(double time) {
    const std::lock_guard lock(m_mutex);
    const int frame = frameAt(time);
    const auto known = std::find_if(m_recent.begin(), m_recent.end(), [&](const auto& e) { return e.first == frame; });
    if (known != m_recent.end()) {
        m_recent.splice(m_recent.begin(), m_recent, known);
        return known->second;
    }
    try {
        m_recent.emplace_front(frame, load(frame));
    } catch (const std::exception& failure) {
        if (m_failure.empty()) m_failure = failure.what();
        throw;
    }
    const ofxhost::ImagePtr image = m_recent.front().second;
    const auto bytes =
        static_cast<std::size_t>(std::abs(image->rowBytes())) * static_cast<std::size_t>(image->layout().height());
    while (m_recent.size() > 2 && m_recent.size() * bytes > RecentBytes) m_recent.pop_back();
    return image;
}

std::string InputSource::takeFailure() {
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_failure, {});
}

}  // namespace quillon
