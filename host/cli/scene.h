// Renders the scenes that effects declare of themselves.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/cli/declarations.h"
#include "host/cli/picture_file.h"
#include "host/core/bundle.h"
#include "host/core/effect.h"
#include "host/core/image.h"

namespace quillon {

// The folder of the example pictures: examples/ here, or beside the build folder of this program. Throws RunError.
std::filesystem::path findExamples();

using ReadsPicture = std::function<Picture(const std::filesystem::path&)>;

// The scene's input pictures, all of its size: cut to its shape around the middle, then scaled. Empty where a clip is
// left out.
std::vector<Picture> sceneInputs(const DeclaredScene& scene, const std::filesystem::path& examples,
                                 const ReadsPicture& read);
inline std::vector<Picture> sceneInputs(const DeclaredScene& scene, const std::filesystem::path& examples) {
    return sceneInputs(scene, examples, [](const std::filesystem::path& file) { return readPicture(file); });
}

struct SceneForm {
    ofxhost::Depth depth = ofxhost::Depth::Float;
    std::string preset = {};  // "NAME=VALUE", on an instance as it was made; empty: the scene's settings instead
    double scale = 1.0;       // a proxy's
};

// An instance in its scene. Throws RunError and UsageError.
class SceneRender {
  public:
    SceneRender(ofxhost::Plugin& plugin, const DeclaredScene& scene, const std::vector<Picture>& inputs,
                const SceneForm& form);
    ~SceneRender();
    ofxhost::ImagePtr frame(int frame);
    ofxhost::EffectInstance& instance() { return *m_instance; }

  private:
    std::unique_ptr<ofxhost::EffectDescriptor> m_descriptor;
    std::unique_ptr<ofxhost::EffectInstance> m_instance;
    ofxhost::ImageLayout m_layout;
    std::string m_name;
};

// The scene's frame, with those before it that it asks for.
ofxhost::ImagePtr renderScene(ofxhost::Plugin& plugin, const DeclaredScene& scene, const std::vector<Picture>& inputs,
                              const SceneForm& form);

}  // namespace quillon
