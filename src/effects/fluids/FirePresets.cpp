// The presets of Q_Fire. What a preset does not list goes to its default.
#include "effects/fluids/Fire.h"

// clang-format off
void FireInfo::declarePresets() {
    presets(DemosA,
            {                 "Base", "More Smoke", "Wilder", "Calm Smoke", "Extreme", "Bold Smoke", "Smooth Dramatic", "Lapping Fast", "Lapping Slow",       "Smokey"},
            {{TStep,          {   {},           {},       {},           {},       1.5,           {},                {},             {},             .5,             {}}},
             {VCFS,           {   {},           {},      1.5,           .1,         2,           {},                 0,             {},             {},             {}}},
             {HeatUp,         {   {},           {},        2,           .5,         5,           {},                 3,              4,             .6,             {}}},
             {TempDiss,       {   {},           {},       {},           {},        {},           {},                {},             .8,             .3,             {}}},
             {DenseDown,      {   {},           {},       {},           {},        {},          .05,                {},             {},             {},             {}}},
             {SmokeDissipate, {   {},          .05,       {},          .08,        {},          .03,                {},             {},             {},            .02}},
             {AVhi,           {   {},           .5,       {},           {},        {},           .3,                {},             {},             {},             {}}},
             {V5Col,          {   {},           {},       {},           {},        {},           {},                {},             {},             {}, {.6, .6, .6}}},
             {V6Col,          {   {},           {},       {},           {},        {},           {},                {},             {},             {}, {.4, .4, .4}}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
