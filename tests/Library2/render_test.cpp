// The render flow, seen from a host: pixels in, pixels out, and nothing kept on any path.
#include <atomic>
#include <chrono>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <thread>

#include "Library2/InstanceRecord.h"
#include "imagelib/imagelib_resample.h"
#include "probe_effect.h"

namespace {

namespace prop = ofx::prop;
using ofx::status::OK;
using probe::script;
using support::Depth;
using support::ImageLayout;
using support::ImagePtr;
using support::layoutOf;
using support::TestEffect;
using testing::Each;
using testing::Not;

class Render : public probe::ProbeTest {
  protected:
    TestEffect& effectOn(std::string_view word, int width, int height, double aspect = 1.0, double scale = 1.0) {
        script() = {};
        on(word);
        host->project.width = width;
        host->project.height = height;
        host->project.pixelAspect = aspect;
        host->project.renderScale = {scale, scale};
        TestEffect& effect = create();
        EXPECT_EQ(effect.createStatus(), OK);
        return effect;
    }
    static ImageLayout at(OfxRectI bounds, Depth depth = Depth::Float) {
        ImageLayout layout;
        layout.bounds = bounds;
        layout.depth = depth;
        return layout;
    }
    static void feed(TestEffect& effect, ImagePtr image) {
        effect.connect(effect.primaryClip().name(), std::move(image));
    }
    static void expectClean(TestEffect& effect, const char* what = "") {
        EXPECT_TRUE(effect.imagesBalanced()) << what;
        probe::Probe& object = probeOf(effect);
        for (const ClipRecord* clip : object.inputs()) EXPECT_EQ(clip->image, nullptr) << what;
        EXPECT_EQ(object.output.image, nullptr) << what;
        EXPECT_TRUE(renderLock().try_lock()) << what;
        renderLock().unlock();
        if (effect.lastImage()) {
            EXPECT_TRUE(effect.lastImage()->guardsIntact()) << what;
        }
    }
};

// What the effect saw of a clip.
struct Seen {
    int width = 0, height = 0;
    float unitScale = 0.0f, aspect = 0.0f;
    double first = -1, last = -1, current = -1;
    static Seen of(const probe::Probe& object, const K7Image* image) {
        if (!image) return {};
        return {image->width,      image->height,    image->unit_scale,  image->pixel_aspect,
                object.firstFrame, object.lastFrame, object.currentFrame};
    }
};

// ---- Pixels ---------------------------------------------------------------------------------------------------

TEST_F(Render, PassesEveryDepthThroughUnchangedAtAnySize) {
    for (const Depth depth : {Depth::Byte, Depth::Short, Depth::Float}) {
        for (const auto& [width, height] : {std::pair{1, 1}, {17, 1}, {1, 33}, {63, 47}}) {
            TestEffect& effect = effectOn("generic", width, height);
            const ImagePtr input = support::noiseImage(layoutOf(width, height, depth), 7);
            feed(effect, input);
            effect.background = 0.5f;
            EXPECT_EQ(effect.render(), input->toFloats()) << width << "x" << height << " depth " << int(depth);
            expectClean(effect);
        }
    }
}

// The output is written where the input's bounds, the output's and the frame meet; CDV DX fills the whole output.
TEST_F(Render, WritesTheInputsRegionAndLeavesTheRestOfTheOutputAlone) {
    constexpr int W = 20, H = 12;
    const OfxRectI places[] = {
        {0, 0, W, H}, {3, 2, 11, 9}, {-5, -4, W + 6, H + 3}, {10, 5, W + 9, H + 9}, {-9, 0, 0, H}};
    for (const char* word : {"generic", "cdv"}) {
        for (const OfxRectI& in : places) {
            for (const OfxRectI& out : {OfxRectI{0, 0, W, H}, OfxRectI{4, 3, 15, 10}, OfxRectI{-3, -2, W + 3, H + 2}}) {
                TestEffect& effect = effectOn(word, W, H);
                ImageLayout inLayout = at(in, Depth::Byte), outLayout = at(out, Depth::Byte);
                inLayout.padding = 7, outLayout.padding = 12;
                inLayout.negativeRows = outLayout.negativeRows = true;
                const ImagePtr input = support::noiseImage(inLayout, 3);
                feed(effect, input);
                effect.setOutputLayout(outLayout);
                effect.background = 51.0f / 255.0f;
                effect.render();
                const auto inside = [](const OfxRectI& r, int x, int y) {
                    return x >= r.x1 && x < r.x2 && y >= r.y1 && y < r.y2;
                };
                for (int y = out.y1; y < out.y2; ++y) {
                    for (int x = out.x1; x < out.x2; ++x) {
                        const bool frame = inside({0, 0, W, H}, x, y), source = inside(in, x, y);
                        const bool written = frame && (source || std::string_view(word) == "cdv");
                        const float expected = !written ? 51.0f / 255.0f : source ? input->sample(x, y, 1) : 0.0f;
                        ASSERT_EQ(effect.lastImage()->sample(x, y, 1), expected)
                            << word << " " << x << ", " << y << " in " << in.x1 << "," << in.y1;
                    }
                }
                expectClean(effect);
            }
        }
    }
}

// ---- Sizes and frames -----------------------------------------------------------------------------------------

TEST_F(Render, TheWorkingImageCarriesRenderScaleAndAspect) {
    const struct {
        const char* word;
        double scale, aspect;
        int width, height;
        float pixelAspect;
    } cases[] = {
        {"generic", 0.5, 2.0, 95, 40, 2.0f},     {"nuke", 0.5, 1.5, 95, 40, 1.5f},
        {"vegas", 1.0, 1.0940, 190, 80, 1.094f}, {"fusion", 0.5, 0.25, 95, 40, 4.0f},
        {"toxik", 0.25, 1.0, 47, 20, 1.0f},
    };
    for (const auto& test : cases) {
        TestEffect& effect = effectOn(test.word, 190, 80, test.aspect, test.scale);
        ImageLayout layout = layoutOf(test.width, test.height);
        layout.pixelAspect = test.aspect;
        layout.renderScale = {test.scale, test.scale};
        feed(effect, support::gradientImage(layout));
        Seen in, out;
        script().process = [&](probe::Probe& object) {
            in = Seen::of(object, object.input.image.get());
            out = Seen::of(object, object.output.image.get());
        };
        effect.render();
        for (const Seen& seen : {in, out}) {
            EXPECT_EQ(seen.width, test.width) << test.word << test.scale;
            EXPECT_EQ(seen.height, test.height) << test.word;
            EXPECT_FLOAT_EQ(seen.unitScale, float(1.0 / test.scale)) << test.word;
            EXPECT_FLOAT_EQ(seen.aspect, test.pixelAspect) << test.word;
        }
        expectClean(effect);
    }
}

TEST_F(Render, FramesAreCountedTheHostsWay) {
    const struct {
        const char* word;
        bool connected;
        double first, last, current;
    } cases[] = {
        {"generic", true, 10, 59, 15},  {"nuke", true, 10, 59, 15},
        {"vegas", true, 10, 59, 15},    {"cdv", true, 10, 59, 15},
        {"toxik", true, 0, 999999, 25}, {"fusion", true, 0, 50, 25},
        {"fusion", false, 0, 50, 25},   {"generic", false, 10, 59, 15},
        {"toxik", false, 10, 59, 15},   {"vegas", false, 0.25, 1.475, 0.375},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(std::string(test.word) + (test.connected ? "" : " unconnected"));
        on(test.word);
        host->project.firstFrame = 10, host->project.lastFrame = 59;
        TestEffect& effect = create(ofx::context::Generator);
        if (test.connected) feed(effect, support::gradientImage(layoutOf(64, 48)));
        Seen seen;
        script().process = [&](probe::Probe& object) { seen = Seen::of(object, object.output.image.get()); };
        effect.render(25.0);
        EXPECT_DOUBLE_EQ(seen.first, test.first);
        EXPECT_DOUBLE_EQ(seen.last, test.last);
        EXPECT_DOUBLE_EQ(seen.current, test.current);
    }
}

TEST_F(Render, WithoutAnInputAGeneratorBeginsWithBlack) {
    on("generic").project.renderScale = {0.5, 0.5};
    host->project.pixelAspect = 2.0;
    TestEffect& effect = create(ofx::context::Generator);
    host->clearRecord();
    effect.background = 0.5f;
    Seen seen;
    script().process = [&](probe::Probe& object) {
        seen = Seen::of(object, object.output.image.get());
        for (const ClipRecord* clip : object.inputs()) {
            ASSERT_NE(clip->image, nullptr) << clip->param().name;
            EXPECT_EQ(image_get_sample(clip->image.get(), 3, 3, 3), 0.0f);
        }
        EXPECT_NE(object.input.image, object.output.image);
        image_fill(object.output.image.get(), 0.25f);
    };
    EXPECT_THAT(effect.render(), Each(0.25f));
    EXPECT_EQ(seen.width, 32);
    EXPECT_EQ(seen.height, 24);
    EXPECT_EQ(seen.unitScale, 2.0f);
    EXPECT_EQ(seen.aspect, 2.0f);
    expectClean(effect);
}

// 65535 on both sides are the largest there are, but more memory than there is for an image.
TEST_F(Render, RefusesFramesThatAreNoPicture) {
    TestEffect& effect = effectOn("generic", 64, 48);
    feed(effect, support::gradientImage(layoutOf(64, 48)));
    effect.background = 0.5f;
    bool called = false;
    script().process = [&](probe::Probe&) { called = true; };
    constexpr std::pair<double, double> extents[] = {{0.25, 48.0}, {1e300, 48.0}, {65536.5, 48.0}, {65535.0, 65535.0}};
    for (const auto& [width, height] : extents) {
        effect.instance().properties().setDouble(prop::ProjectExtent, width, 0);
        effect.instance().properties().setDouble(prop::ProjectExtent, height, 1);
        EXPECT_EQ(effect.renderStatus(), OK);
        EXPECT_FALSE(called) << width << " x " << height;
        EXPECT_THAT(effect.lastImage()->toFloats(), Each(0.5f));
        expectClean(effect);
    }
}

// The frame is where the picture lies: the input's, else the output's.
TEST_F(Render, WithoutASizeOfTheProjectThePicturesBoundsAreTheFrame) {
    const OfxRectI place{-7, 5, 26, 26};
    for (const char* word : {"generic", "nuke", "vegas"}) {
        for (const double none : {0.0, -5.0, std::numeric_limits<double>::quiet_NaN()}) {
            for (const bool connected : {true, false}) {
                TestEffect& effect = effectOn(word, 64, 48);
                const ImagePtr input = support::noiseImage(at(place), 8);
                if (connected) feed(effect, input);
                effect.setOutputLayout(at(place));
                effect.instance().properties().setDouble(prop::ProjectExtent, none);
                Seen seen;
                script().process = [&](probe::Probe& object) {
                    seen = Seen::of(object, object.output.image.get());
                    if (!connected) image_fill(object.output.image.get(), 0.25f);
                };
                const auto picture = effect.render();
                EXPECT_EQ(seen.width, 33) << word << none;
                EXPECT_EQ(seen.height, 21);
                EXPECT_EQ(picture, connected ? input->toFloats() : std::vector<float>(picture.size(), 0.25f)) << word;
                expectClean(effect);
            }
        }
    }
}

TEST_F(Render, OddPixelAspectsCountAsSquare) {
    const double infinite = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
    for (const char* word : {"generic", "fusion"}) {
        for (const double aspect : {0.0, 0.00005, nan, infinite}) {
            TestEffect& effect = effectOn(word, 64, 48);
            ImageLayout layout = layoutOf(64, 48);
            layout.pixelAspect = aspect;
            feed(effect, support::gradientImage(layout));
            script().process = [&](probe::Probe& object) {
                EXPECT_EQ(object.input.image->pixel_aspect, 1.0f) << word << aspect;
            };
            effect.render();
            expectClean(effect);
        }
    }
}

// ---- What an effect may count on ------------------------------------------------------------------------------

TEST_F(Render, NumbersOfTheHostAreFiniteForTheEffect) {
    const double infinite = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
    TestEffect& effect = effectOn("toxik", 64, 48);
    feed(effect, support::gradientImage(layoutOf(64, 48)));
    for (const double bad : {infinite, -infinite, nan}) {
        for (const char* name : {"Amount", "Radius", "Turn"}) effect.setSilently(name, bad);
        effect.setSilently("Centre", {bad, 0.5});
        effect.setSilently("Tint", {0.125, bad, bad});
        bool called = false;
        script().process = [&](probe::Probe& object) {
            called = true;
            EXPECT_EQ(object.Amount.value, 80.0) << "the declared default";
            EXPECT_EQ(object.Radius.value, 0.2);
            EXPECT_EQ(object.Turn.value, 0.0);
            EXPECT_EQ(object.Centre.x, 0.25);
            EXPECT_EQ(object.Centre.y, 0.5);
            EXPECT_EQ(object.Tint.red, 0.125f);
            EXPECT_EQ(object.Tint.green, 0.5f);
            EXPECT_EQ(object.currentFrame, 0.0);
        };
        effect.renderStatus(bad);
        EXPECT_TRUE(called);
    }
    script().process = [&](probe::Probe& object) { EXPECT_EQ(object.currentFrame, 1e9); };
    effect.renderStatus(1e300);
}

TEST_F(Render, AnAlphaThatIsNotWantedIsTheSources) {
    TestEffect& effect = effectOn("generic", 64, 48);
    feed(effect, support::constantImage(layoutOf(64, 48), 0.5f, 0.5f, 0.5f, 0.75f));
    bool wanted = false;
    script().framePrepare = [&](probe::ProbeInfo&, const FrameSpan&) { probeOf(effect).doAlpha = wanted; };
    script().process = [](probe::Probe& object) {
        image_fill(object.output.image.get(), 0.25f);
        object.input.image.reset();
    };
    for (const bool alpha : {true, false}) {
        wanted = alpha;
        const auto picture = effect.render();
        EXPECT_EQ(picture[0], 0.25f);
        EXPECT_EQ(picture[3], alpha ? 0.25f : 0.75f);
    }
}

// ---- Further clips and frames ---------------------------------------------------------------------------------

TEST_F(Render, AClipThatIsNotConnectedShowsThePrimaryPicture) {
    for (const char* word : {"generic", "vegas"}) {
        TestEffect& effect = effectOn(word, 64, 48, 1.0);
        ImageLayout layout = layoutOf(64, 48);
        layout.pixelAspect = 2.0;
        feed(effect, support::noiseImage(layout, 5));
        const bool vegas = std::string_view(word) == "vegas";
        if (!vegas) effect.connect("Third", support::constantImage(at({0, 0, 32, 48}), 0.5f, 0.5f, 0.5f, 0.5f));
        script().process = [&](probe::Probe& object) {
            ASSERT_TRUE(object.other.image && object.third.image);
            EXPECT_NE(object.other.image, object.input.image) << "a copy";
            EXPECT_EQ(std::memcmp(object.other.image->pixels, object.input.image->pixels, 64 * 48 * 16), 0);
            EXPECT_EQ(object.other.image->pixel_aspect, 1.0f);
            if (vegas) return;
            EXPECT_EQ(image_get_sample(object.third.image.get(), 31, 5, 3), 0.5f);
            EXPECT_EQ(image_get_sample(object.third.image.get(), 32, 5, 3), 0.0f);
        };
        effect.render();
        expectClean(effect);
    }
}

TEST_F(Render, OtherFramesAreAskedForByTheHostsTimes) {
    const struct {
        const char* word;
        double time;  // of frame 5 with clips that begin at 10
    } cases[] = {{"generic", 15.0}, {"nuke", 15.0}, {"toxik", 6.0}, {"fusion", 5.0}};
    for (const auto& test : cases) {
        TestEffect& effect = effectOn(test.word, 64, 48);
        std::vector<double> times;
        const auto source = [&](double time) {
            times.push_back(time);
            return time < 30.0 ? support::constantImage(layoutOf(64, 48), float(time / 64.0), 0.0f, 0.0f) : nullptr;
        };
        feed(effect, support::gradientImage(layoutOf(64, 48)));
        effect.connect("Other", source, 10, 60);
        script().process = [&](probe::Probe& object) {
            times.clear();
            const auto frame = make_image(64, 48, 4, SAMPLE_F32);
            EXPECT_TRUE(object.other.GetFrame(5.0, frame.get()));
            EXPECT_THAT(times, testing::ElementsAre(test.time)) << test.word;
            EXPECT_EQ(image_get_sample(frame.get(), 9, 9, 0), float(test.time / 64.0));
            EXPECT_FALSE(object.other.GetFrame(100.0, frame.get())) << "there is none";
        };
        effect.render(20.0);
        expectClean(effect);
    }
}

// A host renders what is upstream while a frame is fetched, on the same thread or on others, so that the lock is free
// then. The libraries' row loops are the first effect's again afterwards.
TEST_F(Render, TheHostMayRenderOtherEffectsInsideGetFrame) {
    for (const bool sameThread : {true, false}) {
        TestEffect& downstream = effectOn("generic", 64, 48);
        TestEffect& upstream = create();
        feed(downstream, support::gradientImage(layoutOf(64, 48)));
        feed(upstream, support::constantImage(layoutOf(64, 48), 0.5f, 0.5f, 0.5f));
        const auto renderUpstream = [&](double time) {
            if (sameThread)
                upstream.renderStatus(time);
            else
                std::thread([&] { upstream.renderStatus(time); }).join();
            return upstream.lastImage();
        };
        downstream.connect("Other", renderUpstream, 0, 99);
        script().process = [&](probe::Probe& object) {
            if (&object != &probeOf(downstream)) {
                image_set_row_settings({999, 998, true});
                image_set_clamp_negative(true);
                return;
            }
            image_set_row_settings({7, 9, false});
            image_set_clamp_negative(false);
            const auto frame = make_image(64, 48, 4, SAMPLE_F32);
            EXPECT_TRUE(object.other.GetFrame(5.0, frame.get()));
            EXPECT_EQ(image_get_sample(frame.get(), 9, 9, 0), 0.5f);
            const RowSettings settings = image_row_settings();
            EXPECT_EQ(settings.row_unit, 7);
            EXPECT_EQ(settings.row_unit_float, 9);
            EXPECT_FALSE(settings.suppressed);
            EXPECT_FALSE(image_clamps_negative());
            std::atomic<int> parts{0};
            image_dispatch_rows([](void* count, int, int) { ++*static_cast<std::atomic<int>*>(count); }, 1000, &parts);
            EXPECT_EQ(parts, 2) << "on both threads of the host";
            std::thread([] { EXPECT_FALSE(renderLock().try_lock()) << "the lock is taken again"; }).join();
        };
        downstream.render(20.0);
        image_set_row_settings({32, 16, false});
        image_set_clamp_negative(true);
        expectClean(downstream);
        expectClean(upstream);
    }
}

// ---- Order of things ------------------------------------------------------------------------------------------

TEST_F(Render, ParametersAreFetchedAtTheFramesTimeBeforeFramePrepare) {
    TestEffect& effect = effectOn("generic", 64, 48);
    feed(effect, support::gradientImage(layoutOf(64, 48)));
    effect.setKeys("StartAt", {{0.0, 0.0}, {10.0, 100.0}});
    effect.instance().setCurrentTime(9.0);
    double prepared = -1, processed = -1;
    script().framePrepare = [&](probe::ProbeInfo& plan, const FrameSpan&) {
        prepared = plan.StartAt.value;
        EXPECT_EQ(plan.input.image, nullptr);
        EXPECT_EQ(plan.other.frameCount, 0) << "lists begin empty";
        plan.other.addFrame(1);
    };
    script().process = [&](probe::Probe& object) { processed = object.StartAt.value; };
    effect.render(5.0);
    effect.render(5.0);
    EXPECT_EQ(prepared, 50.0);
    EXPECT_EQ(processed, 50.0);
}

TEST_F(Render, TheSmallPreviewOnVegasShowsTheInput) {
    const struct {
        const char* word;
        int height;
        bool skipped;
    } cases[] = {{"vegas", 600, true}, {"vegas", 599, false}, {"generic", 600, false}};
    for (const auto& test : cases) {
        TestEffect& effect = effectOn(test.word, 16, test.height);
        const ImagePtr input = support::gradientImage(layoutOf(16, test.height));
        feed(effect, input);
        bool called = false;
        script().process = [&](probe::Probe&) { called = true; };
        EXPECT_EQ(effect.render(), input->toFloats());
        EXPECT_EQ(called, !test.skipped) << test.word << test.height;
    }
}

TEST_F(Render, OneProcessFrameAtATimeInTheProcess) {
    on("generic");
    host->host().setRecording(false);
    TestEffect& first = create();
    TestEffect& second = create();
    for (TestEffect* effect : {&first, &second}) feed(*effect, support::gradientImage(layoutOf(64, 48)));
    std::atomic<int> inside{0}, most{0}, runs{0};
    script().process = [&](probe::Probe&) {
        most = std::max(most.load(), ++inside);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        --inside, ++runs;
    };
    std::vector<std::thread> renderers;
    for (TestEffect* effect : {&first, &second})
        renderers.emplace_back([effect] {
            for (int i = 0; i < 25; ++i) EXPECT_EQ(effect->renderStatus(i), OK);
        });
    for (auto& renderer : renderers) renderer.join();
    EXPECT_EQ(runs, 50);
    EXPECT_EQ(most, 1);
    expectClean(first);
    expectClean(second);
}

// ---- Failures -------------------------------------------------------------------------------------------------

class Failing : public Render {
  protected:
    TestEffect& readyEffect(std::string_view word = "generic") {
        TestEffect& effect = effectOn(word, 64, 48);
        m_input = support::noiseImage(layoutOf(64, 48), 9);
        feed(effect, m_input);
        if (!bundleState().quirks->onlySource) {
            effect.connect("Other", support::noiseImage(layoutOf(64, 48), 10));
            effect.connect("Third", support::noiseImage(layoutOf(64, 48), 11));
        }
        effect.background = 0.5f;
        return effect;
    }
    ImagePtr m_input;
};

TEST_F(Failing, AnAbortAtAnyPollLeavesTheOutputAlone) {
    for (const char* word : {"generic", "fusion", "vegas"}) {
        TestEffect& effect = readyEffect(word);
        host->setHooks({});
        effect.render();
        const int polls = host->host().abortPolls();
        EXPECT_GE(polls, std::string_view(word) == "vegas" ? 4 : 5);
        for (int poll = 1; poll <= polls; ++poll) {
            host->abortAt(poll);
            bool called = false;
            script().process = [&](probe::Probe&) { called = true; };
            EXPECT_EQ(effect.renderStatus(), OK);
            EXPECT_EQ(called, poll == polls) << "only the last one comes after the picture";
            EXPECT_THAT(effect.lastImage()->toFloats(), Each(0.5f)) << word << poll;
            expectClean(effect);
        }
        script().process = {};
        host->abortAt(polls + 1);
        EXPECT_EQ(effect.render(), m_input->toFloats());
    }
}

TEST_F(Failing, TheEffectMayAskForAbort) {
    TestEffect& effect = readyEffect();
    EXPECT_EQ(probeOf(effect).abortRequested(), 0) << "before the first render";
    script().process = [&](probe::Probe& object) {
        EXPECT_EQ(object.abortRequested(), 0);
        host->host().requestAbort(true);
        EXPECT_NE(object.abortRequested(), 0);
    };
    EXPECT_EQ(effect.renderStatus(), OK);
    host->host().requestAbort(false);
    EXPECT_THAT(effect.lastImage()->toFloats(), Each(0.5f));
}

// The host hears OK, the user reads why, once.
TEST_F(Failing, ARenderThatCannotBeDoneSaysWhyOnceAnInstance) {
    testing::internal::CaptureStderr();
    TestEffect& effect = readyEffect();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "a new instance is no news";
    const auto told = [&](TestEffect& asked) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(asked.renderStatus(), OK);
        return testing::internal::GetCapturedStderr();
    };
    EXPECT_EQ(told(effect), "");
    ofxhost::HostHooks hooks;
    hooks.nullDataClip = "Input";
    host->setHooks(hooks);
    const std::string why = told(effect);
    EXPECT_THAT(why, testing::HasSubstr("OFXPlugin ERROR: Q_Probe can't render: the clip Input has no pixels"));
    EXPECT_EQ(told(effect), "");
    hooks.nullDataClip = "Output";
    host->setHooks(hooks);
    TestEffect& second = create();
    feed(second, m_input);
    EXPECT_THAT(told(second), testing::HasSubstr("the output has no pixels"));
    host->clearHooks();
    EXPECT_EQ(effect.render(), m_input->toFloats());
}

