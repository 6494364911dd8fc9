#include "effects/abstract/TypoSheet.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "k7pi_baselib/portable_math.h"
#include "k7pi_baselib/rows.h"
#include "noiselib/place_hash.h"

namespace {

constexpr float FIXED_PITCH = 0.92F;  // of a typewriter, in capitals
constexpr float NARROWEST = 0.25F;    // advance
constexpr float RAGGED = 0.08F;       // capitals by which an edge is out of place at most
constexpr double RADIANS = 3.14159265358979323846 / 180.0;
constexpr double ABOVE = 1.0, BELOW = 1.9;  // capitals that letters reach from their base line, out of place and all
constexpr float MOST_CAPITALS = 640;        // across the picture: smaller letters are not set

bool is_bitmap(const TypoInfo& info) { return info.Font.value >= TypoInfo::Bitmap; }
float luminance(const float* rgb) { return 0.2126F * rgb[0] + 0.7152F * rgb[1] + 0.0722F * rgb[2]; }

std::uint32_t low_word(std::int64_t number) { return static_cast<std::uint32_t>(number & 0xFFFFFFFF); }

std::int64_t below(double value) { return static_cast<std::int64_t>(std::floor(std::clamp(value, -1e15, 1e15))); }
double remainder_of(double value, double length) { return value - length * std::floor(value / length); }

HersheyFont::Style style_of(int font) {
    switch (font) {
        case TypoInfo::Sans:
            return HersheyFont::DUPLEX;
        case TypoInfo::Roman:
            return HersheyFont::COMPLEX;
        case TypoInfo::RomanBold:
            return HersheyFont::TRIPLEX;
        case TypoInfo::Italic:
            return HersheyFont::ITALIC;
        case TypoInfo::Script:
            return HersheyFont::SCRIPT;
        case TypoInfo::Blackletter:
            return HersheyFont::BLACKLETTER;
        default:
            return HersheyFont::SIMPLEX;
    }
}

}  // namespace

// ---- Letters --------------------------------------------------------------------------------------------------

Typeface::Typeface(const TypoInfo& info, const std::string& ascii, float capital, float finest) {
    m_look.style = style_of(info.Font.value);
    m_look.size = 1;
    m_look.slant = static_cast<float>(k7_tan(info.Slant.limited() * RADIANS));
    const float pen = 0.5F * std::max(info.Weight.percent(), info.Lightest.percent());
    m_reach = std::min(pen * 1.15F + RAGGED * info.Roughness.percent() + 1.0F / finest, 1.0F);
    // Squares have corners, strokes are round.
    const GlyphFieldSize size{is_bitmap(info) ? std::clamp(capital, 54.0F, 108.0F) : std::clamp(capital, 24.0F, 96.0F),
                              m_reach};
    std::array<bool, CODES> used{};
    for (const char c : ascii) used[index(c)] = true;
    used[' '] = true;
    std::vector<int> codes;
    for (int code = 0; code < CODES; ++code)
        if (used[index(code)]) codes.push_back(code);
    for (const int code : codes) measure(info, code);
    each_row_float(
        static_cast<int>(codes.size()), [] { return false; },
        [&](int i) {
            const int code = codes[static_cast<std::size_t>(i)];
            m_fields[index(code)] = make_field(info, code, size);
        });
}

void Typeface::measure(const TypoInfo& info, int code) {
    float natural = is_bitmap(info) ? BITMAP_ADVANCE : glyph_advance(code, m_look), squeeze = 1, cell = natural;
    if (!is_bitmap(info) && info.FixedPitch.value) {
        cell = FIXED_PITCH;
        squeeze = std::min(1.0F, FIXED_PITCH / natural);
    }
    m_squeezes[index(code)] = squeeze;
    m_middles[index(code)] = 0.5F * natural * squeeze;
    m_advances[index(code)] = std::max(cell + info.Tracking.percent(), NARROWEST);
}

GlyphField Typeface::make_field(const TypoInfo& info, int code, const GlyphFieldSize& size) const {
    if (is_bitmap(info)) return bitmap_glyph_field(code, info.Font.value == TypoInfo::DotMatrix, m_look.slant, size);
    return stroke_glyph_field(code, m_look, m_squeezes[index(code)], size);
}

// ---- The sheet ------------------------------------------------------------------------------------------------

