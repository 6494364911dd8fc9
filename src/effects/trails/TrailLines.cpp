#include "effects/trails/TrailLines.h"

#include <algorithm>
#include <cmath>

#include "graphicslib/row_bands.h"
#include "k7pi_baselib/portable_math.h"
#include "noiselib/place_hash.h"
#include "simdlib/vectors.h"

namespace {

using simd::Pixel;

constexpr int STEPS = 3;       // pieces of a path from frame to frame
constexpr int ITERATIONS = 4;  // of the search for where a point goes
constexpr float SEEN = 0.5F;   // alpha from which on a place gets a point

struct Place {
    float x, y;
};

// The motion back at a place, mixed from four cells; at the edge that of the edge.
Place motion_at(const K7Image& back, Place at) {
    const float x = std::clamp(at.x, 0.0F, static_cast<float>(back.width - 1)),
                y = std::clamp(at.y, 0.0F, static_cast<float>(back.height - 1));
    const int i = static_cast<int>(x), j = static_cast<int>(y);
    const int next = i + 1 < back.width ? 2 : 0;
    const float *low = image_row<float>(&back, j) + 2 * i,
                *high = image_row<float>(&back, std::min(j + 1, back.height - 1)) + 2 * i;
    const float fx = x - static_cast<float>(i), fy = y - static_cast<float>(j);
    const auto mixed = [&](int c) {
        const float a = low[c] + fx * (low[c + next] - low[c]), b = high[c] + fx * (high[c + next] - high[c]);
        return a + fy * (b - a);
    };
    return {mixed(0), mixed(1)};
}

// Where a point of the frame before lies in the frame: the place whose motion leads back to it, looked for from where
// the point goes if it keeps its speed.
Place carried(const K7Image& back, Place from, Place& speed) {
    Place to = {from.x + speed.x, from.y + speed.y};
    for (int n = 0; n < ITERATIONS; ++n) {
        const Place motion = motion_at(back, to);
        to = {from.x - motion.x, from.y - motion.y};
    }
    speed = {to.x - from.x, to.y - from.y};
    return to;
}

// A piece of a line; the first value of each pair is of its old end.
struct Piece {
    Place ends[2];
    float widths[2];   // half of them, in pixels
    Pixel colours[2];  // premultiplied
};

class Drawing {
  public:
    Drawing(const std::vector<TrailLineFrame>& frames, const TrailPen& pen) : m_frames(frames), m_pen(pen) {}

    // All lines whose points were set in one frame.
    void setPoints(std::size_t born) {
        const TrailLayer& layer = *m_frames[born].layer;
        const int columns = static_cast<int>(static_cast<float>(layer.width) / m_pen.spacing) + 1,
                  rows = static_cast<int>(static_cast<float>(layer.height) / m_pen.spacing) + 1;
        const int period = std::max(m_pen.life / 2, 1);
        for (int j = 0; j < rows; ++j)
            for (int i = 0; i < columns; ++i) {
                const auto cell = place_hash(place_hash(m_pen.seed, std::uint32_t(i)), std::uint32_t(j));
                if ((m_frames[born].number + static_cast<int>(cell % 1024)) % period != 0) continue;
                // A place is another one at each of the cell's turns.
                const auto word = place_hash(cell, std::uint32_t(m_frames[born].number));
                const Place at = {(static_cast<float>(i) + unit_of(word)) * m_pen.spacing,
                                  (static_cast<float>(j) + unit_of(place_hash(word, 1))) * m_pen.spacing};
                draw(born, at, word);
            }
    }
    const std::vector<Piece>& pieces() const { return m_pieces; }

  private:
    void draw(std::size_t born, Place at, std::uint32_t word);
    void addPath(std::size_t oldest, const Pixel& colour, float width, float strength);
    Pixel colourAt(const TrailLineFrame& frame, const Pixel& own, float strength) const;

