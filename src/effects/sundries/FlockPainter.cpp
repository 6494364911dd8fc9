#include "effects/sundries/FlockPainter.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "effects/sundries/FlockFill.h"
#include "graphicslib/row_bands.h"
#include "k7pi_baselib/portable_math.h"

namespace flock {

namespace {

using ink::Quad;

constexpr std::size_t TOGETHER = 64;  // members that are posed by one thread
constexpr float LARGEST = 1e5F;       // pixels
constexpr float SOFTNESS = 0.06F;     // radius of a shadow's edge, in lengths

int row_below(float y, int height) {
    return static_cast<int>(std::floor(std::clamp(y, -1.0F, static_cast<float>(height))));
}

}  // namespace

// ---- One member -----------------------------------------------------------------------------------------------

class Painter::Brush {
  public:
    explicit Brush(const Painter& painter) : m_painter(painter) {}

    void paint(const Poses& poses, const Poses::Member& member, bool shadow, K7Image* picture, int first, int last) {
        if (shadow) spread(member);
        PixelWindow window = reached(member, shadow);
        window.x0 = std::max(window.x0, 0), window.x1 = std::min(window.x1, picture->width - 1);
        window.y0 = std::max(window.y0, first), window.y1 = std::min(window.y1, last);
        if (window.x0 > window.x1 || window.y0 > window.y1) return;
        if (!shadow && member.opacity >= 1)
            return fill(poses, member, false, image_row<float>(picture, 0), picture->width, window);
        // What shows through, or is a shadow, is put together first.
        const int width = window.x1 - window.x0 + 1;
        m_tile.assign(4 * static_cast<std::size_t>(width) * static_cast<std::size_t>(window.y1 - window.y0 + 1), 0.0F);
        fill(poses, member, shadow, m_tile.data() - 4 * (std::ptrdiff_t(window.y0) * width + window.x0), width, window);
        const float share = member.opacity * (shadow ? m_painter.m_lighting.shadow * (1 - member.haze) : 1);
        const float* from = m_tile.data();
        for (int y = window.y0; y <= window.y1; ++y) {
            float* out = image_row<float>(picture, y) + 4 * std::ptrdiff_t(window.x0);
            for (int x = window.x0; x <= window.x1; ++x, out += 4, from += 4)
                ink::store(out, ink::blended<DrawBlend::over>(share * ink::load(from), ink::load(out)));
        }
    }

  private:
    // A shadow is spread over a disc, evenly (H. Vogel, "A better way to construct the sunflower head", 1979), which
    // makes it soft.
    void spread(const Poses::Member& member) {
        constexpr float GOLDEN = 2.3999632F;
        m_moments.clear();
        const Lighting& light = m_painter.m_lighting;
        const float radius = SOFTNESS * member.size;
        const int count = std::clamp(static_cast<int>(4 * std::min(radius, 10.0F)), 3, 16);
        for (int i = 0; i < count; ++i) {
            const float angle = GOLDEN * static_cast<float>(i),
                        away = radius * std::sqrt((static_cast<float>(i) + 0.5F) / static_cast<float>(count));
            m_moments.push_back({1, (member.size * light.shadow_x + away * k7_cos(angle)) * m_painter.m_wide,
                                 member.size * light.shadow_y + away * k7_sin(angle)});
        }
    }

    PixelWindow reached(const Poses::Member& member, bool shadow) const {
        float left = 0, bottom = 0, right = 0, top = 0;
        if (shadow)
            for (const Moment& moment : m_moments) {
                left = std::min(left, moment.dx), right = std::max(right, moment.dx);
                bottom = std::min(bottom, moment.dy), top = std::max(top, moment.dy);
            }
        const auto below = [](float value) { return static_cast<int>(std::floor(std::clamp(value, -2e6F, 2e6F))); };
        return {below(member.left + left), below(member.bottom + bottom), below(member.right + right),
                below(member.top + top)};
    }