TypeSheet::TypeSheet(const TypoInfo& info, const K7Image& frame, double frame_number) {
    const double width = frame.width, height = frame.height;
    rows = frame.pixel_aspect > 0.0F ? static_cast<double>(frame.pixel_aspect) : 1.0;
    capital = std::max(info.Size.limited() * 0.5 * width, width / double(MOST_CAPITALS));
    x = info.Origin.x * width, y = info.Origin.y * height;
    const double turn = remainder_of(info.Angle.value, 360.0) * RADIANS;
    cosine = k7_cos(turn), sine = k7_sin(turn);
    pitch = info.LineSpacing.limited() / 100.0;
    left = low = 1e300, right = high = -1e300;
    for (const double column : {0.0, width})
        for (const double row : {0.0, height}) {
            const double across = (column - x) / capital, up = (row - y) / (capital * rows);
            const double u = across * cosine + up * sine, v = up * cosine - across * sine;
            left = std::min(left, u), right = std::max(right, u);
            low = std::min(low, v), high = std::max(high, v);
        }
    scrolled = frame_number * info.Scroll.limited() / 100.0 * width / capital;
    climbed = frame_number * info.Climb.limited() / 100.0 * height / (capital * rows);
}

namespace {

// Where letters are put besides their places: as type bars that are bent, and keys that are struck in haste.
struct Misplacement {
    float across, up, degrees;
};
Misplacement misplacement(const TypoInfo& info, int code, std::uint32_t place) {
    const float amount = info.Jitter.percent();
    if (!(amount > 0)) return {};
    const auto seed = static_cast<std::uint32_t>(info.Seed.value);
    const std::uint32_t key = place_hash(seed, static_cast<std::uint32_t>(code)), stroke = place_hash(seed + 77, place);
    const auto drawn = [&](std::uint32_t which) {
        return amount * (0.6F * signed_of(place_hash(key, which)) + 0.4F * signed_of(place_hash(stroke, which)));
    };
    return {0.16F * drawn(1), 0.2F * drawn(2), 9.0F * drawn(3)};
}

void place_letter(const TypeSheet& sheet, double u, double v, float degrees, int height, SetLetter& letter) {
    letter.x = static_cast<float>(sheet.x + (u * sheet.cosine - v * sheet.sine) * sheet.capital);
    letter.y = static_cast<float>(sheet.y + (u * sheet.sine + v * sheet.cosine) * sheet.capital * sheet.rows);
    double cosine = sheet.cosine, sine = sheet.sine;
    if (degrees != 0) {
        const double c = k7_cos(double(degrees) * RADIANS), s = k7_sin(double(degrees) * RADIANS);
        cosine = sheet.cosine * c - sheet.sine * s, sine = sheet.sine * c + sheet.cosine * s;
    }
    letter.cosine = static_cast<float>(cosine), letter.sine = static_cast<float>(sine);
    const GlyphField& field = *letter.field;
    float lowest = 1e30F, highest = -1e30F;
    for (const int i : {0, field.width - 1})
        for (const int j : {0, field.height - 1}) {
            const float a = field.x + static_cast<float>(i) / field.per_capital - letter.middle,
                        b = field.y + static_cast<float>(j) / field.per_capital - 0.5F;
            const float row = letter.y + (letter.sine * a + letter.cosine * b) * float(sheet.capital * sheet.rows);
            lowest = std::min(lowest, row), highest = std::max(highest, row);
        }
    letter.first_row = static_cast<int>(std::clamp(std::floor(lowest - 0.5F), 0.0F, static_cast<float>(height)));
    letter.last_row = static_cast<int>(std::clamp(std::ceil(highest), -1.0F, static_cast<float>(height - 1)));
}

struct LineOfType {
    std::int64_t number;
    double base;   // v of its base line
    double start;  // u of its strip's beginning
    double typed;  // u up to which it has been typed
};

void set_line(const TypoInfo& info, const Typeface& face, const TextStrip& strip, const TypeSheet& sheet,
              const LineOfType& line, int height, std::vector<SetLetter>& letters) {
    const double from = sheet.left - 2.0, to = std::min(sheet.right + 2.0, line.typed), length = double(strip.length);
    std::int64_t round = below((from - line.start) / length);
    for (;; ++round) {
        const double begin = line.start + static_cast<double>(round) * length;
        if (!(begin < to)) return;
        auto letter = std::lower_bound(strip.letters.begin(), strip.letters.end(), from - begin - 3.0,
                                       [](const TextStrip::Letter& l, double u) { return double(l.at) < u; });
        for (; letter != strip.letters.end() && begin + double(letter->at) < to; ++letter) {
            const GlyphField& field = face.field(letter->code);
            if (field.width == 0) continue;
            const auto number = static_cast<std::int64_t>(letter - strip.letters.begin());
            const std::int64_t in_line = round * strip.characters + number;
            const std::uint32_t place = place_hash(low_word(line.number), low_word(in_line));
            const Misplacement off = misplacement(info, letter->code, place);
            SetLetter set{&field, face.middle(letter->code), 0, 0, 1, 0, letter->advance, 1, 0, 1, {}, 0, -1};
            place_letter(sheet, begin + double(letter->at) + 0.5 * double(letter->advance) + double(off.across),
                         line.base + 0.5 + double(off.up), off.degrees, height, set);
            set.half_pen =
                unit_of(place_hash(place, static_cast<std::uint32_t>(info.Seed.value)));  // until it is inked
            if (set.first_row <= set.last_row) letters.push_back(set);
        }
    }
}

}  // namespace

