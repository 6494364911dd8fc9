// The presets of Q_Cumulo and what greys its controls. What a preset does not list goes to its default.
#include "effects/sky/Cumulo.h"

CumuloInfo::CumuloInfo() {
    for (ControlK7* shown : {&Perspective, &UseConstraints, &UseWind, &UseLight}) shown->followedByOverlay = true;
    Demos.followedByOverlay = true;
    lightWidget.colour = OVERLAY_YELLOW;
    declarePresets();
    ghost({&InvertBirthMatte}, UseBirthMatte, isOff);
    ghost({&CameraDistance, &VanishP, &ZSpeed, &ZRange}, Perspective, isOff);
    ghost({&GrowLife, &ShrinkLife, &MinSize}, GrowShrink, isOff);
    ghost({&TextureMag, &TextureX, &TextureY, &Seethe}, UseTextured, isOff);
    ghost({&InLife, &OutLife}, UseFading, isOff);
    ghost({&Gravity, &GravityAngle, &Gravity90toWind}, UseGravity, isOff);
    ghost({&Friction}, UseFriction, isOff);
    ghost({&SwirlDensity, &SwirlMagnitude, &SwirltoMax}, UseSwirling, isOff);
    ghost({&ContraintAngle}, UseConstraints, isOff);
    ghost({&WindSource, &WindTarget, &WindSpeed}, UseWind, isOff);
    ghost({&LightSource, &LightTarget, &ZLightSource, &Contrast, &Brightness}, UseLight, isOff);
    scene.inputs = {"road-small.png"};
    scene.settings = {{"Density", "80"},        {"BirthRadius", "0.2"},    {"CloudSize", "14"},  {"Fluffiness", "12"},
                      {"Perspective", "on"},    {"CameraDistance", "140"}, {"UseGravity", "on"}, {"Gravity", "1"},
                      {"UseConstraints", "on"}, {"ContraintAngle", "10"},  {"ShutterTime", "25"}};
    scene.plates = {"road.jpg"};
    scene.look = {{"Demos", "Fair Weather"}};
}

// clang-format off
void CumuloInfo::declarePresets() {
    presets(Demos,
            {                  "Default", "Fair Weather",         "Storm", "Drifting Wisps", "Rising Column",  "Boiling"},
            {{start.preRoll,  {       {},            280,             240,              220,             280,        200}},
             {Quantity,       {       {},             14,               9,                5,               4,          3}},
             {Continuity,     {       {},             25,              {},               {},              {},         {}}},
             {Lifetime,       {       {},            300,             240,               {},             270,         {}}},
             {Birth,          { {.3, .8},      {.2, .83},       {.5, 1.3},        {.3, .92},       {.5, .12}, {.45, .78}}},
             {BirthRadius,    {       {},            .18,               1,               .5,             .07,        .24}},
             {VanishP,        { {.5, .3},       {.5, .3},        {.5, .3},         {.5, .3},        {.5, .3},   {.5, .3}}},
             {CloudSize,      {       {},             12,              26,               17,              14,         20}},
             {CloudSizeVar,   {       {},             55,              {},               {},              {},         {}}},
             {GrowLife,       {       {},             {},              {},               {},              90,         60}},
             {ShrinkLife,     {       {},             {},              {},               {},               0,         {}}},
             {MinSize,        {       {},              5,               8,               {},               3,          6}},
             {CloudColour,    {       {}, {.5, .55, .64}, {.13, .14, .18},               {}, {.33, .31, .31},         {}}},
             {Fluffiness,     {       {},             12,              12,               {},              13,         10}},
             {Density,        {       {},             75,              60,               22,              70,         85}},
             {TextureMag,     {       {},             {},              {},               60,              {},         60}},
             {TextureX,       {       {},             18,              {},                3,              {},         22}},
             {TextureY,       {       {},             18,              {},               34,              {},         22}},
             {Seethe,         {       {},             {},              {},               {},              {},         30}},
             {InLife,         {       {},             {},              {},               {},               8,         {}}},
             {OutLife,        {       {},             {},              {},               {},              60,         {}}},
             {UseGravity,     {       {},             {},              {},               {},               1,         {}}},
             {Gravity,        {       {},             {},              {},               {},               6,         {}}},
             {SwirlDensity,   {       {},             12,              {},               {},               6,         {}}},
             {SwirlMagnitude, {       {},            2.5,               4,              1.5,               2,         {}}},
             {UseWind,        {       {},             {},              {},               {},               0,          0}},
             {WindSource,     { {.1, .8},        {0, .8},        {.1, .9},         {.1, .8},        {.1, .8},   {.1, .8}}},
             {WindTarget,     {{.9, .85},        {1, .8},        {.9, .9},        {.9, .85},       {.9, .85},  {.9, .85}}},
             {WindSpeed,      {       {},             .6,              {},               {},              {},         {}}},
             {Light,          {       {},             {}, {.62, .66, .74},               {},  {.95, .9, .84},         {}}},
             {LightSource,    {{.1, .95},      {.1, .95},       {.1, .95},        {.1, .95},       {.1, .95},  {.1, .95}}},
             {LightTarget,    { {.6, .3},       {.6, .3},        {.6, .3},         {.6, .3},        {.6, .3},   {.6, .3}}},
             {ZLightSource,   {       {},            .25,              .2,               {},              .2,         .2}}},
            PresetScope::OthersToDefaults);
}
// clang-format on
