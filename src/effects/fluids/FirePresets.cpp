// The presets of Q_Fire. What a preset does not list goes to its default.
#include "effects/fluids/Fire.h"

// clang-format off
void FireInfo::declarePresets() {
    presets(DemosA,
            {                 "Base",    "More Smoke", "Wilder", "Calm Smoke", "Extreme",    "Bold Smoke", "Smooth Dramatic", "Lapping Fast", "Lapping Slow",         "Smokey"},
            {{TStep,          {    {},              {},       {},           {},       1.5,              {},                {},             {},             .6,               {}}},
             {VCFS,           {    {},              {},      1.5,           .1,         2,              {},                .4,            1.5,             {},               {}}},
             {HeatUp,         {    {},              {},        2,           .5,         4,              {},               1.2,              6,             .6,              1.5}},
             {TempDiss,       {    {},              {},       .3,           .3,        .2,              {},                .2,             .4,            .25,               .6}},
             {DenseDown,      {    {},              {},       {},           {},        {},             .05,                {},             {},             {},               {}}},
             {SmokeDissipate, {    {},             .05,       {},          .08,        {},             .03,                {},             {},             {},              .02}},
             {AVhi,           {    {},             1.5,       {},          1.5,        {},               1,                {},             {},             {},              2.5}},
             {Vhi,            {    {},             200,      250,          250,       250,             200,               250,            220,            450,               {}}},
             {V1Col,          {    {}, {.05, .05, .05},       {}, {.1, .1, .1},        {}, {.03, .03, .03},                {},             {},             {}, {.16, .155, .15}}},
             {V2Col,          {    {},              {},       {},           {},        {},              {},                {},             {},             {},   {.2, .15, .13}}},
             {V6Col,          {    {},              {},       {},           {},        {},              {},                {},             {},             {},      {1, .9, .6}}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
