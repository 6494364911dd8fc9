#include "effects/trails/TrailPathBrush.h"

#include <algorithm>
#include <cmath>

#include "effects/trails/TrailPath.h"
#include "imagelib/imagelib_curves.h"
#include "k7pi_baselib/portable_math.h"
#include "noiselib/place_hash.h"

using Kind = TrailPathInfo;

void BrushLook::colour_at(float s, float* colour) const {
    const float at = std::clamp(s / length, 0.0F, 1.0F) * static_cast<float>(COLOURS);
    const int i = std::min(static_cast<int>(at), COLOURS - 1);
    const float part = at - static_cast<float>(i);
    const float* left = &colours[static_cast<std::size_t>(3 * i)];
    for (int c = 0; c < 3; ++c) colour[c] = left[c] + part * (left[c + 3] - left[c]);
}

float BrushLook::present(float s, float cap) const {
    float there = 1.0F;
    if (to > pen_opens + 1e-3F) there *= std::clamp((to + cap - s) / (to - pen_opens), 0.0F, 1.0F);
    if (from > start_opens + 1e-3F) there *= std::clamp((s + cap - start_opens) / (from - start_opens), 0.0F, 1.0F);
    if (fade > 0.0F && to > from) there *= 1.0F - fade * std::clamp((to - s) / (to - from), 0.0F, 1.0F);
    return there;
}

// A pen that moves while the shutter is open covers a place for a part of the time: as long as its rim is beyond it.
float BrushLook::present(const StrokeHit& hit) const {
    if (kind == Kind::Flat || kind == Kind::Clip) return present(hit.s);
    const float outside = std::max({hit.s - to, start_opens - hit.s, 0.0F});
    return present(hit.s, std::sqrt(std::max(hit.half * hit.half - hit.across * hit.across + outside * outside, 0.0F)));
}

float BrushLook::edge(const StrokeHit& hit) const {
    const float inside = hit.half - std::fabs(hit.across), ramp = softness * hit.half;
    return ramp > 1.0F ? smooth_step(inside, -0.5F, ramp) : hit.cover();
}

// Bristles run along the stroke, each with ink of its own, and lift off at its end.
float BrushLook::flat(const StrokeHit& hit, float& tone) const {
    const float q = hit.across / std::max(hit.half, 0.5F);  // -1 to 1
    const float hairs = q * radius / (2.2F * grain_size), along = hit.s / (34.0F * radius);
    const float coarse = grain_noise(0.35F * hairs + 100.0F, 2.0F * along, seed + 1);
    const float fine = grain_noise(hairs + 300.0F, 5.0F * along, seed + 2);
    const float streak = 0.55F * coarse + 0.45F * fine;
    tone = 0.84F + 0.32F * streak;
    // Hairs begin and end at places of their own.
    const float begin = hit.s - start_opens - (0.7F * coarse + 0.9F * fine - 0.6F) * radius,
                end = to - hit.s - (1.0F - fine) * 1.6F * radius;
    const float soft = std::max(0.35F * radius, 1.0F);
    const float ends = std::clamp(begin / soft + 0.5F, 0.0F, 1.0F) * std::clamp(end / soft + 0.5F, 0.0F, 1.0F);
    const float way = std::clamp((hit.s - start_opens) / length, 0.0F, 1.0F);
    const float dry = grain * (0.30F + 0.42F * way + 0.16F * q * q);
    return edge(hit) * ends * smooth_step(streak, dry - 0.12F, dry + 0.06F);
}

