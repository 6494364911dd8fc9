// Q_Flock: little characters that flock.
//
// What an artist uses it for: starlings over a town at dusk, geese on their way, bats out of a tower, a shoal, bees
// round a hive, paper planes in an office, ants on a table; or any small clip of one's own as a character.
//
// The method is that of boids (C. W. Reynolds, "Flocks, Herds, and Schools: A Distributed Behavioral Model", SIGGRAPH
// 1987): each member keeps off its neighbours, takes on their heading and stays with them. What steers it beside that
// are wishes, summed up and limited by how fast it can turn: a goal to gather at or to circle, a predator to flee or
// mob, a course, walls, a formation, and a wander of its own that neighbours share in part. Neighbours come from a grid
// of cells, of which a crowded one is sampled, so that a step costs the same wherever the flock goes. Members stand at
// depths between near and far; far ones are smaller and slower, and see mostly those at their own depth.
//
// A member's heading turns in space: level flight seen from below or from the side, banking into turns, climbing with
// more beats than sinking. Its character is a model in space (FlockCharacters.h) that is posed, lit and filled for each
// frame (FlockPainter.h). Attitudes change what members wish for: shy ones flee early and stay off the goal, curious
// ones leave the flock for a while to look at it, angry ones mob the predator, lazy ones glide, dawdle and rest.
//
// The clips: Background is what they are drawn over. Birth Matte is where members begin, Avoidance Matte what they keep
// out of; absent, they begin as Begin says and go anywhere. Both are read at the frame that is rendered, for all steps
// that lead to it. Shape Colour and Shape Matte are the cycle of a character of one's own, with each member at its own
// place in it: without the matte the colour's alpha counts, without the colour the matte is inked in Colour, and
// without both there are birds.
//
// The simulation runs in a picture 1920 units wide whatever its size, so that a proxy shows the same flock. It is
// replayed: a frame is the same picture in whatever order frames are rendered.
#pragma once

#include <array>
#include <vector>

#include "effects/engines/controls/ParticleControls.h"
#include "effects/engines/particles/ParticleEffect.h"
#include "effects/sundries/FlockPainter.h"
#include "effects/sundries/FlockPlaces.h"
#include "graphicslib/mip_picture.h"

