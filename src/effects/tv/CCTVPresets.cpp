// The presets of Q_CCTV. What a preset does not list goes to its default.
#include "effects/tv/CCTV.h"

// clang-format off
void CCTVInfo::declarePresets() {
    presets(Demos,
            {              "User", "Car Park Night", "Shop Quad", "Lift Camera", "Worn Tape", "Infrared", "Bad Reception", "Digital Blocks", "Switching Rounds"},
            {{View,        {   {},               {},           1,            {},          {},         {},              {},               {},                  2}},
             {Lines,       {   {},              400,         480,           360,         288,        432,             360,              540,                 300}},
             {Colour,      {   {},               22,          70,             0,          75,         {},              30,               65,                 12}},
             {Contrast,    {   {},              125,         120,           105,          90,        120,             105,              108,                 130}},
             {Gain,        {   {},              135,         115,           130,         105,        115,             100,              100,                 {}}},
             {Noise,       {   {},               30,           6,            14,           8,         20,              10,                2,                 16}},
             {Sharpening,  {   {},               70,          50,            80,          20,         60,              20,               60,                 90}},
             {Bloom,       {   {},               55,          20,            25,          30,         40,              20,               15,                 {}}},
             {Smear,       {   {},              110,          10,             0,          10,          0,               0,                0,                 {}}},
             {Distortion,  {   {},               15,          10,            60,           4,         25,               6,               10,                 {}}},
             {Infrared,    {   {},               {},          {},            {},          {},          1,              {},               {},                 {}}},
             {Generations, {   {},                1,           1,             0,           4,          0,               1,                0,                 {}}},
             {Jitter,      {   {},                4,           3,             1,          22,          1,              24,                0,                 {}}},
             {Skew,        {   {},                8,           6,             0,          70,          0,              30,                0,                 {}}},
             {HeadSwitch,  {   {},                4,           4,             0,          14,          0,               0,                0,                 {}}},
             {Tracking,    {   {},               {},          {},            {},          55,         {},              {},               {},                 {}}},
             {DropOuts,    {   {},                1,           1,             0,          16,          0,               0,                0,                 {}}},
             {ChromaDelay, {   {},                2,           2,             0,           5,          0,               3,                0,                 {}}},
             {Snow,        {   {},               {},          {},            {},           3,         {},              20,               {},                 {}}},
             {Ghost,       {   {},               {},          {},            {},          {},         {},              45,               {},                 {}}},
             {GhostDelay,  {   {},               {},          {},            {},          {},         {},               4,               {},                 {}}},
             {Compression, {   {},               {},          {},            {},          {},         12,              {},               62,                 {}}},
             {BlockErrors, {   {},               {},          {},            {},          {},         {},              {},               30,                 {}}},
             {ScanLines,   {   {},               20,          30,            35,          25,         15,              40,                0,                 45}},
             {HumBar,      {   {},                5,           4,            15,           8,          0,              20,                0,                 16}},
             {Roll,        {   {},               {},          {},            {},          {},         {},               9,               {},                 {}}},
             {Curvature,   {   {},               {},          {},            45,          {},         {},              30,               {},                 25}},
             {Vignette,    {   {},               25,          15,            45,          20,         35,              25,                0,                 40}},
             {Tint,        {   {},               {},          {}, {.86, .97, 1},{1, .97, .9},{.93, 1, .96},            {},               {},                 {.84, 1, .88}}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
