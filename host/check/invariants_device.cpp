// Renders whose pictures lie on a device.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <iterator>
#include <memory>
#include <vector>

#include "host/check/import_hooks.h"
#include "host/check/invariant.h"
#include "host/check/random_params.h"
#include "host/check/stage.h"
#include "ofx/ofx_names.h"

namespace bundlecheck {

namespace {

using ofxhost::Depth;
using ofxhost::ImageLayout;

StageSettings onDevice(std::shared_ptr<ofxhost::RenderDevice> device) {
    StageSettings settings;
    settings.host.device = std::move(device);
    return settings;
}

// How far a sample of one picture may lie from the other's: floats by rounding, relative to large ones, and levels by
// one, since rounding may fall to either side.
constexpr double tolerance = 1e-4;

double excess(double a, double b, Depth depth) {
    if (a == b || (std::isnan(a) && std::isnan(b))) return 0.0;
    const double allowed = std::max(tolerance * std::max(1.0, std::abs(b)),
                                    depth == Depth::Float ? 0.0 : 1.001 / ofxhost::depthWhite(depth));
    const double difference = std::abs(a - b);
    return difference <= allowed ? 0.0 : difference;  // not a number: neither
}

void requireAlike(Trial& trial, const Rendering& rendered, const Rendering& expected, const std::string& what) {
    const std::vector<float> a = rendered.image->toFloats(), b = expected.image->toFloats();
    bool alike = a.size() == b.size();
    for (std::size_t i = 0; alike && i < a.size(); ++i)
        alike = excess(static_cast<double>(a[i]), static_cast<double>(b[i]), expected.image->layout().depth) == 0.0;
    trial.require(alike, Determinism, what + ": " + rendered.differenceFrom(expected));
}

// ---- Pictures ---------------------------------------------------------------------------------------------------

struct Form {
    int width, height;       // of the project at full scale
    OfxRectI input, output;  // bounds; empty: the project's
    int inputPadding, outputPadding;
    bool negativeRows;
    double scale;
    bool streams;
};

constexpr Form forms[] = {
    {64, 48, {}, {}, 0, 0, false, 1.0, true},
    {64, 48, {}, {}, 0, 0, false, 1.0, false},
    {1, 1, {}, {}, 0, 0, false, 1.0, true},
    {17, 13, {}, {}, 0, 0, false, 1.0, true},
    {127, 3, {}, {}, 0, 0, false, 1.0, true},
    {64, 48, {10, 7, 50, 40}, {}, 0, 0, false, 1.0, true},
    {64, 48, {}, {10, 7, 50, 40}, 0, 0, false, 1.0, true},
    {64, 48, {-20, -10, 90, 60}, {5, 5, 60, 44}, 0, 0, false, 1.0, true},
    {64, 48, {100, 100, 120, 110}, {}, 0, 0, false, 1.0, true},
    {97, 61, {}, {}, 16, 64, false, 1.0, true},
    {97, 61, {}, {}, 4, 12, false, 1.0, true},
    {97, 61, {}, {}, 32, 0, true, 1.0, true},
    {96, 72, {}, {}, 0, 0, false, 0.5, true},
    {96, 72, {}, {}, 16, 0, false, 1.0 / 3.0, true},
};
constexpr Depth depths[] = {Depth::Byte, Depth::Short, Depth::Float};
constexpr int randomForms = 12;
constexpr int formCases = static_cast<int>(std::size(forms) * std::size(depths));

int pictureCases(const EffectFacts& facts) { return facts.onDevice ? formCases + randomForms : 0; }

void arrange(Actor& actor, const Form& form, Depth depth) {
    actor.connect(
        {.bounds = form.input, .depth = depth, .padding = form.inputPadding, .negativeRows = form.negativeRows});
    actor.setOutputLayout(
        {.bounds = form.output, .depth = depth, .padding = form.outputPadding, .negativeRows = form.negativeRows});
}

// The first cases go through all forms and depths, the others set random values in a form of their own.
void samePictures(Trial& trial) {
    const bool chance = trial.index() >= formCases;
    const int number = chance ? trial.index() - formCases : trial.index();
    const Form& form =
        forms[static_cast<std::size_t>(chance ? number : number / std::ssize(depths)) % std::size(forms)];
    const Depth depth = depths[number % std::ssize(depths)];
    StageSettings settings = onDevice(trial.setup().device.open());
    settings.host.deviceStreams = form.streams;
    settings.project.width = form.width, settings.project.height = form.height;
    settings.project.renderScale = {form.scale, form.scale};
    Stage stage(trial, settings);
    if (!stage.ready() || !stage.descriptor().supports(depth)) return;
    const auto there = stage.bareActor(), here = stage.bareActor();
    if (!there->created() || !here->created()) return;
    here->keepOffDevice();
    const std::uint64_t seed = chance ? trial.random().next() | 1 : 0;
    for (Actor* actor : {there.get(), here.get()}) {
        arrange(*actor, form, depth);
        randomise(*actor, seed);
    }
    for (const double time : {1.0, 2.0}) {
        const Rendering rendered = there->render(time), expected = here->render(time);
        requireAlike(trial, rendered, expected, "the picture on the device differs from that in main memory");
    }
    const ofxhost::DeviceRenders& renders = there->instance().deviceRenders();
    trial.require(renders.refused == 0, Interface,
                  "a render on a device without fault is given up with status " + std::to_string(renders.answer));
}

// ---- Failures ---------------------------------------------------------------------------------------------------

// Another device, some of whose work fails.
struct Disturbance {
    int failing = 0;  // that call, counted from 1, and with `onwards` all later ones; 0: none
    bool onwards = false;
    int filledAfter = 0;  // all memory is used up after so many allocations; 0: never
    int calls = 0, allocations = 0;