TEST_F(Failing, PicturesOfOtherComponents) {
    ImageLayout layout = layoutOf(64, 48, Depth::Byte);
    for (const int components : {1, 3})
        for (const char* clip : {"Input", "Other", "Output"}) {
            TestEffect& effect = readyEffect();
            layout.components = components;
            if (std::string_view(clip) == "Output")
                effect.setOutputLayout(layout);
            else
                effect.connect(clip, std::make_shared<support::Image>(layout));
            EXPECT_EQ(effect.renderStatus(), OK);
            expectClean(effect, clip);
        }
}

TEST_F(Failing, AnExceptionFromTheEffectEndsTheRenderQuietly) {
    TestEffect& effect = readyEffect();
    const std::function<void()> throws[] = {[] { throw std::runtime_error("effect"); }, [] { throw std::bad_alloc(); },
                                            [] { throw 1; }};
    for (const auto& thrown : throws) {
        for (const bool early : {false, true}) {
            if (early)
                script().framePrepare = [&](probe::ProbeInfo&, const FrameSpan&) { thrown(); };
            else
                script().process = [&](probe::Probe&) { thrown(); };
            EXPECT_EQ(effect.renderStatus(), OK);
            EXPECT_THAT(effect.lastImage()->toFloats(), Each(0.5f));
            expectClean(effect);
            script() = {};
        }
    }
    EXPECT_EQ(effect.render(), m_input->toFloats());
}

}  // namespace
