// TrailAverage in a host, in sequences of renders, against a plain model of its running sums.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <set>
#include <utility>

#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_colour.h"
#include "imagelib/imagelib_composite.h"
#include "support/recording_host.h"

namespace {

using support::Depth;
using support::ImageLayout;
using support::imageOf;
using support::largestDifference;
using support::layoutOf;
using support::RecordingHost;
using support::TestEffect;
using Pixels = std::vector<float>;

constexpr int WIDTH = 24, HEIGHT = 18;
constexpr int FIRST = 100;  // the host's time of the clip's first frame

// A disc that passes over a pattern; alpha and the matte vary too.
support::ImagePtr scene(int frame, Depth depth = Depth::Float, int width = WIDTH, int height = HEIGHT) {
    return imageOf(layoutOf(width, height, depth), [frame](int x, int y, int c) {
        const bool inside = std::hypot(x - 2.0 * frame, y - 9.0) < 5;
        if (c == 3) return inside ? 1.0f : 0.125f * float(x % 5);
        return inside ? 1.0f - 0.2f * float(c) : 0.1f + 0.03f * float((x * (c + 2) + y * 3) % 11);
    });
}
support::ImagePtr matteScene(int frame) {
    return imageOf(layoutOf(WIDTH, HEIGHT),
                   [frame](int x, int y, int c) { return c == 0 ? 0.05f * float((x + y + frame) % 20) : 0.7f; });
}

struct Options {
    const char* style = "Straight";
    int lengths[4] = {4, 4, 6, 9};  // Endurance, then of red, green and blue
    double boost = 50;
    bool matte = false, premultiply = false;
};

::ImagePtr asImage(const Pixels& pixels) {
    ::ImagePtr image = make_image(WIDTH, HEIGHT, 4, SAMPLE_F32);
    std::copy(pixels.begin(), pixels.end(), image_row<float>(image.get(), 0));
    return image;
}
template <class Operation>
Pixels changed(const Pixels& pixels, Operation operation) {
    const ::ImagePtr image = asImage(pixels);
    EXPECT_TRUE(operation(image.get()));
    return Pixels(image_row<float>(image.get(), 0), image_row<float>(image.get(), 0) + pixels.size());
}

// The running sums as they are defined: a run begins with as many first frames as the trail is long; each render then
// takes one frame out and puts one in.
class Model {
  public:
    explicit Model(const Options& options) : m_o(options) {}

    Pixels render(int frame) {
        Pixels newest = taken(frame);
        if (m_restart || frame < m_last) {
            m_first = frame;
            for (int s = 0; s < 3; ++s) {
                m_sums[s].assign(newest.size(), 0.0);
                for (std::size_t i = 0; i < newest.size(); ++i) m_sums[s][i] = double(newest[i]) * length(s);
            }
        } else {
            for (int s = 0; s < 3; ++s) {
                const Pixels oldest = taken(std::max(frame - length(s), m_first));
                for (std::size_t i = 0; i < newest.size(); ++i) m_sums[s][i] += double(newest[i]) - double(oldest[i]);
            }
        }
        const bool first = std::exchange(m_restart, false) || frame < m_last;
        m_last = frame;
        return shown(newest, first);
    }

  private:
    bool stagger() const { return std::string(m_o.style) == "StaggerRGB"; }
    bool boosts() const { return std::string(m_o.style) == "BoostBright"; }
    int length(int s) const { return m_o.lengths[stagger() ? s + 1 : 0]; }

    Pixels taken(int frame) const {
        Pixels pixels = scene(frame)->toFloats();
        const Pixels matte = matteScene(frame)->toFloats();
        for (std::size_t i = 0; i < pixels.size() && (m_o.matte || m_o.premultiply); i += 4) {
            pixels[i + 3] = matte[i];
            for (std::size_t c = 0; c < 3 && m_o.premultiply; ++c) pixels[i + c] *= matte[i];
        }
        if (!boosts()) return pixels;
        return changed(pixels, [&](K7Image* image) { return image_rgb_to_yuv_curve(image, image, float(m_o.boost)); });
    }

