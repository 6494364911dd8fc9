// Q_Pool3D: rings that run over a pool, or swirls, on a surface seen in perspective.
//
// The height of the water is a formula: a sine wave along the distance from a centre and around it, which fades out
// beyond a radius. The picture is seen through it as through water.
#pragma once

#include "effects/water/SurfaceControls.h"
#include "effects/water/WaveTable.h"

struct Pool3DInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Pool3D",
        .menu = "Pools",
        .overlay = true,
        .description =
            "Simulates a pool or swirls in a surface mapped onto a perspective plane. This effect is in Box Number 6",
        .purpose =
            "Turns a floor, a wall or the whole picture into water: rings run over it from a centre, or it swirls, and "
            "the picture shows through, bent and lit.",
        .usage =
            "Connect the shot as Pool Surface. Drag the four corners onto what is to become water: the near edge of a "
            "floor, its far edge. Use Perspective off makes the whole picture the surface.\n"
            "Drag Center to where the rings come from. It lies on the plane, and its cross is shown where it is seen.\n"
            "Height is how strongly the picture bends; 0.1 to 0.3 is calm water, 1 a storm in a glass. With many waves "
            "(Frequency) take less of it.\n"
            "Speed counts waves a frame, at the same place: 0.02 at 25 frames a second is a wave every two seconds.\n"
            "Pond makes rings, Swirl a whirlpool, Central a fan, and Twirl+Tightness a spiral that Tightness winds "
            "up.\n"
            "Water shows by its light: switch Lighting on, put the light behind the far edge, and lower Contrast a "
            "little.\n"
            "A matte as Regional Matte with Use Matte on keeps what stands in front of the water still.\n"
            "All lengths are parts of the picture: a proxy shows the same. A frame depends on its number alone.\n"};
    enum Mode { Pond = 1, Swirl, Central, Twirl };

    ClipRecord input{this, {.name = "Input1", .label = "Pool Surface", .shortLabel = "BG", .required = true}};
    ClipRecord matte{this, {.name = "Input2", .label = "Regional Matte", .shortLabel = "Matte"}};

    Page page{this, "Pool3D"};
    PositionControlK7 Center{this,
                             {"Center", "Center", 0.5, 0.5},
                             "Where the waves come from, as fractions of the plane, or of the picture without one."};
    SizeControlK7 Radius{this,
                         {"Radius", "Radius", 0.5, 0.001, 10.0},
                         "Distance from the centre up to which the waves are whole, in widths of the plane; over 1.1 "
                         "times as much again they fade out."};
    FloatControlK7 Frequency{this,
                             {"Frequency", "Frequency", 8.0, 0.01, 100.0},
                             "Number of waves for a width of the plane; for Central and Twirl+Tightness the number of "
                             "arms, in whole ones."};
    FloatControlK7 Phase{this,
                         {"Phase", "Speed", 0.02, -1.0, 1.0},
                         "Waves that leave the centre in a frame; below 0 they run towards it."};
    FloatControlK7 Height{this,
                          {"Height", "Height", 1.0, 0.0, 10.0},
                          "Height of the waves, in hundredths of the picture; 0 is still water."};
    ListControlK7 FillMode{this,
                           {"FillMode", "FillMode", 0, {"EdgeDup", "Black", "Wrap"}},
                           "What is seen beyond the edge of the picture: its edge repeated, black, or the picture "
                           "again."};
    ListControlK7 PoolMode{this,
                           {"PoolMode", "PoolMode", 0, {"Pond", "Swirl", "Central", "Twirl+Tightness"}},
                           "Shape of the waves: rings, a spiral that widens, arms straight from the centre, or a "
                           "spiral of as many arms."};
    FloatControlK7 Tightness{this,
                             {"Tightness", "Tightness", 4.0, -20.0, 20.0},
                             "How tightly the arms of Twirl+Tightness are wound, in waves for a width of the plane; "
                             "below 0 the other way round."};
    FloatControlK7 Blend{this,
                         {"Blend", "Mix with Source", 0.0, 0.0, 100.0},
                         "How much of the source is mixed back in, in percent: 100 shows the source alone."};
    MatteControls region{this};

    Page lightPage{this, "Light"};
    SurfaceControls surface{this, {}};

    Page perspectivePage{this, "Perspective"};
    CheckboxControlK7 DoPersp{this,
                              {"DoPersp", "Use Perspective", true},
                              "Lays the water onto a plane between four corners; off, it faces the viewer."};
    QuadControls quad{this};

    QuadOverlayK7 quadWidget{this, quad};
    PlanePointOverlayK7 centreWidget{this, Center, quad};
    CrosshairOverlayK7 lightWidget{this, surface.Light, true};

    Pool3DInfo() {
        ghost({&Tightness}, PoolMode, isNot(Twirl));
        ghost({&quad.TL, &quad.BL, &quad.TR, &quad.BR}, DoPersp, isOff);
        scene.inputs = {"road-small.png"};
        scene.settings = {{"Height", "0.25"}, {"DoLight", "1"},      {"Light", "0.6,0.6"}, {"LightZ", "0.3"},
                          {"Gloss", "30"},    {"LightBright", "60"}, {"Radius", "0.6"},    {"Center", "0.5,0.35"}};
        scene.frame = 12;
    }
};

class Pool3D final : public Effect<Pool3DInfo> {
  public:
    void ProcessFrame() override;

  protected:
    void PrepareOverlay() override;

  private:
    ImagePtr heights(const K7Image& frame, const PlaneMap& to_plane, float row_scale) const;

    WaveTable m_wave;
};
