// The presets of Q_RainDrops. What a preset does not list goes to its default.
#include "effects/water/RainDrops.h"

// clang-format off
void RainDropsInfo::declarePresets() {
    presets(Demos,
            {                  "Default", "Light Shower", "Another Shower", "Heavy Static", "Heavy Runny", "Steamy"},
            {{StartAt,         {       0,             20,               20,              0,             0,        1}},
             {PreRoll,         {       2,              8,                7,              2,            10,        4}},
             {Fecundity,       {       5,              5,                5,             33,            33,      100}},
             {FecundVar,       {      10,            100,               10,            100,           100,      100}},
             {InitialVelocity, {      30,              5,               30,              0,             0,        0}},
             {VelMagVar,       {     100,              0,              100,              0,             0,        0}},
             {Gravity,         {     4.5,            4.5,             1.38,           0.52,          2.35,     0.56}},
             {GravChance,      {       5,              5,                4,              5,            40,       80}},
             {GravWait,        {       0,              0,                0,            100,            14,      136}},
             {GravBoost,       {       1,              2,                2,            5.5,          5.66,        1}},
             {DoFriction,      {       1,              1,                1,              1,             1,        0}},
             {Friction,        {    0.05,          0.116,             0.05,          0.055,         0.055,    0.116}},
             {SwirlAmp,        {      14,             12,               30,              6,             6,        8}},
             {SwlMaxTim,       {      50,             22,              222,              0,             0,      682}},
             {LumpRad,         {       5,              2,                5,            4.2,           4.2,     3.55}},
             {MonoVar,         {      10,              0,                0,            100,           100,        0}},
             {FadeOut,         {      95,             95,               70,             95,            90,       93}},
             {Distortion,      {     1.2,           1.01,             1.01,           1.14,          1.09,     1.05}},
             {LightOn,         {       0,              0,                1,              1,             1,        1}},
             {DoSteam,         {       0,              0,                0,              0,             0,        1}},
             {Focus,           {      26,             26,               26,             26,            26,       10}},
             {Lift,            {      26,             26,               26,             26,            26,       26}},
             {Brightness,      {      82,             82,               82,             82,            82,       83}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