    bool fails() {
        ++calls;
        return failing > 0 && (calls == failing || (onwards && calls > failing));
    }
};

class DisturbedQueue final : public ofxhost::DeviceQueue {
  public:
    DisturbedQueue(std::unique_ptr<DeviceQueue> inner, std::shared_ptr<Disturbance> disturbance)
        : m_inner(std::move(inner)), m_disturbance(std::move(disturbance)) {}

    void* stream() const override { return m_inner->stream(); }
    void* allocate(std::size_t bytes) override {
        if (m_disturbance->fails()) return nullptr;
        void* const memory = m_inner->allocate(bytes);
        if (++m_disturbance->allocations == m_disturbance->filledAfter) fill();
        return memory;
    }
    void release(void* memory) override { m_inner->release(memory); }
    bool upload(void* device, const void* host, std::size_t bytes) override {
        return !m_disturbance->fails() && m_inner->upload(device, host, bytes);
    }
    bool download(void* host, const void* device, std::size_t bytes) override {
        return !m_disturbance->fails() && m_inner->download(host, device, bytes);
    }
    bool finish() override { return m_inner->finish() && !m_disturbance->fails(); }

  private:
    void fill() {  // freed with the queue
        constexpr int enough = 1000;
        int taken = 0;
        for (std::size_t bytes = std::size_t{1} << 36; bytes >= std::size_t{1} << 12; bytes /= 2)
            while (taken < enough && m_inner->allocate(bytes)) ++taken;
    }
    std::unique_ptr<DeviceQueue> m_inner;
    std::shared_ptr<Disturbance> m_disturbance;
};

class DisturbedDevice final : public ofxhost::RenderDevice {
  public:
    DisturbedDevice(std::shared_ptr<RenderDevice> inner, std::shared_ptr<Disturbance> disturbance)
        : m_inner(std::move(inner)), m_disturbance(std::move(disturbance)) {}
    std::unique_ptr<ofxhost::DeviceQueue> queue() override {
        if (m_disturbance->fails()) return nullptr;
        auto inner = m_inner->queue();
        return inner ? std::make_unique<DisturbedQueue>(std::move(inner), m_disturbance) : nullptr;
    }

