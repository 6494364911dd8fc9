// The presets of Q_NightVision. What a preset does not list goes to its default.
#include "effects/night/NightVision.h"

// clang-format off
void NightVisionInfo::declarePresets() {
    presets(Demos,
            {              "Type A",        "Type B",       "Type C",      "Type D",      "Type E",          "Type F",        "Type G",           "Type H"},
            {{Contrast,    {      {},              60,             {},            70,            55,                65,              75,                 58}},
             {Lift,        {      {},              {},             {},            {},            {},                 5,               6,                  6}},
             {Brightness,  {      {},             160,             {},           150,           170,               190,             150,                300}},
             {Tint,        {      {}, {.35, .85, .45}, {.2, .95, .55}, {.75, .85, 1}, {1, .65, .15},     {.4, .95, .35}, {.62, .82, .66},     {.12, .8, .22}}},
             {DoDefocus,   {      {},              {},             {},            {},             1,                {},              {},                 {}}},
             {Defocus,     {      {},              {},             {},            {},             2,                {},              {},                 {}}},
             {DoGrain,     {      {},               1,              1,             1,            {},                 1,               1,                  1}},
             {LumBias,     {      {},              {},             {},            {},            {},                {},               1,                  1}},
             {Grain,       {      {},               6,              5,             4,            {},                {},              12,                  7}},
             {GrainSize,   {      {},              {},              2,            {},            {},                {},              {},                  2}},
             {DoBlurGrain, {      {},              {},             {},            {},            {},                {},               1,                 {}}},
             {BlurGrain,   {      {},              {},             {},            {},            {},                {},             1.5,                 {}}},
             {HiSoft,      {      {},              {},             20,            {},            {},                25,              12,                 80}},
             {DoBorder,    {      {},              {},             {},            {},            {},                {},               0,                 {}}},
             {ClearRad,    {      {},             .56,             {},            {},            {},               .54,              {},                .56}},
             {Softness,    {      {},              {},             40,            {},            {},                20,              {},                 {}}},
             {BorderType,  {      {},               1,             {},            {},            {},                {},              {},                  1}},  // 1 Binocular
             {Separation,  {      {},              .6,             {},            {},            {},                {},              {},                 .6}},
             {RetType,     {      {},              {},             {},            {},            {},                 2,              {},                  3}},  // 2 Type 2, 3 Type 3
             {RetSize,     {      {},              {},             {},            {},            {},                .5,              {},                 .5}},
             {RetColour,   {      {},              {},             {},            {},            {},   {1, .16, .08, 1},             {},    {1, .7, .12, 1}}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
