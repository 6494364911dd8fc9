#include "effects/pixels/TilePainter.h"

#include <algorithm>
#include <cmath>

#include "Library2/Made.h"
#include "effects/pixels/TilePainter_simd.h"
#include "graphicslib/ink.h"
#include "k7pi_baselib/rows.h"

namespace {

using ink::Quad;

constexpr float NEAREST = 0.12F;     // of the eye's distance: what comes nearer is not drawn
constexpr float SHARP = 1.25F;       // texels a pixel up to which the next smaller copy has no part
constexpr int BLURRED = 4;           // poses from which on half of the sharpness is enough
constexpr float BRIGHTEST = 1.7F;    // of a face turned to the light, of what it is at rest
constexpr float LEAST_AREA = 0.02F;  // square pixels
constexpr float SIDE_LIGHT = 0.72F;  // what an edge of the material throws back of the light

double dot(const double a[3], const double b[3]) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

// Twice the area, above 0 when counter-clockwise.
float twice_area(int count, const float* xy) {
    float twice = 0;
    for (int i = 1; i + 1 < count; ++i)
        twice += (xy[2 * i] - xy[0]) * (xy[2 * i + 3] - xy[1]) - (xy[2 * i + 2] - xy[0]) * (xy[2 * i + 1] - xy[1]);
    return twice;
}

}  // namespace

// ---- The picture at smaller sizes -----------------------------------------------------------------------------

TileTexture::TileTexture(const K7Image& picture) {
    const auto add = [this](const K7Image& image, int width) {
        m_levels.push_back(
            {image_row<float>(&image, 0), width, image.height, std::ptrdiff_t(image.row_bytes / sizeof(float))});
    };
    if (picture.width == 1) {  // readers take two columns at a time
        m_memory.push_back(made(make_image_uncleared(2, picture.height, 4, SAMPLE_F32)));
        for (int y = 0; y < picture.height; ++y)
            for (int x = 0; x < 2; ++x)
                std::copy_n(image_row<float>(&picture, y), 4, image_row<float>(m_memory[0].get(), y) + 4 * x);
        add(*m_memory[0], 1);
        return;
    }
    add(picture, picture.width);
    while (m_levels.back().width > 2) {
        const Level from = m_levels.back();
        m_memory.push_back(made(make_image_uncleared((from.width + 1) / 2, (from.height + 1) / 2, 4, SAMPLE_F32)));
        K7Image* half = m_memory.back().get();
        each_row_float(half->height, [&](int y) {
            const float* below = from.samples + 2 * y * from.pitch;
            const float* above = 2 * y + 1 < from.height ? below + from.pitch : below;
            float* out = image_row<float>(half, y);
            const int whole = from.width / 2;
            for (int x = 0; x < whole; ++x, below += 8, above += 8, out += 4)
                ink::store(out, 0.25F * ((ink::load(below) + ink::load(below + 4)) +
                                         (ink::load(above) + ink::load(above + 4))));
            if (whole < half->width) ink::store(out, 0.5F * (ink::load(below) + ink::load(above)));
        });
        add(*half, half->width);
    }
}

namespace {

tiles::Level reader(const TileTexture::Level& level, int index) {
    const auto places = [](int count) { return static_cast<float>(count); };
    return {level.samples,
            level.pitch,
            level.height > 1 ? level.pitch : 0,
            1 / static_cast<float>(1 << index),
            places(level.width - 1),
            places(level.height - 1),
            places(std::max(level.width - 2, 0)),
            places(std::max(level.height - 2, 0))};
}

}  // namespace

// ---- One tile -------------------------------------------------------------------------------------------------

// What is seen of one side of a tile: its outline, how pixels find their colour, and its light.
struct TilePainter::Face {
    int count = 0;
    float xy[2 * MOST];
    bool textured = true;
    // Place in the picture: (u . p) / (w . p), (v . p) / (w . p) with p = (x, y, 1) from `from`.
    float from_x = 0, from_y = 0;
    float u[3], v[3], w[3];
    int level = 0;
    float mix = 0;
    float shade = 1, gloss = 0;
};

// The tile's corners in the world, on its front and on its back.
struct TilePainter::Solid {
    int count;
    double thickness;
    double front[MOST][3], back[MOST][3];
    double axes[3][3];  // where its own axes point, of its size
    double normal[3];
};