struct FlockInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Flock",
        .menu = "Sundries",
        .generator = true,
        .overlay = true,
        .otherFrames = true,
        .history = FrameHistory::Inputs,
        .description = "The little flocking characters with attitude. This effect is in Box Number 30",
        .purpose =
            "Flocks of small characters with manners and moods: starlings, geese in formation, bats, fish, bees, paper "
            "planes, beetles and ants that beat, glide, bank and swim, or a small clip of one's own.",
        .usage =
            "Connect the shot as Background Clip and begin with a preset; without a clip the flock is over black, with "
            "its alpha.\n"
            "Size and Speed are parts of the picture's width and follow a proxy; set them first, by the plate.\n"
            "View says how the shot looks at them: below 0 up into the sky, 0 from the side, 90 down onto the ground.\n"
            "Colour should be a little lighter than the darkest thing at that distance in the plate; Haze and Haze "
            "Colour take far members into the air of the shot.\n"
            "Drag the goal through the picture, by keys too, and the flock follows; With Animation makes each frame "
            "the same in whatever order frames are rendered.\n"
            "A predator with keys that crosses the flock makes it part and close. Angry members go for it.\n"
            "Draw an Avoidance Matte of towers, trees or people: members fly round what is white. A Birth Matte makes "
            "them begin where it is white, such as a roof or a tree.\n"
            "For a character of your own choose Shape Clip, connect its Shape Colour and Shape Matte, and set Cycle to "
            "the frames of one beat. Small clips are quickest.\n"
            "Ants and beetles need a View near 90 and a Shadow.\n"
            "Pre Roll lets a flock form before the first frame. With Begin at the Flight Point and Arrive Over it "
            "takes off in the shot.\n"
            "Put it after the grade and before grain.\n"};
    enum Characters : int { Starlings = 1, Geese, Bats, Fish, Bees, PaperPlanes, Beetles, Ants, ShapeClip };
    enum Attitudes : int { Even = 1, Shy, Curious, Angry, Lazy };
    enum Formations : int { NoFormation = 1, Vee, Line, Trail };
    enum Begins : int { Anywhere = 1, AtFlightPoint, AtTheEdge };
    enum Goals : int { NoGoal = 1, Gather, Circle, Roam };
    enum Edges : int { TurnBack = 1, ComeRound, LeaveThePicture };
    enum Turns : int { WithHeading = 1, Mirrored, Upright };

    ClipRecord input{this, {.name = "Input", .label = "Background Clip", .shortLabel = "BG"}};
    ClipRecord shapeColour{this, {.name = "Input2", .label = "Shape Colour", .shortLabel = "SCol", .temporal = true}};
    ClipRecord shapeMatte{this, {.name = "Input3", .label = "Shape Matte", .shortLabel = "SMatte", .temporal = true}};
    ClipRecord birthMatte{this, {.name = "Input4", .label = "Birth Matte", .shortLabel = "BMatte"}};
    ClipRecord avoidMatte{this, {.name = "Input5", .label = "Avoidance Matte", .shortLabel = "AMatte"}};

    Page pageFlock{this, "Flock"};
    PresetChoiceK7 Demos{this,
                         {"Demos", "Presets"},
                         "A kind of flock: sets the characters, their manners and their look, and where they go."};
    CheckboxControlK7 BlackBG{this,
                              {"BlackBG", "Flock Only", false, {.keptByPresets = true}},
                              "Shows the flock over black instead of over the background."};
    StartControls start{this,
                        {.name = "Shutter",
                         .label = "Shutter",
                         .value = 50.0,
                         .longest = 200.0,
                         .sentence = "How long the shutter is open, in percent of a frame: 0 has no motion blur."},
                        150};
    IntegerControlK7 Seed{
        this, {"Seed", "Seed", 271, 1, 9999, {.animates = false}}, "Each number makes another flock."};
    ListControlK7 Character{
        this,
        {"Character",
         "Character",
         0,
         {"Starlings", "Geese", "Bats", "Fish", "Bees", "Paper Planes", "Beetles", "Ants", "Shape Clip"}},
        "Who flocks: one of the built-in characters, or what the shape clips show."};
    IntegerControlK7 Members{this, {"Members", "Members", 400, 1, 20000}, "How many there are."};
    FloatControlK7 Size{this,
                        {"Size", "Size", 2.4, 0.1, 50.0},
                        "Span or length of the nearest ones, in percent of the picture's width."};
    FloatControlK7 SizeVar{
        this, {"SizeVar", "Size Variance", 15.0, 0.0, 90.0}, "How far sizes differ at the same depth, in percent."};
    FloatControlK7 Speed{this,
                         {"Speed", "Speed", 0.42, 0.0, 5.0},
                         "Way of the nearest ones in a frame, in percent of the picture's width."};

    Page pageManners{this, "Manners"};
    ListControlK7 Attitude{this,
                           {"Attitude", "Attitude", 0, {"Even", "Shy", "Curious", "Angry", "Lazy"}},
                           "Mood: shy ones flee early and keep off the goal, curious ones come to look at it one by "
                           "one, angry ones mob the predator, lazy ones glide, dawdle and rest."};
    FloatControlK7 Temper{
        this, {"Temper", "Temper", 100.0, 0.0, 200.0}, "How strongly the attitude shows, in percent."};
    FloatControlK7 Separation{
        this, {"Separation", "Separation", 170.0, 0.0, 300.0}, "How firmly members keep their distance, in percent."};
    FloatControlK7 Alignment{this,
                             {"Alignment", "Alignment", 100.0, 0.0, 300.0},
                             "How far they take on their neighbours' heading, in percent."};
    FloatControlK7 Cohesion{
        this, {"Cohesion", "Cohesion", 60.0, 0.0, 300.0}, "How much they like to be in company, in percent."};
    FloatControlK7 Spacing{this,
                           {"Spacing", "Spacing", 1.4, 0.2, 10.0},
                           "The distance that they keep, and that of a formation, in lengths of a member."};
    FloatControlK7 Sight{
        this, {"Sight", "Sight", 3.5, 0.5, 12.0}, "How far away neighbours count, in lengths of a member."};
    FloatControlK7 Agility{
        this, {"Agility", "Agility", 9.0, 0.5, 60.0}, "How fast they turn, in percent of their speed a frame."};
    FloatControlK7 Wander{
        this, {"Wander", "Wander", 45.0, 0.0, 300.0}, "How much they stray, on their own and together, in percent."};
    FloatControlK7 Level{this,
                         {"Level", "Level", 45.0, 0.0, 100.0},
                         "How far they keep from climbing and diving, in percent: 100 keeps them almost level."};
    ListControlK7 Formation{
        this,
        {"Formation", "Formation", 0, {"None", "Vee", "Line", "Trail"}},
        "How groups keep together: as a V behind a leader, one behind the other, or to and fro on a "
        "trail from the flight point to the goal."};
    IntegerControlK7 GroupSize{this, {"GroupSize", "Group Size", 13, 2, 200}, "Members of a formation."};

    Page pagePlaces{this, "Places"};
    ListControlK7 Begin{this,
                        {"Begin", "Begin", 0, {"Anywhere", "At Flight Point", "At The Edge"}},
                        "Where members begin where there is no birth matte: all over the picture, at the flight "
                        "point, or beyond the edge that the course leads away from."};
    IntegerControlK7 ArriveOver{this,
                                {"ArriveOver", "Arrive Over", 0, 0, 2000},
                                "Frames over which members arrive one after the other; 0: all are there at once."};
    PositionControlK7 FlightPoint{this,
                                  {"FlightPoint", "Flight Point", 0.12, 0.2},
                                  "Where members take off, as fractions of the width and height of the picture."};
    ListControlK7 GoalUse{this,
                          {"GoalUse", "Goal Use", 3, {"None", "Gather", "Circle", "Roam"}},
                          "What the goal is for: members gather there, circle it, or roam about it together."};
    PositionControlK7 Goal{this, {"Goal", "Goal", 0.5, 0.6}, "Where the goal is."};
    SizeControlK7 GoalRadius{
        this, {"GoalRadius", "Goal Radius", 0.65, 0.0, 2.0}, "How far about it, in half widths of the picture."};
    FloatControlK7 GoalPull{this, {"GoalPull", "Goal Pull", 60.0, 0.0, 300.0}, "How strong the goal is, in percent."};
    CheckboxControlK7 DoPredator{this, {"DoPredator", "Use Predator"}, "Sends a predator, which is not seen."};
    PositionControlK7 Predator{this, {"Predator", "Predator", 0.5, 0.5}, "Where the predator is."};
    SizeControlK7 PredatorReach{this,
                                {"PredatorReach", "Predator Reach", 0.3, 0.0, 2.0},
                                "How far it is feared, in half widths of the picture."};

    Page pageCourse{this, "Course"};
    ListControlK7 Walls{this,
                        {"Walls", "Walls", 0, {"Turn Back", "Come Round", "Leave"}},
                        "What happens at the edges of the picture: members turn back, come in again on the other "
                        "side, or leave."};
    FloatControlK7 WallMargin{this,
                              {"WallMargin", "Wall Margin", 8.0, -50.0, 50.0},
                              "How far from the edges they begin to turn, in percent of the width; below 0 outside."};
    AngleControlK7 Course{this,
                          {"Course", "Course", 0.0, 0.0, 360.0},
                          "Where they are heading, in degrees anticlockwise from the right."};
    FloatControlK7 CourseHold{
        this, {"CourseHold", "Course Hold", 0.0, 0.0, 300.0}, "How firmly they keep to it, in percent."};
    FloatControlK7 Avoid{this,
                         {"Avoid", "Avoid Distance", 1.5, 0.0, 10.0},
                         "How far they keep from the white of the avoidance matte, in lengths of a member."};

    Page pageLook{this, "Look"};
    ColourControlK7 Colour{this, {"Colour", "Colour", 0.035F, 0.035F, 0.045F}, "Main colour of the characters."};
    ColourControlK7 Markings{this,
                             {"Markings", "Markings", 0.11F, 0.1F, 0.1F},
                             "Second colour: bellies, backs, stripes, as the kind has it."};
    FloatControlK7 ColourVar{
        this, {"ColourVar", "Colour Variance", 12.0, 0.0, 100.0}, "How far members differ in brightness, in percent."};
    FloatControlK7 BeatRate{this,
                            {"BeatRate", "Beat Rate", 100.0, 0.0, 400.0},
                            "Beats of wings, tails and legs, in percent of those of the kind at 25 frames a second."};
    FloatControlK7 Glide{
        this, {"Glide", "Glide", 20.0, 0.0, 100.0}, "How much of the time wings are held still, in percent."};
    FloatControlK7 Banking{
        this, {"Banking", "Banking", 100.0, 0.0, 300.0}, "How far they lean into turns, in percent."};
    AngleControlK7 ViewAngle{
        this,
        {"ViewAngle", "View", -28.0, -90.0, 90.0},
        "How the shot looks at them, in degrees: below 0 up from below, 0 from the side, 90 down."};
    FloatControlK7 Depth{this,
                         {"Depth", "Depth", 55.0, 0.0, 100.0},
                         "How deep the flock is: at 100 the farthest have a fifth of the size."};
    FloatControlK7 Haze{
        this, {"Haze", "Haze", 35.0, 0.0, 100.0}, "How much of the haze colour the farthest take on, in percent."};
    ColourControlK7 HazeColour{this, {"HazeColour", "Haze Colour", 0.45F, 0.5F, 0.58F}, "Colour of the air far away."};
    AngleControlK7 Light{this,
                         {"Light", "Light", 110.0, 0.0, 360.0},
                         "Where the light comes from, in degrees anticlockwise from the right."};
    FloatControlK7 Shading{
        this, {"Shading", "Shading", 60.0, 0.0, 150.0}, "How much the light models them, in percent."};
    FloatControlK7 Shadow{
        this, {"Shadow", "Shadow", 0.0, 0.0, 100.0}, "Soft shadow on the ground beside them, in percent."};
    FloatControlK7 Opacity{this, {"Opacity", "Opacity", 100.0, 0.0, 100.0}, "Opacity of the members, in percent."};

    Page pageShape{this, "Shape"};
    IntegerControlK7 Cycle{this,
                           {"Cycle", "Cycle", 10, 1, 60},
                           "Frames of the shape clips that make one beat; 1: the current one, for all members."};
    IntegerControlK7 CycleStart{this, {"CycleStart", "Cycle Start", 0, 0, 9999}, "The first of these frames."};
    ListControlK7 ShapeTurns{this,
                             {"ShapeTurns", "Shape Turns", 0, {"With Heading", "Mirrored", "Upright"}},
                             "Whether shapes turn with their heading, only face left or right, or never turn."};
    AngleControlK7 ShapeFacing{this,
                               {"ShapeFacing", "Shape Facing", 0.0, 0.0, 360.0},
                               "Where the shape in the clip is heading, in degrees anticlockwise from the right."};
    FloatControlK7 ShapeTint{
        this, {"ShapeTint", "Shape Tint", 0.0, 0.0, 100.0}, "How far shapes take on Colour, in percent."};
    FrameRateControlK7 FramesPerSecond{this};

    CrosshairOverlayK7 flightWidget{this, FlightPoint};
    CrosshairOverlayK7 goalWidget{this, Goal};
    CircleOverlayK7 goalCircle{this, Goal, GoalRadius};
    CrosshairOverlayK7 predatorWidget{this, Predator};
    CircleOverlayK7 predatorCircle{this, Predator, PredatorReach};

    FlockInfo();

  private:
    void declarePresets();
};

