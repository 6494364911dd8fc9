// Q_Cumulo: clouds of puffs that are born, grow, drift, swirl and fade, in almost three dimensions.
//
// Particles move in the plane of the picture; a depth only sets their order and, with perspective, their size. Each is
// drawn as a soft sphere lit from one side, its surface broken up by noise (CumuloPuff.h). A cloud is hundreds of them.
#pragma once

#include <vector>

#include "effects/engines/controls/ParticleControls.h"
#include "effects/engines/particles/ParticleEffect.h"
#include "effects/sky/CumuloPuff.h"

struct CumuloInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Cumulo",
        .menu = "Natural Phenomena",
        .generator = true,
        .overlay = true,
        .history = FrameHistory::Inputs,
        .description = "Fluffy cloud simulation in almost 3D space. This effect is in Box Number 1",
        .purpose =
            "Clouds that grow, drift and dissolve: fair weather cumulus, thunderheads, wisps, columns of ash or steam. "
            "They are built of soft puffs, lit from one side.",
        .usage =
            "Connect the shot as Background Clip. Without one the clouds are on black; Clouds Only leaves a connected "
            "shot out.\n"
            "Put the Birth Point where the cloud is to stand and drag its circle to the cloud's size. Or connect a "
            "matte as Birth Clip and switch on Use Birth Matte: puffs are born where its red is above 5 percent, "
            "within the circle.\n"
            "Drag the light's arrow so that it comes from the sun of the shot. Light Z turns it to the front; below 0 "
            "the clouds stand against the light.\n"
            "Cloud Colour is the shadow side: take it from the sky near the horizon, a little darker. Light Colour is "
            "the sun's.\n"
            "Quantity and Lifetime say how many puffs there are: about their product. Many small, dense puffs make "
            "firm clouds, few large, faint ones make mist.\n"
            "Texture breaks up the puffs; Seethe keeps it moving. Fluffiness makes their edges softer and the puffs "
            "smaller.\n"
            "Pre Roll of at least Lifetime shows a cloud that has grown; less shows it building up.\n"
            "Wind carries puffs away from where they are born. For a cloud that stays in shape switch it off; for one "
            "that passes by animate the Birth Point and switch With Animation on.\n"
            "Gravity at 90 degrees lifts, at 270 it pulls down. With constraints the cloud stays within a cone along "
            "the wind.\n"
            "Sizes and speeds follow the width of the picture: a proxy shows the same cloud.\n"
            "Put it after the grade and before grain. For clouds behind trees or roofs, lay the foreground over it "
            "again.\n"};

    ClipRecord input{this, {.name = "Input", .label = "Background Clip", .shortLabel = "Sky"}};
    ClipRecord birth{this, {.name = "Input2", .label = "Birth Clip", .shortLabel = "Birth"}};

    Page pageCumulo{this, "Cumulo"};
    PresetChoiceK7 Demos{
        this, {"Demos", "Type"}, "Kind of cloud: sets the births, the look, the forces and the light."};
    CheckboxControlK7 BlackBG{this,
                              {"BlackBG", "Clouds Only", false, {.keptByPresets = true}},
                              "Shows the clouds over black instead of over the background."};
    StartControls start{this,
                        {.sentence = "Stamps each puff again towards where it was a frame ago, in percent of the "
                                     "frame: above 10 moving puffs get longer and thicker."},
                        150};
    FloatControlK7 Quantity{this,
                            {"Quantity", "Quantity", 6.0, 0.0, 200.0},
                            "Puffs that are born in a frame, more or less by a tenth of Continuity."};
    FloatControlK7 Continuity{this,
                              {"Continuity", "Continuity", 80.0, 0.0, 100.0},
                              "In how many of all frames puffs are born, in percent: below 100 they come in bursts."};
    FloatControlK7 Lifetime{this,
                            {"Lifetime", "Lifetime", 200.0, 1.0, 1000.0},
                            "How long a puff lives, in frames, 10 percent more or less."};
    PositionControlK7 Birth{this,
                            {"Birth", "Birth Point", 0.3, 0.8},
                            "Middle of the place where puffs are born, as fractions of the width and height of the "
                            "picture."};
    CheckboxControlK7 UseBirthMatte{this,
                                    {"UseBirthMatte", "Use Birth Matte"},
                                    "Keeps births to where the red channel of the birth clip is above 5 percent."};
    CheckboxControlK7 InvertBirthMatte{
        this, {"InvertBirthMatte", "Invert Birth Matte"}, "Keeps births to where the birth clip is dark instead."};
    SizeControlK7 BirthRadius{this,
                              {"BirthRadius", "Birth Radius", 0.3, 0.0, 2.0},
                              "Radius of the disc where puffs are born, in half widths of the picture."};

    Page pageDepth{this, "Depth"};
    CheckboxControlK7 Perspective{this,
                                  {"Perspective", "Perspective"},
                                  "Shows near puffs larger and farther from the vanishing point than distant ones."};
    FloatControlK7 CameraDistance{
        this,
        {"CameraDistance", "Camera Distance", 200.0, 1.0, 1000.0},
        "Distance of the camera from the back of the cloud, in 1920ths of the width of the picture: "
        "puffs 100 in front of it have their own size, those behind it are not seen."};
    PositionControlK7 VanishP{this,
                              {"VanishP", "Vanishing Point", 0.5, 0.3},
                              "Point that distant puffs draw near to, as fractions of the width and height of the "
                              "picture."};
    FloatControlK7 ZSpeed{
        this,
        {"ZSpeed", "Z Speed", 0.0, -100.0, 100.0},
        "Velocity towards the camera that a puff gains each frame, in 720ths of the unit of Camera Distance; "
        "friction limits it."};
    FloatControlK7 ZRange{this,
                          {"ZRange", "Z Range", 50.0, 0.0, 100.0},
                          "How deep the cloud is when puffs are born, in percent of its radius."};

    Page pageLook{this, "Look"};
    FloatControlK7 CloudSize{this,
                             {"CloudSize", "Cloud Size", 18.0, 0.25, 40.0},
                             "Radius of full grown puffs, in 400ths of the width of the picture."};
    FloatControlK7 CloudSizeVar{this,
                                {"CloudSizeVar", "Cloud Size Variance", 50.0, 0.0, 100.0},
                                "How far puffs differ from Cloud Size, in percent of it."};
    CheckboxControlK7 GrowShrink{
        this, {"GrowShrink", "Grow and Shrink", true}, "Lets puffs grow after their birth and shrink before they die."};
    FloatControlK7 GrowLife{
        this, {"GrowLife", "Grow Life", 30.0, 0.0, 100.0}, "Part of its life in which a puff grows, in percent."};
    FloatControlK7 ShrinkLife{this,
                              {"ShrinkLife", "Shrink Life", 20.0, 0.0, 100.0},
                              "Part of its life in which a puff shrinks at the end, in percent."};
    FloatControlK7 MinSize{this,
                           {"MinSize", "Minimum Size", 3.0, 0.25, 40.0},
                           "Least radius of puffs at birth and death, in 400ths of the width of the picture; the "
                           "largest is twice that."};
    ColourControlK7 CloudColour{
        this, {"CloudColour", "Cloud Colour", 0.42f, 0.46f, 0.55f}, "Colour of the side away from the light."};
    FloatControlK7 Fluffiness{this,
                              {"Fluffiness", "Fluffiness", 20.0, 1.0, 100.0},
                              "How soft the edge of puffs is, as ten times an exponent: 1 is hard, 100 leaves little "
                              "but their middle."};
    FloatControlK7 Density{
        this, {"Density", "Density", 60.0, 0.0, 100.0}, "Opacity of the middle of a puff, in percent."};
    IntegerControlK7 Seed{this,
                          {"Seed", "Seed", 1234, 1, 9999, {.animates = false}},
                          "Seed of all that is random: each number makes another cloud."};
    CheckboxControlK7 UseTextured{this, {"UseTextured", "Use Texture", true}, "Breaks up the puffs by noise."};
    FloatControlK7 TextureMag{this,
                              {"TextureMag", "Texture Magnitude", 40.0, 0.0, 100.0},
                              "How far the noise distorts a puff, in percent of its diameter: 0 is none."};
    FloatControlK7 TextureX{this,
                            {"TextureX", "Texture X", 15.0, 0.0, 100.0},
                            "How fine the texture is across: five times its cells in the width of a puff."};
    FloatControlK7 TextureY{this,
                            {"TextureY", "Texture Y", 15.0, 0.0, 100.0},
                            "How fine the texture is upwards: five times its cells in the height of a puff."};
    FloatControlK7 Seethe{
        this,
        {"Seethe", "Seethe", 5.0, 0.0, 100.0},
        "How fast the texture changes, in percent of a cell in five frames, and how much puffs differ: at 0 "
        "all have the same texture."};
    CheckboxControlK7 UseFading{
        this, {"UseFading", "Use Fading", true}, "Fades puffs in after their birth and out before they die."};
    FloatControlK7 InLife{
        this, {"InLife", "Fade In Life", 25.0, 0.0, 100.0}, "Part of its life in which a puff fades in, in percent."};
    FloatControlK7 OutLife{this,
                           {"OutLife", "Fade Out Life", 35.0, 0.0, 100.0},
                           "Part of its life in which a puff fades out at the end, in percent."};

    Page pageForces{this, "Forces"};
    CheckboxControlK7 UseGravity{this, {"UseGravity", "Use Gravity"}, "Lets puffs rise or fall."};
    FloatControlK7 Gravity{this,
                           {"Gravity", "Gravity", 5.0, 0.0, 100.0},
                           "Velocity that gravity adds each frame, in 100,000ths of the picture a frame."};
    AngleControlK7 GravityAngle{
        this,
        {"GravityAngle", "Gravity Angle", 90.0, 0.0, 360.0},
        "Direction of gravity, in degrees anticlockwise from the right: 90 is up, 270 is down."};
    CheckboxControlK7 Gravity90toWind{this,
                                      {"Gravity90toWind", "Gravity 90 to Wind"},
                                      "Lets gravity act upwards across the wind instead of along its angle."};
    CheckboxControlK7 UseFriction{this, {"UseFriction", "Use Friction", true}, "Lets the air slow the puffs down."};
    FloatControlK7 Friction{this,
                            {"Friction", "Friction", 2.0, 0.0, 100.0},
                            "Part of its velocity that a puff loses each frame, in percent."};
    CheckboxControlK7 UseSwirling{this, {"UseSwirling", "Use Swirling", true}, "Lets swirling air turn the puffs."};
    FloatControlK7 SwirlDensity{this,
                                {"SwirlDensity", "Swirl Density", 6.0, 0.0, 100.0},
                                "How fine the swirls are, in cells of noise across the picture; finer ones also change "
                                "faster."};
    FloatControlK7 SwirlMagnitude{this,
                                  {"SwirlMagnitude", "Swirl Magnitude", 2.0, 0.0, 100.0},
                                  "Velocity that the swirls add each frame, at most, in 10,000ths of the picture a "
                                  "frame."};
    FloatControlK7 SwirltoMax{this,
                              {"SwirltoMax", "Swirl Time to Max", 25.0, 0.0, 500.0},
                              "Age at which the swirls act fully on a puff, in frames."};
    CheckboxControlK7 UseConstraints{this,
                                     {"UseConstraints", "Use Constraints"},
                                     "Keeps puffs within a cone from the birth disc along the direction of the wind."};
    FloatControlK7 ContraintAngle{this,
                                  {"ContraintAngle", "Constraint Angle", 30.0, 0.0, 90.0},
                                  "Half the opening angle of that cone, in degrees: 90 does not hold anything."};
    CheckboxControlK7 UseWind{this, {"UseWind", "Use Wind", true}, "Lets wind carry the puffs."};
    PositionControlK7 WindSource{
        this,
        {"WindSource", "Wind Source", 0.1, 0.8},
        "Point that the wind blows from, as fractions of the width and height of the picture."};
    PositionControlK7 WindTarget{this,
                                 {"WindTarget", "Wind Target", 0.9, 0.85},
                                 "Point that the wind blows towards, as fractions of the width and height of the "
                                 "picture; constraints go that way too."};
    FloatControlK7 WindSpeed{this,
                             {"WindSpeed", "Wind Speed", 1.0, 0.0, 100.0},
                             "How far the wind carries a puff each frame, in 720ths of the picture; newborn puffs go "
                             "twice as fast until friction has slowed them."};

    Page pageLight{this, "Light"};
    CheckboxControlK7 UseLight{this,
                               {"UseLight", "Use Light", true},
                               "Lights the puffs from one side; otherwise they have the colour of the light all over."};
    ColourControlK7 Light{this, {"Light", "Light Colour", 1.0f, 0.98f, 0.94f}, "Colour of the side towards the light."};
    PositionControlK7 LightSource{this,
                                  {"LightSource", "Light Source", 0.1, 0.95},
                                  "Point that the light comes from, as fractions of the width and height of the "
                                  "picture."};
    PositionControlK7 LightTarget{this,
                                  {"LightTarget", "Light Target", 0.6, 0.3},
                                  "Point that the light shines towards, as fractions of the width and height of the "
                                  "picture: only the direction counts."};
    FloatControlK7 ZLightSource{this,
                                {"ZLightSource", "Light Z", 0.4, -5.0, 5.0},
                                "Height of the light in front of the picture, in widths of it: the farther, the more "
                                "frontal; below 0 it is behind the clouds."};
    FloatControlK7 Contrast{this,
                            {"Contrast", "Contrast", 0.0, 0.0, 100.0},
                            "How far light and shadow are drawn together: higher is flatter."};
    FloatControlK7 Brightness{this,
                              {"Brightness", "Brightness", 0.0, -50.0, 50.0},
                              "How far the shadow reaches towards the light: higher is darker."};
    FrameRateControlK7 FramesPerSecond{this};

    CrosshairOverlayK7 birthWidget{this, Birth};
    CircleOverlayK7 radiusWidget{this, Birth, BirthRadius};
    CrosshairOverlayK7 vanishWidget{this, VanishP, true};
    LineOverlayK7 windWidget{this, WindSource, WindTarget, true};
    LineOverlayK7 lightWidget{this, LightSource, LightTarget, true};

    CumuloInfo();

  private:
    void declarePresets();
};