    void fill(const Poses& poses, const Poses::Member& member, bool shadow, float* origin, int pitch,
              const PixelWindow& window) {
        for (std::uint32_t i = 0; i < member.count; ++i)
            m_filler.fill(poses.pieces[member.begin + i], poses.corners.data(), origin, pitch, window,
                          shadow ? &m_moments : nullptr);
    }

    const Painter& m_painter;
    Filler m_filler;
    std::vector<Moment> m_moments;
    std::vector<float> m_tile;
};

// ---- All of them ----------------------------------------------------------------------------------------------

void Painter::begin(Kind kind, const Lighting& lighting, const K7Image& picture) {
    if (m_kind != kind) m_maker = PoseMaker(kind), m_kind = kind;
    m_lighting = lighting;
    m_width = picture.width, m_height = picture.height;
    m_wide = picture.pixel_width > 0 && picture.pixel_height > 0 ? picture.pixel_height / picture.pixel_width : 1;
    m_views.clear();
}

void Painter::add(const View& view) {
    float sum = view.x + view.y + view.way_x + view.way_y + view.phase + view.beaten + view.glide;
    for (const float(&axis)[3] : view.axes) sum += axis[0] + axis[1] + axis[2];
    if (std::isfinite(sum) && view.size > 0.05F && view.size < LARGEST && view.opacity > 0) m_views.push_back(view);
}

void Painter::pose() {
    const std::size_t groups = (m_views.size() + TOGETHER - 1) / TOGETHER;
    if (m_poses.size() < groups) m_poses.resize(groups);
    each_row_float(static_cast<int>(groups), [&](int group) {
        Poses& poses = m_poses[static_cast<std::size_t>(group)];
        poses.clear();
        const std::size_t first = static_cast<std::size_t>(group) * TOGETHER;
        for (std::size_t i = first; i < std::min(first + TOGETHER, m_views.size()); ++i)
            m_maker.add(m_views[i], m_lighting, m_wide, poses);
    });
}

// Shadows lie below all members.
std::vector<Painter::Item> Painter::items() const {
    std::vector<Item> items;
    items.reserve(m_views.size());
    for (const bool shadow : {true, false}) {
        if (shadow && !(m_lighting.shadow > 0)) continue;
        for (std::size_t i = 0; i < m_views.size(); ++i) {
            const Poses::Member& member = m_poses[i / TOGETHER].members[i % TOGETHER];
            if (member.count == 0) continue;
            const float down = shadow ? (m_lighting.shadow_y - SOFTNESS) * member.size : 0,
                        up = shadow ? (m_lighting.shadow_y + SOFTNESS) * member.size : 0;
            const int first = row_below(member.bottom + std::min(down, 0.0F), m_height),
                      last = row_below(member.top + std::max(up, 0.0F), m_height);
            if (last < 0 || first >= m_height) continue;
            items.push_back({static_cast<std::uint32_t>(i), shadow, std::max(first, 0), std::min(last, m_height - 1)});
        }
    }
    return items;
}

void Painter::draw(K7Image* picture) {
    pose();
    const std::vector<Item> items = this->items();
    if (items.empty()) return;
    picture->stats_valid = 0;
    // Twice as high as bands are elsewhere: the edges of a member are walked for each band that it reaches.
    constexpr int ROWS = 2;
    row_bands::draw(
        items.size(), (m_height + ROWS - 1) / ROWS,
        [&](std::size_t i) {
            return std::pair{items[i].first_row / ROWS, items[i].last_row / ROWS};
        },
        [&](int first, int last, const std::uint32_t* begin, const std::uint32_t* end) {
            Brush brush(*this);
            const int top = std::min(ROWS * last + ROWS - 1, m_height - 1);
            for (; begin != end; ++begin) {
                const Item& item = items[*begin];
                const Poses& poses = m_poses[item.member / TOGETHER];
                brush.paint(poses, poses.members[item.member % TOGETHER], item.shadow, picture, ROWS * first, top);
            }
        });
}

}  // namespace flock
