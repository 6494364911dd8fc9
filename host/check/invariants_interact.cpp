// Handles in the viewer, dragged about at random; and all that a host's interface does while a render runs.
#include <atomic>
#include <chrono>
#include <cmath>
#include <exception>
#include <map>
#include <thread>

#include "host/check/invariant.h"
#include "host/check/random_params.h"
#include "host/core/interact.h"
#include "ofx/ofx_names.h"

namespace bundlecheck {

namespace {

int eightIfOverlay(const EffectFacts& facts) { return facts.overlay ? 8 : 0; }

constexpr int width = 64, height = 48;

ofxhost::ViewState randomView(Random& random) {
    ofxhost::ViewState view;
    view.time = random.below(8);
    const double zoom = std::pow(2.0, random.between(-3.0, 3.0));
    view.pixelScale = {zoom, zoom};
    view.viewport = {random.between(1.0, 2000.0), random.between(1.0, 2000.0)};
    for (double& part : view.background) part = random.unit();
    return view;
}

OfxPointD randomPlace(Random& random) {
    if (random.chance(0.1)) return {random.between(-1e6, 1e6), random.between(-1e6, 1e6)};
    return {random.between(-10.0, width + 10.0), random.between(-10.0, height + 10.0)};
}

void drag(Trial& trial, ofxhost::Interact& interact) {
    Random& random = trial.random();
    OfxPointD place = randomPlace(random);
    interact.penMotion(place);
    interact.penDown(place, random.unit());
    for (int i = random.below(6); i > 0; --i) {
        place.x += random.between(-20.0, 20.0), place.y += random.between(-20.0, 20.0);
        interact.penMotion(place, random.unit());
    }
    if (random.chance(0.9)) interact.penUp(place);  // hosts lose one now and then
}

void anyEvent(Trial& trial, ofxhost::Interact& interact) {
    Random& random = trial.random();
    switch (random.below(8)) {
        case 0:
            interact.setView(randomView(random));
            break;
        case 1:
            random.chance(0.5) ? interact.gainFocus() : interact.loseFocus();
            break;
        case 2:
            interact.key(random.chance(0.5) ? ofx::action::InteractKeyDown : ofx::action::InteractKeyUp,
                         random.below(0x10000), random.chance(0.5) ? "a" : "");
            break;
        case 3:
            if (trial.setup().withCanvas) trial.setup().withCanvas(width, height, [&] { interact.draw(); });
            break;
        default:
            drag(trial, interact);
    }
}

// An instance with the values that the handles have left behind renders the same.
void requireSamePicture(Trial& trial, Stage& stage, Actor& actor) {
    const auto fresh = stage.actor();
    if (!fresh->created()) return;
    for (const auto& param : actor.instance().params()) {
        if (!param->type().hasValue()) continue;
        const ofxhost::ParamValue value = param->value();
        for (int i = 0; i < param->type().dimension; ++i)
            trial.require(std::isfinite(value.numbers[static_cast<std::size_t>(i)]), Robustness,
                          "the handles set " + param->name() + " to what is no finite number");
        fresh->instance().findParam(param->name())->setValue(value);
    }
    const Rendering dragged = actor.render(2.0), expected = fresh->render(2.0);
    if (trial.facts().history) return;
    trial.require(dragged.sameAs(expected), Determinism,
                  "handles leave something behind beside the values: " + dragged.differenceFrom(expected));
}

void handles(Trial& trial) {
    Stage stage(trial);
    if (!stage.ready()) return;
    const auto actor = stage.actor();
    if (!actor->created()) return;
    randomise(*actor, valuesSeed(trial));
    trial.step("create the interact");
    {
        const auto interact = ofxhost::Interact::create(actor->instance(), randomView(trial.random()));
        if (!trial.require(interact != nullptr, Interface, "the effect has an overlay and refuses to show it")) return;
        for (int round = 0; round < 4; ++round) {
            for (int i = 0; i < 12; ++i) {
                trial.step("event " + std::to_string(i) + " of round " + std::to_string(round));
                anyEvent(trial, *interact);
            }
            actor->render(round);
        }
        trial.step("destroy the interact");
    }
    requireSamePicture(trial, stage, *actor);
}

// ---- The interface while a render runs --------------------------------------------------------------------------

int six(const EffectFacts&) { return 6; }

// Renders frames in order on a thread of its own until it is to end; finish() throws what went wrong there.
class RenderThread {
  public:
    explicit RenderThread(Actor& actor)
        : m_thread([this, &actor] {
              try {
                  for (int frame = 0; !m_stop; ++frame) actor.render(frame % 8);
              } catch (...) {
                  m_failure = std::current_exception();
              }
          }) {}
    ~RenderThread() { stop(); }
    RenderThread(const RenderThread&) = delete;
    RenderThread& operator=(const RenderThread&) = delete;

    void finish() {
        stop();
        if (m_failure) std::rethrow_exception(m_failure);
    }

  private:
    void stop() {
        m_stop = true;
        if (m_thread.joinable()) m_thread.join();
    }

    std::atomic<bool> m_stop{false};
    std::exception_ptr m_failure;
    std::thread m_thread;
};

void changeAnyParam(Trial& trial, ofxhost::EffectInstance& instance) {
    const auto& params = instance.params();
    if (params.empty()) return;
    ofxhost::Param& param = *params[static_cast<std::size_t>(trial.random().below(static_cast<int>(params.size())))];
    if (!param.type().hasValue()) {
        trial.step("while a render runs: press " + param.name());
        instance.pressButton(param);
        return;
    }
    const ofxhost::ParamValue value = randomValue(param, trial.random());
    trial.step("while a render runs: " + settingText(param, value));
    instance.setParam(param, value);
}

void interfaceEvent(Trial& trial, Actor& actor, std::unique_ptr<ofxhost::Interact>& interact) {
    ofxhost::EffectInstance& instance = actor.instance();
    std::map<std::string, ofxhost::FrameRanges> frames;
    switch (trial.random().below(6)) {
        case 0:
            trial.step("while a render runs: frames needed");
            instance.framesNeeded(trial.random().below(8), frames);
            break;
        case 1:
            trial.step("while a render runs: an overlay comes or goes");
            if (interact)
                interact.reset();
            else if (trial.facts().overlay)
                interact = ofxhost::Interact::create(instance, randomView(trial.random()));
            break;
        case 2:
            if (!interact) break;
            trial.step("while a render runs: an event of the overlay");
            anyEvent(trial, *interact);
            break;
        default:
            changeAnyParam(trial, instance);
    }
}

// The frame after all that is what an instance shows that had these values from the start.
void whileRendering(Trial& trial) {
    constexpr int events = 60;
    Stage stage(trial);
    if (!stage.ready()) return;
    const auto actor = stage.actor();
    if (!actor->created()) return;
    {
        std::unique_ptr<ofxhost::Interact> interact;
        RenderThread render(*actor);
        for (int i = 0; i < events; ++i) {
            interfaceEvent(trial, *actor, interact);
            std::this_thread::sleep_for(std::chrono::microseconds(trial.random().below(2000)));
        }
        render.finish();
    }
    requireSamePicture(trial, stage, *actor);
}

constexpr Invariant table[] = {
    {"handles", Safety, "handles dragged at random between renders set legal values, and nothing else remains",
     eightIfOverlay, handles, true},
    {"while-rendering", Safety,
     "parameters change, frames needed are asked for and overlays come and go while a render runs, and the next frame "
     "has the new values",
     six, whileRendering, true},
};

}  // namespace

std::span<const Invariant> interactInvariants() { return table; }

}  // namespace bundlecheck
