// Pictures in every form that hosts hand over.
#include <array>
#include <cmath>

#include "host/check/invariant.h"
#include "host/check/stage.h"
#include "ofx/ofx_names.h"

namespace bundlecheck {

namespace {

using ofxhost::Depth;
using ofxhost::Guard;
using ofxhost::ImageLayout;

constexpr Depth depths[] = {Depth::Byte, Depth::Short, Depth::Float};

int hasInputs(const EffectFacts& facts) { return facts.inputs.empty() ? 0 : 1; }

// ---- Samples ----------------------------------------------------------------------------------------------------

int contentsByDepth(const EffectFacts& facts) {
    return hasInputs(facts) * static_cast<int>(std::size(allContents) * std::size(depths));
}

void anySamples(Trial& trial) {
    Stage stage(trial);
    if (!stage.ready()) return;
    const Content content = allContents[trial.index() / std::ssize(depths)];
    const Depth depth = depths[trial.index() % std::ssize(depths)];
    if (!stage.descriptor().supports(depth)) return;
    trial.step(std::string("samples: ") + contentName(content) + ", " + ofxhost::depthText(depth));
    const auto actor = stage.bareActor();
    if (!actor->created()) return;
    actor->connect({.depth = depth}, content);
    actor->render(0.0);
    const Rendering after = actor->render(1.0);
    // What is no number may stay none, and sums of the largest numbers overflow.
    const bool harmless = content == Content::Denormal || content == Content::Negative;
    trial.require(!harmless || allFinite(*after.image), Quality,
                  std::string("samples that are ") + contentName(content) + " make others that are no finite number");
}

// ---- Sizes ------------------------------------------------------------------------------------------------------

struct SizeCase {
    int width, height;       // of the project
    OfxRectI input, output;  // bounds; empty: the project's
};

constexpr SizeCase sizes[] = {
    {1, 1, {}, {}},
    {1, 48, {}, {}},
    {64, 1, {}, {}},
    {2, 2, {}, {}},
    {3, 5, {}, {}},
    {17, 13, {}, {}},
    {65, 47, {}, {}},
    {127, 3, {}, {}},
    {3, 131, {}, {}},
    {64, 48, {10, 7, 50, 40}, {}},
    {64, 48, {}, {10, 7, 50, 40}},
    {64, 48, {5, 5, 60, 44}, {5, 5, 60, 44}},
    {64, 48, {-20, -10, 90, 60}, {}},
    {64, 48, {}, {-20, -10, 90, 60}},
    {64, 48, {-20, -10, 90, 60}, {-20, -10, 90, 60}},
    {64, 48, {100, 100, 120, 110}, {}},
    {64, 48, {}, {100, 100, 120, 110}},
    {64, 48, {-50, -40, -10, -5}, {0, 0, 64, 48}},
    {64, 48, {63, 47, 64, 48}, {}},
    {64, 48, {0, 0, 1, 1}, {63, 47, 64, 48}},
    {64, 48, {1000000, 1000000, 1000020, 1000010}, {}},
    {64, 48, {}, {-1000000, -1000000, -999990, -999990}},
};
constexpr int emptyCases = 3;  // of the inputs, of the output, of all

int sizeCases(const EffectFacts&) { return static_cast<int>(std::size(sizes)) * 2 + emptyCases; }

void emptyBounds(Trial& trial, int number) {
    Stage stage(trial);
    if (!stage.ready()) return;
    const auto actor = stage.actor();
    if (!actor->created()) return;
    ofxhost::HostHooks hooks;
    hooks.emptyBoundsClip = number == 0 ? ofx::clip::Output : "*";
    if (number == 1 && !actor->instance().inputs().empty())
        hooks.emptyBoundsClip = actor->instance().inputs().front()->name();
    trial.step("empty bounds of " + hooks.emptyBoundsClip);
    stage.arm(hooks);
    actor->render(0.0);
    stage.arm({});
    actor->render(0.0);
}

void anySize(Trial& trial) {
    const int number = trial.index() / 2;
    if (number >= static_cast<int>(std::size(sizes)))
        return emptyBounds(trial, trial.index() - 2 * static_cast<int>(std::size(sizes)));
    const SizeCase& size = sizes[number];
    StageSettings settings;
    settings.project.width = size.width, settings.project.height = size.height;
    Stage stage(trial, settings);
    if (!stage.ready()) return;
    const auto actor = stage.bareActor();
    if (!actor->created()) return;
    const Guard guard = trial.index() % 2 ? Guard::PageBefore : Guard::PageBehind;
    actor->connect({.bounds = size.input, .guard = guard});
    actor->setOutputLayout({.bounds = size.output, .guard = guard});
    actor->render(0.0);
    actor->render(1.0);
}

// ---- Rows -------------------------------------------------------------------------------------------------------

struct RowCase {
    bool negativeInput, negativeOutput;
    int inputPadding, outputPadding;
};
constexpr RowCase rowCases[] = {{true, false, 0, 0},  {false, true, 0, 0},   {true, true, 0, 0},
                                {false, false, 4, 0}, {false, false, 0, 4},  {false, false, 60, 100},
                                {true, true, 12, 36}, {true, false, 4096, 4}};

int rowsByDepth(const EffectFacts&) { return static_cast<int>(std::size(rowCases) * std::size(depths)); }

// However rows lie in memory, the picture is the same.
void anyRows(Trial& trial) {
    Stage stage(trial);
    if (!stage.ready()) return;
    const RowCase& rows = rowCases[trial.index() / std::ssize(depths)];
    const Depth depth = depths[trial.index() % std::ssize(depths)];
    if (!stage.descriptor().supports(depth)) return;
    const auto plain = stage.bareActor(), odd = stage.bareActor();
    if (!plain->created() || !odd->created()) return;
    plain->connect({.depth = depth});
    odd->connect({.depth = depth, .padding = rows.inputPadding, .negativeRows = rows.negativeInput});
    odd->setOutputLayout({.depth = depth, .padding = rows.outputPadding, .negativeRows = rows.negativeOutput});
    const Rendering expected = plain->render(1.0), rendered = odd->render(1.0);
    trial.require(rendered.sameAs(expected), Determinism,
                  "the way that rows lie in memory changes the picture: " + rendered.differenceFrom(expected));
}

// ---- Guards -----------------------------------------------------------------------------------------------------

int guardCases(const EffectFacts&) { return static_cast<int>(std::size(depths)) * 4; }

// Pages that nobody may touch before or behind every image, and sources that nobody may write.
void guarded(Trial& trial) {
    Stage stage(trial);
    if (!stage.ready()) return;
    const Depth depth = depths[trial.index() / 4];
    if (!stage.descriptor().supports(depth)) return;
    const Guard guard = trial.index() % 2 ? Guard::PageBefore : Guard::PageBehind;
    const bool negative = trial.index() % 4 >= 2;
    const auto actor = stage.bareActor();
    if (!actor->created()) return;
    actor->connect({.depth = depth, .negativeRows = negative, .guard = guard});
    actor->setOutputLayout({.depth = depth, .negativeRows = negative, .guard = guard});
    for (const double time : {0.0, 1.0}) actor->render(time);
}

// ---- Scales and aspects -----------------------------------------------------------------------------------------

// Denominators of render scales, and the difference in the mean, for each step of the denominator, that a picture may
// have from the scaled-down full one. Grain, fine detail and sizes in whole pixels differ by nature, the more the
// smaller the picture; one in the wrong place or of the wrong strength differs by more.
constexpr int scales[] = {2, 3, 4};
constexpr double largestDifferenceAStep = 0.02;
constexpr double scaledFrames[] = {3.0, 20.0};

int scaleCases(const EffectFacts&) { return static_cast<int>(std::size(scales) * std::size(scaledFrames)); }

std::vector<float> renderAtScale(Trial& trial, int denominator, double time, int& width, int& height) {
    StageSettings settings;
    settings.project.width = 480, settings.project.height = 288;
    settings.project.renderScale = {1.0 / denominator, 1.0 / denominator};
    Stage stage(trial, settings);
    if (!stage.ready()) return {};
    const auto actor = stage.bareActor();
    if (!actor->created()) return {};
    // The host scales its sources as well: the same box that the results are compared by.
    ImageLayout full;
    full.bounds = {0, 0, settings.project.width, settings.project.height};
    const ImageLayout reduced = actor->completed({});
    width = reduced.width(), height = reduced.height();
    for (ofxhost::Clip* clip : actor->instance().inputs()) {
        const auto picture = makePicture(full, Content::Smooth, 0.0, hashOf(clip->name()));
        const auto made = std::make_shared<ofxhost::Image>(reduced);
        made->fromFloats(boxScaled(picture->toFloats(), full.width(), full.height(), width, height));
        clip->connect(made, settings.project.firstFrame, settings.project.lastFrame);
    }
    return actor->render(time).image->toFloats();
}

void scaled(Trial& trial) {
    int fullWidth = 0, fullHeight = 0, width = 0, height = 0;
    const int denominator = scales[trial.index() % std::ssize(scales)];
    const double time = scaledFrames[trial.index() / std::ssize(scales)];
    const auto full = renderAtScale(trial, 1, time, fullWidth, fullHeight);
    const auto small = renderAtScale(trial, denominator, time, width, height);
    if (full.empty() || small.empty()) return;
    const double difference = meanDifference(boxScaled(full, fullWidth, fullHeight, width, height), small);
    trial.require(difference <= largestDifferenceAStep * denominator, Quality,
                  "a frame at render scale 1/" + std::to_string(denominator) + " differs from the full one by " +
                      ofxhost::toText(ofxhost::PropertyValue(std::round(difference * 1000.0) / 1000.0)) +
                      " in the mean");
}

constexpr double aspects[] = {0.5, 1.0, 2.0};

int aspectCases(const EffectFacts&) { return static_cast<int>(std::size(aspects)) * 2; }

void anyAspect(Trial& trial) {
    StageSettings settings;
    settings.project.pixelAspect = aspects[trial.index() / 2];
    settings.host.units = trial.index() % 2 ? ofxhost::ProjectUnits::SquarePixels : ofxhost::ProjectUnits::Pixels;
    Stage stage(trial, settings);
    if (!stage.ready()) return;
    const auto actor = stage.actor();
    if (!actor->created()) return;
    const Rendering first = actor->render(1.0);
    const Rendering again = stage.actor()->render(1.0);
    trial.require(first.sameAs(again), Determinism, "the frame differs from instance to instance");
}

constexpr Invariant table[] = {
    {"samples", Safety,
     "sources of any samples: not a number, infinite, denormal, negative, huge, zero; 8, 16, 32 bits", contentsByDepth,
     anySamples},
    {"sizes", Safety, "sizes down to 1 x 1, bounds away from the origin, beyond the project and empty", sizeCases,
     anySize},
    {"rows", Safety, "negative and padded row bytes give the same picture", rowsByDepth, anyRows},
    {"guards", Safety, "nothing is read or written outside an image, nothing is written into a source", guardCases,
     guarded},
    {"scales", Quality, "render scales 1/2, 1/3, 1/4 give the full picture made smaller", scaleCases, scaled},
    {"aspects", Safety, "pixel aspects 0.5, 1 and 2, in pixels and in square pixels", aspectCases, anyAspect},
};

}  // namespace

std::span<const Invariant> pictureInvariants() { return table; }

}  // namespace bundlecheck