// Positions are fractions of the picture, depths 1920ths of its width, velocities these a frame.
struct CumuloMotion {
    float rate, rate_variance, probability;  // births in a frame that has any; of frames that have some
    float life;                              // frames
    float birth[2], radius;                  // the radius in widths
    float widths_a_height;                   // of the picture
    float depth;                             // of the cloud, for a radius of 1
    float size, size_variance, least_size;   // quarters of whole sizes
    std::int32_t grows;
    std::int32_t matte;  // 1: births where it is bright, -1: where it is dark, 0: anywhere
    float gravity[2], z_speed;
    float kept;        // part of the velocity that friction leaves
    float wind[2];     // direction
    float wind_speed;  // 0: none
    float widening;    // tangent of the constraint's angle; below 0: none
    particles::Swirl swirl;
};

struct CumuloLook {
    float grow_in, shrink_from, fade_in, fade_out;  // parts of life
    float density, fluff;
    float seethe;             // cells in five frames
    float texture, cells[2];  // strength, 0: none; cells of noise in a puff
    float stamps;             // along the way of the last frame, the first included
    std::int32_t perspective;
    float camera, vanish[2];  // depth, pixels
    float squash;             // rows for a pixel along a row
    std::int32_t lit;
    float light[3];  // towards it
    float contrast, brightness;
    float shadow_colour[3], light_colour[3];
};

