// The presets of Q_Thermo. What a preset does not list goes to its default.
#include "effects/night/Thermo.h"

// clang-format off
void ThermoInfo::declarePresets() {
    presets(Demos,
            {                               "Default",   "Ripple",     "Cold",      "Hot"},
            {{Softening,                    {       {},         40,         30,         30}},
             {temperature.points[0],        {       {},  {.02, .1},         {}, {.02, .99}}},
             {temperature.points[1],        {       {}, {.25, .75}, {.25, .08}, {.25, .98}}},
             {temperature.points[2],        {       {}, {.48, .25}, {.48, .18}, {.48, .95}}},
             {temperature.points[3],        {       {}, {.66, .85},  {.66, .3},  {.66, .9}}},
             {temperature.points[4],        {       {},  {.84, .4},  {.84, .4}, {.84, .83}}},
             {temperature.points[5],        {       {}, {.98, .95},  {.98, .5}, {.98, .75}}},
             {temperature.presetNumbers[0], {        0,          1,          2,          3}},
             {temperature.presetNumbers[1], {        0,          1,          2,          3}},
             {intensity.points[0],          {       {},         {},  {.02, .3}, {.02, .12}}},
             {intensity.points[1],          {       {},         {},   {.2, .5},  {.2, .45}}},
             {intensity.points[2],          {       {},         {},   {.4, .7},  {.4, .75}}},
             {intensity.points[3],          {       {},         {},  {.5, .85},  {.5, .95}}},
             {intensity.points[4],          {       {},         {},  {.7, .95},    {.7, 1}}},
             {intensity.points[5],          {       {},         {},    {.9, 1},    {.9, 1}}},
             {intensity.presetNumbers[0],   {        0,          1,          2,          3}},
             {intensity.presetNumbers[1],   {        0,          1,          2,          3}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
