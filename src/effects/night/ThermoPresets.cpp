// The presets of Q_Thermo. What a preset does not list goes to its default.
#include "effects/night/Thermo.h"

// clang-format off
void ThermoInfo::declarePresets() {
    presets(Demos,
            {                                   "Default",    "Ripple",      "Cold",       "Hot"},
            {{Softening,                       {        {},          30,          30,          20}},
             {temperature.points[0],           {        {},   {.14, .1},    {.14, 0},    {.14, 1}}},
             {temperature.points[1],           {        {},  {.29, .75},  {.29, .04},  {.29, .99}}},
             {temperature.points[2],           {        {},  {.43, .25},   {.43, .1},  {.43, .96}}},
             {temperature.points[3],           {        {},  {.57, .85},  {.57, .17},   {.57, .9}}},
             {temperature.points[4],           {        {},   {.71, .4},  {.71, .24},  {.71, .83}}},
             {temperature.points[5],           {        {},  {.86, .95},   {.86, .3},  {.86, .76}}},
             {temperature.presetNumbers[0],    {         0,           1,           2,           3}},
             {temperature.presetNumbers[1],    {         0,           1,           2,           3}},
             {intensity.points[0],             {        {},  {.14, .45},   {.14, .1},  {.14, .05}}},
             {intensity.points[1],             {        {},  {.29, .75},  {.29, .35},  {.29, .34}}},
             {intensity.points[2],             {        {},   {.43, .9},  {.43, .62},  {.43, .66}}},
             {intensity.points[3],             {        {},   {.57, .9},  {.57, .82},  {.57, .86}}},
             {intensity.points[4],             {        {},   {.71, .9},   {.71, .9},  {.71, .91}}},
             {intensity.points[5],             {        {},   {.86, .9},  {.86, .97},    {.86, 1}}},
             {intensity.presetNumbers[0],      {         0,           1,           2,           3}},
             {intensity.presetNumbers[1],      {         0,           1,           2,           3}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
