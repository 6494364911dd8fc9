// The presets of Q_Bubbles. What a preset does not list goes to its default.
#include "effects/weather/Bubbles.h"

// clang-format off
void BubblesInfo::declarePresets() {
    presets(Demos,
            {                        "Default",         "Soap", "Champagne", "Under Water",     "Floating",       "Bubbly",       "Swirly",    "Gathering",       "Flurry",         "Pipe"},
            {{start.preRoll,        {        {},            400,          74,           120,            600,            120,            120,            160,            120,            250}},
             {emitter.left,         {{.01, .01},     {.01, .01},    {0, .01},    {.01, .01},     {.01, .01},     {.01, .01},     {.01, .01},     {.01, .01},     {.01, .01},      {.49, .1}}},
             {emitter.right,        {{.99, .01},     {.99, .01},    {1, .01},    {.99, .01},     {.99, .01},     {.99, .01},     {.99, .01},     {.99, .01},     {.99, .01},      {.51, .1}}},
             {emitter.spread,       {        {},             {},        .005,            {},             {},             {},             {},             {},             {},            .02}},
             {emitter.density,      {        {},              2,          {},            12,              1,             50,             10,              6,            100,              2}},
             {emitter.lifetime,     {        {},            500,          {},            {},            900,             {},             {},            300,             {},            300}},
             {TimeMaxSize,          {        {},             {},         248,            {},             {},             {},             {},             {},             {},             {}}},
             {InitialVelocity,      {        {},             40,         500,           150,             20,             {},             {},            200,            200,            150}},
             {VelocityVar,          {        {},             {},          {},            {},             {},             {},             {},             {},             {},             60}},
             {VelDir,               {        {},             {},          {},            {},             {},             {},             {},             {},             {},             80}},
             {GrowthMode,           {        {},              2,          {},             2,              2,              0,              2,              2,              0,              2}},  // 0 Assorted, 2 Variable Growth
             {BubbleSize,           {        {},             40,        3.66,            12,             36,             14,             {},             {},              8,             30}},
             {BubbleSizeVar,        {        {},             80,          18,            {},             {},             {},             {},             {},             {},             90}},
             {gravity.strength,     {        {},            .07,          {},            {},           .035,             {},             {},             {},             {},            .05}},
             {friction.amount,      {        {},             {},        .038,            {},            .04,             {},             {},           .008,             {},             {}}},
             {turbulence.density,   {        {},              8,          73,            30,              6,             40,             12,             14,             18,             20}},
             {turbulence.magnitude, {        {},            .25,          .3,            .8,            .15,             .6,            1.5,            .08,            2.5,             .7}},
             {turbulence.timeToMax, {        {},             {},          25,            {},             {},             {},             {},             {},             {},             {}}},
             {Congregate,           {        {},             {},          {},            {},             {},             {},             {},              1,             {},             {}}},
             {tint.colour,          {        {}, {.35, .42, .5},          {}, {.45, .6, .7}, {.35, .42, .5}, {.35, .42, .5}, {.35, .42, .5}, {.35, .42, .5}, {.35, .42, .5}, {.35, .42, .5}}},
             {Opacity,              {        {},             45,          {},            45,             45,             45,             45,             45,             45,             45}},
             {light.tightness,      {        {},              3,          {},             3,              3,              3,              3,              3,              3,              3}},
             {light.intensity,      {        {},            100,          {},           100,            100,            100,            100,            100,            100,            100}},
             {*light.highlight,     {        {},             50,          {},            50,             50,             50,             50,             50,             50,             50}},
             {RefIntensity,         {        {},             90,          {},            90,             90,             90,             90,             90,             90,             90}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
