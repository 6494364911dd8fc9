// Overlay widgets in a viewer: what catches the pen, what a drag writes, what is drawn.
#include "Library2/InstanceRecord.h"
#include "probe_effect.h"

namespace {

namespace prop = ofx::prop;
using ofx::status::OK;
using ofx::status::ReplyDefault;
using probe::Handles;
using probe::shownWidget;
using support::TestEffect;
using testing::Each;
using testing::ElementsAre;

// A GL that counts and remembers; outlines, which are black, apart from the rest.
struct Recorder {
    struct Vertex {
        unsigned mode;
        float x, y;
    };
    std::vector<Vertex> vertices, outlines;
    std::vector<std::array<float, 4>> colours;
    int depth = 0, pushes = 0, begun = 0;
    bool black = false, outlineOverLine = false;
    unsigned mode = 0;
    static Recorder*& current() {
        static Recorder* recorder = nullptr;
        return recorder;
    }
    static const GlFunctions* functions() {
        static const GlFunctions table{
            [](unsigned m) { current()->mode = m, ++current()->begun; },
            [] { --current()->begun; },
            [](float x, float y) {
                Recorder& self = *current();
                (self.black ? self.outlines : self.vertices).push_back({self.mode, x, y});
                self.outlineOverLine |= self.black && !self.vertices.empty();
            },
            [](float r, float g, float b, float a) {
                current()->black = r + g + b == 0.0f;
                if (!current()->black) current()->colours.push_back({r, g, b, a});
            },
            [] { ++current()->depth, ++current()->pushes; },
            [] { --current()->depth; },
        };
        return &table;
    }
    Recorder() {
        current() = this;
        setGlFunctions(functions());
    }
    ~Recorder() { setGlFunctions(nullptr); }
    // Middles of the filled squares.
    std::vector<OfxPointD> handles() const {
        std::vector<OfxPointD> found;
        for (std::size_t i = 0; i + 3 < vertices.size(); ++i)
            if (vertices[i].mode == GL_QUADS_MODE) {
                found.push_back(
                    {0.5 * double(vertices[i].x + vertices[i + 2].x), 0.5 * double(vertices[i].y + vertices[i + 2].y)});
                i += 3;
            }
        return found;
    }
    float extent() const { return across(&Vertex::x); }  // of what was drawn
    float height() const { return across(&Vertex::y); }
    float across(float Vertex::*axis) const {
        float low = 1e30f, high = -1e30f;
        for (const Vertex& v : vertices) low = std::min(low, v.*axis), high = std::max(high, v.*axis);
        return high - low;
    }
};

class Overlay : public probe::ProbeTest {
  protected:
    // 200 x 100 picture; a screen pixel is one unit, so that the pen catches within 5 / 0.75.
    ofxhost::Interact& show(std::string_view word, const char* widget, ofxhost::ViewState view = {}) {
        shownWidget() = widget;
        m_interact.reset();
        on(word).project.width = 200;
        host->project.height = 100;
        m_effect = &host->effect("Q_Handles");
        m_interact = ofxhost::Interact::create(m_effect->instance(), view);
        EXPECT_NE(m_interact, nullptr);
        host->clearRecord();
        return *m_interact;
    }
    ~Overlay() override { m_interact.reset(); }
    Handles& object() { return dynamic_cast<Handles&>(*instanceRecord(m_effect->instance().handle())->effect); }
    double value(const char* name, std::size_t i = 0) { return m_effect->param(name).value().numbers[i]; }
    int writes() {
        const int count = host->count("paramSetValue");
        host->clearRecord();
        return count;
    }
    TestEffect* m_effect = nullptr;
    std::unique_ptr<ofxhost::Interact> m_interact;
};

constexpr double R = 5.0 / 0.75;

TEST_F(Overlay, ThePenCatchesStrictlyInsideTheSquare) {
    ofxhost::Interact& viewer = show("generic", "crosshair");  // at 100, 50
    const auto catches = [&](double x, double y) {
        const bool caught = viewer.penDown({x, y}) == OK;
        viewer.penUp({100.0, 50.0});
        return caught;
    };
    EXPECT_TRUE(catches(100.0, 50.0));
    EXPECT_TRUE(catches(100.0 + R - 0.01, 50.0 + R - 0.01)) << "a square, not a circle";
    EXPECT_FALSE(catches(100.0, 50.0 - R - 0.01));
    EXPECT_FALSE(catches(-1000.0, 50.0));
    EXPECT_FALSE(catches(std::numeric_limits<double>::quiet_NaN(), 50.0));
    EXPECT_EQ(host->faults(), "");
}

TEST_F(Overlay, ADragWritesOnceAMotionAndOnceAtTheRelease) {
    ofxhost::Interact& viewer = show("generic", "crosshair");
    EXPECT_EQ(viewer.penDown({101.0, 51.0}), OK);
    EXPECT_EQ(writes(), 0);
    EXPECT_EQ(viewer.penMotion({50.0, 75.0}), OK);
    EXPECT_EQ(writes(), 1);
    EXPECT_EQ(value("From", 0), 0.25);
    EXPECT_EQ(value("From", 1), 0.75);
    EXPECT_EQ(viewer.penMotion({-20.0, 300.0}), OK) << "out of the picture";
    EXPECT_EQ(value("From", 0), -0.1);
    EXPECT_EQ(writes(), 1);
    EXPECT_EQ(viewer.penUp({150.0, 25.0}), OK) << "the release of a drag";
    EXPECT_EQ(writes(), 1);
    EXPECT_EQ(value("From", 0), 0.75);
    EXPECT_EQ(host->faults(), "");
}

TEST_F(Overlay, EachWidgetMovesItsParts) {
    const struct {
        const char* widget;
        OfxPointD down, to;
        const char* parameter;
        double expected;
    } cases[] = {
        // From 100, 50; To 150, 25; half width 100: Wide 50, High 25, Delta 25
        {"line", {150, 25}, {50, 75}, "To", 0.25},
        {"line", {100, 50}, {50, 75}, "From", 0.25},
        {"angle", {150, 50}, {100, 90}, "Angle", 90.0},
        {"angle", {150, 50}, {60, 50}, "Angle", 180.0},
        {"angle", {150, 50}, {100, 10}, "Angle", 270.0},
        {"angle", {150, 50}, {140, 10}, "Angle", 315.0},
        {"round", {150, 50}, {100, 80}, "Wide", 0.3},
        {"round", {100, 0}, {130, 90}, "Wide", 0.5},
        {"ellipse", {150, 50}, {130, 90}, "Wide", 0.5},  // the distance, not only its part along the axis
        {"ellipse", {100, 75}, {130, 10}, "High", 0.5},
        {"ellipse",
         {100 + 50 * 0.70710678, 50 + 25 * 0.70710678},
         {100 + 100 * 0.70710678, 50 + 50 * 0.70710678},
         "Wide",
         1.0},
        {"ellipse",
         {100 + 50 * 0.70710678, 50 + 25 * 0.70710678},
         {100 + 100 * 0.70710678, 50 + 50 * 0.70710678},
         "High",
         0.5},
        {"ring", {175, 50}, {190, 50}, "Delta", 0.4},
        {"ring", {175, 50}, {110, 50}, "Delta", 0.0},
        {"rectangle", {100, 75}, {120, 10}, "High", 0.4},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(std::string(test.widget) + " " + test.parameter);
        ofxhost::Interact& viewer = show("generic", test.widget);
        EXPECT_EQ(viewer.penDown(test.down), OK);
        EXPECT_EQ(viewer.penMotion(test.to), OK);
        EXPECT_NEAR(value(test.parameter), test.expected, 1e-4);
        EXPECT_EQ(viewer.penUp(test.to), OK);
        EXPECT_NEAR(value(test.parameter), test.expected, 1e-4);
        EXPECT_EQ(viewer.penMotion(test.down), ReplyDefault);
        EXPECT_EQ(host->faults(), "");
    }
}

// Where screen pixels are not square, one host alone counts its pen in the picture's own units.
TEST_F(Overlay, PenPositionsAreThePicturesOnEveryHost) {
    const ofxhost::ViewState view{.pixelScale = {2.0, 1.0}};
    for (const char* word : {"generic", "fusion", "nuke"}) {
        ofxhost::Interact& viewer = show(word, "crosshair", view);
        EXPECT_EQ(viewer.penDown({100.0, 50.0}), OK) << word;
        EXPECT_EQ(viewer.penUp({50.0, 75.0}), OK);
        EXPECT_EQ(value("From", 0), 0.25) << word;
        EXPECT_EQ(value("From", 1), 0.75) << word;
        EXPECT_FLOAT_EQ(object().view.aspect, std::string_view(word) == "fusion" ? 0.25f : 1.0f);
        EXPECT_FLOAT_EQ(object().view.hitScale, 0.375f);
    }
}

TEST_F(Overlay, TheViewFollowsRenderScale) {
    const ofxhost::ViewState view{.renderScale = {0.5, 0.5}, .pixelScale = {1.0, 1.0}};
    for (const char* word : {"generic", "nuke"}) {
        ofxhost::Interact& viewer = show(word, "crosshair", view);
        EXPECT_EQ(viewer.penDown({50.0, 25.0}), OK) << "the centre of the half picture";
        EXPECT_EQ(object().view.width, 100);
        EXPECT_EQ(object().view.height, 50);
        EXPECT_FLOAT_EQ(object().view.hitScale, std::string_view(word) == "nuke" ? 0.375f : 0.75f);
        EXPECT_EQ(viewer.penUp({25.0, 25.0}), OK);
        EXPECT_EQ(value("From", 0), 0.25);
    }
}

// A viewer whose pixels are half as wide as high: the circle of the picture is an ellipse there.
TEST_F(Overlay, ACircleIsOneOfThePictureWhereTheViewersPixelsAreNotSquare) {
    ofxhost::Interact& viewer = show("fusion", "round", {.pixelScale = {1.0, 0.5}});  // radius 50, aspect a quarter
    Recorder gl;
    viewer.draw();
    EXPECT_NEAR(gl.extent(), 100.0, 0.5);
    EXPECT_NEAR(gl.height(), 25.0, 0.5);
    EXPECT_EQ(viewer.penDown({100.0, 50.0 + 12.5}), OK);
    EXPECT_EQ(viewer.penUp({100.0, 50.0 + 20.0}), OK);
    EXPECT_NEAR(value("Wide"), 0.8, 1e-6);
    EXPECT_EQ(viewer.penDown({100.0, 50.0 + 50.0}), ReplyDefault);
}

TEST_F(Overlay, HandlesLightUpUnderThePen) {
    const std::array lit{1.0f, 1.0f, 1.0f, 1.0f};
    ofxhost::Interact& viewer = show("generic", "line");  // ends at 100, 50 and 150, 25
    const auto drawsLit = [&] {
        Recorder gl;
        viewer.draw();
        return std::count(gl.colours.begin(), gl.colours.end(), lit) > 0;
    };
    EXPECT_FALSE(drawsLit());
    EXPECT_EQ(viewer.penMotion({150.0, 25.0}), ReplyDefault) << "nothing is held";
    EXPECT_EQ(host->count("interactRedraw"), 1);
    EXPECT_TRUE(drawsLit());
    viewer.penMotion({149.0, 25.0});
    EXPECT_EQ(host->count("interactRedraw"), 1) << "nothing has changed";
    viewer.penMotion({20.0, 20.0});
    EXPECT_EQ(host->count("interactRedraw"), 2);
    EXPECT_FALSE(drawsLit());
    EXPECT_EQ(writes(), 0);
}

// ---- Drawing

TEST_F(Overlay, DrawsEveryWidgetInsideOneMatrix) {
    for (const char* widget : {"crosshair", "line", "angle", "round", "ellipse", "ring", "rectangle"}) {
        Recorder gl;
        EXPECT_EQ(show("generic", widget).draw(), OK);
        EXPECT_FALSE(gl.vertices.empty()) << widget;
        EXPECT_EQ(gl.depth, 0);
        EXPECT_EQ(gl.begun, 0);
        EXPECT_EQ(gl.pushes, 1);
        EXPECT_EQ(host->faults(), "");
    }
}

TEST_F(Overlay, SizesOnScreenDoNotDependOnTheZoom) {
    for (const double pixel : {0.25, 1.0, 4.0}) {
        Recorder gl;
        show("generic", "crosshair", {.pixelScale = {pixel, pixel}}).draw();
        EXPECT_NEAR(gl.extent(), 2.0 * 25.0 * pixel / 0.75, 1e-3) << "arms reach 25 pixels";
        EXPECT_EQ(gl.vertices.size(), 8u);
        EXPECT_THAT(gl.colours, ElementsAre(std::array{1.0f, 1.0f, 1.0f, 1.0f}));
    }
    Recorder gl;
    show("generic", "line").draw();
    EXPECT_THAT(gl.colours,
                Each(testing::AnyOf(std::array{1.0f, 1.0f, 0.0f, 1.0f}, std::array{0.5f, 0.5f, 0.5f, 1.0f})))
        << "the line has the colour that its effect declares, handles are grey";
    int corners = 0;
    for (const auto& vertex : gl.vertices) corners += vertex.mode == 7;
    EXPECT_EQ(corners, 8) << "two handles";
}

TEST_F(Overlay, OutlinesLieUnderTheLines) {
    for (const char* widget : {"crosshair", "line", "ellipse", "ring"}) {
        Recorder gl;
        show("generic", widget).draw();
        EXPECT_FALSE(gl.outlineOverLine) << widget;
        const float lines = gl.extent();
        gl.vertices.swap(gl.outlines);
        EXPECT_THAT(gl.vertices, Each(testing::Field(&Recorder::Vertex::mode, GL_QUADS_MODE)));
        EXPECT_THAT(gl.extent() - lines, testing::AllOf(testing::Gt(1.0f), testing::Lt(6.0f))) << widget;
    }
}

TEST_F(Overlay, NamesShowWhileThePenIsThere) {
    for (const OfxPointD place : {OfxPointD{0.5, 0.5}, OfxPointD{-0.4, 0.5}}) {
        ofxhost::Interact& viewer = show("generic", "crosshair");
        m_effect->set("From", {place.x, place.y});
        const auto drawn = [&] {
            Recorder gl;
            viewer.draw();
            return std::pair(gl.vertices.size(), gl.handles());
        };
        const auto [bare, pointers] = drawn();
        const OfxPointD grip = pointers.empty() ? OfxPointD{100.0, 50.0} : pointers[0];
        viewer.penMotion(grip);
        const std::size_t hovered = drawn().first;
        EXPECT_GT(hovered, bare + 20) << "strokes of the name";
        viewer.penDown(grip);
        EXPECT_EQ(drawn().first, hovered);
        viewer.penUp(grip);
        viewer.penMotion({180.0, 10.0});
        EXPECT_EQ(drawn().first, bare);
    }
}

// ---- Handles outside the picture

TEST_F(Overlay, HandlesOutsideAreDraggedByPointersAtTheEdge) {
    const struct {
        const char* widget;
        std::array<double, 2> from;
        double wide;
        const char* parameter;
    } cases[] = {{"crosshair", {-0.3, 1.4}, 0.5, "From"}, {"crosshair", {0.5, -40.0}, 0.5, "From"},
                 {"line", {1.2, 0.5}, 0.5, "From"},       {"round", {0.5, 0.5}, 3.0, "Wide"},
                 {"round", {-0.5, 0.5}, 0.1, "Wide"},     {"ring", {0.5, 0.5}, 3.0, "Delta"},
                 {"rectangle", {0.5, 0.5}, 1.5, "Wide"}};
    for (const auto& test : cases) {
        SCOPED_TRACE(std::string(test.widget) + " " + std::to_string(test.from[0]));
        ofxhost::Interact& viewer = show("generic", test.widget);
        m_effect->set("From", {test.from[0], test.from[1]});
        m_effect->set("Wide", test.wide);
        Recorder gl;
        viewer.draw();
        std::vector<OfxPointD> inside = gl.handles();
        std::erase_if(inside, [](OfxPointD p) { return p.x < 0 || p.x > 200 || p.y < 0 || p.y > 100; });
        ASSERT_FALSE(inside.empty());
        const OfxPointD grip = inside.back();  // pointers are drawn after what really lies inside
        const std::array before{value(test.parameter, 0), value(test.parameter, 1)};
        EXPECT_EQ(viewer.penDown(grip), OK);
        EXPECT_EQ(viewer.penMotion(grip), OK);
        EXPECT_NEAR(value(test.parameter, 0), before[0], 1e-5) << "no jump";
        EXPECT_NEAR(value(test.parameter, 1), before[1], 1e-5);
        EXPECT_EQ(viewer.penMotion({grip.x + 20.0, grip.y + 10.0}), OK);
        const double change = value(test.parameter, 0) - before[0];
        if (std::string_view(test.parameter) == "From") {
            EXPECT_NEAR(change, 0.1, 1e-5);
            EXPECT_NEAR(value("From", 1), before[1] + 0.1, 1e-5);
        } else {
            EXPECT_GT(std::fabs(change), 0.01);
            EXPECT_LT(std::fabs(change), 0.3);
        }
        EXPECT_EQ(viewer.penUp({grip.x + 20.0, grip.y + 10.0}), OK);
        EXPECT_EQ(viewer.penMotion(grip), ReplyDefault);
        EXPECT_EQ(host->faults(), "");
    }
}

TEST_F(Overlay, PointersInOneDirectionStandApart) {
    ofxhost::Interact& viewer = show("generic", "line");
    m_effect->set("From", {3.0, 0.5});
    m_effect->set("To", {5.0, 0.5});
    Recorder gl;
    viewer.draw();
    auto grips = gl.handles();
    std::erase_if(grips, [](OfxPointD p) { return p.x > 200; });
    ASSERT_EQ(grips.size(), 2u);
    EXPECT_GT(std::hypot(grips[0].x - grips[1].x, grips[0].y - grips[1].y), 2.0 * R);
    viewer.penDown(grips[1]);
    viewer.penUp({grips[1].x - 20.0, grips[1].y});
    EXPECT_EQ(value("From", 0), 3.0);
    EXPECT_NEAR(value("To", 0), 4.9, 1e-5);
}

// ---- Hosts that say nonsense

TEST_F(Overlay, NonsenseFromTheHostSetsNoNonsense) {
    constexpr double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
    const double nonsense[] = {0.0, -1.0, -0.5, nan, inf, -inf, 1e-300, 1e300};
    for (const char* word : {"generic", "fusion", "nuke"})
        for (const char* widget : {"crosshair", "line", "angle", "round", "ellipse", "ring", "rectangle"})
            for (const double bad : nonsense) {
                SCOPED_TRACE(std::string(word) + " " + widget + " " + std::to_string(bad));
                for (const OfxPointD scale : {OfxPointD{bad, 1.0}, {1.0, bad}, {bad, bad}}) {
                    Recorder gl;
                    ofxhost::Interact& viewer = show(word, widget, {.pixelScale = scale});
                    for (const OfxPointD pen : {OfxPointD{150.0, 50.0}, {100.0, 50.0}, {nan, 50.0}, {bad, bad}}) {
                        viewer.penMotion(pen);
                        viewer.penDown(pen);
                        viewer.draw();
                        viewer.penMotion({bad, 20.0});
                        viewer.penMotion({120.0, 20.0});
                        viewer.penUp({20.0, bad});
                    }
                    for (const char* name : {"From", "To", "Angle", "Wide", "High", "Delta"})
                        for (const double number : {value(name, 0), value(name, 1)}) EXPECT_LT(std::fabs(number), 1e9);
                    EXPECT_EQ(gl.depth, 0);
                }
            }
}

TEST(OverlayPrimitives, CirclesCloseAndSmallOnesVanish) {
    Recorder gl;
    const OverlayPen pen(1.0f);
    pen.ellipse({0, 0}, 4.9f, 4.9f, 0, false);
    EXPECT_TRUE(gl.vertices.empty());
    pen.ellipse({10, 20}, 5.0f, 50.0f, 30, false);
    EXPECT_GE(gl.vertices.size(), 20u) << "at least ten sides";
    gl.vertices.clear();
    pen.ellipse({0, 0}, std::numeric_limits<float>::quiet_NaN(), 50.0f, 0, false);
    EXPECT_TRUE(gl.vertices.empty());
    pen.ellipse({0, 0}, 1e20f, 1e20f, 0, false);
    EXPECT_LT(gl.vertices.size(), 10000u);
}

TEST(OverlayPrimitives, DashesEndAtTheLinesEnd) {
    Recorder gl;
    const OverlayPen pen(1.0f);
    pen.dashedLine({0, 0}, {DASH_PIXELS * 2.5f, 0});
    ASSERT_EQ(gl.vertices.size(), 4u);
    EXPECT_FLOAT_EQ(gl.vertices[1].x, DASH_PIXELS);
    EXPECT_FLOAT_EQ(gl.vertices[2].x, DASH_PIXELS * 2);
    EXPECT_FLOAT_EQ(gl.vertices[3].x, DASH_PIXELS * 2.5f);
    pen.dashedLine({0, 0}, {1e30f, 0});
    EXPECT_LT(gl.vertices.size(), 10000u);
}

TEST(OverlayPrimitives, TheCornersOfADashedRectangleTakeTheAspect) {
    Recorder gl;
    const OverlayPen pen(1.0f);
    pen.rectangle({10, 20}, 40, 30, 0, true, 0.5f);
    EXPECT_NEAR(gl.extent(), 80.0, 1e-3);
    EXPECT_NEAR(gl.height(), 30.0, 1e-3);
    gl.vertices.clear();
    pen.rectangle({10, 20}, 40, 30, 90, false, 0.5f);
    EXPECT_NEAR(gl.height(), 80.0, 1e-3) << "one in whole lines stays as it is";
}

}  // namespace
