// The presets of Q_InfraRed. What a preset does not list goes to its default.
#include "effects/night/InfraRed.h"

// clang-format off
void InfraRedInfo::declarePresets() {
    presets(Demos,
            {                         "Default", "Landscape1", "Landscape2", "Landscape3", "MoonLight"},
            {{Softening,              {       {},           {},           12,           14,          10}},
             {BW,                     {       {},           {},           {},            1,          {}}},
             {red.points[0],          {       {},     {0, .03},     {0, .05},       {0, 0},      {0, 0}}},
             {red.points[1],          {       {},     {.2, .3},    {.2, .16},     {.2, .2},   {.2, .03}}},
             {red.points[2],          {       {},    {.4, .72},     {.4, .5},     {.4, .5},    {.4, .1}}},
             {red.points[3],          {       {},     {.6, .9},    {.6, .88},     {.6, .8},   {.6, .24}}},
             {red.points[4],          {       {},    {.8, .95},    {.8, .98},    {.8, .95},   {.8, .46}}},
             {red.points[5],          {       {},       {1, 1},       {1, 1},       {1, 1},     {1, .8}}},
             {red.presetNumbers[0],   {        0,            1,            2,            3,           4}},
             {red.presetNumbers[1],   {        0,            1,            2,            3,           4}},
             {green.points[0],        {       {},     {0, .04},     {0, .05},       {0, 0},      {0, 0}}},
             {green.points[1],        {       {},     {.2, .1},    {.2, .14},    {.2, .25},   {.2, .05}}},
             {green.points[2],        {       {},    {.4, .17},    {.4, .36},    {.4, .55},   {.4, .14}}},
             {green.points[3],        {       {},    {.6, .42},     {.6, .7},     {.6, .8},    {.6, .3}}},
             {green.points[4],        {       {},    {.8, .78},    {.8, .92},    {.8, .95},   {.8, .54}}},
             {green.points[5],        {       {},     {1, .97},     {1, .99},       {1, 1},    {1, .87}}},
             {green.presetNumbers[0], {        0,            1,            2,            3,           4}},
             {green.presetNumbers[1], {        0,            1,            2,            3,           4}},
             {blue.points[0],         {       {},      {0, .1},     {0, .14},      {0, .1},    {0, .02}}},
             {blue.points[1],         {       {},    {.2, .24},    {.2, .27},     {.2, .4},    {.2, .1}}},
             {blue.points[2],         {       {},    {.4, .36},    {.4, .26},    {.4, .65},   {.4, .24}}},
             {blue.points[3],         {       {},    {.6, .52},    {.6, .25},    {.6, .85},   {.6, .44}}},
             {blue.points[4],         {       {},    {.8, .78},    {.8, .55},    {.8, .95},    {.8, .7}}},
             {blue.points[5],         {       {},     {1, .93},      {1, .9},       {1, 1},    {1, .97}}},
             {blue.presetNumbers[0],  {        0,            1,            2,            3,           4}},
             {blue.presetNumbers[1],  {        0,            1,            2,            3,           4}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
