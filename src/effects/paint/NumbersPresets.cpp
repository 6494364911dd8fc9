// The presets of Q_Numbers. What a preset does not list goes to its default.
#include "effects/paint/Numbers.h"

// clang-format off
void NumbersInfo::declarePresets() {
    presets(Demos,
            {                 "User", "Blank Sheet", "Half Done", "Finished", "Poster", "Children's Kit", "Twenty-four Colours", "Stained Glass"},
            {{ColourSource,   {   {},            {},          {},         {},       {},                1,                    {},              {}}},
             {Colours,        {   {},            14,          14,         18,        5,                9,                    24,              16}},
             {Simplify,       {   {},            40,          40,         25,       70,               80,                    30,              55}},
             {Smoothing,      {   {},             7,           7,          5,       11,               15,                     5,              11}},
             {SmallestField,  {   {},            14,          14,          9,       24,               36,                    11,              24}},
             {Filled,         {   {},             0,          50,        100,      100,               42,                    66,             100}},
             {FillOrder,      {   {},             0,           2,          0,        0,                3,                     0,               0}},
             {FillAngle,      {   {},             0,         -20,          0,        0,                0,                     0,               0}},
             {BrushMarks,     {   {},            35,          40,         75,        0,               60,                    35,              15}},
             {Tint,           {   {},             0,           0,          0,        0,                0,                    30,               0}},
             {PaperColour,    {   {},{.97,.96,.93},{.97,.96,.93},         {},       {},     {1, .99, .96},                    {},              {}}},
             {LineColour,     {   {},{.38,.45,.56},{.38,.45,.56},         {},       {},  {.10, .10, .12},      {.45,.36,.30},  {.03,.03,.04}}},
             {LineWidth,      {   {},           0.7,         0.7,        0.6,        0,              2.2,                   0.5,             5.0}},
             {LinesOnPaint,   {   {},            25,          20,         15,        0,              100,                    20,             100}},
             {ShowNumbers,    {   {},             1,           1,          0,        0,                1,                     1,               0}},
             {LargestNumber,  {   {},             9,           9,         {},       {},               22,                     7,              {}}},
             {SmallestNumber, {   {},             4,           4,         {},       {},                8,                   3.2,              {}}},
             {ShowPalette,    {   {},             1,           1,          0,        0,                1,                     1,               0}},
             {PaletteSide,    {   {},             0,           0,         {},       {},                0,                     3,              {}}},
             {PaletteSize,    {   {},            50,          50,         {},       {},               90,                    44,              {}}},
             {PotShape,       {   {},             0,           0,         {},       {},                0,                     1,              {}}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
