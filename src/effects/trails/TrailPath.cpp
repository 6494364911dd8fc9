#include "effects/trails/TrailPath.h"

#include <algorithm>
#include <cmath>

#include "effects/trails/TrailPathBrush.h"
#include "effects/trails/TrailPathDrawing.h"
#include "imagelib/imagelib_colour.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"
#include "noiselib/place_hash.h"

namespace {

constexpr int MOST_STAMPS = 4000;
constexpr float FARTHEST = 8.0F;  // of handles, in pictures

// From 0 to 1, with even acceleration at first and even braking in the end.
double eased(double t, double in, double out) {
    if (in + out > 1.0) {
        const double sum = in + out;
        in /= sum, out /= sum;
    }
    t = std::clamp(t, 0.0, 1.0);
    const double speed = 1.0 / (1.0 - 0.5 * (in + out));
    if (t < in) return 0.5 * speed * t * t / in;
    if (t > 1.0 - out) return 1.0 - 0.5 * speed * (1.0 - t) * (1.0 - t) / out;
    return speed * (t - 0.5 * in);
}

float taper(float way, float over) {
    if (!(over > 0.0F)) return 1.0F;
    const float t = std::clamp(way / over, 0.0F, 1.0F);
    return t * (2.0F - t);
}

void rainbow(double phase, float* colour) {
    const auto hue = static_cast<float>(6.0 * (phase - std::floor(phase)));
    const float rgb[3] = {std::fabs(hue - 3.0F) - 1.0F, 2.0F - std::fabs(hue - 2.0F), 2.0F - std::fabs(hue - 4.0F)};
    for (int c = 0; c < 3; ++c) colour[c] = 0.05F + 0.93F * std::clamp(rgb[c], 0.0F, 1.0F);
}

}  // namespace

// ---- Declaration ----------------------------------------------------------------------------------------------

TrailPathInfo::TrailPathInfo() {
    for (int i = 2; i < POINTS; ++i) ghost({points[static_cast<std::size_t>(i)]}, Handles, below(i + 1));
    ghost({&Progress}, DrawOn, is(OverTime));
    ghost({&StartAt, &Duration}, DrawOn, is(ByProgress));
    ghost({&Grain, &GrainSize}, Brush, isNot(Chalk));
    ghost({&NibAngle, &NibThickness}, Brush, isNot(Calligraphic));
    ghost({&DashLength, &DashGap, &DashSpeed}, Brush, isNot(Dashes));
    ghost({&Sparks, &SparkLength}, Brush, isNot(Sparkler));
    ghost({&ClipLay, &ClipShape, &ClipColour, &ClipSpacing, &ClipTurns}, Brush, isNot(Clip));
    ghost({&Colour2}, Colouring, isNot(TwoColours));
    ghost({&ColourCycles, &ColourSpeed}, Colouring, is(OneColour));
    Curve.followedByOverlay = Ends.followedByOverlay = true;
    declarePresets();
    scene.inputs = {"street-small.png"};
    scene.look = {{"Demos", "Neon"}};
}

// ---- Overlay --------------------------------------------------------------------------------------------------

void TrailPath::PrepareOverlay() {
    for (OverlayControlK7* widget : widgets()) widget->visible = !widget->followed.front()->ghosted();
}

// The path itself.
void TrailPath::DrawMore(const OverlayPen& pen) {
    const float aspect = view.aspect > 0.0F ? view.aspect : 1.0F;
    std::vector<PathPlace> places;
    for (const PositionControlK7* point : points) {
        if (point->ghosted()) break;
        const Point at = view.place(point->overlayX, point->overlayY);
        places.push_back({at.x, at.y / aspect});
    }
    const std::vector<PathVertex> line =
        path_vertices(places, static_cast<PathCurve>(Curve.overlayValue), Ends.overlayValue == IsClosed,
                      std::max(pen.pixels(6.0F), 1e-3F));
    pen.colour(OVERLAY_WHITE);
    for (std::size_t i = 1; i < line.size(); ++i)
        pen.line({line[i - 1].x, line[i - 1].y * aspect}, {line[i].x, line[i].y * aspect});
}

// ---- The path -------------------------------------------------------------------------------------------------

// How far the pen is, as a part of the path; beyond 1 where it has gone on for the tail to follow.
double TrailPath::progressAt(double frame) const {
    double t = Progress.limited() / 100.0;
    if (DrawOn.value == OverTime) {
        t = (frame - StartAt.value) / std::max(Duration.value, 1);
        if (t > 1.0) return t;
    } else {
        double value = Progress.value;
        if (frame != currentFrame &&
            Progress.GetValue(renderContext.time + (frame - currentFrame) * timeOfFrame, &value) &&
            std::isfinite(value))
            t = std::clamp(value / 100.0, 0.0, 1.0);
    }
    return eased(t, double(EaseIn.percent()), double(EaseOut.percent()));
}

