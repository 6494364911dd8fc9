// Renders the scenes that effects declare of themselves.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "host/cli/declarations.h"
#include "host/cli/picture.h"
#include "host/core/bundle.h"
#include "host/core/image.h"

namespace quillon {

// The folder of the example pictures: examples/ here, or beside the build folder of this program. Throws RunError.
std::filesystem::path findExamples();

// The scene's input pictures, all of its size: cut to its shape around the middle, then scaled down.
std::vector<Picture> sceneInputs(const DeclaredScene& scene, const std::filesystem::path& examples);

// As `settings` say, and after them, as `preset` says ("NAME=VALUE"; empty: nothing). The project is `proxy` times as
// large as the picture, which stands for it. Throws RunError and UsageError.
ofxhost::ImagePtr renderScene(ofxhost::Plugin& plugin, const DeclaredScene& scene, const std::vector<Picture>& inputs,
                              ofxhost::Depth depth, const std::string& preset = {}, int proxy = 1);

}  // namespace quillon
