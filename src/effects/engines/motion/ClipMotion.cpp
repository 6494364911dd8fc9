#include "effects/engines/motion/ClipMotion.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "Library2/Made.h"
#include "effects/engines/motion/small_things.h"
#include "effects/engines/replay/FrameClock.h"
#include "imagelib/imagelib_colour.h"
#include "imagelib/imagelib_guided.h"

namespace {

constexpr double MOST_PIXELS = 60000.0;  // of a shrunk picture
constexpr float WHITE = 2.0F;            // what is brighter is as bright as this, so that lamps do not rule the search
constexpr float STILL = 0.05F;           // pixels
constexpr float SLOWEST = 0.5F;          // pixels beside the camera's motion by which something moves at all
constexpr float UNCHANGED = 0.03F;       // brightness, from frame to frame
constexpr float ALIKE = 0.08F;           // brightness, of neighbours

FlowSettings flow_settings() {
    FlowSettings settings;
    settings.num_iterations = 5;
    return settings;
}

// The median of one component, of every third cell of every third row.
float median(const K7Image& flow, int component) {
    std::vector<float> values;
    for (int y = 0; y < flow.height; y += 3)
        for (int x = 0; x < flow.width; x += 3) values.push_back(image_row<float>(&flow, y)[2 * x + component]);
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return std::fabs(*middle) < STILL ? 0.0F : *middle;
}

// Background that a moving thing has just uncovered was nowhere in the frame before, and the flow carries it along with
// the thing, as it does with plain background around. From what stands still its rest is taken back: cell by cell, as
// long as it looks as it does in the frame before or after at the same place of the scene, and like its neighbour. The
// thing's own edge is neither. What is taken back gets the camera's motion.
void free_background(const K7Image& now, const K7Image* const (&others)[2], FrameMotion& motion) {
    const int width = now.width, height = now.height;
    const float *level = image_row<float>(&now, 0), u = motion.camera_u, v = motion.camera_v;
    float* flow = image_row<float>(motion.back.get(), 0);
    const auto cell = [](float at, int count) {
        return static_cast<int>(std::clamp(at + 0.5F, 0.0F, float(count - 1)));
    };
    const auto stays = [&](int x, int y) {
        for (int n = 0; n < 2; ++n) {
            if (!others[n]) continue;
            const float side = n == 0 ? 1.0F : -1.0F;
            const int i = cell(static_cast<float>(x) + side * u, width),
                      j = cell(static_cast<float>(y) + side * v, height);
            if (std::fabs(level[y * width + x] - image_row<float>(others[n], j)[i]) < UNCHANGED) return true;
        }
        return false;
    };
    std::vector<char> still(std::size_t(width) * std::size_t(height), 0);
    std::vector<int> border;
    for (int n = 0; n < width * height; ++n)
        if (const float du = flow[2 * n] - u, dv = flow[2 * n + 1] - v; du * du + dv * dv < SLOWEST * SLOWEST) {
            still[std::size_t(n)] = 1;
            border.push_back(n);
        }
    for (std::size_t next = 0; next < border.size(); ++next) {
        const int x = border[next] % width, y = border[next] / width;
        const int sides[4][2] = {{x - 1, y}, {x + 1, y}, {x, y - 1}, {x, y + 1}};
        for (const auto& [i, j] : sides) {
            const int n = j * width + i;
            if (i < 0 || j < 0 || i >= width || j >= height || still[std::size_t(n)]) continue;
            if (std::fabs(level[n] - level[border[next]]) > ALIKE || !stays(i, j)) continue;
            still[std::size_t(n)] = 1;
            flow[2 * n] = u;
            flow[2 * n + 1] = v;
            border.push_back(n);
        }
    }
}

}  // namespace