std::vector<SetLetter> set_letters(const TypoInfo& info, const Typeface& face, const std::vector<TextStrip>& strips,
                                   const TypeSheet& sheet, int height) {
    std::vector<SetLetter> letters;
    const double top = sheet.climbed - 1.0;  // base line of line 0
    const std::int64_t first = below((top - sheet.high - BELOW) / sheet.pitch) + 1,
                       last = below((top - sheet.low + ABOVE) / sheet.pitch);
    const auto lines = static_cast<double>(last - first + 1);
    const double typed = lines * double(info.Reveal.percent());
    const auto strip_count = static_cast<std::int64_t>(strips.size());
    for (std::int64_t number = first; number <= last; ++number) {
        const auto which = static_cast<std::size_t>(((number % strip_count) + strip_count) % strip_count);
        const TextStrip& strip = strips[which];
        const auto count = static_cast<double>(number), length = double(strip.length);
        // The end of a line is the beginning of the next one.
        const double step =
            info.Layout.value == TypoInfo::LineByLine ? double(info.Stagger.percent()) * length : sheet.width();
        const std::uint32_t drawn = place_hash(static_cast<std::uint32_t>(info.Seed.value) + 5, low_word(number));
        const double direction = info.Alternate.value && number % 2 != 0 ? -1.0 : 1.0;
        const double speed = direction * (1.0 + double(info.SpeedSpread.percent() * signed_of(drawn)));
        const double start = -remainder_of(count * step + sheet.scrolled * speed, length);
        const double part = typed - static_cast<double>(number - first);
        if (part <= 0.0) break;
        const double end = part >= 1.0 ? sheet.right + 2.0 : sheet.left + part * sheet.width();
        set_line(info, face, strip, sheet, {number, top - count * sheet.pitch, start, end}, height, letters);
    }
    return letters;
}

// ---- Tones ----------------------------------------------------------------------------------------------------