// Lengths in the units of a picture that is 1920 wide.
struct FlockMotion {
    float height;
    float size, size_spread, speed;
    std::int32_t members, arrive_over, begin;
    std::int32_t character, attitude, formation, group;
    float temper;
    float separation, alignment, cohesion, spacing, sight;
    float agility, wander, level;
    float flight[2], goal[2], goal_radius, goal_pull;
    std::int32_t goal_use;
    float predator[2], reach;  // reach 0: none
    std::int32_t walls;
    float margin;
    float course[2], course_hold;
    float avoid;
    float depth;         // the farthest are 1 / (1 + depth) as large
    float up[2];         // upright in the picture, and towards the eye
    float beats, glide;  // beats a frame
    float banking;
};

struct FlockLook {
    float main[3], marks[3], variance;
    float opacity, shutter, haze;
    flock::Lighting lighting;
};

struct FlockMember : FadingParticle {
    std::uint32_t word = 0;  // its own random number
    std::int32_t serial = 0;
    float size = 0;            // of its own, against the others'
    float wish[3] = {};        // where it wants to go, in its speed
    float hurry = 1;           // against its usual speed
    float pace = 1;            // that it has now
    float yaw = 0, pitch = 0;  // its heading in space
    float bank = 0;
    float phase = 0, beaten = 0, glide = 0;
    std::int32_t outbound = 1;  // on a trail
};

