#include "effects/abstract/Typo.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "effects/abstract/TypoSheet.h"
#include "effects/abstract/Typo_simd.h"
#include "graphicslib/row_bands.h"
#include "imagelib/imagelib_blur.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"

namespace {

constexpr int TILE = 256;         // pixels of the full size, a side of what is uneven
constexpr float RAGGED = 0.08F;   // capitals by which edges are out of place at most
constexpr float MOST_RAGGED = 2;  // pixels of the full size
constexpr int GLOW_BLOCK = 4;     // pixels
constexpr double SMALLEST = 3.0;  // pixels of a capital that is drawn; smaller ones are drawn larger and averaged
constexpr int FINEST = 8;         // times, at most
constexpr int WIDEST = 8192;      // pixels of a side that is drawn larger

// Noise that repeats after TILE, between -1 and 1, the smoother the more passes.
std::vector<float> noise_tile(std::uint32_t seed, int passes) {
    std::vector<float> tile(std::size_t(TILE) * TILE), next(tile.size());
    std::uint32_t state = seed * 0x9E3779B9U + 1;
    for (float& value : tile) {
        state = state * 1664525U + 1013904223U;
        value = static_cast<float>(state >> 8) * 0x1p-23F - 1.0F;
    }
    for (int pass = 0; pass < 2 * passes; ++pass) {
        const std::size_t step = pass % 2 == 0 ? 1 : TILE, mask = pass % 2 == 0 ? TILE - 1 : (TILE - 1) * TILE;
        for (std::size_t i = 0; i < tile.size(); ++i) {
            const std::size_t before = (i & ~mask) | ((i - step) & mask), after = (i & ~mask) | ((i + step) & mask);
            next[i] = 0.25F * tile[before] + 0.5F * tile[i] + 0.25F * tile[after];
        }
        tile.swap(next);
    }
    double squares = 0;
    for (const float value : tile) squares += double(value) * double(value);
    const auto scale = static_cast<float>(0.45 / std::sqrt(squares / static_cast<double>(tile.size()) + 1e-12));
    for (float& value : tile) value = std::clamp(value * scale, -1.0F, 1.0F);
    return tile;
}

// The sheet that letters are painted on, band by band.
class Painter {
  public:
    Painter(const TypoInfo& info, const TypeSheet& sheet, const K7Image& clip, K7Image& picture, const ToneMap& tones,
            const PenCurve& curve)
        : m_info(info), m_sheet(sheet), m_clip(clip), m_picture(picture), m_tones(tones) {
        const auto seed = static_cast<std::uint32_t>(info.Seed.value);
        if (info.PaperGrain.value > 0 && !info.Transparent.value) {
            m_fine = noise_tile(seed, 1);
            m_coarse = noise_tile(seed + 1, 30);
        }
        if (info.Roughness.value > 0) m_edges = noise_tile(seed + 2, 2);
        m_unit = std::max(picture.unit_scale, 1e-3F);
        m_detail = info.Tone.value == TypoInfo::ByWeight ? info.Detail.percent() : 0.0F;
        if (m_detail > 0) make_pens(curve);
    }

    float detail() const { return m_detail; }

    // The letters first to last, in order, onto the rows y0 to y1.
    template <class Iterator>
    void paint(int y0, int y1, Iterator first, Iterator last, const std::vector<SetLetter>& letters) const {
        const auto pitch = static_cast<std::size_t>(m_picture.width) + TYPO_PADDING;
        const auto rows = static_cast<std::size_t>(y1 - y0 + 1);
        std::vector<float> pens(m_detail > 0 ? rows * pitch : 0), ragged(m_edges.empty() ? 0 : rows * pitch);
        for (int y = y0; y <= y1; ++y) {
            const std::size_t at = static_cast<std::size_t>(y - y0) * pitch;
            lay_paper(y);
            if (!pens.empty()) read_pens(y, pens.data() + at);
            if (!ragged.empty()) read_edges(y, ragged.data() + at);
        }
        for (; first != last; ++first) {
            const SetLetter& letter = letters[*first];
            for (int y = std::max(letter.first_row, y0); y <= std::min(letter.last_row, y1); ++y) {
                const std::size_t at = static_cast<std::size_t>(y - y0) * pitch;
                paint_row(letter, y, pens.empty() ? nullptr : pens.data() + at,
                          ragged.empty() ? nullptr : ragged.data() + at);
            }
        }
        if (m_info.Transparent.value)
            for (int y = y0; y <= y1; ++y) cut_out(y);
    }

