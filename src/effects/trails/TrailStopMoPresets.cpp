// The presets of Q_TrailStopMo. What a preset does not list goes to its default.
#include "effects/trails/TrailStopMo.h"

// clang-format off
void TrailStopMoInfo::declarePresets() {
    presets(Demos,
            {             "User", "Stroboscope", "Golf Swing", "Step Print", "Rainbow Echo", "Long Exposure", "Bullet Time Row", "Ghosts", "Neon Echo"},
            {{Copies,     {   {},            10,           16,            2,             12,              24,                 7,        4,          8}},
             {Step,       {   {},             4,            2,            6,              2,               1,                 4,        9,          3}},
             {Direction,  {   {},            {},           {},           {},             {},              {},                 2,       {},         {}}},
             {Hold,       {   {},             1,            0,            1,              0,               0,                 1,        1,          0}},
             {Dissolve,   {   {},            {},           {},          100,             {},              {},                {},      100,         {}}},
             {Live,       {   {},             2,            2,            0,              2,               2,                 2,        1,          2}},
             {Mode,       {   {},             1,            1,            0,              2,               5,                 1,        0,          3}},
             {Opacity,    {   {},           100,           75,          100,             90,              {},                90,       45,         90}},
             {Fade,       {   {},             0,            9,            0,              8,              {},                 0,       25,         18}},
             {HueShift,   {   {},            {},           {},           {},             28,              {},                {},       {},         {}}},
             {Saturation, {   {},            {},           92,           {},            106,              {},                {},       60,         {}}},
             {TintAmount, {   {},            {},           {},           {},             {},              {},                {},       35,         85}},
             {NewColour,  {   {},            {},           {},           {},             {},              {},                {}, {.8, .9, 1}, {.2, 1, .9}}},
             {OldColour,  {   {},            {},           {},           {},             {},              {},                {}, {.5, .65, 1}, {1, .1, .7}}},
             {ShiftX,     {   {},            {},           {},           {},             {},              {},                11,       {},         {}}},
             {Zoom,       {   {},            {},           {},           {},             {},              {},                {},       {},        104}},
             {Soften,     {   {},            {},           {},           {},             {},              {},                {},      0.5,        0.1}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