struct TilePainter::Target {
    float* first;  // of the pixel x0, y0
    std::ptrdiff_t pitch;
    int x0, y0;
    PixelWindow window;
    RowReach* rows = nullptr;  // what of each row is in use; null: all of it
    // Makes these pixels of a row part of what is in use.
    void touch(int y, int from_x, int to_x) const {
        RowReach& reach = rows[y - y0];
        if (reach.x0 > reach.x1) reach = {from_x, from_x - 1};
        if (from_x < reach.x0) clear(y, from_x, reach.x0 - 1), reach.x0 = from_x;
        if (to_x > reach.x1) clear(y, reach.x1 + 1, to_x), reach.x1 = to_x;
    }
    void clear(int y, int from_x, int to_x) const { std::fill(pixel(from_x, y), pixel(to_x + 1, y), 0.0F); }
    float* pixel(int x, int y) const { return first + (y - y0) * pitch + 4 * std::ptrdiff_t(x - x0); }
};

TilePainter::TilePainter(const Tiling& tiling, const TileTexture& texture, const TileLook& look, const K7Image& picture)
    : m_tiling(tiling),
      m_texture(texture),
      m_look(look),
      m_centre_x(0.5F * static_cast<float>(picture.width)),
      m_centre_y(0.5F * static_cast<float>(picture.height)),
      m_scale_x(static_cast<float>(picture.width)),
      m_scale_y(static_cast<float>(picture.width) * picture.pixel_aspect),
      m_width(picture.width),
      m_height(picture.height) {}

TilePainter::Solid TilePainter::place(const Tiling::Tile& tile, const TilePose& pose) const {
    Solid solid;
    solid.count = static_cast<int>(tile.count);
    solid.thickness = double(m_look.thickness) * double(pose.thickness);
    for (int axis = 0; axis < 3; ++axis)
        for (int k = 0; k < 3; ++k) solid.axes[axis][k] = double(pose.turn[3 * k + axis]) * double(pose.size);
    for (int k = 0; k < 3; ++k) solid.normal[k] = pose.turn[3 * k + 2];
    const TilePoint* corners = m_tiling.corners(tile);
    for (int i = 0; i < solid.count; ++i) {
        const double x = double(corners[i].x - tile.middle.x), y = double(corners[i].y - tile.middle.y);
        for (int k = 0; k < 3; ++k) {
            // The front begins in the picture's plane; the thickness lies behind it.
            solid.front[i][k] = double(pose.place[k]) + x * solid.axes[0][k] + y * solid.axes[1][k];
            solid.back[i][k] = solid.front[i][k] - solid.thickness * solid.axes[2][k];
        }
    }
    return solid;
}

bool TilePainter::measure(Flying& flying) const {
    float x0 = 1e9F, y0 = 1e9F, x1 = -1e9F, y1 = -1e9F;
    const float limit = m_look.distance * (1 - NEAREST);
    for (int i = 0; i < flying.count; ++i) {
        const TilePose& pose = flying.poses[i];
        const float radius = (flying.tile->radius + m_look.thickness) * pose.size;
        if (!(pose.place[2] + radius < limit)) return false;
        const float x = pixel_x(pose.place[0], pose.place[2]), y = pixel_y(pose.place[1], pose.place[2]);
        // Of a ball around it, which is seen larger the nearer its near side is.
        const float nearness = m_look.distance / (m_look.distance - pose.place[2] - radius);
        const float off_x = std::fabs(pose.place[0]) + radius, off_y = std::fabs(pose.place[1]) + radius;
        const float stretch = radius * nearness / m_look.distance;
        const float wide = radius * nearness + off_x * stretch, high = radius * nearness + off_y * stretch;
        x0 = std::min(x0, x - wide * m_scale_x), x1 = std::max(x1, x + wide * m_scale_x);
        y0 = std::min(y0, y - high * m_scale_y), y1 = std::max(y1, y + high * m_scale_y);
    }
    if (!(x1 > 0 && y1 > 0 && x0 < float(m_width) && y0 < float(m_height))) return false;
    const auto pixel = [](float value, int last) { return static_cast<int>(std::clamp(value, 0.0F, float(last))); };
    flying.reach = {pixel(x0, m_width - 1), pixel(y0, m_height - 1), pixel(x1, m_width - 1), pixel(y1, m_height - 1)};
    return true;
}

