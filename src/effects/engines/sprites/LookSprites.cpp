#include "effects/engines/sprites/LookSprites.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "effects/engines/sprites/Splats.h"
#include "graphicslib/row_bands.h"
#include "k7pi_baselib/portable_math.h"

namespace {

constexpr float FAR = 1e5f;                 // pixel widths
constexpr float LARGEST = 4e3f;             // radius
constexpr float MARGIN = 1.3f;              // times the radius, that any shape reaches
constexpr int NOWHERE = row_bands::HEIGHT;  // first row of what draws nothing; its last row is 0
constexpr int BLOCK = 1024;                 // sprites that a thread takes at once

bool finite(const LookSprite& s) {
    const auto near = [](float v) { return std::fabs(v) < FAR; };
    return near(s.x) && near(s.y) && near(s.way_x) && near(s.way_y) && s.radius > 0 && s.radius < LARGEST &&
           s.opacity > 0 && s.opacity < FAR && near(s.cosine) && near(s.sine) && near(s.squash) && near(s.colour[0]) &&
           near(s.colour[1]) && near(s.colour[2]);
}

}  // namespace

void LookSprites::begin(const K7Image& picture, const Kind& kind) {
    m_kind = kind;
    if (kind.look == SpriteLook::picture && !(kind.picture && *kind.picture)) m_kind.look = SpriteLook::blob;
    m_kind.softness = std::clamp(kind.softness, 0.0f, 1.0f);
    m_width = picture.width;
    m_height = picture.height;
    m_aspect = picture.pixel_aspect > 0 ? picture.pixel_aspect : 1;
    m_sprites.clear();
}

LookSprite* LookSprites::grow(std::size_t count) {
    m_sprites.resize(m_sprites.size() + count);
    return m_sprites.data() + (m_sprites.size() - count);
}

void LookSprites::findRows() {
    m_rows.resize(m_sprites.size());
    const int count = static_cast<int>(m_sprites.size());
    for_rows_float((count + BLOCK - 1) / BLOCK, [&](int first_block, int last_block) {
        for (int i = first_block * BLOCK; i < std::min((last_block + 1) * BLOCK, count); ++i) {
            const LookSprite& s = m_sprites[static_cast<std::size_t>(i)];
            Rows& rows = m_rows[static_cast<std::size_t>(i)];
            rows = {NOWHERE, 0};
            if (!finite(s)) continue;
            const float reach = MARGIN * s.radius + 3;
            const float left = s.x + std::min(s.way_x, 0.0f) - reach, right = s.x + std::max(s.way_x, 0.0f) + reach;
            const float low = (s.y + std::min(s.way_y, 0.0f) - reach) * m_aspect;
            const float high = (s.y + std::max(s.way_y, 0.0f) + reach) * m_aspect;
            if (right < 0 || left > static_cast<float>(m_width) || high < 0 || low > static_cast<float>(m_height))
                continue;
            rows = {std::max(static_cast<int>(low), 0), std::min(static_cast<int>(high), m_height - 1)};
        }
    });
}

// Least significant digits first, so that equal depths keep their order. False: there is only one depth.
bool LookSprites::sortByDepth() {
    std::uint32_t all = 0, any = ~0U;
    for (const LookSprite& s : m_sprites) all |= s.depth, any &= s.depth;
    if (all == any) return false;
    const std::size_t count = m_sprites.size();
    m_order.resize(count);
    m_scratch.resize(count);
    for (std::size_t i = 0; i < count; ++i) m_order[i] = static_cast<std::uint32_t>(i);
    constexpr int BITS = 11;
    for (int shift = 0; shift < 32; shift += BITS) {
        if (((all ^ any) >> shift & ((1U << BITS) - 1)) == 0) continue;
        std::array<std::uint32_t, (1U << BITS) + 1> begins{};
        const auto digit = [&](std::uint32_t i) { return m_sprites[i].depth >> shift & ((1U << BITS) - 1); };
        for (std::size_t i = 0; i < count; ++i) ++begins[digit(static_cast<std::uint32_t>(i)) + 1];
        for (std::size_t d = 1; d < begins.size(); ++d) begins[d] += begins[d - 1];
        for (const std::uint32_t i : m_order) m_scratch[begins[digit(i)]++] = i;
        m_order.swap(m_scratch);
    }
    return true;
}

void LookSprites::drawPictures(K7Image* image, const std::uint32_t* order) const {
    const MipPicture& picture = *m_kind.picture;
    const float longest = static_cast<float>(std::max(picture.width(), picture.height()));
    const float across = static_cast<float>(picture.width()) / longest,
                up = static_cast<float>(picture.height()) / longest;
    Splats splats;
    splats.begin(m_width, m_height);
    for (std::size_t n = 0; n < m_sprites.size(); ++n) {
        const LookSprite& s = m_sprites[order ? order[n] : n];
        if (!finite(s)) continue;
        Splats::Look look{.half_width = s.radius * across,
                          .half_height = s.radius * up * std::max(std::fabs(s.squash), 0.05f),
                          .radians = k7_atan2(s.sine, s.cosine),
                          .opacity = s.opacity,
                          .blend = m_kind.blend};
        std::copy_n(s.colour, 3, look.colour);
        splats.stamp(&picture, s.x - 0.5f, s.y * m_aspect - 0.5f, look);
    }
    splats.draw(image);
}

void LookSprites::draw(K7Image* image) {
    if (!image || !image->pixels || image->channels != 4 || image->sample_type != SAMPLE_F32 ||
        image->width != m_width || image->height != m_height || m_sprites.empty())
        return;
    const std::uint32_t* order = sortByDepth() ? m_order.data() : nullptr;
    if (m_kind.look == SpriteLook::picture) return drawPictures(image, order);
    image->stats_valid = 0;  // before any thread draws
    findRows();
    const LookKernels::Draw kernel =
        look_kernels().draw[static_cast<std::size_t>(m_kind.blend)][static_cast<std::size_t>(m_kind.look)];
    row_bands::draw(
        m_sprites.size(), m_height,
        [this](std::size_t i) {
            return std::pair{m_rows[i].first, m_rows[i].last};
        },
        [&](int first, int last, const std::uint32_t* begin, const std::uint32_t* end) {
            const LookTarget target{image_row<float>(image, 0), m_width, first, last, m_aspect, m_kind.softness};
            kernel(target, m_sprites.data(), begin, end);
        },
        order);
}