    Pixels shown(const Pixels& newest, bool first) const {
        Pixels result(newest.size());
        for (std::size_t i = 0; i < result.size(); ++i) {
            const std::size_t s = stagger() ? i % 4 : 0;
            double value = s < 3 ? m_sums[s][i] / length(int(s)) : 0.0;
            for (std::size_t a = 0; a < 3 && s == 3; ++a) value += m_sums[a][i] / length(int(a));
            result[i] = float(stagger() ? std::clamp(value, 0.0, 1.0) : value);
        }
        if (boosts())
            return changed(result,
                           [&](K7Image* image) { return image_yuv_curve_to_rgb(image, image, float(m_o.boost)); });
        return first ? newest : result;
    }

    Options m_o;
    bool m_restart = true;
    int m_first = 0, m_last = 0;
    std::vector<double> m_sums[3];
};

class Trail : public testing::Test {
  protected:
    Trail() {
        host.project.width = WIDTH, host.project.height = HEIGHT;
        host.project.firstFrame = FIRST, host.project.lastFrame = FIRST + 100;
    }

    TestEffect& effect(const Options& options) {
        TestEffect& trail = host.effect("Q_TrailAverage");
        feed(trail);
        set(trail, options);
        return trail;
    }
    void feed(TestEffect& trail, int changedFrame = -1, float added = 0.0f) {
        trail.connect(
            "Input",
            [=](double time) {
                const int frame = int(time) - FIRST;
                auto image = scene(frame);
                if (frame == changedFrame) {
                    Pixels pixels = image->toFloats();
                    for (std::size_t i = 0; i < 40; ++i) pixels[i] += added;
                    image->fromFloats(pixels);
                }
                return image;
            },
            FIRST, FIRST + 100);
    }
    static void connectMatte(TestEffect& trail) {
        trail.connect(
            "Matte", [](double time) { return matteScene(int(time) - FIRST); }, FIRST, FIRST + 100);
    }
    static void set(TestEffect& trail, const Options& o) {
        trail.choose("DoStyle", o.style);
        const char* names[] = {"Endurance", "EnduranceR", "EnduranceG", "EnduranceB"};
        for (std::size_t i = 0; i < 4; ++i) trail.set(names[i], o.lengths[i]);
        trail.set("LumBoost", o.boost);
        trail.set("MatteShuffle", double(o.matte));
        trail.set("MattePreMultiply", double(o.premultiply));
    }
    static Pixels render(TestEffect& trail, int frame) { return trail.render(FIRST + frame); }