ClipMotion::Known ClipMotion::shrunk(const K7Image& picture) const {
    Known known;
    known.picture = made(image_shrunk(&picture, m_shrink));
    const K7Image& small = *known.picture;
    known.grey = made(make_image_uncleared(small.width, small.height, 1, SAMPLE_F32));
    known.motion.picture = &small;
    known.print = FINGERPRINT_SEED;
    for (int y = 0; y < small.height; ++y) {
        const float* from = image_row<float>(&small, y);
        float* to = image_row<float>(known.grey.get(), y);
        known.print = fingerprint(from, std::size_t(small.width) * 4 * sizeof *from, known.print);
        for (int x = 0; x < small.width; ++x, from += 4) {
            const float level = luminance(from);
            to[x] = level > 0.0F ? std::min(level, WHITE) : 0.0F;  // NaN too
        }
    }
    return known;
}

bool ClipMotion::begin(const K7Image& picture, int frame) {
    const auto clear = [this] {
        m_known.clear();
        m_cleared = true;  // until this has been answered: what follows may throw
    };
    if (m_forget.exchange(false)) clear();
    if (picture.width != m_picture_width || picture.height != m_picture_height) {
        clear();
        m_picture_width = picture.width;
        m_picture_height = picture.height;
        const double pixels = double(picture.width) * double(picture.height);
        m_shrink = std::max(static_cast<int>(std::ceil(std::sqrt(pixels / MOST_PIXELS))), 1);
        m_width = (picture.width + m_shrink - 1) / m_shrink;
        m_height = (picture.height + m_shrink - 1) / m_shrink;
    }
    Known now = shrunk(picture);
    const auto seen = m_known.find(frame);
    if (seen != m_known.end() && seen->second.print != now.print) clear();
    for (auto& [number, known] : m_known) known.has_motion = known.has_motion && known.motion.whole;
    m_present = frame;
    m_known.try_emplace(frame, std::move(now));
    thinOut();
    return !std::exchange(m_cleared, false);
}

void ClipMotion::take(int frame, const K7Image& picture) {
    if (m_known.contains(frame) || picture.width != m_picture_width || picture.height != m_picture_height) return;
    m_known.emplace(frame, shrunk(picture));
}

const ClipMotion::Known* ClipMotion::known(int frame, const Fetch& fetch, const StopRequested& stop) {
    if (const auto found = m_known.find(frame); found != m_known.end()) return &found->second;
    if (wants_end(stop)) return nullptr;
    const K7Image* picture = fetch(frame);
    if (!picture) return nullptr;
    take(frame, *picture);
    return &m_known.at(frame);
}

const FrameMotion* ClipMotion::at(int frame, const Fetch& fetch, const StopRequested& stop) {
    if (const auto found = m_known.find(frame); found != m_known.end() && found->second.has_motion)
        return &found->second.motion;
    const Known* before = known(frame - 1, fetch, stop);
    if (!before || !known(frame, fetch, stop)) return nullptr;
    const Known* after = known(frame + 1, fetch, stop);
    if (wants_end(stop)) return nullptr;
    Known& now = m_known.at(frame);
    return find(now, *before, after, stop) ? &now.motion : nullptr;
}

bool ClipMotion::find(Known& known, const Known& before, const Known* after, const StopRequested& stop) {
    if (!m_finder.set_pair(known.grey.get(), before.grey.get(), flow_settings())) return made(false);
    ImagePtr flow = m_finder.find(false, stop);
    if (wants_end(stop)) return false;
    known.motion.back = made(std::move(flow));
    known.motion.camera_u = median(*known.motion.back, 0);
    known.motion.camera_v = median(*known.motion.back, 1);
    follow_small_things(*known.grey, *before.grey, *known.motion.back);
    free_background(*known.grey, {before.grey.get(), after ? after->grey.get() : nullptr}, known.motion);
    known.motion.whole = after != nullptr;
    return known.has_motion = true;
}

std::size_t ClipMotion::frameBytes() const { return std::size_t(m_width) * std::size_t(m_height) * 7 * sizeof(float); }
std::size_t ClipMotion::kept_bytes() const { return m_known.size() * frameBytes(); }

// Between renders only: what at() has given stays until then.
void ClipMotion::thinOut() {
    while (m_known.size() > 2 && kept_bytes() > m_budget) {
        const auto first = m_known.begin(), last = std::prev(m_known.end());
        m_known.erase(m_present - first->first >= last->first - m_present ? first : last);
    }
}
