// Q_Puddle3D: rain falls into a puddle that lies in perspective, and each drop spreads rings.
//
// Drops come at random places of the plane. Each has a front that runs outwards and waves behind it that fade away; the
// sum of all is the height of the water, through which the picture is seen.
#pragma once

#include "effects/engines/replay/ClockedEffect.h"
#include "effects/water/SurfaceControls.h"
#include "effects/water/WaveTable.h"

struct Puddle3DInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Puddle3D",
        .menu = "Pools",
        .overlay = true,
        .history = FrameHistory::Curves,
        .description = "Raindrops on water in 3D. This effect is in Box Number 6",
        .purpose =
            "Rain on still water: rings spread over a puddle, a pond or a wet road and fade, and what the water shows "
            "is bent and lit by them.",
        .usage =
            "Connect the shot as Clip to Rain on, and drag the four corners onto the water: the near edge and the far "
            "edge.\n"
            "Begin with a preset for how hard it rains. Rain Freq counts drops a frame, Rain Radius how far "
            "rings come, Rain Endurance how long they last.\n"
            "Pre Roll lets it have rained before the first frame, so that the shot does not begin with still water; "
            "20 frames for each unit of Rain Endurance fill it.\n"
            "Lighting makes the rings seen over flat colours. Put the light behind the far edge.\n"
            "A matte as Regional Matte with Use Matte on keeps the rings to the puddles. The clip's alpha does so "
            "too.\n"
            "Rings fade towards the far edge: Fade Dir, Fade Start and Fade End say where. Extend in X and Y spread "
            "the drops beyond the plane.\n"
            "Output Map shows the height of the water as a grey picture, for other effects.\n"
            "Frames render in any order and show the same; parameters that move along curves want them in order.\n"
            "All lengths are parts of the picture: a proxy shows the same rings.\n"};
    enum Fade { Up = 1, Down, Right, Left };

    ClipRecord input{this, {.name = "Input1", .label = "Clip to Rain on", .shortLabel = "BG", .required = true}};
    ClipRecord matte{this, {.name = "Input2", .label = "Regional Matte", .shortLabel = "Matte"}};

    Page page{this, "Puddle3D"};
    PresetChoiceK7 Demos{
        this, {"Demos", "Type"}, "How it rains: sets the number of drops, the size of their rings and the water."};
    IntegerControlK7 StartAt{this,
                             {"StartAt", "Start at Frame", 0, 0, 9999, {.keptByPresets = true}},
                             "The frame at which the rain begins; before it the picture is left as it is."};
    IntegerControlK7 RestartFrom{this,
                                 {"RestartFrom", "Pre Roll", 0, 0, 999, {.keptByPresets = true}},
                                 "How many frames it has rained when the rain begins to show."};
    FloatControlK7 RainFreq{
        this,
        {"RainFreq", "Rain Freq", 5.0, 0.0, 200.0},
        "Drops that fall in a frame, two more or less; 0 is no rain. Below 1 there is a drop now and then."};
    FloatControlK7 RainImpact{this,
                              {"RainImpact", "Rain Impact", 1.0, 0.0, 10.0},
                              "Number of waves behind the front of a ring, in tens for a height of the plane."};
    FloatControlK7 RainRadius{
        this,
        {"RainRadius", "Rain Radius", 10.0, 0.0, 200.0},
        "How far rings come before they are gone, in percent of the height of the plane, up to half as far again."};
    FloatControlK7 RainEndure{this,
                              {"RainEndure", "Rain Endurance", 1.0, 0.0, 10.0},
                              "How long a ring lasts, in units of 20 frames; below 0.001 counts as that."};
    FloatControlK7 RainWave{this,
                            {"RainWave", "Rain Wave Ht", 10.0, 0.0, 100.0},
                            "Height of the waves, in percent of the picture; 0 leaves the water still."};
    FloatControlK7 RefractIndex{this,
                                {"RefractIndex", "Refract Index", 1.05, 0.0, 2.0},
                                "Refractive index of the water: 1 lets the picture through as it is, 1.33 is water, "
                                "and below 1 the picture bends the other way."};
    ListControlK7 FillMode{this,
                           {"FillMode", "FillMode", 0, {"EdgeDup", "Black", "Wrap"}},
                           "What is seen beyond the edge of the picture: its edge repeated, black, or the picture "
                           "again."};
    CheckboxControlK7 OutputMap{this,
                                {"OutputMap", "Output Map"},
                                "Shows the height of the water as a grey picture, with 0.5 for still water."};
    IntegerControlK7 Seed{this, {"Seed", "Seed", 567, 0, 999}, "Seed of the rain: each number makes other drops."};
    MatteControls region{this};
    FloatControlK7 Blend{this,
                         {"Blend", "Mix with Source", 0.0, 0.0, 100.0},
                         "How much of the source is mixed back in, in percent: 100 shows the source alone."};

    Page lightPage{this, "Light"};
    SurfaceControls surface{this, {}};

    Page perspectivePage{this, "Perspective"};
    CheckboxControlK7 DoPersp{this,
                              {"DoPersp", "Use Perspective", true},
                              "Lays the water onto a plane between four corners; off, it faces the viewer."};
    ListControlK7 FadeMode{this,
                           {"FadeMode", "Fade Dir", 0, {"Up", "Down", "Right", "Left"}},
                           "Direction on the plane in which rings fade away: towards its far edge, its near edge, or "
                           "a side."};
    FloatControlK7 FFactE{this,
                          {"FFactE", "Fade End", 100.0, 0.0, 2000.0},
                          "Where there are no rings any more, in percent of the plane."};
    FloatControlK7 FFactS{
        this, {"FFactS", "Fade Start", 0.0, 0.0, 2000.0}, "Up to where rings are whole, in percent of the plane."};
    QuadControls quad{this};
    FloatControlK7 Xxtra{this,
                         {"Xxtra", "Extend in X", 100.0, 0.05, 2000.0},
                         "Width of the area in which drops fall, in percent of the plane, about its middle."};
    FloatControlK7 Yxtra{this,
                         {"Yxtra", "Extend in Y", 100.0, 0.05, 2000.0},
                         "Depth of the area in which drops fall, in percent of the plane, about its middle."};

    QuadOverlayK7 quadWidget{this, quad};
    CrosshairOverlayK7 lightWidget{this, surface.Light, true};

    Puddle3DInfo() {
        declarePresets();
        ghost({&RainWave, &RefractIndex, &FillMode}, OutputMap, isOn);
        ghost({&FadeMode, &FFactE, &FFactS, &quad.TL, &quad.BL, &quad.TR, &quad.BR, &Xxtra, &Yxtra}, DoPersp, isOff);
        scene.inputs = {"street-small.png"};
        scene.settings = {{"RestartFrom", "20"}, {"RainFreq", "9"},    {"RainWave", "5"},     {"RefractIndex", "1.2"},
                          {"DoLight", "1"},      {"Light", "0.4,0.8"}, {"LightBright", "35"}, {"Gloss", "150"},
                          {"TL", "0.36,0.38"},   {"TR", "0.64,0.38"},  {"BL", "-0.2,0"},      {"BR", "1.2,0"}};
        scene.frame = 20;
    }

  private:
    void declarePresets();
};

