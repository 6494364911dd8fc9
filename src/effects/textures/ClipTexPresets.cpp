// The presets of Q_ClipTex. What a preset does not list goes to its default.
#include "effects/textures/ClipTex.h"

// clang-format off
void ClipTexInfo::declarePresets() {
    presets(Demos,
            {                 "User", "Cross Hatch", "Canvas", "Woodcut", "Collage", "Stipple", "Fabric", "Blueprint"},
            {{Pattern,        {   {},            0,        1,         2,         3,         4,        5,           0}},
             {InkColour,      {   {},{.23,.13,.08},{.42,.38,.32},{.09,.06,.05},{.16,.15,.18},{.07,.07,.09},{.22,.19,.20},{.86,.93,1.0}}},
             {PaperColour,    {   {},{.98,.95,.87},{1.0,.98,.94},{.93,.87,.74},{.98,.97,.95},{.97,.96,.93},{.92,.88,.82},{.07,.20,.47}}},
             {ToneSmoothing,  {   {},          1.2,        2,         3,        12,         2,        3,         1.5}},
             {InvertTones,    {   {},            0,        0,         0,         0,         0,        0,           1}},
             {ThresholdAB,    {   {},           22,       22,        20,        24,        22,       22,          25}},
             {ThresholdBC,    {   {},           42,       42,        40,        46,        42,       42,          48}},
             {ThresholdCD,    {   {},           72,       66,        64,        70,        66,       66,          72}},
             {Softness,       {   {},           12,       40,         4,         5,        20,       10,          10}},
             {Bite,           {   {},           60,        0,        80,         0,        40,       60,          60}},
             {Edge,           {   {},            0,        0,         0,       100,         0,        0,           0}},
             {Size,           {   {},           75,      100,       100,       130,       100,      120,         140}},
             {Relief,         {   {},            0,       90,         0,        60,         0,      110,           0}},
             {Shade,          {   {},            0,       85,         0,        20,         0,       45,           0}},
             {Tint,           {   {},            0,      100,         0,        15,         0,       85,           0}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