PenCurve::PenCurve(const TypoInfo& info, const Typeface& face, const std::vector<TextStrip>& strips, double pitch) {
    constexpr int BINS = 512;
    std::array<double, BINS + 1> areas{};
    std::array<double, 128> counts{};
    double length = 0;
    for (const TextStrip& strip : strips) {
        length += double(strip.length);
        for (const TextStrip::Letter& letter : strip.letters) counts[static_cast<std::size_t>(letter.code & 127)] += 1;
    }
    const float reach = face.reach();
    for (int code = 0; code < 128; ++code) {
        const GlyphField& field = face.field(code);
        const double count = counts[static_cast<std::size_t>(code)];
        if (!(count > 0) || field.width == 0) continue;
        const double area = count / (double(field.per_capital) * double(field.per_capital) * length * pitch);
        for (const float value : field.values)
            if (value < reach) areas[static_cast<std::size_t>(value / reach * BINS) + 1] += area;
    }
    for (std::size_t i = 1; i <= BINS; ++i) areas[i] = std::min(areas[i] + areas[i - 1], 1.0);
    const auto cover_at = [&](float pen) {
        const float place = std::clamp(pen / reach, 0.0F, 1.0F) * BINS;
        const auto i = std::min(static_cast<std::size_t>(place), std::size_t(BINS - 1));
        return static_cast<float>(areas[i] + double(place - static_cast<float>(i)) * (areas[i + 1] - areas[i]));
    };
    m_boldest = 0.5F * info.Weight.percent();
    const float lightest = std::min(0.5F * info.Lightest.percent(), m_boldest);
    m_covers = {cover_at(lightest), std::max(cover_at(m_boldest), 1e-4F)};
    std::size_t bin = 0;
    for (int i = 0; i <= STEPS; ++i) {
        const double wanted = double(cover(static_cast<float>(i) / STEPS));
        while (bin < BINS - 1 && areas[bin + 1] < wanted) ++bin;
        const double step = areas[bin + 1] - areas[bin];
        const double within = step > 0 ? std::clamp((wanted - areas[bin]) / step, 0.0, 1.0) : 0.0;
        m_pens[static_cast<std::size_t>(i)] =
            std::clamp(reach / BINS * static_cast<float>(static_cast<double>(bin) + within), lightest, m_boldest);
    }
}

float PenCurve::half_pen(float ink) const {
    const float place = std::clamp(ink, 0.0F, 1.0F) * STEPS;
    const auto i = std::min(static_cast<std::size_t>(place), std::size_t(STEPS - 1));
    return m_pens[i] + (place - static_cast<float>(i)) * (m_pens[i + 1] - m_pens[i]);
}

ToneMap::ToneMap(const TypoInfo& info, const K7Image& clip, const TypeSheet& sheet) {
    block = std::clamp(static_cast<int>(sheet.capital / 6.0), 1, 8);
    const float paper[3] = {info.Paper.red, info.Paper.green, info.Paper.blue},
                ink[3] = {info.Ink.red, info.Ink.green, info.Ink.blue};
    light_ink = luminance(paper) < (info.InkFrom.value == TypoInfo::OneInk ? luminance(ink) : 0.5F);
    // Contrast is a curve with its middle at half of white that never reaches black: shadows stay apart.
    const double contrast = info.Contrast.limited() / 100.0, added = info.Brightness.limited() / 100.0;
    for (int i = 0; i <= STEPS; ++i) {
        const double level = std::clamp(static_cast<double>(i) / STEPS + added, 0.0, 1.0);
        const double half = 0.5 * k7_pow(2.0 * std::min(level, 1.0 - level), contrast);
        const double tone = level < 0.5 ? half : 1.0 - half;
        m_inks[static_cast<std::size_t>(i)] = static_cast<float>(light_ink ? tone : 1.0 - tone);
    }
    const int width = (clip.width + block - 1) / block, height = (clip.height + block - 1) / block;
    means = made(make_image_uncleared(width, height, 4, SAMPLE_F32));
    for_rows_float(height, [&](int first, int last) {
        for (int row = first; row <= last; ++row) {
            float* out = image_row<float>(means.get(), row);
            const int y0 = row * block, y1 = std::min(y0 + block, int{clip.height});
            for (int column = 0; column < width; ++column, out += 4) {
                const int x0 = column * block, x1 = std::min(x0 + block, int{clip.width});
                float seen[4] = {}, plain[3] = {};
                for (int y = y0; y < y1; ++y) {
                    const float* pixel = image_row<float>(&clip, y) + 4 * x0;
                    for (int x = x0; x < x1; ++x, pixel += 4) {
                        for (int c = 0; c < 3; ++c) seen[c] += pixel[c] * pixel[3], plain[c] += pixel[c];
                        seen[3] += pixel[3];
                    }
                }
                const auto pixels = static_cast<float>((x1 - x0) * (y1 - y0));
                for (int c = 0; c < 3; ++c) out[c] = seen[3] > 1e-6F ? seen[c] / seen[3] : plain[c] / pixels;
                out[3] = seen[3] / pixels;
            }
        }
    });
}

float ToneMap::ink_of(const float* rgb) const {
    const float place = std::clamp(luminance(rgb), 0.0F, 1.0F) * STEPS;
    const auto i = std::min(static_cast<std::size_t>(place), std::size_t(STEPS - 1));
    return m_inks[i] + (place - static_cast<float>(i)) * (m_inks[i + 1] - m_inks[i]);
}