    const std::vector<TrailLineFrame>& m_frames;
    const TrailPen& m_pen;
    std::vector<Place> m_path;  // in pixels of the trail, as of now
    std::vector<Piece> m_pieces;
};

void Drawing::draw(std::size_t born, Place at, std::uint32_t word) {
    const TrailLayer& layer = *m_frames[born].layer;
    const int x = static_cast<int>(at.x), y = static_cast<int>(at.y);
    if (x >= layer.width || y >= layer.height) return;
    const TrailLayer::Row& row = layer.rows[std::size_t(y)];
    if (x < row.first || x > row.last) return;
    const float* own = layer.colours_of(y, x);
    if (own[3] < SEEN) return;

    // Its way from then to now, no longer than the line is.
    const float varied = m_pen.variety * unit_of(place_hash(word, 2));
    const auto length = std::max(static_cast<int>(static_cast<float>(m_pen.life) * (1.0F - 0.7F * varied)), 2);
    const std::size_t now = m_frames.size() - 1, since = now - std::min(now, std::size_t(length));
    const Place motion = motion_at(*m_frames[born].motion->back, at);
    Place speed = {-motion.x, -motion.y};
    m_path.clear();
    const auto note = [&](std::size_t n) {
        m_path.push_back({(at.x + m_frames[n].away_x + 0.5F) * m_pen.to_pixels - 0.5F,
                          (at.y + m_frames[n].away_y + 0.5F) * m_pen.to_pixels - 0.5F});
    };
    if (born >= since) note(born);
    for (std::size_t n = born + 1; n <= now; ++n) {
        at = carried(*m_frames[n].motion->back, at, speed);
        if (n >= since) note(n);
    }
    if (m_path.size() < 2) return;
    // It comes and goes softly over its life.
    const float age = (static_cast<float>(now - born) + 0.5F) / static_cast<float>(m_pen.life);
    const auto shown = static_cast<float>(k7_sin(3.14159265358979 * double(std::min(age, 1.0F))));
    const float differs = 1.0F - m_pen.variety * unit_of(place_hash(word, 3));
    const Pixel colour = Pixel{own[0], own[1], own[2], own[3]} / own[3];
    addPath(now + 1 - m_path.size(), colour, 0.5F * m_pen.width * (0.35F + 0.65F * differs),
            shown * (0.3F + 0.7F * differs));
}

Pixel Drawing::colourAt(const TrailLineFrame& frame, const Pixel& own, float strength) const {
    const float grey = 0.3F * own[0] + 0.5F * own[1] + 0.2F * own[2];
    Pixel colour = {};
    for (int c = 0; c < 3; ++c) {
        const float pure = std::max(grey + m_pen.saturation * (own[c] - grey), 0.0F);
        colour[c] = m_pen.gain * (pure + m_pen.tinted * (frame.tint[c] - pure));
    }
    colour[3] = 1.0F;
    return colour * (strength * frame.strength);
}

// A Catmull-Rom curve through the path's places.
void Drawing::addPath(std::size_t oldest, const Pixel& colour, float width, float strength) {
    const auto place = [&](std::ptrdiff_t n) {
        return m_path[std::size_t(std::clamp<std::ptrdiff_t>(n, 0, std::ptrdiff_t(m_path.size()) - 1))];
    };
    for (std::size_t n = 0; n + 1 < m_path.size(); ++n) {
        const auto i = static_cast<std::ptrdiff_t>(n);
        const Place p[4] = {place(i - 1), place(i), place(i + 1), place(i + 2)};
        const auto at = [&](float t) -> Place {
            const auto curve = [t](float a, float b, float c, float d) {
                return b + 0.5F * t * ((c - a) + t * ((2 * a - 5 * b + 4 * c - d) + t * (3 * (b - c) + d - a)));
            };
            return {curve(p[0].x, p[1].x, p[2].x, p[3].x), curve(p[0].y, p[1].y, p[2].y, p[3].y)};
        };
        const TrailLineFrame &old = m_frames[oldest + n], &young = m_frames[oldest + n + 1];
        const Pixel from = colourAt(old, colour, strength), to = colourAt(young, colour, strength);
        for (int s = 0; s < STEPS; ++s) {
            const float a = static_cast<float>(s) / STEPS, b = static_cast<float>(s + 1) / STEPS;
            const auto thick = [&](float t) { return width * (old.thin + t * (young.thin - old.thin)); };
            m_pieces.push_back(
                {{at(a), at(b)}, {thick(a), thick(b)}, {from + a * (to - from), from + b * (to - from)}});
        }
    }
}

// Coverage falls from 1 to 0 over a pixel around the piece's edge; what is thinner than a pixel is fainter instead.
void draw_piece(const Piece& piece, K7Image& trail, int first, int last) {
    const Place a = piece.ends[0], b = piece.ends[1];
    const float dx = b.x - a.x, dy = b.y - a.y, length = dx * dx + dy * dy, per = length > 0.0F ? 1.0F / length : 0.0F;
    const float reach = std::max(std::max(piece.widths[0], piece.widths[1]), 0.5F) + 1.0F;
    const int left = std::max(static_cast<int>(std::floor(std::min(a.x, b.x) - reach)), 0),
              right = std::min(static_cast<int>(std::max(a.x, b.x) + reach) + 1, trail.width - 1);
    for (int y = first; y <= last; ++y) {
        float* row = image_row<float>(&trail, y);
        const float py = static_cast<float>(y) - a.y;
        for (int x = left; x <= right; ++x) {
            const float px = static_cast<float>(x) - a.x;
            const float t = std::clamp((px * dx + py * dy) * per, 0.0F, 1.0F);
            const float ex = px - t * dx, ey = py - t * dy;
            const float half = piece.widths[0] + t * (piece.widths[1] - piece.widths[0]);
            const float edge = std::max(half, 0.5F) + 0.5F - std::sqrt(ex * ex + ey * ey);
            if (edge <= 0.0F) continue;
            const float cover = std::min(edge, 1.0F) * std::min(2.0F * half, 1.0F);
            const Pixel colour = (piece.colours[0] + t * (piece.colours[1] - piece.colours[0])) * cover;
            simd::store(row + 4L * x, simd::larger(simd::load<Pixel>(row + 4L * x), colour));
        }
    }
}

}  // namespace