  private:
    std::shared_ptr<RenderDevice> m_inner;
    std::shared_ptr<Disturbance> m_disturbance;
};

constexpr float background = 0.25f;  // what a half made picture would show
constexpr double failureFrame = 2.0;

Rendering renderedInMainMemory(Stage& stage) {
    const auto actor = stage.actor();
    if (!actor->created()) return {};
    actor->keepOffDevice();
    return actor->render(failureFrame, background);
}

// However it was made: whole.
void requireWhole(Trial& trial, Actor& actor, const Rendering& expected, const std::string& after) {
    const Rendering rendered = actor.render(failureFrame, background);
    if (trial.facts().history) return;
    requireAlike(trial, rendered, expected, "the picture after " + after + " is not that of main memory");
}

// Each call of the host to its device fails in turn, alone and with all later ones.
void hostsFailures(Trial& trial) {
    constexpr int most = 60;
    const auto disturbance = std::make_shared<Disturbance>();
    Stage stage(trial, onDevice(std::make_shared<DisturbedDevice>(trial.setup().device.open(), disturbance)));
    if (!stage.ready()) return;
    const Rendering expected = renderedInMainMemory(stage);
    if (!expected.image) return;
    for (const bool onwards : {false, true}) {
        bool reached = true;
        for (int call = 1; call <= most && reached; ++call) {
            const auto actor = stage.actor();
            if (!actor->created()) return;
            *disturbance = {.failing = call, .onwards = onwards};
            const std::string what = std::string(onwards ? "all calls" : "a call") + " of the device" +
                                     (onwards ? " from " : " ") + std::to_string(call) +
                                     (onwards ? " on fail" : " fails");
            trial.step(what);
            requireWhole(trial, *actor, expected, what);
            reached = disturbance->calls >= call;
            *disturbance = {};
            requireWhole(trial, *actor, expected, "a device that fails no more");
        }
    }
}

// The plug-in's own calls fail from one on; on a device where they can't be made to, it finds no memory left.
constexpr int pluginCalls[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 12, 14, 16, 20, 24, 32};

int failureCases(const EffectFacts& facts) { return facts.onDevice ? 1 + static_cast<int>(std::size(pluginCalls)) : 0; }

void pluginsFailures(Trial& trial, int call) {
    constexpr int images = 4;  // no render has more on the device
    const DeviceAccess& access = trial.setup().device;
    if (!access.fail && call > images) return;
    const auto disturbance = std::make_shared<Disturbance>();
    if (access.fail) access.fail(call);
    Stage stage(trial, onDevice(std::make_shared<DisturbedDevice>(access.open(), disturbance)));
    if (!stage.ready()) return;
    const Rendering expected = renderedInMainMemory(stage);
    const auto actor = stage.actor();
    if (!expected.image || !actor->created()) return;
    const std::string what = access.fail ? "a device that is lost at the plug-in's call " + std::to_string(call)
                                         : "a device that is full after " + std::to_string(call) + " images";
    trial.step(what);
    if (!access.fail) disturbance->filledAfter = call;
    requireWhole(trial, *actor, expected, what);
    requireWhole(trial, *actor, expected, what);
}

void wholeDespiteFailures(Trial& trial) {
    trial.index() == 0 ? hostsFailures(trial)
                       : pluginsFailures(trial, pluginCalls[static_cast<std::size_t>(trial.index() - 1)]);
}

// ---- Instances --------------------------------------------------------------------------------------------------

int onceOnDevice(const EffectFacts& facts) { return facts.onDevice ? 1 : 0; }

void nothingIsLeft(Trial& trial) {
    constexpr int times = 100, warmUp = 10, size = 256;
    StageSettings settings = onDevice(trial.setup().device.open());
    settings.project.width = settings.project.height = size;
    const auto& device = settings.host.device;
    Stage stage(trial, settings);
    if (!stage.ready()) return;
    const Allocations allocations(stage.library());
    AllocationCounts before;
    std::optional<std::size_t> freeBefore;
    for (int i = 0; i < times + warmUp; ++i) {
        if (i == warmUp) before = Allocations::counts(), freeBefore = device->freeMemory();
        const auto actor = stage.actor();
        if (!actor->created()) return;
        actor->render(i % 7);
    }
    const AllocationCounts after = Allocations::counts();
    trial.require(after.liveBlocks <= before.liveBlocks, Interface,
                  std::to_string(after.liveBlocks - before.liveBlocks) + " blocks of memory remain of 100 instances");
    // Other processes may take some of it meanwhile; a picture of each instance is more.
    constexpr std::size_t slack = std::size_t{times} * size * size * 4;
    if (freeBefore)
        trial.require(
            *device->freeMemory() + slack >= *freeBefore, Interface,
            std::to_string((*freeBefore - *device->freeMemory()) >> 20) + " MiB of the device remain of 100 instances");
}

// ---- Two at once ------------------------------------------------------------------------------------------------

int fourOnDevice(const EffectFacts& facts) { return facts.onDevice ? 4 : 0; }

void twoOnDevice(Trial& trial) { twoAtOnce(trial, trial.setup().device.open()); }

constexpr Invariant table[] = {
    {"gpu-pictures", Safety,
     "on a device, all sizes, depths, bounds, row bytes and scales give the picture of main memory to within 0.0001",
     pictureCases, samePictures, true, false, true},
    {"gpu-failures", Safety, "a device that fails or is full at any call leaves a whole picture", failureCases,
     wholeDespiteFailures, false, false, true, true},
    {"gpu-instances", Safety, "100 instances rendered on a device leave nothing behind", onceOnDevice, nothingIsLeft,
     false, false, true, true},
    {"gpu-at-once", Safety, "two instances on two threads and two streams give what each gives alone", fourOnDevice,
     twoOnDevice, true, false, true},
};

}  // namespace

std::span<const Invariant> deviceInvariants() { return table; }

}  // namespace bundlecheck