void ToneMap::mean(double x0, double y0, double x1, double y1, float* rgb) const {
    const auto limits = [&](double& a, double& b, int size) {
        a = std::clamp(a / block, 0.0, size - 0.01), b = std::clamp(b / block, a + 0.01, double(size));
    };
    limits(x0, x1, means->width);
    limits(y0, y1, means->height);
    const int first = static_cast<int>(x0), last = std::min(static_cast<int>(x1), means->width - 1);
    const int low = static_cast<int>(y0), high = std::min(static_cast<int>(y1), means->height - 1);
    const auto part = [](double a, double b, int i) {
        return static_cast<float>(std::max(0.0, std::min(b, i + 1.0) - std::max(a, double(i))));
    };
    float sum[3] = {}, weight = 0;
    for (int y = low; y <= high; ++y) {
        const float tall = part(y0, y1, y);
        const float* pixel = image_row<float>(means.get(), y) + 4 * first;
        for (int x = first; x <= last; ++x, pixel += 4) {
            const float share = tall * part(x0, x1, x);
            for (int c = 0; c < 3; ++c) sum[c] += share * pixel[c];
            weight += share;
        }
    }
    for (int c = 0; c < 3; ++c) rgb[c] = sum[c] / weight;
}

void ink_letter(const TypoInfo& info, const PenCurve& curve, const ToneMap& tones, const TypeSheet& sheet,
                SetLetter& letter) {
    const float strike = letter.half_pen;  // 0 to 1
    const double wide = 0.5 * double(letter.wide), tall = 0.5 * std::min(sheet.pitch, 1.6);
    const double across = std::fabs(sheet.cosine) * wide + std::fabs(sheet.sine) * tall,
                 up = (std::fabs(sheet.sine) * wide + std::fabs(sheet.cosine) * tall) * sheet.rows;
    float rgb[3];
    tones.mean(double(letter.x) - across * sheet.capital, double(letter.y) - up * sheet.capital,
               double(letter.x) + across * sheet.capital, double(letter.y) + up * sheet.capital, rgb);
    const float ink = tones.ink_of(rgb), wanted = ink * curve.cover_of_boldest();
    float cover = curve.cover_of_boldest(), pen = curve.boldest();
    switch (info.Tone.value) {
        case TypoInfo::ByWeight:
            pen = curve.half_pen(ink), cover = curve.cover(ink);
            break;
        case TypoInfo::BySize:
            letter.scale = std::max(std::sqrt(ink), std::clamp(info.Smallest.percent(), 0.1F, 1.0F));
            cover *= letter.scale * letter.scale;
            break;
        default:
            break;
    }
    const float kept = cover > 0 ? std::min(wanted / cover, 1.0F) : 1.0F;
    if (info.Tone.value == TypoInfo::ByInk)
        letter.opacity = kept;
    else if (info.Tone.value != TypoInfo::NoTone && info.InkFrom.value == TypoInfo::OneInk)
        letter.opacity = 1.0F - info.Fade.percent() * (1.0F - kept);
    const float uneven = info.Uneven.percent();
    letter.opacity *= 1.0F - uneven * 0.7F * strike * strike;
    letter.half_pen = pen * (1.0F + uneven * 0.3F * (0.5F - strike)) * letter.scale * static_cast<float>(sheet.capital);

    const float paper[3] = {info.Paper.red, info.Paper.green, info.Paper.blue},
                one[3] = {info.Ink.red, info.Ink.green, info.Ink.blue};
    const float gain = info.InkGain.percent();
    const float strength = info.Tone.value == TypoInfo::NoTone || info.Tone.value == TypoInfo::ByInk
                               ? gain
                               : gain * curve.cover_of_boldest() / std::max(cover, 1e-4F);
    for (int c = 0; c < 3; ++c) {
        const float colour = info.Transparent.value ? rgb[c] * gain : paper[c] + (rgb[c] - paper[c]) * strength;
        letter.ink[c] =
            info.InkFrom.value == TypoInfo::OneInk ? one[c] : std::clamp(colour, 0.0F, std::max(1.0F, rgb[c]));
    }
    if (info.InkFrom.value == TypoInfo::ClipByPixel) letter.ink[0] = gain;
}
