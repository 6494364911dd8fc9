#include "effects/paint/Numbers.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "effects/paint/NumbersPainter.h"
#include "graphicslib/graphicslib.h"
#include "graphicslib/stroke_text.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"
#include "noiselib/solidnoise.h"

namespace {

float thousandths(const FloatControlK7& control) { return static_cast<float>(control.limited() * 0.001); }

constexpr TextLook DIGITS{.style = HersheyFont::SIMPLEX, .size = 1, .weight = 0.11F};
constexpr StrokeStyle PEN{StrokeStyle::ROUND, StrokeStyle::ROUND_CAP};

// A number about a place. `size` is the height of its digits in widths of a pixel.
void write_number(ShapeBatch& batch, int number, float x, float y, float size, float row_height,
                  const GraphicsColour& ink) {
    TextLook look = DIGITS;
    look.size = size / row_height;
    const std::string text = std::to_string(number);
    FlatPath upright, path;
    const float width = append_text(text, look, 0, 0, upright);
    for (int i = 0; i < upright.contours(); ++i)
        for (int k = 0; k < upright.points(i); ++k) {
            const float* p = upright.xy(i) + 2L * k;
            const float px = x + (p[0] - 0.5F * width) * row_height, py = y + p[1] - 0.5F * look.size;
            if (k == 0)
                path.move_to(px, py);
            else
                path.line_to(px, py);
        }
    batch.stroke(path, std::max(size * look.weight, 0.8F), PEN, ink);
}

// Of digits of height 1, half the diagonal of the number's box.
float number_radius(int number) {
    const float width = text_width(std::to_string(number), DIGITS);
    return 0.5F * std::sqrt(1.0F + width * width);
}

GraphicsColour colour_of(const float* rgb, float alpha = 1) { return {rgb[0], rgb[1], rgb[2], alpha}; }

void add_disc(ShapeBatch& batch, float x, float y, float radius, float row_height, const GraphicsColour& ink) {
    constexpr int CORNERS = 48;
    float xy[2 * CORNERS];
    for (int i = 0; i < CORNERS; ++i) {
        const K7SineCosine turn = k7_sine_cosine(2 * 3.14159265358979 * i / CORNERS);
        xy[2 * i] = x + radius * static_cast<float>(turn.cosine);
        xy[2 * i + 1] = y + radius * static_cast<float>(turn.sine) / row_height;
    }
    batch.polygon(CORNERS, xy, ink);
}

// Ink gives alpha; the sheet has no more of it than its clip.
struct Box {
    float x, y, half;
};
void keep_alpha(const Box& box, const K7Image& from, K7Image& picture) {
    const auto limited = [](float v, int count) { return std::clamp(static_cast<int>(v), 0, count); };
    const int x0 = limited(box.x - box.half, picture.width), x1 = limited(box.x + box.half + 1, picture.width);
    const int y1 = limited(box.y + box.half + 1, picture.height);
    for (int y = limited(box.y - box.half, picture.height); y < y1; ++y)
        for (int x = x0; x < x1; ++x) image_row<float>(&picture, y)[4 * x + 3] = image_row<float>(&from, y)[4 * x + 3];
}

void add_box(ShapeBatch& batch, float x0, float y0, float x1, float y1, const GraphicsColour& ink) {
    const float xy[] = {x0, y0, x1, y0, x1, y1, x0, y1};
    batch.polygon(4, xy, ink);
}

}  // namespace

// ---- Declaration ----------------------------------------------------------------------------------------------

NumbersInfo::NumbersInfo() {
    ghost({&Seed}, ColourSource, is(PaintBox));
    ghost({&LargestNumber, &SmallestNumber, &NumbersOnPaint}, ShowNumbers, isOff);
    ghost({&PaletteSide, &PaletteSize, &PotShape}, ShowPalette, isOff);
    declarePresets();
    scene.inputs = {"coffee-small.png"};
    scene.plates = {"portrait.jpg"};
    scene.look = {{"Demos", "Half Done"}};
}

// ---- Fields and their times -----------------------------------------------------------------------------------