// Lambert's law against what the picture's plane gets, so that a tile at rest looks as it did; a glint as of J. Blinn
// (1977), which a plane that faces the eye has none of.
void TilePainter::light(const TilePose& pose, const float normal[3], Face& face) const {
    const float* to_light = m_look.light;
    const float lit = normal[0] * to_light[0] + normal[1] * to_light[1] + normal[2] * to_light[2];
    const float relative = std::clamp(lit / to_light[2], 0.0F, BRIGHTEST);
    face.shade = 1 + m_look.shading * (relative - 1);
    if (!(m_look.shine > 0) || !(lit > 0)) return;
    float half[3] = {-pose.place[0], -pose.place[1], m_look.distance - pose.place[2]};
    const float eye = 1 / std::sqrt(half[0] * half[0] + half[1] * half[1] + half[2] * half[2]);
    for (int k = 0; k < 3; ++k) half[k] = half[k] * eye + to_light[k];
    const float length = std::sqrt(half[0] * half[0] + half[1] * half[1] + half[2] * half[2]);
    float glint = (half[0] * normal[0] + half[1] * normal[1] + half[2] * normal[2]) / length;
    glint = std::max(glint, 0.0F);
    for (int squares = 0; squares < 5; ++squares) glint *= glint;  // the 32nd power
    float level = normal[2] * normal[2];
    level *= level, level *= level;
    face.gloss = m_look.shine * glint * (1 - std::min(level, 1.0F));
}

// The inverse of the projection of origin + a * across + b * up, with the place in the picture
// (texture[0] + a * texture[2] + b * texture[4], ...). False when the plane is seen from its edge.
bool TilePainter::look_up(const double origin[3], const double across[3], const double up[3], const double texture[6],
                          Face& face) const {
    const double away = 1 / double(m_look.distance);
    double m[3][3];  // columns: across, up, origin
    const double* columns[3] = {across, up, origin};
    for (int i = 0; i < 3; ++i) {
        m[0][i] = columns[i][0] * double(m_scale_x);
        m[1][i] = columns[i][1] * double(m_scale_y);
        m[2][i] = (i == 2 ? 1.0 : 0.0) - columns[i][2] * away;
    }
    // From where the origin is seen, so that nothing is lost to rounding far from the picture's corner.
    const double x = m[0][2] / m[2][2], y = m[1][2] / m[2][2];
    face.from_x = static_cast<float>(x) + m_centre_x, face.from_y = static_cast<float>(y) + m_centre_y;
    for (int i = 0; i < 3; ++i) {
        m[0][i] -= x * m[2][i];
        m[1][i] -= y * m[2][i];
    }
    m[0][2] = m[1][2] = 0;
    // Rows of the adjugate: the common factor falls out of the quotients.
    const double a[3] = {m[1][1] * m[2][2], -m[0][1] * m[2][2], 0};
    const double b[3] = {-m[1][0] * m[2][2], m[0][0] * m[2][2], 0};
    const double w[3] = {m[1][0] * m[2][1] - m[1][1] * m[2][0], m[0][1] * m[2][0] - m[0][0] * m[2][1],
                         m[0][0] * m[1][1] - m[0][1] * m[1][0]};
    if (!(std::fabs(w[2]) > 1e-9)) return false;
    const double norm = 1 / w[2];
    for (int k = 0; k < 3; ++k) {
        face.u[k] = static_cast<float>(norm * (texture[0] * w[k] + texture[2] * a[k] + texture[4] * b[k]));
        face.v[k] = static_cast<float>(norm * (texture[1] * w[k] + texture[3] * a[k] + texture[5] * b[k]));
        face.w[k] = static_cast<float>(norm * w[k]);
    }
    return true;
}

