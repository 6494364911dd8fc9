// The presets of Q_StarField. What a preset does not list goes to its default.
#include "effects/sky/StarField.h"

// clang-format off
void StarFieldInfo::declarePresets() {
    presets(Demos,
            {                  "User", "Deep Space", "Warp", "Approaching Cluster", "Milky Way", "Time Exposure", "Snowy TV Space", "Nebula Flight", "Twinkling Night", "Space Telescope"},
            {{Background,      {    {},            0,     15,                     0,           0,              10,                0,               0,                40,                 0}},
             {Stars,           {    {},        40000,  60000,                 10000,        8000,            8000,           150000,           25000,             12000,             25000}},
             {BoxSize,         {    {},           {},    120,                    {},          {},              {},               40,              {},                {},               300}},
             {Clumping,        {    {},           25,      0,                     5,          {},               0,                0,              {},                10,                40}},
             {FarStars,        {    {},       160000,   4000,                 30000,      400000,           12000,            20000,           50000,             12000,            300000}},
             {Brightness,      {    {},          150,     60,                   110,         320,              90,               60,             110,               220,               300}},
             {MagnitudeRange,  {    {},           {},     85,                    {},          {},              80,               30,              {},                90,               105}},
             {StarSize,        {    {},           {},  .0012,                    {},          {},              {},            .0024,              {},             .0021,                {}}},
             {Colour,          {    {},           85,     40,                    75,          60,              90,                0,              75,                80,               100}},
             {Speed,           {    {},          .04,      2,                   1.2,           0,               0,              .12,              .2,                 0,                 0}},
             {SpeedX,          {    {},           {},     {},                    {},          {},              {},               {},             .03,                {},               .02}},
             {Pitch,           {    {},           {},     {},                    {},          15,              25,               {},              {},                {},                {}}},
             {FieldOfView,     {    {},           55,     75,                    45,          80,              75,               80,              70,                {},                35}},
             {ShutterTime,     {    {},           {},      2,                    {},          {},             150,              .05,              {},                {},                {}}},
             {StreakLight,     {    {},           {},     70,                    {},          {},              90,               {},              {},                {},                {}}},
             {Glow,            {    {},           80,    100,                   120,          40,              30,                0,             100,               150,                {}}},
             {Spikes,          {    {},           {},     {},                    {},          {},              {},               {},              {},                 3,                 2}},
             {SpikeLength,     {    {},           {},     {},                    {},          {},              {},               {},              {},              .045,                .1}},
             {SpikeStrength,   {    {},           {},     {},                    {},          {},              {},               {},              {},                80,               100}},
             {SpikeAngle,      {    {},           {},     {},                    {},          {},              {},               {},              {},                {},                27}},
             {Twinkle,         {    {},           {},     {},                    {},          {},              {},              100,              {},                70,                {}}},
             {TwinkleSpeed,    {    {},           {},     {},                    {},          {},              {},                1,              {},                .3,                {}}},
             {TurnSpeed,       {    {},           {},     .3,                    {},         .02,              .3,               {},              {},               .01,                {}}},
             {PolePitch,       {    {},           {},     {},                    {},          40,              12,               {},              {},                60,                {}}},
             {MilkyWay,        {    {},           {},     {},                    12,          85,              10,               {},              {},                {},                {}}},
             {BandPitch,       {    {},           {},     {},                    25,          10,              50,               {},              {},                {},                {}}},
             {Nebula,          {    {},           35,     {},                     8,          {},              {},               {},             130,                {},                80}},
             {NebulaScale,     {    {},          150,     {},                    {},          {},              {},               {},              {},                {},                40}},
             {NebulaColourA,   {    {},           {},     {},                    {},          {},              {},               {},              {},                {},    {.9, .45, .25}}},
             {NebulaColourB,   {    {},           {},     {},                    {},          {},              {},               {},              {},                {},     {.2, .6, .75}}},
             {ClusterStars,    {    {},           {},     {},                 15000,          {},              {},               {},              {},                {},                {}}},
             {ClusterDistance, {    {},           {},     {},                   260,          {},              {},               {},              {},                {},                {}}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
