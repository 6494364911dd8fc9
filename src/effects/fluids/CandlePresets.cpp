// The presets of Q_Candle. What a preset does not list goes to its default.
#include "effects/fluids/Candle.h"

// clang-format off
void CandleInfo::declarePresets() {
    presets(DemosA,
            {                 "Base",    "Blue Bias",  "Wilder Blue", "Small Yellow", "Soft Yellow",          "Pink", "Guttering", "Dramatic", "Lapping", "Steady"},
            {{CRadiusX,       {   {},             {},             {},            .05,            {},              {},          {},         {},        {},       {}}},
             {CRadiusY,       {   {},             {},             {},            .08,            {},              {},          {},         {},        {},       {}}},
             {Soften,         {   {},             {},             {},             {},             4,              {},          {},         {},        {},       {}}},
             {Blurx,          {   {},             {},             {},             {},            40,              {},          {},         {},        {},       {}}},
             {Blury,          {   {},             {},             {},             {},            70,              {},          {},         {},        {},       {}}},
             {Bbright,        {   {},             {},             {},             {},            {},              {},          {},          4,        {},       {}}},
             {Visco,          {   {},             {},             {},             {},            {},              {},          {},         {},        {},       .4}},
             {VCFS,           {   {},             {},             20,             {},            {},              {},          {},         15,        {},        0}},
             {HeatUp,         {   {},             {},              6,             {},            {},              {},          {},          6,         5,        2}},
             {TempDiss,       {   {},             {},             {},             {},            {},              {},          {},         {},        .5,       {}}},
             {FlameCol,       {   {},   {.35, .5, 1},   {.35, .5, 1},             {},            {},   {1, .45, .6},          {},         {},        {},       {}}},
             {GasThin,        {   {},             .2,             .2,             {},            {},              {},          {},         {},        {},       {}}},
             {wind.on,        {   {},             {},             {},             {},            {},              {},           1,         {},        {},       {}}},
             {AutoGutter,     {   {},             {},             {},             {},            {},              {},           1,         {},        {},       {}}},
             {GutterStrength, {   {},             {},             {},             {},            {},              {},          20,         {},        {},       {}}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