class Puddle3D final : public ClockedEffect<Puddle3DInfo> {
  protected:
    SimulationTiming timing() const override { return {.start = StartAt.value, .pre_roll = RestartFrom.value}; }
    std::uint64_t readControls() override;
    std::uint32_t seed() const override { return 0U - std::uint32_t(Seed.value); }
    void background() override;
    void begin() override { m_drops.clear(); }
    bool advance() override;
    void state(StateWalk& walk) override { walk.array(m_drops); }
    void finish(K7Image& result) override;
    void PrepareOverlay() override;

  private:
    struct Drop {
        float x, y;   // on the plane
        float decay;  // for a unit of age
        float speed;  // of the front, plane heights for a unit of age
        int birth;    // frame of the simulation
    };
    // What steers steps.
    struct Rain {
        float rate;  // drops a frame
        float radius, endurance;
        float spread_x, spread_y;
    };
    struct Ring;

    float age(const Drop& drop) const { return float(stepFrame() - drop.birth) * 0.05f; }
    float fade(const Drop& drop) const;
    std::vector<Ring> rings(const PlaneView& plane, const K7Image& frame) const;
    ImagePtr heights(const PlaneView& plane, const std::vector<Ring>& rings, const K7Image& frame) const;
    void draw(bool withDrops, K7Image& result);

    Rain m_rain{};
    std::vector<Drop> m_drops;  // oldest first
    WaveTable m_wave;
};