struct CumuloParticle : FadingParticle {
    float drift[3] = {};  // its own velocity, without the wind's
    float seed = 0;       // -100 to 100, of its texture
    float size = 0;       // when grown: whole numbers, 160 is a tenth of the width
    float least_size = 0;
};

class Cumulo final : public particles::ParticleEffect<CumuloInfo, CumuloParticle, CumuloMotion, CumuloLook> {
  protected:
    SimulationTiming timing() const override;
    void background() override;
    std::uint32_t seed() const override { return static_cast<std::uint32_t>(Seed.value); }
    std::uint64_t steeringPictures() const override;
    void readBlocks(CumuloMotion& motion, CumuloLook& look) override;
    void births() override;
    bool fillNewborn(CumuloParticle& particle) override;
    bool showsByDepth() const override { return true; }
    void show(CumuloParticle& particle) override;
    void move(CumuloParticle* particles, int count) const override;
    void paint(K7Image& result) override;
    void PrepareOverlay() override;

  private:
    void readBirths(CumuloMotion& motion) const;
    void readForces(CumuloMotion& motion) const;
    void readLook(CumuloLook& look) const;
    void place(CumuloParticle& particle, MTRandom& draw) const;
    bool allowed(const CumuloParticle& particle) const;
    void swirl(CumuloParticle* particles, int count) const;
    void constrain(CumuloParticle& particle) const;
    void add(const Puff& puff);
    static void paintOne(const void* effect, int item, K7Image* image, int first, int last);

    std::vector<Puff> m_puffs;  // of this frame, as collected
    PuffLook m_puff_look;
};