template <class Paint>
void TilePainter::for_faces(const Tiling::Tile& tile, const TilePose& pose, int poses, Paint&& paint) const {
    const Solid solid = place(tile, pose);
    const double eye[3] = {0, 0, double(m_look.distance)};
    Face face;
    const auto corner = [&](int i, const double at[3]) {
        const double nearness = double(m_look.distance) / (double(m_look.distance) - at[2]);
        face.xy[2 * i] = m_centre_x + static_cast<float>(at[0] * nearness * double(m_scale_x));
        face.xy[2 * i + 1] = m_centre_y + static_cast<float>(at[1] * nearness * double(m_scale_y));
    };
    // `read`: square pixels of the picture that are on it.
    const auto finish = [&](float read, const float normal[3]) {
        const float twice = std::fabs(twice_area(face.count, face.xy));
        if (!(twice > 2 * LEAST_AREA) || !std::isfinite(twice)) return false;
        float squeeze = std::sqrt(read / (0.5F * twice));
        face.level = 0, face.mix = 0;
        // Motion hides the step from copy to copy, and the finest one altogether.
        const float smaller = poses == 1 ? 2.0F : poses < BLURRED ? 1.6F : 1.0F;
        for (; squeeze >= smaller && face.level + 1 < m_texture.levels(); ++face.level) squeeze *= 0.5F;
        if (poses == 1 && face.level + 1 < m_texture.levels())
            face.mix = std::clamp((squeeze - SHARP) / (2 - SHARP), 0.0F, 1.0F);
        face.gloss = 0;
        light(pose, normal, face);
        return true;
    };

    const double u = double(m_centre_x) + double(tile.middle.x) * double(m_scale_x);
    const double v = double(m_centre_y) + double(tile.middle.y) * double(m_scale_y);
    double across[3], up[3], origin[3], toward[3];
    for (int k = 0; k < 3; ++k) {
        across[k] = solid.axes[0][k] / double(m_scale_x), up[k] = solid.axes[1][k] / double(m_scale_y);
        toward[k] = eye[k] - pose.place[k];
    }
    const bool front = dot(solid.normal, toward) > 0;
    const auto& outline = front ? solid.front : solid.back;
    const double behind = front ? 0 : solid.thickness;
    for (int k = 0; k < 3; ++k) {
        origin[k] = double(pose.place[k]) - behind * solid.axes[2][k];
        toward[k] = eye[k] - origin[k];
    }
    if (front || dot(solid.normal, toward) < 0) {
        face.count = solid.count;
        for (int i = 0; i < solid.count; ++i) corner(i, outline[i]);
        const double texture[6] = {u, v, 1, 0, 0, 1};
        face.textured = front || !m_look.plain_back;
        const float side = front ? 1.0F : -1.0F;
        const float normal[3] = {side * static_cast<float>(solid.normal[0]), side * static_cast<float>(solid.normal[1]),
                                 side * static_cast<float>(solid.normal[2])};
        float rest[2 * MOST];
        const TilePoint* corners = m_tiling.corners(tile);
        for (int i = 0; i < solid.count; ++i)
            rest[2 * i] = corners[i].x * m_scale_x, rest[2 * i + 1] = corners[i].y * m_scale_y;
        if (look_up(origin, across, up, texture, face) && finish(0.5F * twice_area(solid.count, rest), normal))
            paint(face);
    }
    if (!(solid.thickness > 0)) return;
    // Sides: the picture's edge of the tile, drawn out backwards.
    face.count = 4;
    face.textured = true;
    const TilePoint* corners = m_tiling.corners(tile);
    const double down[3] = {-solid.thickness * solid.axes[2][0], -solid.thickness * solid.axes[2][1],
                            -solid.thickness * solid.axes[2][2]};
    for (int i = 0; i < solid.count; ++i) {
        const int j = i + 1 == solid.count ? 0 : i + 1;
        const double ex = double(corners[j].x - corners[i].x), ey = double(corners[j].y - corners[i].y);
        const double length = std::sqrt(ex * ex + ey * ey);
        if (!(length > 1e-9)) continue;
        double outward[3], along[3];
        for (int k = 0; k < 3; ++k) {
            along[k] = solid.front[j][k] - solid.front[i][k];
            outward[k] = (ey * solid.axes[0][k] - ex * solid.axes[1][k]) / (length * double(pose.size));
            toward[k] = eye[k] - solid.front[i][k];
        }
        if (!(dot(outward, toward) > 0)) continue;
        corner(0, solid.front[i]), corner(1, solid.front[j]), corner(2, solid.back[j]), corner(3, solid.back[i]);
        const double texture[6] = {double(m_centre_x) + double(corners[i].x) * double(m_scale_x),
                                   double(m_centre_y) + double(corners[i].y) * double(m_scale_y),
                                   ex * double(m_scale_x),
                                   ey * double(m_scale_y),
                                   0,
                                   0};
        const float normal[3] = {static_cast<float>(outward[0]), static_cast<float>(outward[1]),
                                 static_cast<float>(outward[2])};
        const float read = static_cast<float>(length * solid.thickness) * m_scale_x * m_scale_y;
        if (!look_up(solid.front[i], along, down, texture, face) || !finish(read, normal)) continue;
        face.shade *= SIDE_LIGHT;
        paint(face);
    }
}