  private:
    void make_pens(const PenCurve& curve) {
        const K7Image& means = *m_tones.means;
        m_pens.resize(static_cast<std::size_t>(means.width) * static_cast<std::size_t>(means.height));
        for_rows_float(means.height, [&](int first, int last) {
            for (int y = first; y <= last; ++y)
                for (int x = 0; x < means.width; ++x)
                    m_pens[static_cast<std::size_t>(y) * static_cast<std::size_t>(means.width) +
                           static_cast<std::size_t>(x)] =
                        curve.half_pen(m_tones.ink_of(image_row<float>(&means, y) + 4 * x));
        });
    }

    std::size_t tile_row(int y) const {
        return static_cast<std::size_t>(static_cast<int>(static_cast<float>(y) * m_unit) & (TILE - 1)) * TILE;
    }
    std::size_t tile_column(int x) const {
        return static_cast<std::size_t>(static_cast<int>(static_cast<float>(x) * m_unit) & (TILE - 1));
    }

    void lay_paper(int y) const {
        float* out = image_row<float>(&m_picture, y);
        if (m_info.Transparent.value) {
            std::fill(out, out + 4 * std::ptrdiff_t(m_picture.width), 0.0F);
            return;
        }
        const float paper[3] = {m_info.Paper.red, m_info.Paper.green, m_info.Paper.blue};
        const float shown = m_info.Picture.percent(), grain = m_info.PaperGrain.percent();
        if (m_info.InkFrom.value == TypoInfo::OneInk) {
            const float ink[3] = {m_info.Ink.red, m_info.Ink.green, m_info.Ink.blue};
            for (int x = 0; x < m_picture.width; ++x) {
                const float wash = shown > 0 ? shown * m_tones.ink_of(out + 4 * x) : 0.0F;
                for (int c = 0; c < 3; ++c) out[4 * x + c] = paper[c] + wash * (ink[c] - paper[c]);
            }
        } else {
            for (int x = 0; x < m_picture.width; ++x)
                for (int c = 0; c < 3; ++c) out[4 * x + c] = paper[c] + shown * (out[4 * x + c] - paper[c]);
        }
        if (m_fine.empty()) return;
        const float *fine = m_fine.data() + tile_row(y), *coarse = m_coarse.data() + tile_row(y);
        for (int x = 0; x < m_picture.width; ++x) {
            const std::size_t i = tile_column(x);
            const float shade = 1.0F + grain * (0.08F * fine[i] + 0.06F * coarse[i]);
            for (int c = 0; c < 3; ++c) out[4 * x + c] *= shade;
        }
    }

    void read_pens(int y, float* out) const {
        const K7Image& means = *m_tones.means;
        const auto block = static_cast<float>(m_tones.block);
        const float place =
            std::clamp((static_cast<float>(y) + 0.5F) / block - 0.5F, 0.0F, static_cast<float>(means.height - 1));
        const int low = static_cast<int>(place), high = std::min(low + 1, means.height - 1);
        const auto row = [&](int i) { return m_pens.data() + std::ptrdiff_t(i) * means.width; };
        typo_rows().between(row(low), row(high), place - static_cast<float>(low), 0.5F / block - 0.5F, 1 / block,
                            means.width - 1, m_detail * static_cast<float>(m_sheet.capital), out, m_picture.width);
    }

    void read_edges(int y, float* out) const {
        const float most =
            m_info.Roughness.percent() * std::min(RAGGED * static_cast<float>(m_sheet.capital), MOST_RAGGED / m_unit);
        const float* edges = m_edges.data() + tile_row(y);
        for (int x = 0; x < m_picture.width; ++x) out[x] = most * edges[tile_column(x)];
    }

