// Q_Fireworks: a firework display.
//
// For whom: night exteriors, celebrations and titles; a distant town's show behind a window; shells that burst on the
// beat of the music; long exposures for stills.
//
// Method. Rockets rise from a line and burst in a field. Each star is a body under gravity and linear drag, so that its
// place at any time has a closed form (FireworkShow.h): nothing is simulated, and a frame knows of no other. A star's
// light is a line from where it was when the shutter opened to where it is when it closes; tails are the embers that it
// left on its way, which sink and fade. Light is added up, with no limit, and what is too bright bleeds as glow; film
// makes whitish cores of it by its shoulder. Smoke stays where shells have burst, drifts, and is seen by the light of
// those that follow.
//
// What the clip steers. Background: what the light falls on, by screening; on request bursts light its lower part.
// Absent: the display alone over transparent black, with alpha as high as the brightest colour of the light.
//
// What moves. All of it, as the show is written: by a seed and a tempo, which may be animated (shells that were lit
// before do not change), or by keys: each step of Trigger is a shell.
#pragma once

#include "Library2/PluginK7.h"
#include "effects/sky/FireworkShow.h"
#include "noiselib/solidnoise.h"

struct FireworksInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Fireworks",
        .menu = "Natural Phenomena",
        .generator = true,
        .overlay = true,
        .description = "Let's celebrate with a firework display. This effect is in Box Number 1",
        .purpose =
            "A firework display: rockets rise with glittering tails and burst into peonies, chrysanthemums, willows, "
            "palms, rings, crossettes, hearts and strobes, with fountains and Roman candles on the ground, smoke, and "
            "light on the scene.",
        .usage =
            "Connect a night plate as Background, begin with one of the Presets, and put the launch line along the "
            "horizon by its handles. The rectangle is the field that shells burst in.\n"
            "Without a background, or with Fireworks Only, the display comes over transparent black: screen or add it "
            "in a comp of your own, behind roofs and trees.\n"
            "Seed writes another show, Tempo says how many shells rise; animate it for a finale. Shells that are in "
            "the air already do not change with it.\n"
            "For a show on the beat set Show to By Triggers and key Trigger: each step upwards is a shell, which "
            "bursts "
            "at Trigger At, as that stands in the same frame.\n"
            "Light On Background brightens what the plate has below Lit Up To, in the colours of the bursts.\n"
            "A Shutter of 2000 to 5000 percent gives the long exposures of still photographs.\n"
            "Any frame can be rendered alone, and is the same as in order. Sizes are parts of the picture's width, so "
            "a "
            "proxy shows the same show.\n"
            "Put it before lens effects and grain.\n"};
    enum Show { BySeed = 1, ByTriggers = 2, ByBoth = 3 };
    enum TriggerMoment { IsBurst = 1, IsLiftOff = 2 };

    ClipRecord input{this, {.name = "Input", .label = "Background Clip", .shortLabel = "BG"}};

    Page pageShow{this, "Fireworks"};
    PresetChoiceK7 Demos{this, {"Demos", "Presets"}, "Sets the other controls to a kind of display; User leaves them."};
    CheckboxControlK7 BlackBG{this,
                              {"BlackBG", "Fireworks Only", false, {.keptByPresets = true}},
                              "Shows the display alone, over transparent black."};
    ListControlK7 Show{this,
                       {"Show", "Show", 0, {"By Seed", "By Triggers", "By Both"}, {.keptByPresets = true}},
                       "Whether shells are lit at random, at Tempo, or where Trigger rises, or both."};
    FloatControlK7 Tempo{this,
                         {"Tempo", "Tempo", 1.3, 0.0, MOST_SHELLS, {.displayMax = 6.0}},
                         "How many shells are lit in a second; may be animated."};
    FloatControlK7 Salvo{this,
                         {"Salvo", "Salvos", 12.0, 0.0, 100.0},
                         "How many launches are three to five shells side by side, in percent."};
    IntegerControlK7 Seed{
        this, {"Seed", "Seed", 1, 1, 9999, {.animates = false}}, "Another number writes another show."};
    IntegerControlK7 StartAt{
        this,
        {"StartAt", "Start At", -250, -100000, 100000, {.animates = false, .keptByPresets = true}},
        "Frame from which on shells are lit; before 0 the show is under way when the shot begins."};
    IntegerControlK7 EndAt{this,
                           {"EndAt", "End At", 100000, -100000, 100000, {.animates = false, .keptByPresets = true}},
                           "Frame after which no more shells are lit."};
    IntegerControlK7 Trigger{this,
                             {"Trigger", "Trigger", 0, 0, 100000, {.keptByPresets = true}},
                             "Key it: where it rises, as many shells are set off as it rises by."};
    ListControlK7 TriggerIs{this,
                            {"TriggerIs", "Trigger Is", 0, {"Burst", "Lift-Off"}, {.keptByPresets = true}},
                            "Whether a shell bursts or lifts off in the frame of its trigger."};
    PositionControlK7 TriggerAt{this, {"TriggerAt", "Trigger At", 0.5, 0.7}, "Where triggered shells burst."};
    FloatControlK7 FrameRate{
        this,
        {"FrameRate", "Show Frame Rate", 25.0, 1.0, 240.0, {.animates = false, .keptByPresets = true}},
        "Frames in a second of the show; more than the project has is slow motion."};

    Page pageStage{this, "Stage"};
    PositionControlK7 LaunchA{this, {"LaunchA", "Launch From", 0.2, 0.0}, "One end of the line that shells rise from."};
    PositionControlK7 LaunchB{this, {"LaunchB", "Launch To", 0.8, 0.0}, "The other end of the launch line."};
    PositionControlK7 BurstAt{
        this, {"BurstAt", "Burst Centre", 0.5, 0.66}, "Middle of the field that shells burst in."};
    SizeControlK7 BurstWidth{this,
                             {"BurstWidth", "Burst Width", 0.66, 0.0, 4.0, {.displayMax = 1.0}},
                             "Half the width of the field, in half widths of the picture."};
    SizeControlK7 BurstHeight{this,
                              {"BurstHeight", "Burst Height", 0.13, 0.0, 4.0, {.displayMax = 1.0}},
                              "Half the height of the field, in half widths of the picture."};
    SizeControlK7 ShellSize{this,
                            {"ShellSize", "Size", 0.27, 0.005, 4.0, {.displayMax = 1.0}},
                            "Radius of bursts, in half widths of the picture."};
    FloatControlK7 SizeVariation{
        this, {"SizeVariation", "Size Variation", 50.0, 0.0, 100.0}, "How much shells differ in size, in percent."};
    FloatControlK7 RiseTime{
        this, {"RiseTime", "Rise Time", 1.5, 0.1, 10.0, {.displayMax = 4.0}}, "Seconds from lift-off to burst."};
    FloatControlK7 Gravity{this,
                           {"Gravity", "Gravity", 100.0, 0.0, 500.0, {.displayMax = 200.0}},
                           "How fast stars and embers sink, in percent of what is usual."};
    FloatControlK7 AirDrag{this,
                           {"AirDrag", "Air Drag", 100.0, 10.0, 500.0, {.displayMax = 200.0}},
                           "How soon the air slows stars down, in percent of what is usual; more makes small bursts."};
    FloatControlK7 Wind{this,
                        {"Wind", "Wind", 6.0, -200.0, 200.0, {.displayMax = 50.0}},
                        "How far stars and smoke drift in a second, in percent of Size; below 0 to the left."};

    Page pageShells{this, "Shells"};
    CheckboxControlK7 Peony{this, {"Peony", "Peony", true}, "A ball of stars without tails."};
    CheckboxControlK7 Chrysanthemum{
        this, {"Chrysanthemum", "Chrysanthemum", true}, "A ball of stars with short tails."};
    CheckboxControlK7 Willow{this, {"Willow", "Willow", true}, "Long golden tails of glitter that hang and sink."};
    CheckboxControlK7 Palm{this, {"Palm", "Palm", true}, "A few thick branches."};
    CheckboxControlK7 Ring{this, {"Ring", "Ring", true}, "One ring of stars or two, seen at an angle."};
    CheckboxControlK7 Crossette{this, {"Crossette", "Crossette", true}, "Stars that break into crosses of four."};
    CheckboxControlK7 Heart{this, {"Heart", "Heart", false}, "Stars in the shape of a heart."};
    CheckboxControlK7 Strobe{this, {"Strobe", "Strobe", true}, "Stars that blink on their long way down."};
    CheckboxControlK7 Fountain{this, {"Fountain", "Fountain", false}, "Sparks thrown up from the launch line."};
    CheckboxControlK7 RomanCandle{
        this, {"RomanCandle", "Roman Candle", false}, "Balls with tails, one after another from the launch line."};

    Page pageStars{this, "Stars"};
    FloatControlK7 StarCount{this,
                             {"StarCount", "Stars", 100.0, 5.0, 400.0, {.displayMax = 200.0}},
                             "How many stars a shell has, in percent of what is usual."};
    SizeControlK7 StarSize{this,
                           {"StarSize", "Star Size", 0.0026, 0.0004, 0.05, {.displayMax = 0.01}},
                           "Radius of stars, in half widths of the picture."};
    FloatControlK7 BurnTime{this,
                            {"BurnTime", "Burn Time", 100.0, 20.0, 400.0, {.displayMax = 200.0}},
                            "How long stars burn, in percent of what is usual."};
    FloatControlK7 Trails{this,
                          {"Trails", "Trails", 100.0, 0.0, 400.0, {.displayMax = 200.0}},
                          "How long tails glow, in percent of what is usual; 0 leaves them out."};
    FloatControlK7 Glitter{this,
                           {"Glitter", "Glitter", 100.0, 0.0, 200.0},
                           "How much tails sparkle, and old stars flicker, in percent of what is usual."};
    FloatControlK7 Irregular{this,
                             {"Irregular", "Irregularity", 100.0, 0.0, 400.0, {.displayMax = 200.0}},
                             "How much stars of a shell differ in speed, direction and burning time, in percent."};
    FloatControlK7 RisingTail{this,
                              {"RisingTail", "Rising Tails", 100.0, 0.0, 400.0, {.displayMax = 200.0}},
                              "How bright rockets are on their way up, in percent; at 0 none is seen."};

    Page pageColour{this, "Colour"};
    ListControlK7 Colouring{this,
                            {"Colouring", "Colouring", 0, {"Classic", "Gold", "Silver", "Pastel", "Own Colours"}},
                            "Which colours shells burn in; Own Colours are the four below."};
    ColourControlK7 Colour1{this, {"Colour1", "Colour 1", 1.0F, 0.1F, 0.06F}, "An own colour, and that of sparks."};
    ColourControlK7 Colour2{this, {"Colour2", "Colour 2", 1.0F, 0.95F, 0.9F}, "An own colour."};
    ColourControlK7 Colour3{this, {"Colour3", "Colour 3", 0.14F, 0.28F, 1.0F}, "An own colour."};
    ColourControlK7 Colour4{this, {"Colour4", "Colour 4", 1.0F, 0.56F, 0.16F}, "An own colour."};
    FloatControlK7 ColourChange{this,
                                {"ColourChange", "Colour Change", 40.0, 0.0, 100.0},
                                "How many shells change their colour halfway, in percent."};

    Page pageLight{this, "Light"};
    FloatControlK7 Brightness{this,
                              {"Brightness", "Brightness", 100.0, 0.0, 1000.0, {.displayMax = 300.0}},
                              "Of all light, in percent; more makes whiter cores."};
    FloatControlK7 Glow{this,
                        {"Glow", "Glow", 100.0, 0.0, 1000.0, {.displayMax = 300.0}},
                        "How much light bleeds around what is bright, in percent."};
    SizeControlK7 GlowSize{this,
                           {"GlowSize", "Glow Size", 0.05, 0.005, 0.5, {.displayMax = 0.2}},
                           "How far it bleeds, in half widths of the picture."};
    FloatControlK7 Flash{this,
                         {"Flash", "Flash", 100.0, 0.0, 1000.0, {.displayMax = 300.0}},
                         "How bright the moment of the burst is, in percent."};
    FloatControlK7 Smoke{this,
                         {"Smoke", "Smoke", 100.0, 0.0, 1000.0, {.displayMax = 300.0}},
                         "How much smoke stays in the air, in percent; it is seen where there is light."};
    FloatControlK7 GroundLight{this,
                               {"GroundLight", "Light On Background", 0.0, 0.0, 1000.0, {.displayMax = 300.0}},
                               "How strongly bursts light the lower part of the background, in percent."};
    FloatControlK7 GroundHeight{this,
                                {"GroundHeight", "Lit Up To", 45.0, 0.0, 200.0, {.displayMax = 100.0}},
                                "Height up to which they do, in percent of the picture's; it fades out towards it."};
    FloatControlK7 Shutter{this,
                           {"Shutter", "Shutter", 50.0, 0.0, 20000.0, {.displayMax = 200.0}},
                           "How long light is gathered, in percent of a frame; thousands are long exposures, which end "
                           "at the frame."};

    LineOverlayK7 launchWidget{this, LaunchA, LaunchB};
    RectangleOverlayK7 burstWidget{this, BurstAt, BurstWidth, BurstHeight};
    CrosshairOverlayK7 burstCentreWidget{this, BurstAt};
    CrosshairOverlayK7 triggerWidget{this, TriggerAt, true};

    FireworksInfo();

  private:
    void declarePresets();
};

class Fireworks final : public Effect<FireworksInfo> {
  public:
    void ProcessFrame() override;

  protected:
    void PrepareOverlay() override;

  private:
    struct Soft;
    FireworkLook look() const;
    FireworkPlan plan() const;
    std::vector<FireworkLaunch> launches(const FireworkLook& look) const;
    void addTriggered(const FireworkPlan& plan, const FireworkLook& look, double since, double now,
                      std::vector<FireworkLaunch>& launches) const;
    float burstRadius() const;
    ImagePtr gathered(const std::vector<FireworkLight>& lights, const Soft& soft) const;
    void smokeRow(const std::vector<SmokePuff>& puffs, const Soft& soft, int row, const SolidNoise& noise, float* thick,
                  float* billows) const;
    bool softLight(const std::vector<FireworkLight>& lights, const std::vector<SmokePuff>& puffs, Soft& soft) const;
    void lightGround(const std::vector<FireworkLight>& lights, Soft& soft) const;
    void compose(const std::vector<LightStroke>& strokes, const Soft& soft) const;
    double atFrame(const FloatControlK7& control, int frame) const;
    int atFrame(const IntegerControlK7& control, int frame) const;
    double hostTime(int frame) const;
};