// ---- Pixels ---------------------------------------------------------------------------------------------------

// Over what is there, or added to it.
void TilePainter::fill(const Face& face, float weight, bool add, const Target& target,
                       PolygonCoverage& coverage) const {
    made(coverage.set_polygon(face.count, face.xy, 2, target.window));
    if (!face.textured) {
        const Quad plain = {m_look.back[0], m_look.back[1], m_look.back[2], 1};
        const Quad ink = weight * (plain * Quad{face.shade, face.shade, face.shade, 1} +
                                   Quad{face.gloss, face.gloss, face.gloss, 0});
        coverage.for_runs([&](const CoverageRun& run) {
            if (add) target.touch(run.y, run.x0, run.x1);
            float* out = target.pixel(run.x0, run.y);
            for (int x = run.x0; x <= run.x1; ++x, out += 4) {
                const Quad light = run.coverage ? run.coverage[x - run.x0] * ink : ink, there = ink::load(out);
                ink::store(out, add ? there + light : light + (1 - light[3]) * there);
            }
        });
        return;
    }
    const int next = std::min(face.level + 1, m_texture.levels() - 1);
    tiles::Ink ink{reader(m_texture.level(face.level), face.level),
                   reader(m_texture.level(next), next),
                   face.mix,
                   {face.shade, face.shade, face.shade, 1},
                   {face.gloss, face.gloss, face.gloss, 0},
                   weight,
                   0,
                   0,
                   0,
                   face.u[0],
                   face.v[0],
                   face.w[0]};
    const auto paint_run = add ? tiles::kernels().add : tiles::kernels().over;
    coverage.for_runs([&](const CoverageRun& run) {
        if (add) target.touch(run.y, run.x0, run.x1);
        const float x = static_cast<float>(run.x0) + 0.5F - face.from_x;
        const float y = static_cast<float>(run.y) + 0.5F - face.from_y;
        ink.u = face.u[0] * x + face.u[1] * y + face.u[2];
        ink.v = face.v[0] * x + face.v[1] * y + face.v[2];
        ink.w = face.w[0] * x + face.w[1] * y + face.w[2];
        paint_run(target.pixel(run.x0, run.y), run.coverage, run.x1 - run.x0 + 1, ink);
    });
}

void TilePainter::paint(const Flying& flying, int first_row, int last_row, K7Image& into, Scratch& scratch) const {
    PixelWindow window = flying.reach;
    window.y0 = std::max(window.y0, first_row), window.y1 = std::min(window.y1, last_row);
    if (window.y0 > window.y1) return;
    const auto pitch_of = [](const K7Image& image) { return std::ptrdiff_t(image.row_bytes / sizeof(float)); };
    if (flying.count == 1 && !(m_look.thickness > 0)) {
        const Target target{image_row<float>(&into, 0), pitch_of(into), 0, 0, window};
        for_faces(*flying.tile, flying.poses[0], 1,
                  [&](const Face& face) { fill(face, flying.poses[0].opacity, false, target, scratch.coverage); });
        return;
    }
    const int columns = window.x1 - window.x0 + 1, rows = window.y1 - window.y0 + 1;
    const std::size_t floats = 4 * std::size_t(columns) * std::size_t(rows);
    if (scratch.sums.size() < floats) scratch.sums.resize(floats);
    scratch.rows.assign(std::size_t(rows), RowReach{});
    const Target target{scratch.sums.data(), 4 * std::ptrdiff_t(columns), window.x0, window.y0, window,
                        scratch.rows.data()};
    const float share = 1 / static_cast<float>(flying.count);
    for (int i = 0; i < flying.count; ++i)
        for_faces(*flying.tile, flying.poses[i], flying.count, [&](const Face& face) {
            fill(face, share * flying.poses[i].opacity, true, target, scratch.coverage);
        });
    for (int y = window.y0; y <= window.y1; ++y) {
        const RowReach& reach = scratch.rows[std::size_t(y - window.y0)];
        const float* from = target.pixel(reach.x0, y);
        float* out = image_row<float>(&into, y) + 4 * std::ptrdiff_t(reach.x0);
        for (int x = reach.x0; x <= reach.x1; ++x, from += 4, out += 4) {
            const Quad light = ink::load(from);
            ink::store(out, light + (1 - light[3]) * ink::load(out));
        }
    }
}