std::vector<PathVertex> TrailPath::wholePath() const {
    const K7Image& picture = *output.image;
    const auto width = static_cast<float>(picture.width),
               height = static_cast<float>(picture.height) / picture.pixel_aspect;
    std::vector<PathPlace> places;
    const int count = std::clamp(Handles.value, 2, POINTS);
    for (int i = 0; i < count; ++i) {
        const PositionControlK7& p = *points[static_cast<std::size_t>(i)];
        const auto limited = [](double v) { return std::clamp(static_cast<float>(v), -FARTHEST, FARTHEST); };
        places.push_back({limited(p.x) * width, limited(p.y) * height});
    }
    const float radius = static_cast<float>(BrushSize.limited()) * 0.5F * width;
    const bool closed = Ends.value == IsClosed;
    std::vector<PathVertex> line = path_vertices(std::move(places), static_cast<PathCurve>(Curve.value), closed,
                                                 std::clamp(0.2F * radius, 1.0F, 6.0F));
    const auto seed = static_cast<std::uint32_t>(Seed.value);
    const float wave = std::max(static_cast<float>(WobbleSize.limited()) * 0.5F * width, 0.5F);
    wobble_path(line, static_cast<float>(Wobble.limited()) * 0.5F * width, wave, seed,
                WobbleSpeed.limited() * currentFrame, closed);
    return line;
}

// ---- The brush ------------------------------------------------------------------------------------------------

BrushLook TrailPath::look(float length) const {
    const K7Image& picture = *output.image;
    const auto width = static_cast<float>(picture.width);
    BrushLook look;
    look.kind = Brush.value == Clip && !brush.isConnected() ? static_cast<int>(Round) : Brush.value;
    look.blend = Blend.value == Ink && PathOnly.value ? static_cast<int>(Paint) : Blend.value;
    look.radius = std::max(static_cast<float>(BrushSize.limited()) * 0.5F * width, 0.05F);
    look.length = length;
    look.closed = Ends.value == IsClosed && Handles.value > 2;
    const double half = 0.5 * Shutter.limited() / 100.0;
    const double open = progressAt(currentFrame - half), close = progressAt(currentFrame + half);
    const double tail = Tail.limited() / 100.0;
    const auto at = [&](double part) { return static_cast<float>(std::clamp(part, 0.0, 1.0) * double(length)); };
    const bool all = Tail.limited() >= 100.0;
    look.pen_opens = at(std::min(open, close)), look.to = at(std::max(open, close));
    if (look.to >= length && look.pen_opens >= length * 0.9999F) look.pen_opens = look.to;
    look.start_opens = all ? 0.0F : at(std::min(open, close) - tail);
    look.from = all ? 0.0F : at(std::max(open, close) - tail);
    look.fade = TailFade.percent();
    look.opacity = Opacity.percent(), look.softness = Softness.percent(), look.grain = Grain.percent();
    look.grain_size = std::max(static_cast<float>(GrainSize.limited() / 100.0) * width * (1.5F / 1920.0F), 0.6F);
    look.seed = place_hash(static_cast<std::uint32_t>(Seed.value), 40);
    const float unsteady = unit_of(place_hash(look.seed, static_cast<std::uint32_t>(static_cast<int>(currentFrame))));
    look.brightness = Brightness.percent() * (1.0F - Flicker.percent() * unsteady * unsteady);
    look.dash = 2.0F * look.radius * DashLength.percent();
    look.period = look.dash + 2.0F * look.radius * DashGap.percent();
    if (look.closed) look.period = length / std::max(std::floor(length / look.period + 0.5F), 1.0F);
    const double moved = currentFrame * DashSpeed.limited() / 100.0 * 2.0 * double(look.radius) / double(look.period);
    look.dash_offset = static_cast<float>(moved - std::floor(moved)) * look.period;
    for (int i = 0; i <= BrushLook::COLOURS; ++i) {
        const double part = static_cast<double>(i) / BrushLook::COLOURS;
        const double phase = part * ColourCycles.limited() - currentFrame * ColourSpeed.limited() / 100.0;
        float* colour = &look.colours[static_cast<std::size_t>(3 * i)];
        if (Colouring.value == Rainbow) {
            rainbow(phase, colour);
            continue;
        }
        const double wave = phase - 2.0 * std::floor(0.5 * phase);
        const auto mix = static_cast<float>(Colouring.value == TwoColours ? (wave > 1.0 ? 2.0 - wave : wave) : 0.0);
        const float one[3] = {Colour1.red, Colour1.green, Colour1.blue},
                    two[3] = {Colour2.red, Colour2.green, Colour2.blue};
        for (int c = 0; c < 3; ++c) colour[c] = std::clamp(one[c] + mix * (two[c] - one[c]), 0.0F, 1000.0F);
    }
    return look;
}

