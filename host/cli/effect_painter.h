// Renders what the gallery and the pages show of an effect: its source, its scene, its presets, and how they move.
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "host/cli/declarations.h"
#include "host/cli/picture.h"
#include "host/cli/session.h"
#include "host/cli/webp_loop.h"

namespace quillon {

constexpr double LoopRate = 25.0;              // frames in a second
constexpr int LoopFrames = 50, LoopFade = 10;  // those of a loop, and those rendered besides to close it

// The effects of these names, or all. Throws UsageError, and RunError for one that the bundle does not tell of.
std::vector<DeclaredEffect> chosenEffects(Session& session, const Declarations& declarations,
                                          const std::vector<std::string>& names);

class EffectPainter {
  public:
    // Pictures are `width` x `height`, opaque. The effect must outlive this object.
    EffectPainter(Session& session, const std::filesystem::path& examples, const DeclaredEffect& effect, int width,
                  int height);

    std::optional<Picture> source() const;  // none where the scene has no input
    Picture still(const DeclaredView& view) const;
    // Around the still's frame, scaled down to `scale` of the size when they have been rendered. Empty where nothing
    // changes from frame to frame.
    std::vector<LoopFrame> loop(const DeclaredView& view, double scale) const;

  private:
    int stillFrame() const;
    int firstOfLoop() const;
    Picture shown(Picture rendered) const;

    ofxhost::Plugin& m_plugin;
    DeclaredScene m_scene;
    std::vector<Picture> m_inputs;
    Picture m_foreground;  // empty where the scene has none
};

}  // namespace quillon
