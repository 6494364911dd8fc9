// The presets of Q_NightVision. What a preset does not list goes to its default.
#include "effects/night/NightVision.h"

// clang-format off
void NightVisionInfo::declarePresets() {
    presets(Demos,
            {              "Type A",        "Type B",       "Type C",      "Type D",      "Type E",          "Type F", "Type G",           "Type H"},
            {{Contrast,    {      {},              60,             {},            70,            55,                {},       {},                110}},
             {Lift,        {      {},              {},             {},            {},            {},                {},       {},                  0}},
             {Brightness,  {      {},             160,             {},           150,           170,                {},       {},                320}},
             {Tint,        {      {}, {.35, .85, .45}, {.2, .95, .55}, {.75, .85, 1}, {1, .65, .15},                {},       {},     {.15, .7, .25}}},
             {DoDefocus,   {      {},              {},             {},            {},             1,                {},       {},                 {}}},
             {Defocus,     {      {},              {},             {},            {},             2,                {},       {},                 {}}},
             {DoGrain,     {      {},               1,              1,             1,            {},                {},        1,                  1}},
             {LumBias,     {      {},              {},             {},            {},            {},                {},        1,                  1}},
             {Grain,       {      {},               6,              5,             4,            {},                {},       12,                  6}},
             {GrainSize,   {      {},              {},              2,            {},            {},                {},       {},                  2}},
             {DoBlurGrain, {      {},              {},             {},            {},            {},                {},        1,                 {}}},
             {BlurGrain,   {      {},              {},             {},            {},            {},                {},      1.5,                 {}}},
             {HiSoft,      {      {},              {},             20,            {},            {},                {},       {},                 {}}},
             {DoBorder,    {      {},              {},             {},            {},            {},                {},        0,                 {}}},
             {ClearRad,    {      {},             .56,             {},            {},            {},                {},       {},                .56}},
             {Softness,    {      {},              {},             40,            {},            {},                {},       {},                 {}}},
             {BorderType,  {      {},               1,             {},            {},            {},                {},       {},                  1}},  // 1 Binocular
             {Separation,  {      {},              .6,             {},            {},            {},                {},       {},                 .6}},
             {RetType,     {      {},              {},             {},            {},            {},                 1,       {},                  3}},  // 1 Type 1, 3 Type 3
             {RetColour,   {      {},              {},             {},            {},            {}, {.9, .12, .05, 1},       {}, {.02, .02, .02, 1}}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
