#include "host/cli/input_source.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <set>
#include <utility>

#include "host/cli/failure.h"
#include "host/cli/frame_list.h"
#include "host/cli/text.h"

namespace quillon {

namespace fs = std::filesystem;
using ofxhost::Depth;

namespace {

constexpr std::size_t RecentBytes = std::size_t{1} << 30;  // pictures kept for each input; always at least two

FilePattern patternOf(const std::string& file) {
    std::error_code error;
    return fs::exists(file, error) ? FilePattern::literal(file) : FilePattern(file);
}

// Where the layer's colon is in "beauty.exr:diffuse"; npos when there is none, or it belongs to a file that exists.
std::size_t layerColon(const std::string& text) {
    std::error_code error;
    const auto colon = text.rfind(':');
    if (colon == std::string::npos || fs::exists(text, error)) return std::string::npos;
    const std::string extension = lowerCase(fs::path(text.substr(0, colon)).extension().string());
    const bool mayHaveLayers = extension == ".exr" || extension == ".tif" || extension == ".tiff";
    return mayHaveLayers ? colon : std::string::npos;
}
std::string fileOf(const std::string& text) { return text.substr(0, layerColon(text)); }
std::string layerOf(const std::string& text) {
    const auto colon = layerColon(text);
    return colon == std::string::npos ? std::string() : text.substr(colon + 1);
}

}  // namespace

InputSource::InputSource(const std::string& file) : m_pattern(patternOf(fileOf(file))), m_layer(layerOf(file)) {
    if (!isSequence()) {
        std::error_code error;
        if (!fs::exists(m_pattern.path(0), error)) throw RunError("cannot read " + file + ": there is no such file");
        return;
    }
    m_frames = m_pattern.framesOnDisk();
    if (m_frames.empty()) throw RunError("cannot read " + file + ": there is no file of this sequence");
}

InputSource::~InputSource() { m_recent.clear(); }

int InputSource::frameAt(double time) const {
    if (!isSequence()) return 0;
    // Compared as doubles first: a plug-in may ask for any time at all.
    if (!(time > m_frames.front())) return m_frames.front();
    if (time >= m_frames.back()) return m_frames.back();
    const int frame = static_cast<int>(std::floor(time));
    return m_missing == Missing::Error ? frame : *(std::upper_bound(m_frames.begin(), m_frames.end(), frame) - 1);
}

fs::path InputSource::fileAt(double time) const { return m_pattern.path(frameAt(time)); }

bool InputSource::has(int frame) const {
    return !isSequence() || std::binary_search(m_frames.begin(), m_frames.end(), frame);
}

std::vector<int> InputSource::gaps() const {
    std::vector<int> missing;
    for (std::size_t i = 1; i < m_frames.size(); ++i)
        for (int frame = m_frames[i - 1] + 1; frame < m_frames[i] && missing.size() < 100000; ++frame)
            missing.push_back(frame);
    return missing;
}

void InputSource::requirePresent(int frame) const {
    if (has(frame)) return;
    // frameAt() keeps within the ends, so that there is a neighbour on either side.
    const auto after = std::upper_bound(m_frames.begin(), m_frames.end(), frame);
    throw RunError("cannot read " + m_pattern.path(frame).string() + ": frame " + std::to_string(frame) +
                   " is missing (the nearest are " + std::to_string(*(after - 1)) + " and " + std::to_string(*after) +
                   ")");
}

InputSource::Loaded InputSource::load(int frame) {
    requirePresent(frame);
    const auto start = std::chrono::steady_clock::now();
    Loaded loaded;
    const Picture picture = readPicture(m_pattern.path(frame), m_layer, &loaded.info);
    PictureForm form = m_form;
    form.alpha = loaded.info.alpha;
    loaded.image = toHostImage(form.renderScale == 1.0 ? picture : boxScaled(picture, form.renderScale), form);
    const std::lock_guard lock(m_mutex);
    const ofxhost::Image& image = *loaded.image;
    m_pictureBytes =
        static_cast<std::size_t>(std::abs(image.rowBytes())) * static_cast<std::size_t>(image.layout().height());
    m_times.reading += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    ++m_times.files;
    return loaded;
}

std::shared_future<InputSource::Loaded> InputSource::known(int frame) {
    const auto found = std::find_if(m_recent.begin(), m_recent.end(), [&](const auto& e) { return e.frame == frame; });
    if (found == m_recent.end()) return {};
    m_recent.splice(m_recent.begin(), m_recent, found);
    return found->picture;
}

void InputSource::keep(int frame, std::shared_future<Loaded> picture, Recents& dropped) {
    m_recent.push_front({frame, std::move(picture)});
    // What an effect may hold at once, and what has been read ahead, is never dropped.
    while (m_recent.size() > 2 + m_ahead && m_recent.size() * m_pictureBytes > RecentBytes)
        dropped.splice(dropped.end(), m_recent, std::prev(m_recent.end()));
}

void InputSource::forget(int frame, Recents& dropped) {
    const auto found = std::find_if(m_recent.begin(), m_recent.end(), [&](const auto& e) { return e.frame == frame; });
    if (found != m_recent.end()) dropped.splice(dropped.end(), m_recent, found);
}

void InputSource::readAhead(const std::vector<double>& times) {
    std::set<int> wanted;
    for (const double time : times) wanted.insert(frameAt(time));
    Recents dropped;
    const std::lock_guard lock(m_mutex);
    m_ahead = wanted.size();
    for (const int frame : wanted)
        if (!known(frame).valid())
            keep(frame, std::async(std::launch::async, [this, frame] { return load(frame); }), dropped);
}

InputSource::Loaded InputSource::loadedAt(double time) {
    const int frame = frameAt(time);
    std::promise<Loaded> mine;
    std::shared_future<Loaded> picture;
    bool toBeRead = false;
    Recents dropped;
    {
        const std::lock_guard lock(m_mutex);
        picture = known(frame);
        toBeRead = !picture.valid();
        if (toBeRead) keep(frame, picture = mine.get_future().share(), dropped);
    }
    try {
        if (toBeRead) mine.set_value(load(frame));
    } catch (...) {
        mine.set_exception(std::current_exception());
    }
    try {
        return picture.get();
    } catch (const std::exception& failure) {
        const std::lock_guard lock(m_mutex);
        forget(frame, dropped);
        if (m_failure.empty()) m_failure = failure.what();
        throw;
    }
}

ofxhost::ImagePtr InputSource::imageAt(double time) {
    ofxhost::ImagePtr image = loadedAt(time).image;
    const bool there = !isSequence() || has(static_cast<int>(std::floor(std::clamp(time, -2e9, 2e9))));
    return m_missing == Missing::Black && !there ? std::make_shared<ofxhost::Image>(image->layout()) : image;
}

// The header alone, unless the picture has been read.
PictureInfo InputSource::infoAt(double time) {
    const int frame = frameAt(time);
    std::shared_future<Loaded> picture;
    {
        const std::lock_guard lock(m_mutex);
        picture = known(frame);
    }
    requirePresent(frame);
    return picture.valid() ? picture.get().info : readPictureInfo(m_pattern.path(frame), m_layer);
}

InputSource::Times InputSource::times() const {
    const std::lock_guard lock(m_mutex);
    return m_times;
}

std::string InputSource::takeFailure() {
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_failure, {});
}

}  // namespace quillon
