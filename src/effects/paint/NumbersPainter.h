// Private to Q_Numbers: the fields with their paint and outlines, at the size of the picture.
#pragma once

#include <vector>

#include "effects/paint/NumbersSheet.h"

struct NumbersLook {
    float paper[4], line[4];  // red, green, blue, 1
    float line_width;         // pixels of the picture; 0: none
    float lines_on_paint;     // 0 to 1
    float marks;              // 0 to 1
    float tint;               // 0 to 1
    float angle;              // of the painting, radians
};

class NumbersPainter {
  public:
    NumbersPainter(const NumbersSheet& sheet, const NumbersLook& look, int width);
    // Colours of a row of the picture; alpha stays.
    void paint_row(K7Image& picture, int y) const;

  private:
    static constexpr int TILE = 512;  // pixels of the tile of brush marks, which repeats
    struct Rows {
        const std::uint32_t *fields_low, *fields_high;
        const float *depth_low, *depth_high;
        float mix;
        bool are_inside(int cell, int columns, std::uint32_t field, float depth) const;
    };
    struct FieldLook {
        std::uint32_t label;
        float painted;
        float bare[3], paint[3];
        float way, way_x, way_y;  // along the painting's way: at pixel 0, and a pixel farther
        float front;              // of the paint
    };
    struct Shade {
        float colour[3];
        float painted;
    };
    struct Meeting {  // of a pixel: the field that it lies in, and the next one
        std::uint32_t own, other;
        float inside;  // pixels of the picture
    };
    class MarkReader;
    void make_marks();
    void prepare_fields();
    Shade shade(const FieldLook& field, const MarkReader& marks, int x, int y) const;
    Meeting meeting(const Rows& rows, int left, int right, float mix) const;
    void paint_pixel(const Meeting& meeting, int x, int y, float* pixel) const;
    void paint_inside(std::uint32_t index, int x, int count, int y, float* pixels) const;

    const NumbersSheet& m_sheet;
    NumbersLook m_look;
    float m_near;      // pixels of the sheet: as far inside, no border and no line is seen
    float m_fineness;  // pixels of the tile for each of the picture
    float m_along[2];  // the painting's direction
    std::vector<FieldLook> m_fields;
    std::vector<float> m_marks;
    std::vector<int> m_columns;  // of the tile, for each of the picture
};
