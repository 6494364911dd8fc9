// How Q_TrailPath sweeps a brush along its line.
//
// The brush is a circle, or an ellipse that keeps its angle as the nib of a pen does. What it sweeps is exact: where
// the ellipse is a circle, it is all that is nearer than the radius to the line. For each pixel the nearest place of
// the line is kept, by which brushes are drawn. Where the line comes back across itself, what was there is drawn first
// and the newer piece on top.
#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

#include "effects/trails/TrailPathCurve.h"

// From the picture to where the brush is a circle of radius 1.
struct BrushShape {
    float xx, xy, yx, yy;
    float reach;  // its largest radius
};

struct StrokeVertex {
    float x, y, s;
    float size;  // of the brush, as a part of its full size
};

// The nearest place of the line.
struct StrokeHit {
    float s;       // before the start or behind the end around the ends of the line
    float across;  // distance in pixels; positive to the left of the line
    float half;    // half the width of the stroke there, in pixels

    // How much of the pixel is inside: exact where the edge is upright or level, and for lines thinner than a pixel.
    float cover() const;
};

struct StrokeLine {
    std::vector<StrokeVertex> vertices;
    BrushShape brush;
    bool cut_ends = false;   // straight across, not the brush's shape
    float apart = 1.0F;      // pieces further apart than this along the line are on top of each other
    float closed_at = 0.0F;  // length of a line whose ends meet; 0: they do not
};

// A band of rows while strokes are swept over it.
class StrokeBand {
  public:
    StrokeBand(int width, int rows, float row_height);
    void begin(int first_row, int last_row);
    // Sweeps the piece from vertex i to i + 1. `finish(x, y, hit)` is called for what is covered by this piece.
    template <class Finish>
    void sweep(const StrokeLine& line, std::size_t i, const Finish& finish) {
        for (int y = m_first; y <= m_last; ++y) {
            Piece piece;
            if (!piece_of(line, i, y, piece)) continue;
            StrokeHit* row = hits(y);
            touch(y, piece.begin, piece.end);
            for (int x = piece.begin; x <= piece.end; ++x) {
                const StrokeHit hit = piece.hit(static_cast<float>(x));
                const float inside = hit.half - (hit.across < 0.0F ? -hit.across : hit.across);
                if (!(inside > -0.5F)) continue;
                StrokeHit& kept = row[x];
                if (kept.half > 0.0F) {
                    float way = hit.s - kept.s;
                    if (line.closed_at > 0.0F && line.closed_at - way < way) way = line.closed_at - way;
                    if (way > line.apart)
                        finish(x, y, kept);
                    else if (inside <= kept.half - (kept.across < 0.0F ? -kept.across : kept.across))
                        continue;
                }
                kept = hit;
            }
        }
    }
    // What is left.
    template <class Finish>
    void end(const Finish& finish) {
        for (int y = m_first; y <= m_last; ++y)
            for (int x = m_from[row_of(y)]; x <= m_to[row_of(y)]; ++x)
                if (const StrokeHit& hit = hits(y)[x]; hit.half > 0.0F) finish(x, y, hit);
    }

  private:
    // Straight, on one row: places as numbers that are linear in x.
    struct Piece {
        int begin, end;
        float along, along_x, across, across_x;  // where the brush is a circle, from the first vertex
        float length;                            // so
        float s, s_length, size, size_change;
        float pixels;                  // for one unit across the piece
        float xx, xy, yx, yy, ex, ey;  // for the ends
        bool cut_start, cut_end;       // straight across
        bool at_start, at_end;         // of the line
        StrokeHit hit(float x) const;
    };
    bool piece_of(const StrokeLine& line, std::size_t i, int y, Piece& piece) const;
    std::size_t row_of(int y) const { return static_cast<std::size_t>(y - m_first); }
    StrokeHit* hits(int y) { return &m_hits[row_of(y) * static_cast<std::size_t>(m_width)]; }
    void touch(int y, int begin, int end);

    int m_width, m_first = 0, m_last = -1;
    float m_row_height;
    std::vector<StrokeHit> m_hits;
    std::vector<int> m_from, m_to;  // of each row, what was touched
};

inline StrokeHit StrokeBand::Piece::hit(float x) const {
    const float u = along + along_x * x, v = across + across_x * x;
    float t = u / length;
    float distance = std::fabs(v), scale = pixels, outside = 0.0F;
    if ((t < 0.0F && !cut_start) || (t > 1.0F && !cut_end)) {
        // Around the vertex: the way that the picture's distance grows there.
        const float beyond = t < 0.0F ? u : u - length;
        distance = std::sqrt(beyond * beyond + v * v);
        const bool ends = t < 0.0F ? at_start : at_end;
        t = t < 0.0F ? 0.0F : 1.0F;
        const float inverse = distance > 1e-6F ? 1.0F / distance : 0.0F;
        const float gx = (beyond * ex - v * ey) * inverse, gy = (beyond * ey + v * ex) * inverse;
        const float px = xx * gx + yx * gy, py = xy * gx + yy * gy, growth = std::sqrt(px * px + py * py);
        scale = growth > 1e-9F ? 1.0F / growth : pixels;
        if (ends) outside = beyond * scale;
    }
    const float part = std::clamp(t, 0.0F, 1.0F);
    const float away = distance * scale;
    return {s + t * s_length + outside, v < 0.0F ? -away : away, std::max((size + part * size_change) * scale, 1e-6F)};
}
