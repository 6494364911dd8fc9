// Presets: a choice whose options write other controls.
//
// A table has a line for each control that it writes, with a value for each preset, so that every number stands beside
// its control's name. The names of the presets become the options of the choice:
//
//     PresetChoiceK7 Demos{this, {"Demos", "Type"}, "..."};
//     ...
//     GlowInfo() {
//         presets(Demos, {"Default", "Soft", "Red"},
//                 {{Gain,   {1,          0.4,        {}}},
//                  {Shape,  {0,          2,          0}},                  // choices count from 0, as at the host
//                  {Centre, {{0.5, 0.5}, {0.2, 0.8}, {}}},
//                  {Tint,   {{1, 1, 1},  {},         {1, 0.2, 0.2}}}},
//                 PresetScope::ListedOnly);
//     }
//
// A cell holds one number for each component of its control: two for a position, three or four for a colour, one for
// any other. `{}` is a value that the preset does not list. The table is checked when the record is made: a line with
// too few or too many cells, a cell with the wrong number of components, or a control that stands in two lines throws
// std::logic_error with the control's name.
#pragma once

#include <array>
#include <vector>

#include "Library2/Controls.h"

class PresetCell {
  public:
    constexpr PresetCell() = default;  // not listed
    constexpr PresetCell(double value) : m_numbers{value}, m_count(1) {}
    constexpr PresetCell(double x, double y) : m_numbers{x, y}, m_count(2) {}
    constexpr PresetCell(double red, double green, double blue) : m_numbers{red, green, blue}, m_count(3) {}
    constexpr PresetCell(double red, double green, double blue, double alpha)
        : m_numbers{red, green, blue, alpha}, m_count(4) {}

    bool listed() const { return m_count != 0; }
    int count() const { return m_count; }
    const double* numbers() const { return m_numbers.data(); }

  private:
    std::array<double, 4> m_numbers{};
    int m_count = 0;
};

struct PresetLine {
    PresetLine(ControlK7& written, std::vector<PresetCell> values) : control(&written), cells(std::move(values)) {}
    ControlK7* control;
    std::vector<PresetCell> cells;  // of the presets, in their order
};

enum class PresetScope {
    ListedOnly,        // writes the listed values and nothing else
    OthersToDefaults,  // and puts all other parameters back to their defaults, but for positions and those that are
                       // declared with keptByPresets
};

struct PresetTable {
    ListControlK7* choice = nullptr;
    std::vector<const char*> names;
    std::vector<PresetLine> lines;
    PresetScope scope = PresetScope::ListedOnly;

    // What a preset lists for a control; null where it lists nothing.
    const PresetCell* cell(const ControlK7* control, std::size_t preset) const;
    void check() const;  // throws std::logic_error
};
