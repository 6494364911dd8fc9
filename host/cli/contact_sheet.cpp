#include "host/cli/contact_sheet.h"

#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>

#include <algorithm>
#include <cmath>

namespace quillon {

namespace {

constexpr int CellWidth = 240, CellHeight = 135, LabelHeight = 30, Gap = 12, FontSize = 14;
constexpr float Ground[4] = {0.09f, 0.098f, 0.11f, 1.0f}, Ink[4] = {0.85f, 0.86f, 0.88f, 1.0f};

struct Cell {
    int left, top;  // of the picture's place, from the sheet's upper left corner
};

Cell cellOf(int index, int columns) {
    return {Gap + index % columns * (CellWidth + Gap), Gap + index / columns * (CellHeight + LabelHeight + Gap)};
}

// In the middle of its cell.
void place(Picture& sheet, const Picture& picture, const Cell& cell) {
    const double scale = std::min(
        {1.0, CellWidth / static_cast<double>(picture.width), CellHeight / static_cast<double>(picture.height)});
    const Picture small = boxScaled(picture, scale);
    const int left = cell.left + (CellWidth - small.width) / 2, top = cell.top + (CellHeight - small.height) / 2;
    for (int y = 0; y < small.height; ++y) {
        const float* from = small.row(small.height - 1 - y);
        float* to = sheet.row(sheet.height - 1 - (top + y)) + static_cast<std::size_t>(left) * 4;
        for (int x = 0; x < small.width * 4; ++x) to[x] = x % 4 == 3 ? 1.0f : from[x];
    }
}

// Text is drawn on rows top to bottom, so on a sheet that stands on its head.
void drawLabels(Picture& sheet, const std::vector<SheetEntry>& entries, int columns) {
    OIIO::ImageBuf canvas(OIIO::ImageSpec(sheet.width, sheet.height, 4, OIIO::TypeDesc::FLOAT));
    const OIIO::stride_t pixel = 4 * sizeof(float), row = pixel * sheet.width;
    float* const lastRow = sheet.row(sheet.height - 1);
    if (!canvas.set_pixels(canvas.roi(), OIIO::TypeDesc::FLOAT, lastRow, pixel, -row)) return;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const Cell cell = cellOf(static_cast<int>(i), columns);
        if (!OIIO::ImageBufAlgo::render_text(canvas, cell.left, cell.top + CellHeight + FontSize + 3, entries[i].label,
                                             FontSize, "DejaVuSans", Ink)) {
            canvas.geterror();
            return;
        }
    }
    canvas.get_pixels(canvas.roi(), OIIO::TypeDesc::FLOAT, lastRow, pixel, -row);
}

}  // namespace

Picture contactSheet(const std::vector<SheetEntry>& entries) {
    const int count = std::max(1, static_cast<int>(entries.size()));
    const int columns = std::clamp(static_cast<int>(std::ceil(std::sqrt(count))), 1, 8);
    const int rows = (count + columns - 1) / columns;
    Picture sheet(Gap + columns * (CellWidth + Gap), Gap + rows * (CellHeight + LabelHeight + Gap));
    for (std::size_t i = 0; i < sheet.rgba.size(); ++i) sheet.rgba[i] = Ground[i % 4];
    for (std::size_t i = 0; i < entries.size(); ++i)
        place(sheet, entries[i].picture, cellOf(static_cast<int>(i), columns));
    drawLabels(sheet, entries, columns);
    return sheet;
}

}  // namespace quillon
