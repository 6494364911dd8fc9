// The presets of Q_InfraRed. What a preset does not list goes to its default.
#include "effects/night/InfraRed.h"

// clang-format off
void InfraRedInfo::declarePresets() {
    presets(Demos,
            {                         "Default",   "Landscape1",   "Landscape2",   "Landscape3",    "MoonLight"},
            {{Softening,               {      {},              6,             10,              8,             10}},
             {BW,                      {      {},             {},             {},              1,             {}}},
             {red.points[0],           {      {},     {.14, .26},     {.14, .26},      {.14, .2},       {.14, 0}}},
             {red.points[1],           {      {},     {.29, .72},     {.29, .62},     {.29, .66},     {.29, .02}}},
             {red.points[2],           {      {},     {.43, .92},     {.43, .86},     {.43, .92},     {.43, .07}}},
             {red.points[3],           {      {},     {.57, .55},     {.57, .74},     {.57, .52},     {.57, .12}}},
             {red.points[4],           {      {},     {.71, .28},     {.71, .58},     {.71, .17},     {.71, .19}}},
             {red.points[5],           {      {},       {.86, 1},       {.86, 1},       {.86, 1},     {.86, .62}}},
             {red.presetNumbers[0],    {       0,              1,              2,              3,              4}},
             {red.presetNumbers[1],    {       0,              1,              2,              3,              4}},
             {green.points[0],         {      {},     {.14, .05},     {.14, .14},      {.14, .2},     {.14, .01}}},
             {green.points[1],         {      {},     {.29, .16},     {.29, .44},     {.29, .66},     {.29, .04}}},
             {green.points[2],         {      {},     {.43, .36},     {.43, .68},     {.43, .92},     {.43, .12}}},
             {green.points[3],         {      {},     {.57, .46},     {.57, .68},     {.57, .52},     {.57, .19}}},
             {green.points[4],         {      {},      {.71, .5},      {.71, .7},     {.71, .17},     {.71, .28}}},
             {green.points[5],         {      {},       {.86, 1},       {.86, 1},       {.86, 1},     {.86, .73}}},
             {green.presetNumbers[0],  {       0,              1,              2,              3,              4}},
             {green.presetNumbers[1],  {       0,              1,              2,              3,              4}},
             {blue.points[0],          {      {},      {.14, .1},      {.14, .1},      {.14, .2},     {.14, .04}}},
             {blue.points[1],          {      {},     {.29, .22},     {.29, .12},     {.29, .66},     {.29, .11}}},
             {blue.points[2],          {      {},     {.43, .42},     {.43, .26},     {.43, .92},     {.43, .24}}},
             {blue.points[3],          {      {},     {.57, .57},     {.57, .52},     {.57, .52},     {.57, .34}}},
             {blue.points[4],          {      {},     {.71, .62},      {.71, .8},     {.71, .17},     {.71, .44}}},
             {blue.points[5],          {      {},       {.86, 1},       {.86, 1},       {.86, 1},     {.86, .86}}},
             {blue.presetNumbers[0],   {       0,              1,              2,              3,              4}},
             {blue.presetNumbers[1],   {       0,              1,              2,              3,              4}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