// Chalk stays on what stands out of the paper; more of it where the stick presses.
float BrushLook::chalk(const StrokeHit& hit, float x, float y) const {
    const float fine = grain_noise(x / grain_size, y / grain_size, seed + 3),
                middle = grain_noise(x / (2.7F * grain_size) + 50.0F, y / (2.3F * grain_size), seed + 4),
                smear = grain_noise(hit.s / (14.0F * grain_size), hit.across / (1.7F * grain_size) + 80.0F, seed + 5);
    // Where the grain is large, it has a finer one on it.
    float paper = 0.5F * fine + 0.3F * middle + 0.2F * smear;
    if (const float finer = std::clamp(grain_size - 1.5F, 0.0F, 1.0F); finer > 0.0F)
        paper += 0.34F * finer * (grain_noise(2.4F * x / grain_size, 2.4F * y / grain_size, seed + 10) - 0.5F);
    const float ragged = 0.16F * path_noise(hit.s / (3.0F * grain_size), seed + (hit.across < 0.0F ? 6 : 7));
    const float q = std::fabs(hit.across) / std::max(hit.half * (0.95F + ragged), 0.5F);
    const float rest = std::max(1.0F - q * q * q, 0.0F);
    const float press = rest * (1.12F - 0.88F * grain) + 0.1F * path_noise(hit.s / (9.0F * radius), seed + 8);
    const float dust = 0.13F * rest * (0.4F + 0.6F * middle);
    const float stays = smooth_step(press - paper, -0.10F, 0.13F) * std::min(4.0F * rest, 1.0F);
    return std::min(hit.half * 2.0F, 1.0F) * std::max(stays, dust) * (0.86F + 0.14F * fine);
}

// A dash is a line with ends as round as the brush.
float BrushLook::dashes(const StrokeHit& hit) const {
    const float at = std::clamp(hit.s, start_opens, to) - dash_offset, place = at - period * std::floor(at / period);
    const float beyond = std::max(std::fabs(place - 0.5F * period) - 0.5F * dash + radius, 0.0F);
    const float away = std::sqrt(beyond * beyond + hit.across * hit.across);
    return edge({hit.s, away, hit.half});
}

// A tube of glass: a core that is nearly white, its colour towards the sides, a highlight on the rim.
BrushPixel BrushLook::neon(const StrokeHit& hit) const {
    const float there = opacity * present(hit), cover = hit.cover() * there;
    const float q = hit.across / std::max(hit.half, 0.5F), inside = std::max(1.0F - q * q, 0.0F);
    float tint[3];
    colour_at(hit.s, tint);
    BrushPixel out;
    out.cover = 0.55F * cover;
    const float core = inside * inside * inside, gas = 0.15F + 0.85F * inside;
    const float glint = 0.16F * smooth_step(std::fabs(q - 0.62F), 0.16F, 0.02F);
    for (int c = 0; c < 3; ++c) {
        out.paint[c] = 0.12F * tint[c];
        out.light[c] = cover * (brightness * (1.5F * gas * tint[c] + 2.6F * core * (0.6F + 0.4F * tint[c])) + glint);
    }
    return out;
}

BrushPixel BrushLook::pixel(const StrokeHit& hit, float x, float y) const {
    if (kind == Kind::Neon) return neon(hit);
    float tone = 1.0F, cover = 0.0F, clip[4] = {};
    BrushPixel out;
    colour_at(hit.s, out.paint);
    switch (kind) {
        case Kind::Flat:
            cover = flat(hit, tone);
            break;
        case Kind::Chalk:
            cover = chalk(hit, x, y);
            break;
        case Kind::Dashes:
            cover = dashes(hit);
            break;
        case Kind::Sparkler: {
            const float q = hit.across / std::max(hit.half, 0.5F), inside = std::max(1.0F - q * q, 0.0F);
            const float there = opacity * brightness * present(hit) * std::min(2.0F * hit.half, 1.0F);
            const float burns = 0.75F + 0.25F * path_noise(hit.s / (0.9F * radius), seed + 9);
            for (int c = 0; c < 3; ++c)
                out.light[c] = there * burns * inside * inside * (2.2F * out.paint[c] + 1.6F * inside * inside);
            return out;
        }
        case Kind::Clip: {
            cover = edge(hit);
            if (!ribbon) break;
            const auto high = static_cast<float>(ribbon->height), scale = 0.5F * high / std::max(hit.half, 0.5F);
            const float v = 0.5F * high - 0.5F + hit.across * scale, u = hit.s * 0.5F * high / radius;
            ribbon->sample_pixel(u, std::clamp(v, 0.0F, high - 1.0F), scale * scale, clip, 4);
            const float shape = std::clamp(clip[3], 0.0F, 1.0F);
            if (own_colours)
                for (int c = 0; c < 3; ++c) out.paint[c] = shape > 1e-4F ? std::max(clip[c], 0.0F) / shape : 0.0F;
            cover *= shape;
            break;
        }
        default:
            cover = edge(hit);
            break;
    }
    // Cut ends.
    if (kind == Kind::Clip && !closed)
        cover *= std::clamp(hit.s - start_opens + 0.5F, 0.0F, 1.0F) * std::clamp(to - hit.s + 0.5F, 0.0F, 1.0F);
    cover *= opacity * present(hit);
    if (blend == Kind::Light) {
        for (int c = 0; c < 3; ++c) out.light[c] = 1.6F * cover * brightness * tone * out.paint[c];
        return out;
    }
    out.cover = cover;
    for (float& c : out.paint) c *= tone;
    return out;
}

