#include "host/cli/colour.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>

#include "host/cli/text.h"

namespace quillon {

namespace {

// x to a fixed power for positive floats, in sums and products alone after the tables are made: the nearest of 256
// places between 1 and 2, and from there four terms of the binomial series (|d| <= 1/512: below 1e-13 of the value).
class Power {
  public:
    explicit Power(double exponent) : m_exponent(exponent) {
        for (int i = 0; i < Places; ++i) {
            const double place = 1.0 + (i + 0.5) / Places;
            m_reciprocals[static_cast<std::size_t>(i)] = 1.0 / place;
            m_powers[static_cast<std::size_t>(i)] = std::pow(place, exponent);
        }
        for (int e = LowestExponent; e <= HighestExponent; ++e)
            m_scales[static_cast<std::size_t>(e - LowestExponent)] = std::exp2(e * exponent);
    }
    double operator()(double x) const {
        const auto bits = std::bit_cast<std::uint64_t>(x);
        const int e = static_cast<int>(bits >> 52) - 1023;
        const auto place = static_cast<std::size_t>(bits >> 44 & 0xffu);
        const double mantissa = std::bit_cast<double>((bits & 0x000fffffffffffffu) | 0x3ff0000000000000u);
        const double d = mantissa * m_reciprocals[place] - 1.0, p = m_exponent;
        const double series =
            1.0 + p * d * (1.0 + (p - 1.0) / 2.0 * d * (1.0 + (p - 2.0) / 3.0 * d * (1.0 + (p - 3.0) / 4.0 * d)));
        return m_powers[place] * series * m_scales[static_cast<std::size_t>(e - LowestExponent)];
    }

  private:
    static constexpr int Places = 256, LowestExponent = -160, HighestExponent = 130;  // more than floats have
    double m_exponent;
    std::array<double, Places> m_reciprocals{}, m_powers{};
    std::array<double, HighestExponent - LowestExponent + 1> m_scales{};
};

// number = slope x light up to a limit, then factor x light ^ exponent - offset.
struct Curve {
    double slope, limit, factor, offset;
    Power encode, decode;

    double toNumber(double light) const { return light <= limit ? slope * light : factor * encode(light) - offset; }
    double toLight(double number) const {
        return number <= slope * limit ? number / slope : decode((number + offset) / factor);
    }
};

const Curve* curveOf(Colour colour) {
    static const Curve srgb = {12.92, 0.0031308, 1.055, 0.055, Power(1.0 / 2.4), Power(2.4)};
    static const Curve rec709 = {4.5, 0.018, 1.099, 0.099, Power(0.45), Power(1.0 / 0.45)};
    return colour == Colour::Srgb ? &srgb : colour == Colour::Rec709 ? &rec709 : nullptr;
}

float converted(float sample, const Curve* from, const Curve* to) {
    const double size = std::abs(static_cast<double>(sample));
    if (!std::isfinite(size)) return sample;
    const double light = from ? from->toLight(size) : size;
    const double number = to ? to->toNumber(light) : light;
    return static_cast<float>(sample < 0.0f ? -number : number);
}

// Function(pixel, alpha) for all pixels.
template <class Function>
void forPixels(Picture& picture, Function&& function) {
    for (std::size_t i = 0; i < picture.rgba.size(); i += 4) function(&picture.rgba[i], picture.rgba[i + 3]);
}

}  // namespace

const char* colourWord(Colour colour) {
    constexpr const char* words[] = {"srgb", "linear", "rec709", "other"};
    return words[static_cast<int>(colour)];
}

std::optional<Colour> parseColour(std::string_view word) {
    for (const Colour colour : {Colour::Srgb, Colour::Linear, Colour::Rec709})
        if (word == colourWord(colour)) return colour;
    return std::nullopt;
}

std::optional<Colour> colourOfTag(const std::string& tag) {
    if (tag.empty()) return std::nullopt;
    // A gamma of 2.2 is how older programs say sRGB.
    for (const char* name : {"srgb", "gamma2.2"})
        if (equalIgnoringCase(tag, name)) return Colour::Srgb;
    for (const char* name : {"linear", "scene_linear", "gamma1.0"})
        if (equalIgnoringCase(tag, name)) return Colour::Linear;
    return equalIgnoringCase(tag, "rec709") ? Colour::Rec709 : Colour::Other;
}

const char* colourTag(Colour colour) {
    constexpr const char* tags[] = {"sRGB", "Linear", "Rec709", nullptr};
    return tags[static_cast<int>(colour)];
}

void convertColour(Picture& picture, Colour from, Colour to, Alpha alpha) {
    if (from == to || from == Colour::Other || to == Colour::Other) return;
    const Curve *const source = curveOf(from), *const target = curveOf(to);
    forPixels(picture, [&](float* pixel, float a) {
        const bool divided = alpha == Alpha::Premultiplied && a != 0.0f && a != 1.0f && std::isfinite(a);
        for (int c = 0; c < 3; ++c) {
            const float value = converted(divided ? pixel[c] / a : pixel[c], source, target);
            pixel[c] = divided ? value * a : value;
        }
    });
}

void convertAlpha(Picture& picture, Alpha from, Alpha to) {
    if (from == to || from == Alpha::None || to == Alpha::None) return;
    forPixels(picture, [&](float* pixel, float a) {
        if (a == 1.0f || !std::isfinite(a) || (a == 0.0f && to == Alpha::Straight)) return;
        for (int c = 0; c < 3; ++c) pixel[c] = to == Alpha::Premultiplied ? pixel[c] * a : pixel[c] / a;
    });
}

}  // namespace quillon