class Flock final : public particles::ParticleEffect<FlockInfo, FlockMember, FlockMotion, FlockLook> {
  protected:
    void FramePrepare(FlockInfo& plan, const FrameSpan& frames) const override;
    SimulationTiming timing() const override {
        return {.start = start.at.value, .pre_roll = start.preRoll.value, .animated = start.withAnimation.value};
    }
    std::uint32_t seed() const override { return static_cast<std::uint32_t>(Seed.value); }
    std::uint64_t steeringPictures() const override;
    void background() override;
    void readBlocks(FlockMotion& motion, FlockLook& look) override;
    void births() override;
    bool fillNewborn(FlockMember&) override { return false; }
    void beforeForces(FlockMember* members, int count) override;
    void applyForces(FlockMember* members, int count) const override;
    float neighbourReach() const override;
    FrameShape neighbourFrame() const override;
    void beforeLooking(const FlockMember* members, int count, NeighbourGrid& grid) override;
    void lookAround(FlockMember* members, int first, int count, const Neighbours& around) const override;
    bool showsByDepth() const override { return true; }
    void show(FlockMember& member) override;
    void move(FlockMember* members, int count) const override;
    void paint(K7Image& result) override;
    void PrepareOverlay() override;

  private:
    // Wishes
    void wishPlaces(FlockMember& member) const;
    void wishGoal(FlockMember& member) const;
    void wishPredator(FlockMember& member) const;
    void wishWalls(FlockMember& member) const;
    void wishTrail(FlockMember& member) const;
    void wishWander(FlockMember& member) const;
    void follow(FlockMember& member, const FlockMember& front, int rank) const;
    // Motion
    void setPace(FlockMember& member) const;
    void steer(FlockMember& member) const;
    void turn(FlockMember& member) const;
    void beat(FlockMember& member) const;

    bool bringIn(FlockMember& member, int serial) const;
    bool placeNewborn(FlockMember& member, int serial) const;
    float scaleAt(float near) const;
    float deepAt(float scale) const;  // units from the farthest to the nearest, as large as they look there
    float beyond() const;             // how far outside those that come round leave
    float ownSpeed(const FlockMember& member) const;
    bool walks() const;
    // Shape clips
    void paintShapes(K7Image& result);
    bool showsShapes() const {
        return Character.value == ShapeClip && (shapeColour.isConnected() || shapeMatte.isConnected());
    }
    flock::ShapeCycle cutCycle();
    ImagePtr shapeAt(int frame);
    void stampShapes(const flock::ShapeCycle& cycle, float time, K7Image& layer);

    std::vector<float> m_crowd[6];       // places and velocities of all members by cell, for who looks around
    std::vector<std::int32_t> m_listed;  // which member that is
    std::vector<std::int32_t> m_front;   // of each member, in a formation: whom it follows; -1: nobody
    std::vector<std::int32_t> m_rank;
    flock::KeepOut m_keep_out;  // of this render's mattes
    flock::BirthPlaces m_births;
    flock::Painter m_painter;
    std::vector<flock::View> m_shown;
};
