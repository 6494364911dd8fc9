// The presets of Q_TrailParticle. What a preset does not list goes to its default. BornOn: 1 outline, 2 leading edge, 3
// trailing edge; Look: 0 point, 1 streak, 2 blob, 3 star, 4 ring, 5 flake, 6 paper, 7 leaf; Blend: 0 over, 1 add, 2
// screen.
#include "effects/trails/TrailParticle.h"

// clang-format off
void TrailParticleInfo::declarePresets() {
    presets(Demos,
            {                        "User",    "Magic Wand",    "Stardust", "Sand Runner",     "Fire Walk", "Bubbles Behind",  "Pixel Wake",        "Sparks", "Autumn Gust",  "Comet Tail"},
            {{BornOn,               {    {},              {},             1,             3,              {},                3,             3,               3,             3,            {}}},
             {Rate,                 {    {},              32,            70,           900,             340,                4,           700,             120,           3.5,           320}},
             {RateBySpeed,          {    {},             100,            {},           100,              20,               {},           100,             100,            {},           100}},
             {Lifetime,             {    {},              55,            90,            40,              30,              110,            50,              26,           120,            34}},
             {LifeVar,              {    {},              70,            80,            60,              70,               40,            80,              80,            20,            80}},
             {Scatter,              {    {},              .5,           2.2,            .1,              .1,               .6,             0,               0,            .8,            .1}},
             {OwnColours,           {    {},              {},            {},            {},              {},               {},             1,              {},            {},            {}}},
             {InFront,              {    {},              {},            60,            {},              {},              100,           100,              {},           100,            {}}},
             {Inherit,              {    {},              12,             6,            30,               4,               12,            10,              35,            25,             6}},
             {Speed,                {    {},             1.2,            .5,             2,              .5,               .8,            .6,               4,             1,            .3}},
             {Angle,                {    {},              {},            {},            65,              {},               {},            {},             150,            {},            {}}},
             {Aim,                  {    {},              {},            {},             0,              {},               {},            {},               1,            {},            {}}},
             {Spread,               {    {},              {},            {},           120,              {},               {},            {},             120,            {},            {}}},
             {AirVar,               {    {},              {},            {},            70,              60,               60,            {},              {},            60,            {}}},
             {forces.gravity,       {    {},            .035,          .004,           .22,             0.3,              .02,             0,             .24,           .06,          .002}},
             {forces.gravityAngle,  {    {},              {},            {},            {},              90,               90,            {},              {},            {},            {}}},
             {forces.grip,          {    {},               4,             6,             5,               7,                5,             9,               2,             5,             8}},
             {forces.swirl,         {    {},             1.2,             1,             1,             2.4,              1.6,             2,              .5,           2.4,            .8}},
             {forces.swirlSize,     {    {},              {},            10,             6,               6,               10,             9,              {},            14,             8}},
             {shape.look,           {    {},               3,             2,             0,               2,                4,             6,               1,             7,             2}},
             {shape.blend,          {    {},               2,             2,             0,               2,                2,             0,               2,             0,             2}},
             {shape.size,           {    {},              10,             4,           1.3,              24,               17,           4.5,             1.5,            26,             9}},
             {shape.sizeVar,        {    {},              90,            90,            60,              40,               75,            70,              60,            35,            80}},
             {shape.sizeBirth,      {    {},              {},            {},            {},             100,               60,            {},              {},            {},            {}}},
             {shape.sizeDeath,      {    {},              {},            50,            {},              15,              110,            30,              {},            {},            20}},
             {shape.length,         {    {},              {},            {},            {},              {},               {},            {},             1.6,            {},            {}}},
             {shape.spin,           {    {},               2,            {},            {},              {},                1,             4,              {},             4,            {}}},
             {shape.tumble,         {    {},              {},            {},            {},              {},               {},            {},              {},             6,            {}}},
             {shape.glow,           {    {},               7,            18,            {},              10,                0,            {},              55,            {},            10}},
             {ageing.birth,         {    {},    {1, .97, .85}, {.85, .92, 1}, {.83, .7, .5},    {1, .7, .28},    {.85, .95, 1},            {},    {1, .96, .8}, {.82, .4, .06}, {.75, .9, 1}}},
             {ageing.middle,        {    {},    {1, .82, .45},  {.6, .7, 1}, {.74, .6, .41},  {1, .34, .05},    {.85, .95, 1},            {},   {1, .66, .22}, {.82, .4, .06}, {.4, .68, 1}}},
             {ageing.death,         {    {},    {1, .55, .75}, {.75, .5, 1}, {.66, .52, .35}, {.45, .06, .02},    {.85, .95, 1},            {}, {.75, .16, .03},  {.7, .3, .05},  {.2, .3, .9}}},
             {ageing.change,        {    {},              {},            {},            {},              {},               {},             0,              {},            {},            {}}},
             {ageing.hueVar,        {    {},               8,             8,            {},              {},               14,            {},              {},             9,            {}}},
             {ageing.lightVar,      {    {},              {},            50,            35,              30,               {},             8,              {},            40,            {}}},
             {ageing.gain,          {    {},             140,           130,            {},             100,              110,            {},             170,            {},           100}},
             {ageing.opacity,       {    {},              {},            90,            80,              15,               50,            {},              {},            {},            13}},
             {ageing.fadeIn,        {    {},               4,            10,             0,              15,                6,             0,               0,             2,            10}},
             {ageing.fadeOut,       {    {},              50,            60,            35,              60,                8,            35,              45,            10,            70}},
             {ageing.twinkle,       {    {},              90,            85,            {},              {},               {},            {},              {},            {},            {}}},
             {ageing.twinkleRate,   {    {},               9,             7,            {},              {},               {},            {},              {},            {},            {}}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