    void paint_row(const SetLetter& letter, int y, const float* pens, const float* ragged) const {
        const GlyphField& field = *letter.field;
        const auto capital = static_cast<float>(m_sheet.capital), rows = static_cast<float>(m_sheet.rows);
        const float step = field.per_capital / (capital * letter.scale);
        const float du = letter.cosine * step, dv = -letter.sine * step;
        const float up = (static_cast<float>(y) + 0.5F - letter.y) / rows, across = 0.5F - letter.x;
        const float u0 = (letter.middle - field.x) * field.per_capital + letter.sine * step * up + du * across,
                    v0 = (0.5F - field.y) * field.per_capital + letter.cosine * step * up + dv * across;
        // Pixels whose middles lie in the field.
        float from = 0, to = static_cast<float>(m_picture.width - 1);
        const auto cut = [&](float start, float slope, float last) {
            if (std::fabs(slope) < 1e-6F) {
                if (start < 0 || start > last) to = -1;
                return;
            }
            const float a = -start / slope, b = (last - start) / slope;
            from = std::max(from, std::min(a, b)), to = std::min(to, std::max(a, b));
        };
        const auto last_u = static_cast<float>(field.width - 1), last_v = static_cast<float>(field.height - 1);
        cut(u0, du, last_u);
        cut(v0, dv, last_v);
        if (!(from <= to)) return;
        const int x0 = static_cast<int>(std::ceil(from)), x1 = static_cast<int>(to);
        if (x0 > x1) return;
        const auto x = static_cast<float>(x0);
        const bool window = m_info.InkFrom.value == TypoInfo::ClipByPixel;
        const LetterSpan span{field.values.data(),
                              field.width,
                              last_u,
                              last_v,
                              u0 + x * du,
                              v0 + x * dv,
                              du,
                              dv,
                              capital * letter.scale,
                              letter.half_pen * (1 - m_detail),
                              0.5F * (1 + 1 / rows),
                              letter.opacity,
                              {letter.ink[0], letter.ink[1], letter.ink[2]},
                              m_info.Transparent.value ? 1.0F : 0.0F};
        typo_rows().letter(span, pens ? pens + x0 : nullptr, ragged ? ragged + x0 : nullptr,
                           window ? image_row<float>(&m_clip, y) + 4 * std::ptrdiff_t(x0) : nullptr,
                           image_row<float>(&m_picture, y) + 4 * std::ptrdiff_t(x0), x1 - x0 + 1);
    }

    // Colours were summed up times alpha.
    void cut_out(int y) const {
        float* out = image_row<float>(&m_picture, y);
        const float* clip = image_row<float>(&m_clip, y);
        for (int x = 0; x < m_picture.width; ++x, out += 4, clip += 4) {
            if (!(out[3] > 0)) continue;
            for (int c = 0; c < 3; ++c) out[c] /= out[3];
            out[3] *= clip[3];
        }
    }