    RecordingHost host;
};

constexpr double CLOSE = 3e-6;

TEST_F(Trail, FollowsTheModelThroughSequencesJumpsAndStepsBack) {
    const Options cases[] = {
        {},
        {.style = "StaggerRGB"},
        {.style = "StaggerRGB", .lengths = {4, 5, 5, 2}},
        {.style = "BoostBright", .boost = 20},
        {.matte = true},
        {.style = "StaggerRGB", .matte = true, .premultiply = true},
        {.style = "BoostBright", .boost = 8, .premultiply = true},
    };
    const int frames[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 13, 14, 20, 6, 7, 8, 3, 9};
    for (const Options& options : cases) {
        TestEffect& trail = effect(options);
        connectMatte(trail);
        Model model(options);
        for (const int frame : frames)
            EXPECT_LT(largestDifference(render(trail, frame), model.render(frame)), CLOSE)
                << options.style << " boost " << options.boost << " frame " << frame;
        EXPECT_TRUE(trail.imagesBalanced());
    }
}

// However long a run, and whatever went through it, nothing stays behind.
TEST_F(Trail, LeavesNothingBehind) {
    const float infinity = std::numeric_limits<float>::infinity();
    TestEffect &clean = effect({}), &spoilt = effect({});
    for (const float added : {infinity, std::nanf(""), 30000.0f, -5.0f}) {
        feed(spoilt, 12, added);
        Pixels a, b;
        for (int frame = 0; frame < 30; ++frame) {
            a = render(clean, frame), b = render(spoilt, frame);
            for (const float sample : b) ASSERT_TRUE(std::isfinite(sample)) << frame;
            if (frame > 11 && frame < 16) {
                EXPECT_NE(a, b) << frame;
            } else {
                EXPECT_EQ(a, b) << frame << " " << added;
            }
        }
    }
}

TEST_F(Trail, RestartsAtTheButton) {
    TestEffect& trail = effect({});
    trail.setSilently("ReStartSecret", 9999.0);
    for (int frame = 0; frame < 5; ++frame) render(trail, frame);
    EXPECT_NE(render(trail, 5), scene(5)->toFloats());
    for (const double count : {0.0, 1.0}) {
        trail.press("Restart");
        EXPECT_EQ(trail.param("ReStartSecret").valueAt(0.0).numbers[0], count);
        const int frame = 6 + 2 * int(count);
        EXPECT_EQ(render(trail, frame), scene(frame)->toFloats());
        EXPECT_NE(render(trail, frame + 1), scene(frame + 1)->toFloats());
    }
    trail.setSilently("ReStartSecret", 77.0);  // pressed in another instance of the same node
    EXPECT_EQ(render(trail, 10), scene(10)->toFloats());
}

TEST_F(Trail, AFrameOnceMoreShowsTheSameAndFollowsItsSource) {
    for (const char* style : {"Straight", "StaggerRGB", "BoostBright"}) {
        TestEffect& trail = effect({.style = style});
        TestEffect& other = effect({.style = style});
        Pixels first;
        for (int frame = 0; frame < 8; ++frame) first = render(trail, frame);
        EXPECT_EQ(render(trail, 7), first) << style;
        EXPECT_EQ(render(trail, 7), first) << style;
        feed(trail, 7, 0.25f);
        feed(other, 7, 0.25f);
        for (int frame = 0; frame < 7; ++frame) render(other, frame);
        EXPECT_EQ(render(trail, 7), render(other, 7)) << style;
        EXPECT_EQ(render(trail, 8), render(other, 8)) << style;
    }
}

TEST_F(Trail, ChangedSettingsGiveTheTrailTheyWouldHaveGiven) {
    const Options all[] = {{.lengths = {6, 4, 6, 9}},
                           {.style = "StaggerRGB", .lengths = {4, 9, 3, 30}},
                           {.style = "BoostBright", .boost = 30},
                           {.matte = true},
                           {.premultiply = true}};
    TestEffect& trail = effect({});
    connectMatte(trail);
    for (int frame = 0; frame < 9; ++frame) render(trail, frame);
    for (const Options& options : all) {
        Model model(options);
        for (int frame = 0; frame < 8; ++frame) model.render(frame);
        set(trail, options);
        const Pixels expected = model.render(8);
        EXPECT_LT(largestDifference(render(trail, 8), expected), CLOSE) << options.style;
    }
}

TEST_F(Trail, TellsTheHostTheFramesOfItsStyle) {
    TestEffect& trail = effect({});
    const auto asked = [&](int frame) {
        std::map<std::string, ofxhost::FrameRanges> frames;
        EXPECT_EQ(trail.instance().framesNeeded(FIRST + frame, frames), ofx::status::OK);
        const auto& ranges = frames.at("Input");
        EXPECT_EQ(ranges.size(), 2u);
        EXPECT_EQ(ranges.at(0).min, FIRST + frame);
        return std::pair(int(ranges.at(1).min) - FIRST, int(ranges.at(1).max) - FIRST);
    };
    EXPECT_EQ(asked(20), std::pair(16, 20));
    EXPECT_EQ(asked(0), std::pair(0, 0));
    trail.choose("DoStyle", "StaggerRGB");
    EXPECT_EQ(asked(20), std::pair(11, 20));
    for (int frame = 14; frame < 20; ++frame) render(trail, frame);
    EXPECT_EQ(asked(20), std::pair(14, 20));
    EXPECT_EQ(asked(3), std::pair(3, 3));  // a step back begins anew
}

TEST_F(Trail, AMissingFrameBeginsANewRun) {
    TestEffect& trail = effect({});
    for (int frame = 0; frame < 6; ++frame) render(trail, frame);
    ofxhost::HostHooks hooks;
    hooks.failClipGetImageAt = 4;  // after Input, Bck and Matte of this frame
    host.setHooks(hooks);
    EXPECT_EQ(render(trail, 6), scene(6)->toFloats());
    host.clearHooks();
    Model model({});
    model.render(6);
    EXPECT_LT(largestDifference(render(trail, 7), model.render(7)), CLOSE);
    EXPECT_TRUE(trail.imagesBalanced());
}

TEST_F(Trail, AnAbandonedRenderDoesNotSpoilTheRun) {
    for (int poll = 1; poll <= 10; ++poll) {
        TestEffect& trail = effect({});
        Model model({});
        for (int frame = 0; frame < 6; ++frame) render(trail, frame), model.render(frame);
        host.abortAt(poll);
        render(trail, 6);
        host.clearHooks();
        EXPECT_LT(largestDifference(render(trail, 6), model.render(6)), CLOSE) << poll;
        EXPECT_LT(largestDifference(render(trail, 7), model.render(7)), CLOSE) << poll;

        trail.set("Endurance", 6);  // the sums are made anew, and that is abandoned
        Model longer({.lengths = {6, 4, 6, 9}});
        for (int frame = 0; frame < 8; ++frame) longer.render(frame);
        host.abortAt(poll);
        render(trail, 8);
        host.clearHooks();
        EXPECT_LT(largestDifference(render(trail, 8), longer.render(8)), CLOSE) << poll;
    }
}

// A host whose pictures decide the size: the run begins anew with a picture of another size.
TEST_F(Trail, RestartsAtAnotherSize) {
    RecordingHost vegas("vegas");
    vegas.project = host.project;
    TestEffect& trail = vegas.effect("Q_TrailAverage");
    const auto width = [](int frame) { return frame < 5 ? WIDTH : WIDTH - 7; };
    trail.connect(
        trail.primaryClip().name(), [=](double time) { return scene(int(time), Depth::Float, width(int(time))); }, 0,
        100);
    for (int frame = 0; frame < 9; ++frame) {
        trail.setOutputLayout(layoutOf(width(frame), HEIGHT));
        const bool starts = frame == 0 || frame == 5;
        EXPECT_EQ(trail.render(frame) == scene(frame, Depth::Float, width(frame))->toFloats(), starts) << frame;
    }
}

TEST_F(Trail, CompositesOverTheBackground) {
    const auto behind = support::noiseImage(layoutOf(WIDTH, HEIGHT), 8);
    for (const bool premultiplied : {false, true})
        for (const bool connected : {false, true}) {
            TestEffect &plain = effect({.matte = true}), &composed = effect({.matte = true});
            connectMatte(plain), connectMatte(composed);
            if (connected) composed.connect("Bck", behind);
            composed.set("DoComp", 1.0);
            composed.set("PreMultiply", double(premultiplied));
            for (int frame = 0; frame < 4; ++frame) {
                const ::ImagePtr below = asImage(connected ? behind->toFloats() : scene(frame)->toFloats());
                const Pixels expected = changed(render(plain, frame), [&](K7Image* image) {
                    return image_composite(image, image, COMPOSITE_OVER, below.get(), premultiplied, -1, -1, -1, -1);
                });
                EXPECT_EQ(render(composed, frame), expected) << premultiplied << connected << frame;
            }
        }
}

}  // namespace
