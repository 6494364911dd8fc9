// The presets of Q_Candle. What a preset does not list goes to its default.
#include "effects/fluids/Candle.h"

// clang-format off
void CandleInfo::declarePresets() {
    presets(DemosA,
            {                   "Base",  "Blue Bias", "Wilder Blue", "Small Yellow", "Soft Yellow",       "Pink", "Guttering", "Dramatic", "Lapping", "Steady"},
            {{CRadiusX,       {      {},           {},            {},            .05,            {},           {},          {},         {},        {},       {}}},
             {CRadiusY,       {      {},           {},            {},            .08,            {},           {},          {},         {},        {},       {}}},
             {Soften,         {      {},           {},            {},             {},             4,           {},          {},         {},        {},       {}}},
             {Blurx,          {      {},           {},            {},             {},            40,           {},          {},         {},        {},       {}}},
             {Blury,          {      {},           {},            {},             {},            70,           {},          {},         {},        {},       {}}},
             {Bbright,        {      {},           {},            {},             {},            {},           {},          {},          3,        {},       {}}},
             {VCFS,           {      {},           {},            12,             {},            {},           {},          {},         10,         9,        0}},
             {HeatUp,         {      {},            2,             5,              2,           1.5,            2,           2,          6,         5,      1.5}},
             {TempAdd,        {      {},          .33,            .4,            .33,           .35,          .35,          .4,        .45,        .5,      .33}},
             {TempDiss,       {      {},           {},            .4,             {},            {},           {},          {},         .4,        .5,       {}}},
             {FlameCol,       {      {}, {.35, .5, 1},  {.35, .5, 1},             {},            {}, {1, .45, .6},          {},         {},        {},       {}}},
             {GasThin,        {      {},           .2,            .2,              1,             1,           {},           1,          1,         1,        1}},
             {wind.on,        {      {},           {},            {},             {},            {},           {},           1,         {},        {},       {}}},
             {wind.start,     {  {0, 0},       {0, 0},        {0, 0},         {0, 0},        {0, 0},       {0, 0},   {-.1, .2},     {0, 0},    {0, 0},   {0, 0}}},
             {wind.end,       {{.5, .5},     {.5, .5},      {.5, .5},       {.5, .5},      {.5, .5},     {.5, .5},    {.6, .3},   {.5, .5},  {.5, .5}, {.5, .5}}},
             {wind.strength,  {      {},           {},            {},             {},            {},           {},         .15,         {},        {},       {}}},
             {AutoGutter,     {      {},           {},            {},             {},            {},           {},           1,         {},        {},       {}}},
             {GutterStrength, {      {},           {},            {},             {},            {},           {},          40,         {},        {},       {}}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