    const TypoInfo& m_info;
    const TypeSheet& m_sheet;
    const K7Image& m_clip;
    K7Image& m_picture;  // begins as the clip
    const ToneMap& m_tones;
    std::vector<float> m_fine, m_coarse, m_edges, m_pens;
    float m_unit = 1, m_detail = 0;
};

// Adds a blurred picture of what is brighter than the paper.
bool add_glow(const TypoInfo& info, double capital, const StopRequested& stop, K7Image& picture) {
    const float paper[3] = {info.Paper.red, info.Paper.green, info.Paper.blue};
    const int width = (picture.width + GLOW_BLOCK - 1) / GLOW_BLOCK,
              height = (picture.height + GLOW_BLOCK - 1) / GLOW_BLOCK;
    const ImagePtr light = made(make_image(width, height, 4, SAMPLE_F32));
    for_rows_float(height, [&](int first, int last) {
        for (int row = first; row <= last; ++row) {
            float* sums = image_row<float>(light.get(), row);
            for (int y = row * GLOW_BLOCK; y < std::min((row + 1) * GLOW_BLOCK, int{picture.height}); ++y) {
                const float* in = image_row<float>(&picture, y);
                for (int x = 0; x < picture.width; ++x, in += 4)
                    for (int c = 0; c < 3; ++c)
                        sums[4 * (x / GLOW_BLOCK) + c] += std::max(in[c] - paper[c], 0.0F) / (GLOW_BLOCK * GLOW_BLOCK);
            }
        }
    });
    if (wants_end(stop)) return false;
    const auto radius = static_cast<float>(std::clamp(0.8 * capital / GLOW_BLOCK, 0.7, 0.1 * picture.width));
    made(image_gaussian_blur(light.get(), radius, radius / picture.pixel_aspect, -1));
    const float strength = info.Glow.percent();
    return each_row_float(
        picture.height, [&] { return wants_end(stop); },
        [&](int y) {
            const auto place = [](int pixel, int count, int& low, int& high) {
                const float at = std::clamp((static_cast<float>(pixel) + 0.5F) / GLOW_BLOCK - 0.5F, 0.0F,
                                            static_cast<float>(count - 1));
                low = static_cast<int>(at), high = std::min(low + 1, count - 1);
                return at - static_cast<float>(low);
            };
            int low, high;
            const float up = place(y, height, low, high);
            const float *below = image_row<float>(light.get(), low), *above = image_row<float>(light.get(), high);
            float* out = image_row<float>(&picture, y);
            for (int x = 0; x < picture.width; ++x, out += 4) {
                int left, right;
                const float across = place(x, width, left, right);
                for (int c = 0; c < 3; ++c) {
                    const float a = below[4 * left + c] + across * (below[4 * right + c] - below[4 * left + c]),
                                b = above[4 * left + c] + across * (above[4 * right + c] - above[4 * left + c]);
                    out[c] += strength * (a + up * (b - a));
                }
            }
        });
}

// Each pixel `times` times as wide and as high.
ImagePtr enlarged(const K7Image& image, int times) {
    ImagePtr large = made(make_image_uncleared(image.width * times, image.height * times, 4, SAMPLE_F32));
    image_copy_attributes(&image, large.get());
    large->unit_scale = image.unit_scale / static_cast<float>(times);
    for_rows_float(large->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* in = image_row<float>(&image, y / times);
            float* out = image_row<float>(large.get(), y);
            for (int x = 0; x < large->width; ++x) std::copy_n(in + 4 * (x / times), 4, out + 4 * std::ptrdiff_t(x));
        }
    });
    return large;
}

// And back: colours by their alpha.
void average(const K7Image& large, int times, K7Image& image) {
    for_rows_float(image.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y)
            for (int x = 0; x < image.width; ++x) {
                float seen[4] = {}, plain[3] = {};
                for (int i = 0; i < times * times; ++i) {
                    const float* in = image_row<float>(&large, y * times + i / times) + 4 * (x * times + i % times);
                    for (int c = 0; c < 3; ++c) seen[c] += in[c] * in[3], plain[c] += in[c];
                    seen[3] += in[3];
                }
                const auto count = static_cast<float>(times * times);
                float* out = image_row<float>(&image, y) + 4 * std::ptrdiff_t(x);
                for (int c = 0; c < 3; ++c) out[c] = seen[3] > 1e-6F ? seen[c] / seen[3] : plain[c] / count;
                out[3] = seen[3] / count;
            }
    });
}

}  // namespace

// ---- Declaration ----------------------------------------------------------------------------------------------

TypoInfo::TypoInfo() {
    ghost({&Stagger}, Layout, is(Running));
    ghost({&FixedPitch}, Font, above(Blackletter));
    ghost({&Lightest, &Detail}, Tone, isNot(ByWeight));
    ghost({&Smallest}, Tone, isNot(BySize));
    ghost({&Ink, &Fade}, InkFrom, isNot(OneInk));
    ghost({&InkGain}, InkFrom, is(OneInk));
    ghost({&Picture, &PaperGrain, &Glow}, Transparent, isOn);
    declarePresets();
    scene.inputs = {"portrait-small.png"};
    scene.settings = {{"Size", "0.034"}, {"Angle", "8"}, {"Detail", "40"}, {"Contrast", "130"}};
    scene.plates = {"portrait.jpg"};
    scene.look = {{"Demos", "Newsprint"}};
}

// ---- Handles --------------------------------------------------------------------------------------------------

