#include "host/cli/effect_painter.h"

#include <algorithm>
#include <future>
#include <thread>

#include "host/cli/failure.h"
#include "host/cli/input_source.h"
#include "host/cli/scene.h"
#include "host/cli/test_inputs.h"

namespace quillon {

namespace {

// What is transparent shows a dark ground.
Picture onGround(Picture picture) {
    constexpr float Ground = 0.16f;
    for (std::size_t i = 0; i < picture.rgba.size(); i += 4) {
        const float alpha = std::clamp(picture.rgba[i + 3], 0.0f, 1.0f);
        for (std::size_t c = 0; c < 3; ++c) picture.rgba[i + c] = alpha * picture.rgba[i + c] + (1.0f - alpha) * Ground;
        picture.rgba[i + 3] = 1.0f;
    }
    return picture;
}

// What is made from nothing comes premultiplied, and is shown on black as viewers do.
Picture onBlack(Picture picture) {
    for (std::size_t i = 3; i < picture.rgba.size(); i += 4) picture.rgba[i] = 1.0f;
    return picture;
}

// As a comp lays its foreground over: the matte's red is the share of the plate that stands before the effect.
Picture inComp(Picture picture, const Picture& plate, const Picture& foreground) {
    for (std::size_t i = 0; i < picture.rgba.size(); i += 4) {
        const float open = 1.0f - std::clamp(picture.rgba[i + 3], 0.0f, 1.0f), front = foreground.rgba[i];
        for (std::size_t c = 0; c < 3; ++c) {
            const float behind = plate.rgba[i + c], seen = picture.rgba[i + c] + open * behind;
            picture.rgba[i + c] = seen + front * (behind - seen);
        }
        picture.rgba[i + 3] = 1.0f;
    }
    return picture;
}

}  // namespace

std::vector<DeclaredEffect> chosenEffects(Session& session, const Declarations& declarations,
                                          const std::vector<std::string>& names) {
    if (names.empty()) return declarations.effects;
    std::vector<DeclaredEffect> effects;
    for (const std::string& name : names) {
        const std::string identifier = session.effect(name).identifier();
        const auto found = std::find_if(declarations.effects.begin(), declarations.effects.end(),
                                        [&](const auto& effect) { return effect.identifier == identifier; });
        if (found == declarations.effects.end()) throw RunError("the bundle does not tell of its effect " + name);
        effects.push_back(*found);
    }
    return effects;
}

EffectPainter::EffectPainter(Session& session, const std::filesystem::path& examples, const DeclaredEffect& effect,
                             int width, int height)
    : m_plugin(session.effect(effect.identifier)),
      m_scene(effect.scene.shown(width, height)),
      m_inputs(sceneInputs(m_scene, examples)) {
    if (!effect.hasForeground()) return;
    m_foreground = std::move(m_inputs.back());
    m_inputs.pop_back();
    m_scene.inputs.pop_back();
}

// A scene that names no frame begins at 0, where what falls and rises has had no time to look its best.
int EffectPainter::stillFrame() const { return m_scene.frame != 0 ? m_scene.frame : LoopFrames / 2; }
int EffectPainter::firstOfLoop() const { return std::max(0, stillFrame() - LoopFrames / 2); }

Picture EffectPainter::shown(Picture picture) const {
    if (!m_foreground.rgba.empty()) return inComp(std::move(picture), m_inputs.front(), m_foreground);
    return m_inputs.empty() ? onBlack(std::move(picture)) : onGround(std::move(picture));
}

std::optional<Picture> EffectPainter::source() const {
    if (m_inputs.empty()) return std::nullopt;
    const std::string& name = m_scene.inputs.front();
    if (testInputMoves(name)) return onGround(testInput(name, m_scene.width, m_scene.height, stillFrame()));
    return onGround(m_inputs.front());
}

Picture EffectPainter::still(const DeclaredView& view) const {
    DeclaredScene scene = m_scene;
    scene.frame = stillFrame();
    return shown(fromHostImage(*renderScene(m_plugin, scene, m_inputs, {.preset = view.preset})));
}

std::vector<LoopFrame> EffectPainter::loop(const DeclaredView& view, double scale) const {
    DeclaredScene scene = m_scene;
    scene.frame = firstOfLoop();
    SceneRender render(m_plugin, scene, m_inputs, {.preset = view.preset});
    const auto reduced = [this, scale](const ofxhost::ImagePtr& image) {
        return loopFrame(boxScaled(shown(fromHostImage(*image)), scale));
    };
    const auto at = [&](int frame) { return reduced(render.frame(scene.frame + frame)); };
    for (int frame = -scene.lead; frame < 0; ++frame) render.frame(scene.frame + frame);
    std::vector<LoopFrame> frames{at(0), at(1)};
    // What stands still so far may begin later, as a burn does, or be slow, as clouds are.
    const auto moved = [&](const LoopFrame& frame) { return looksOther(frame, frames.front()); };
    if (!moved(frames.back()) && !moved(at(LoopFrames / 2)) && !moved(at(LoopFrames - 1))) return {};
    // The frames before are reduced, on threads of their own, while the effect works on the next one.
    std::vector<std::future<LoopFrame>> reducing;
    for (int i = 2; i < LoopFrames + LoopFade; ++i) {
        const std::size_t threads = std::max(1u, std::thread::hardware_concurrency());
        if (reducing.size() >= threads) reducing[reducing.size() - threads].wait();
        reducing.push_back(std::async(std::launch::async, reduced, render.frame(scene.frame + i)));
    }
    for (auto& frame : reducing) frames.push_back(frame.get());
    return closedLoop(std::move(frames), LoopFrames);
}

}  // namespace quillon