bool Numbers::divideInto(NumbersSheet& sheet) const {
    const NumbersSettings settings{.paint_box = ColourSource.value == PaintBox,
                                   .colours = std::clamp(Colours.value, 2, 64),
                                   .seed = static_cast<std::uint32_t>(Seed.value),
                                   .simplify = Simplify.percent(),
                                   .smoothing = thousandths(Smoothing),
                                   .smallest_field = thousandths(SmallestField)};
    return madeUnlessAborted(divide_into_fields(*input.image, settings, sheet, stopRequested()));
}

// Between 0 and 1, smooth in the field's place and area, and without regard to how many fields there are.
float Numbers::timeOf(const NumbersSheet& sheet, std::size_t field, const float* colours_before,
                      const SolidNoise& noise) const {
    const PictureRegion& region = sheet.found[field];
    const float width = static_cast<float>(sheet.fields->width), height = static_cast<float>(sheet.fields->height);
    const float x = region.pole_x / width - 0.5F, y = region.pole_y / height - 0.5F;
    const K7SineCosine turn = k7_sine_cosine(FillAngle.value * (3.14159265358979 / 180.0));
    const float along_x = static_cast<float>(turn.cosine), along_y = static_cast<float>(turn.sine);
    const float side = 0.5F + (x * along_x + y * along_y) / (std::fabs(along_x) + std::fabs(along_y));
    switch (FillOrder.value) {
        case ByColour:
            return colours_before[region.label + 1] +
                   side * (colours_before[region.label] - colours_before[region.label + 1]);
        case BySize: {
            const double share = double(region.area) / (double(width) * double(height));
            return static_cast<float>(std::clamp(-k7_log(share) / k7_log(40000.0), 0.0, 1.0));
        }
        case InPatches: {
            const float wave = noise.noise(4.5F * x, 4.5F * y * height / width, 0.5F) +
                               0.5F * noise.noise(11 * x, 11 * y * height / width, 3.5F);
            return std::clamp(0.5F + 0.8F * wave, 0.0F, 1.0F);
        }
        default:
            return side;
    }
}

void Numbers::scheduleFields(NumbersSheet& sheet) const {
    // Of the paints from the lightest on: the share of the picture that is painted before and after.
    float colours_before[PALETTE_MOST + 1] = {};
    for (const PictureRegion& region : sheet.found) colours_before[region.label] += static_cast<float>(region.area);
    const float pixels = static_cast<float>(sheet.fields->width) * static_cast<float>(sheet.fields->height);
    for (int i = sheet.paints - 1; i >= 0; --i) colours_before[i] = colours_before[i + 1] + colours_before[i] / pixels;

    const float takes = std::max(FillTime.percent(), 0.005F), now = Filled.percent() * (1 + takes);
    const SolidNoise noise(5);
    sheet.painted.resize(sheet.found.size());
    for (std::size_t i = 0; i < sheet.found.size(); ++i)
        sheet.painted[i] = std::clamp((now - timeOf(sheet, i, colours_before, noise)) / takes, 0.0F, 1.0F);
}

// ---- Drawing --------------------------------------------------------------------------------------------------

void Numbers::drawFields(const NumbersSheet& sheet, K7Image& picture) const {
    const NumbersLook look{.paper = {PaperColour.red, PaperColour.green, PaperColour.blue, 1},
                           .line = {LineColour.red, LineColour.green, LineColour.blue, 1},
                           .line_width = std::min(thousandths(LineWidth) * static_cast<float>(picture.width),
                                                  2 * (sheet.reach - 1) * static_cast<float>(sheet.factor)),
                           .lines_on_paint = LinesOnPaint.percent(),
                           .marks = BrushMarks.percent(),
                           .tint = Tint.percent(),
                           .angle = static_cast<float>(FillAngle.value * (3.14159265358979 / 180.0))};
    const NumbersPainter painter(sheet, look, picture.width);
    eachRow(picture.height, [&](int y) { painter.paint_row(picture, y); });
}

