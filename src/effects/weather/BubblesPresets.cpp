// The presets of Q_Bubbles, for a frame of 1920 by 1080. What a preset does not list goes to its default.
// GrowthMode 0 is Assorted, 2 Variable Growth. Thin dark skins that mirror much are glassy, also on dark plates, and
// colours that differ a little from bubble to bubble are those of thin films.
#include "effects/weather/Bubbles.h"

// clang-format off
void BubblesInfo::declarePresets() {
    presets(Demos,
            {                         "Default",         "Soap",    "Champagne",   "Under Water",     "Floating",       "Bubbly",       "Swirly",    "Gathering",       "Flurry",         "Pipe"},
            {{start.preRoll,        {        {},            400,             74,             220,            600,            160,            260,            240,            200,            260}},
             {emitter.left,         {{.01, .01},   {-.05, -.02},       {0, .01},      {.1, -.02},     {-.05, .3},      {0, -.02},      {.3, .02},      {0, -.02},      {-.1, .4},      {.3, .24}}},
             {emitter.right,        {{.99, .01},   {1.05, -.02},       {1, .01},      {.9, -.02},     {1.05, .3},      {1, -.02},      {.7, .02},      {1, -.02},      {-.1, .9},     {.31, .24}}},
             {emitter.spread,       {        {},             {},           .005,             .03,            .35,            .02,            .02,            .01,            .05,            .02}},
             {emitter.density,      {        {},            1.2,             {},               4,             .5,             16,              5,              3,             14,             .6}},
             {emitter.lifetime,     {        {},            700,             {},             500,            900,            400,            600,            500,            500,            500}},
             {TimeMaxSize,          {        {},             {},            248,              {},             {},             {},             {},             {},             {},             {}}},
             {InitialVelocity,      {        {},             60,            500,             200,             12,             {},             {},            200,            200,            150}},
             {VelocityVar,          {        {},             {},             {},              {},             {},             {},             {},             {},             {},             60}},
             {VelDir,               {        {},             {},             {},              {},             {},             {},             {},             {},            350,             62}},
             {GrowthMode,           {        {},              2,             {},               0,              2,              0,              2,              2,              0,              2}},
             {BubbleSize,           {        {},             36,           3.66,               9,             40,             13,             10,             18,              8,             26}},
             {BubbleSizeVar,        {        {},             80,             18,              90,             60,            100,            100,            100,            100,             90}},
             {gravity.strength,     {        {},            .07,             {},             .24,           .012,             .2,            .12,             {},            .16,            .09}},
             {gravity.angle,        {        {},             {},             {},              {},             {},             {},             {},             {},            350,             70}},
             {friction.amount,      {        {},             {},           .038,             .06,            .04,             {},             {},           .008,            .03,             {}}},
             {turbulence.density,   {        {},              5,             73,              14,              4,             30,              7,             14,              9,              7}},
             {turbulence.magnitude, {        {},             .2,             .3,              .5,            .12,             .5,            1.3,            .08,            1.6,             .6}},
             {turbulence.timeToMax, {        {},             {},             25,              {},             {},             {},             {},             {},             {},             {}}},
             {Congregate,           {        {},             {},             {},              {},             {},             {},             {},              1,             {},             {}}},
             {tint.variance,        {        {},              9,             {},               4,             14,              6,             12,              8,              8,             14}},
             {tint.colour,          {        {}, {.1, .12, .16}, {.5, .42, .26}, {.05, .16, .19}, {.1, .12, .16}, {.1, .12, .16}, {.1, .12, .16}, {.1, .12, .16}, {.1, .12, .16}, {.1, .12, .16}}},
             {Opacity,              {        {},             42,             50,              48,             34,             42,             42,             42,             42,             42}},
             {light.tightness,      {        {},              3,              3,               3,              3,              3,              3,              3,              3,              3}},
             {light.intensity,      {        {},            170,            170,             170,            170,            170,            170,            170,            170,            170}},
             {*light.highlight,     {        {},             50,             50,              50,             50,             50,             50,             50,             50,             50}},
             {RefIntensity,         {        {},            120,            120,             120,            120,            120,            120,            120,            120,            120}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