std::vector<ControlK7*> BaselineOverlayK7::partControls(int part) const {
    if (part == 1) return {&m_origin};
    return {&m_size, &m_angle};
}
Point BaselineOverlayK7::partPlace(int part, Point) const {
    const Point origin = view().place(m_origin.overlayX, m_origin.overlayY);
    if (part == 1) return origin;
    Point arm =
        rotated({CAPITALS * view().length(m_size.overlayValue), 0.0F}, static_cast<float>(m_angle.overlayValue));
    arm.y *= view().aspect;
    return origin + arm;
}
void BaselineOverlayK7::moveTo(int part, Point pen) {
    if (part == 1) {
        m_origin.overlayX = static_cast<double>(pen.x) / view().width;
        m_origin.overlayY = static_cast<double>(pen.y) / view().height;
        return;
    }
    Point arm = pen - partPlace(1, {});
    arm.y /= view().aspect;
    const double size = 2.0 * double(length(arm)) / (double(CAPITALS) * view().width);
    m_size.overlayValue = std::clamp(size, m_size.min(), m_size.max());
    if (length(arm) > 0) m_angle.overlayValue = k7_atan2(double(arm.y), double(arm.x)) * 57.29577951308232;
}
void BaselineOverlayK7::draw(const OverlayPen& pen) const {
    const Point origin = partPlace(1, {}), end = partPlace(2, {});
    pen.arrow(origin, end);
    pen.crosshair(origin, true);
    pen.handle(end, hovered == 2);
}

// ---- The picture ----------------------------------------------------------------------------------------------

bool Typo::setType(const K7Image& clip, K7Image& picture) {
    std::string text = plain_ascii(Message.text, Capitals.value);
    if (text.find_first_not_of(" \n") == std::string::npos)
        text = plain_ascii(wording(Wording.value - 1), Capitals.value);
    const TypeSheet sheet(*this, picture, currentFrame);
    const auto capital = static_cast<float>(sheet.capital);
    const Typeface face(*this, text, capital,
                        Tone.value == BySize ? capital * std::clamp(Smallest.percent(), 0.1F, 1.0F) : capital);
    const std::vector<TextStrip> strips =
        text_strips(text, Layout.value == LineByLine, [&](int code) { return face.advance(code); });
    const PenCurve curve(*this, face, strips, sheet.pitch);
    const ToneMap tones(*this, clip, sheet);
    if (abortRequested()) return false;

    std::vector<SetLetter> letters = set_letters(*this, face, strips, sheet, picture.height);
    constexpr int AT_ONCE = 64;
    const auto count = static_cast<int>(letters.size());
    const bool inked = eachRow((count + AT_ONCE - 1) / AT_ONCE, [&](int part) {
        for (int i = part * AT_ONCE; i < std::min((part + 1) * AT_ONCE, count); ++i)
            ink_letter(*this, curve, tones, sheet, letters[static_cast<std::size_t>(i)]);
    });
    if (!inked) return false;

    const Painter painter(*this, sheet, clip, picture, tones, curve);
    row_bands::draw(
        letters.size(), picture.height,
        [&](std::size_t i) {
            return std::pair{letters[i].first_row, letters[i].last_row};
        },
        [&](int first, int last, const std::uint32_t* begin, const std::uint32_t* end) {
            if (!abortRequested()) painter.paint(first, last, begin, end, letters);
        });
    if (abortRequested()) return false;
    return !(Glow.value > 0) || Transparent.value || add_glow(*this, sheet.capital, stopRequested(), picture);
}

// Letters of a proxy may be smaller than its pixels.
void Typo::ProcessFrame() {
    const StageTimer timer("Typo (CPU)");
    K7Image& picture = *output.image;
    const TypeSheet sheet(*this, picture, currentFrame);
    const int times = std::min(static_cast<int>(std::ceil(SMALLEST / std::max(sheet.capital, 1e-3))), FINEST);
    if (times <= 1 || times * std::max(picture.width, picture.height) > WIDEST) {
        setType(*input.image, picture);
        return;
    }
    const ImagePtr clip = enlarged(*input.image, times), large(made(image_duplicate(clip.get())));
    if (setType(*clip, *large)) average(*large, times, picture);
}
