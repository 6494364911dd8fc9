// The presets of Q_PatchTex. What a preset does not list goes to its default.
#include "effects/textures/PatchTex.h"

// clang-format off
void PatchTexInfo::declarePresets() {
    presets(Demos,
            {                "User", "Fine Grain", "Large Patches",          "Bricks",      "Parquet", "Fill the Hole", "Transfer", "Mirrored"},
            {{Source,       {    {},           {},              {},                {},             {},              1,         {},         {}}},
             {PatchSize,    {    {},           40,             340,               200,            460,             64,         24,        260}},
             {Overlap,      {    {},           40,              40,                10,              5,             40,         40,         45}},
             {Flip,         {    {},            3,              {},                 1,              3,             {},          3,          3}},
             {EvenLight,    {    {},          100,             100,                60,             60,             {},         {},         40}},
             {Area,         {    {},           {},              {},                {},             {},              1,         {},         {}}},
             {Join,         {    {},           {},              {},                {},             {},             14,         {},         {}}},
             {Symmetry,     {    {},           {},              {},                {},             {},             {},         {},          3}},
             {Guide,        {    {},           {},              {},                {},             {},             {},         50,         {}}},
             {Shade,        {    {},           {},              {},                {},             {},             {},         80,         {}}},
             {Seams,        {    {},           {},              {},                 1,              1,             {},         {},         {}}},
             {Proportion,   {    {},           {},              {},               2.6,              7,             {},         {},         {}}},
             {Bond,         {    {},           {},              {},                 1,              1,             {},         {},         {}}},
             {Joint,        {    {},           {},              {},                 9,              2,             {},         {},         {}}},
             {JointColour,  {    {},           {},              {},   {.58, .56, .52},{.06, .04, .03},             {},         {},         {}}},
             {Relief,       {    {},           {},              {},                70,             35,             {},         {},         {}}},
             {Variation,    {    {},           {},              {},                40,             45,             {},         {},         {}}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