// ---- Sparks ---------------------------------------------------------------------------------------------------

namespace {

constexpr int MOST_SPARKS = 24000, SPARKS_AT_PEN = 160;

SparkLine spark(float x, float y, std::uint32_t word, float reach, float light, const float* tint) {
    const float angle = 6.2831853F * unit_of(place_hash(word, 1));
    const float dx = k7_cos(angle), dy = k7_sin(angle);
    const float far = unit_of(place_hash(word, 2)), way = reach * (0.12F + 0.88F * far * far);
    const float begin = way * 0.6F * unit_of(place_hash(word, 3));
    const float bright = light * (0.25F + 1.5F * unit_of(place_hash(word, 4)) * (1.0F - 0.6F * far));
    const float hot = unit_of(place_hash(word, 5));  // young sparks are paler
    SparkLine line{x + begin * dx, y + begin * dy, x + way * dx, y + way * dy - 0.12F * way, 1.0F, {}};
    for (int c = 0; c < 3; ++c) line.light[c] = bright * (tint[c] + 0.5F * hot * (1.0F - tint[c]));
    return line;
}

}  // namespace

std::vector<SparkLine> stroke_sparks(const std::vector<PathVertex>& piece, const BrushLook& look, float amount,
                                     float reach, int frame) {
    std::vector<SparkLine> sparks;
    if (piece.size() < 2 || !(amount > 0.0F) || !(reach > 0.0F)) return sparks;
    const float whole = look.length;
    const float gap = std::max(0.11F * look.radius / amount, whole / static_cast<float>(MOST_SPARKS));
    const int first = static_cast<int>(std::ceil(piece.front().s / gap)),
              last = static_cast<int>(std::floor(piece.back().s / gap));
    const float thick = std::max(0.08F * look.radius, 0.8F), strength = look.opacity * look.brightness;
    float tint[3];
    std::size_t at = 1;
    for (int i = first; i <= last; ++i) {
        const float s = static_cast<float>(i) * gap;
        while (at + 1 < piece.size() && piece[at].s < s) ++at;
        const PathVertex &a = piece[at - 1], &b = piece[at];
        const float t = std::clamp((s - a.s) / std::max(b.s - a.s, 1e-6F), 0.0F, 1.0F);
        look.colour_at(s, tint);
        const std::uint32_t word = place_hash(place_hash(look.seed, 91), static_cast<std::uint32_t>(i));
        sparks.push_back(
            spark(a.x + t * (b.x - a.x), a.y + t * (b.y - a.y), word, reach, 0.75F * strength * look.present(s), tint));
        sparks.back().radius = thick;
    }
    look.colour_at(piece.back().s, tint);
    const int flying = std::min(static_cast<int>(amount * SPARKS_AT_PEN), 4 * SPARKS_AT_PEN);
    for (int i = 0; i < flying; ++i) {
        const std::uint32_t word = place_hash(place_hash(place_hash(look.seed, 92), static_cast<std::uint32_t>(frame)),
                                              static_cast<std::uint32_t>(i));
        sparks.push_back(spark(piece.back().x, piece.back().y, word, 2.6F * reach, 2.2F * strength, tint));
        sparks.back().radius = 1.3F * thick;
    }
    return sparks;
}