void draw_trail_lines(const std::vector<TrailLineFrame>& frames, const TrailPen& pen, K7Image& trail) {
    std::vector<Drawing> drawings(frames.size(), Drawing(frames, pen));
    for_rows_float(static_cast<int>(frames.size()), [&](int first, int last) {
        for (int n = first; n <= last; ++n) drawings[std::size_t(n)].setPoints(std::size_t(n));
    });
    std::vector<Piece> pieces;
    const auto margin = [](const Piece& p) { return std::max(std::max(p.widths[0], p.widths[1]), 0.5F) + 1.0F; };
    const auto height = static_cast<float>(trail.height);
    for (const Drawing& drawing : drawings)
        for (const Piece& p : drawing.pieces()) {
            const float reach = margin(p), low = std::min(p.ends[0].y, p.ends[1].y) - reach,
                        high = std::max(p.ends[0].y, p.ends[1].y) + reach;
            const float span = std::fabs(p.ends[0].x - p.ends[1].x);
            if (low < height && high > 0.0F && span < static_cast<float>(trail.width) && high - low < height)
                pieces.push_back(p);
        }
    const auto rows_of = [&](std::size_t n) {
        const Piece& p = pieces[n];
        const float reach = margin(p);
        const auto low = static_cast<int>(std::max(std::min(p.ends[0].y, p.ends[1].y) - reach, 0.0F)),
                   high = static_cast<int>(std::min(std::max(p.ends[0].y, p.ends[1].y) + reach, height - 1.0F));
        return std::pair(low, std::max(low, high));
    };
    row_bands::draw(pieces.size(), trail.height, rows_of,
                    [&](int first, int last, const std::uint32_t* begin, const std::uint32_t* end) {
                        for (; begin != end; ++begin) {
                            const auto [low, high] = rows_of(*begin);
                            draw_piece(pieces[*begin], trail, std::max(low, first), std::min(high, last));
                        }
                    });
}