void Numbers::drawNumbers(const NumbersSheet& sheet, K7Image& picture) const {
    const float width = static_cast<float>(picture.width), scale = static_cast<float>(sheet.factor);
    const float largest = thousandths(LargestNumber) * width, smallest = thousandths(SmallestNumber) * width;
    const float on_paint = NumbersOnPaint.percent();
    ShapeBatch batch;
    batch.begin(picture.width, picture.height);
    std::vector<Box> written;
    float radii[PALETTE_MOST];
    for (int i = 0; i < sheet.paints; ++i) radii[i] = number_radius(i + 1);
    for (std::size_t i = 0; i < sheet.found.size(); ++i) {
        const PictureRegion& region = sheet.found[i];
        const float size = std::min(0.85F * region.pole_radius * scale / radii[region.label], largest);
        const float seen = 1 + (on_paint - 1) * sheet.painted[i];
        if (size < smallest || size < 2.0F || seen <= 0) continue;
        const GraphicsColour ink{LineColour.red, LineColour.green, LineColour.blue, seen};
        write_number(batch, static_cast<int>(region.label) + 1, region.pole_x * scale, region.pole_y * scale, size,
                     sheet.row_height, ink);
        written.push_back({region.pole_x * scale, region.pole_y * scale, 1.3F * size * radii[region.label] + 2.0F});
    }
    made(batch.draw(&picture));
    for (const Box& box : written) keep_alpha(box, *input.image, picture);
}

void Numbers::drawPalette(const NumbersSheet& sheet, K7Image& picture) const {
    const float width = static_cast<float>(picture.width),
                height = static_cast<float>(picture.height) * sheet.row_height;
    const bool level = PaletteSide.value == Bottom || PaletteSide.value == Top;
    const bool begins = PaletteSide.value == Bottom || PaletteSide.value == Left;
    const float across = level ? height : width, length = level ? width : height;
    const float thick = std::min(thousandths(PaletteSize) * width, across);
    const float low = begins ? 0 : across - thick, border = begins ? thick : across - thick;
    const float line = std::max(thousandths(LineWidth) * width, 1.0F);
    ShapeBatch batch;
    batch.begin(picture.width, picture.height);
    // From places along and across the strip, in widths of a pixel, to the picture.
    const auto box = [&](float a0, float c0, float a1, float c1, const GraphicsColour& ink) {
        if (level)
            add_box(batch, a0, c0 / sheet.row_height, a1, c1 / sheet.row_height, ink);
        else
            add_box(batch, c0, a0 / sheet.row_height, c1, a1 / sheet.row_height, ink);
    };
    const float paper[] = {PaperColour.red, PaperColour.green, PaperColour.blue};
    const float ink[] = {LineColour.red, LineColour.green, LineColour.blue};
    box(0, low, length, low + thick, colour_of(paper));
    box(0, border - 0.5F * line, length, border + 0.5F * line, colour_of(ink));

    const float step = std::min(length / static_cast<float>(sheet.paints), 1.6F * thick);
    const float start = 0.5F * (length - step * static_cast<float>(sheet.paints - 1));
    const float radius = 0.42F * std::min(step, 0.86F * thick), rim = std::max(0.06F * radius, 0.5F * line);
    for (int i = 0; i < sheet.paints; ++i) {
        const float along = start + step * static_cast<float>(level ? i : sheet.paints - 1 - i);
        const float middle = low + 0.5F * thick;
        const float x = level ? along : middle, y = (level ? middle : along) / sheet.row_height;
        const float* paint = sheet.paint[i];
        if (PotShape.value == 1) {
            add_disc(batch, x, y, radius + rim, sheet.row_height, colour_of(ink));
            add_disc(batch, x, y, radius, sheet.row_height, colour_of(paint));
        } else {
            const float half = radius + rim;
            box(along - half, middle - half, along + half, middle + half, colour_of(ink));
            box(along - radius, middle - radius, along + radius, middle + radius, colour_of(paint));
        }
        const float shade = sheet.lightness[i] > 0.6F ? 0.08F : 0.95F;
        write_number(batch, i + 1, x, y, std::min(0.72F * radius / number_radius(i + 1), 0.62F * radius),
                     sheet.row_height, {shade, shade, shade, 0.85F});
    }
    made(batch.draw(&picture));
}

void Numbers::ProcessFrame() {
    const StageTimer timer("Numbers (CPU)");
    NumbersSheet sheet;
    if (!divideInto(sheet)) return;
    scheduleFields(sheet);
    K7Image& picture = *output.image;
    drawFields(sheet, picture);
    if (abortRequested()) return;
    if (ShowNumbers.value) drawNumbers(sheet, picture);
    if (ShowPalette.value) drawPalette(sheet, picture);
}
