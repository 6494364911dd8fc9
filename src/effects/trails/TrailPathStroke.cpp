#include "effects/trails/TrailPathStroke.h"

#include <algorithm>
#include <cmath>

float StrokeHit::cover() const {
    const float d = std::fabs(across);
    return std::clamp(std::min(half, d + 0.5F) - std::max(-half, d - 0.5F), 0.0F, 1.0F);
}

StrokeBand::StrokeBand(int width, int rows, float row_height)
    : m_width(width),
      m_row_height(row_height),
      m_hits(static_cast<std::size_t>(width) * static_cast<std::size_t>(rows)),
      m_from(static_cast<std::size_t>(rows)),
      m_to(static_cast<std::size_t>(rows)) {}

void StrokeBand::begin(int first_row, int last_row) {
    m_first = first_row, m_last = last_row;
    std::fill(m_from.begin(), m_from.end(), m_width);
    std::fill(m_to.begin(), m_to.end(), -1);
}

// Pixels are cleared as the first piece touches their part of the row.
void StrokeBand::touch(int y, int begin, int end) {
    int &from = m_from[row_of(y)], &to = m_to[row_of(y)];
    StrokeHit* row = hits(y);
    if (from > to) {
        std::fill(row + begin, row + end + 1, StrokeHit{0.0F, 0.0F, 0.0F});
        from = begin, to = end;
        return;
    }
    if (begin < from) std::fill(row + begin, row + from, StrokeHit{0.0F, 0.0F, 0.0F}), from = begin;
    if (end > to) std::fill(row + to + 1, row + end + 1, StrokeHit{0.0F, 0.0F, 0.0F}), to = end;
}

namespace {

// Keeps the x for which low <= factor * x + offset <= high.
void keep(float factor, float offset, float low, float high, float& first, float& last) {
    if (std::fabs(factor) > 1e-9F) {
        const float a = (low - offset) / factor, b = (high - offset) / factor;
        first = std::max(first, std::min(a, b)), last = std::min(last, std::max(a, b));
    } else if (offset < low || offset > high) {
        last = first - 1.0F;
    }
}

}  // namespace

bool StrokeBand::piece_of(const StrokeLine& line, std::size_t i, int y, Piece& piece) const {
    const StrokeVertex &a = line.vertices[i], &b = line.vertices[i + 1];
    const BrushShape& m = line.brush;
    const float py = (static_cast<float>(y) + 0.5F) * m_row_height;
    if (py < std::min(a.y, b.y) - m.reach - 1.0F || py > std::max(a.y, b.y) + m.reach + 1.0F) return false;
    const auto seen = [&](float dx, float dy) { return PathPlace{m.xx * dx + m.xy * dy, m.yx * dx + m.yy * dy}; };
    const PathPlace way = seen(b.x - a.x, b.y - a.y);
    piece.length = std::sqrt(way.x * way.x + way.y * way.y);
    if (!(piece.length > 1e-9F)) return false;
    piece.ex = way.x / piece.length, piece.ey = way.y / piece.length;
    piece.xx = m.xx, piece.xy = m.xy, piece.yx = m.yx, piece.yy = m.yy;
    const PathPlace left = seen(0.5F - a.x, py - a.y), right = seen(1.0F, 0.0F);
    piece.along = left.x * piece.ex + left.y * piece.ey, piece.along_x = right.x * piece.ex + right.y * piece.ey;
    piece.across = left.y * piece.ex - left.x * piece.ey, piece.across_x = right.y * piece.ex - right.x * piece.ey;
    const float gx = -m.xx * piece.ey + m.yx * piece.ex, gy = -m.xy * piece.ey + m.yy * piece.ex;
    piece.pixels = 1.0F / std::max(std::sqrt(gx * gx + gy * gy), 1e-9F);
    piece.s = a.s, piece.s_length = b.s - a.s, piece.size = a.size, piece.size_change = b.size - a.size;
    piece.at_start = i == 0, piece.at_end = i + 2 == line.vertices.size();
    piece.cut_start = line.cut_ends && piece.at_start, piece.cut_end = line.cut_ends && piece.at_end;

    // Beside a joint a piece reaches as far as the line turns there.
    const float pixel = std::sqrt(m.xx * m.xx + m.xy * m.xy + m.yx * m.yx + m.yy * m.yy);
    const float wide = std::max(a.size, b.size) + pixel;
    const auto turned = [&](std::size_t from) {
        const StrokeVertex &c = line.vertices[from], &d = line.vertices[from + 1];
        const PathPlace other = seen(d.x - c.x, d.y - c.y);
        const float length = std::sqrt(other.x * other.x + other.y * other.y);
        if (!(length > 1e-9F)) return wide;
        const float sine = std::fabs(other.x * piece.ey - other.y * piece.ex) / length;
        return other.x * piece.ex + other.y * piece.ey <= 0.0F ? wide
                                                               : std::min(wide * (1.2F * sine + 0.1F) + pixel, wide);
    };
    const float before = piece.at_start ? wide : turned(i - 1);
    const float after = piece.at_end ? wide : turned(i + 1);
    float first = 0.0F, last = static_cast<float>(m_width - 1);
    keep(piece.along_x, piece.along, -before, piece.length + after, first, last);
    keep(piece.across_x, piece.across, -wide, wide, first, last);
    if (!(first <= last)) return false;
    piece.begin = static_cast<int>(std::ceil(first)), piece.end = static_cast<int>(std::floor(last));
    return piece.begin <= piece.end;
}