StrokeLine TrailPath::stroke(const std::vector<PathVertex>& piece, const BrushLook& look) const {
    StrokeLine line;
    const bool cut = TaperAt.value == PathEnds;
    const float from = cut ? 0.0F : look.start_opens, to = cut ? look.length : look.to;
    const float in = TaperIn.percent() * (to - from), out = TaperOut.percent() * (to - from);
    const float press = Pressure.percent(), wave = 7.0F * look.radius;
    for (const PathVertex& v : piece) {
        const float varied = 1.0F - press * (0.5F + 0.5F * path_noise(v.s / wave, look.seed + 20));
        line.vertices.push_back({v.x, v.y, v.s, varied * std::min(taper(v.s - from, in), taper(to - v.s, out))});
    }
    const float radius = look.radius;
    if (look.kind == Calligraphic) {
        const K7SineCosine turn = k7_sine_cosine(NibAngle.limited() * 3.14159265358979323846 / 180.0);
        const auto sine = static_cast<float>(turn.sine), cosine = static_cast<float>(turn.cosine);
        const float thin = std::max(radius * NibThickness.percent(), 0.1F);
        line.brush = {cosine / radius, sine / radius, -sine / thin, cosine / thin, std::max(radius, thin)};
    } else {
        line.brush = {1.0F / radius, 0.0F, 0.0F, 1.0F / radius, radius};
    }
    line.cut_ends = (look.kind == Flat || look.kind == Clip) && !look.closed;
    line.apart = 4.0F * radius + 4.0F;
    line.closed_at = look.closed ? look.length : 0.0F;
    return line;
}

// ---- The picture ----------------------------------------------------------------------------------------------

namespace {

// The Brush clip with its shape as alpha.
ImagePtr shaped(const K7Image& clip, int from) {
    ImagePtr picture = made(ImagePtr(image_duplicate(&clip)));
    bool holes = from == TrailPathInfo::Alpha;
    for (int y = 0; from == TrailPathInfo::Automatic && !holes && y < clip.height; ++y) {
        const float* row = image_row<float>(&clip, y);
        for (int x = 0; x < clip.width && !holes; ++x) holes = row[4 * x + 3] < 0.999F;
    }
    for (int y = 0; y < clip.height && !holes; ++y) {
        float* row = image_row<float>(picture.get(), y);
        for (int x = 0; x < clip.width; ++x, row += 4) row[3] = std::clamp(luminance(row), 0.0F, 1.0F);
    }
    return picture;
}

std::vector<BrushStamp> stamps_along(const StrokeLine& line, float radius, float spacing, bool turns) {
    std::vector<BrushStamp> stamps;
    const auto& v = line.vertices;
    const float gap = std::max(2.0F * radius * spacing, v.back().s / static_cast<float>(MOST_STAMPS));
    for (std::size_t i = 0; i + 1 < v.size(); ++i)
        for (float k = std::ceil(v[i].s / gap); k * gap < v[i + 1].s; k += 1.0F) {
            const float s = k * gap, way = v[i + 1].s - v[i].s, t = way > 0.0F ? (s - v[i].s) / way : 0.0F;
            const float dx = v[i + 1].x - v[i].x, dy = v[i + 1].y - v[i].y;
            const float length = std::max(std::sqrt(dx * dx + dy * dy), 1e-6F);
            const float half = radius * (v[i].size + t * (v[i + 1].size - v[i].size));
            if (half < 0.2F) continue;
            stamps.push_back(
                {v[i].x + t * dx, v[i].y + t * dy, s, turns ? dx / length : 1.0F, turns ? dy / length : 0.0F, half});
        }
    return stamps;
}

}  // namespace

void TrailPath::ProcessFrame() {
    const StageTimer timer("TrailPath (CPU)");
    K7Image& picture = *output.image;  // begins as a copy of the background
    if (PathOnly.value) image_clear(&picture);
    const std::vector<PathVertex> path = wholePath();
    if (path.empty()) return;
    BrushLook shared = look(path.back().s);
    const std::vector<PathVertex> piece = path_piece(path, shared.start_opens, shared.to);
    if (piece.empty() || !(shared.opacity > 0.0F)) return;
    const StrokeLine line = stroke(piece, shared);

    std::unique_ptr<ImagelibPyramid> clip;
    ImagePtr clipPicture;
    BrushStamps stamps;
    if (shared.kind == Clip) {
        const bool ribbon = ClipLay.value == Ribbon;
        clipPicture =
            shaped(*brush.image, ribbon && ClipShape.value == Automatic ? static_cast<int>(Alpha) : ClipShape.value);
        const int edge = ribbon ? EDGE_WRAP : EDGE_BLACK;
        clip = std::make_unique<ImagelibPyramid>(clipPicture.get(), KERNEL_BSPLINE, edge, false, true);
        made(clip->valid() && clip->set_kernel(KERNEL_TRIANGLE, edge));
        if (ribbon) {
            shared.ribbon = clip.get(), shared.own_colours = ClipColour.value == 1;
        } else {
            stamps = {stamps_along(line, shared.radius, ClipSpacing.percent(), ClipTurns.value), clip.get(),
                      ClipColour.value == 1};
            if (stamps.places.empty()) return;
        }
    }
    std::vector<SparkLine> sparks;
    if (shared.kind == Sparkler)
        sparks = stroke_sparks(piece, shared, Sparks.percent(), 13.0F * shared.radius * SparkLength.percent(),
                               static_cast<int>(std::floor(currentFrame)));
    const BrushGlow glow{Glow.percent(),
                         static_cast<float>(GlowSize.limited()) * 0.5F * static_cast<float>(picture.width)};
    PathDrawing(picture, shared, stopRequested()).draw(line, stamps, sparks, glow);
}
