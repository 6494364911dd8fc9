// Who the host says it is, what it says it can do, and the project it works on.
#pragma once

#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/core/device.h"
#include "ofx/ofx.h"

namespace ofxhost {

enum class ProjectUnits {
    Pixels,        // size and extent are the picture's width and height in pixels
    SquarePixels,  // width is multiplied by the pixel aspect: canonical coordinates
};

struct HostConfig {
    std::string name = "com.brindlemoor.QuillonHost";
    std::string label = "Quillon host";
    std::vector<int> version = {1, 0, 0};
    std::string versionLabel = "1.0.0";
    int maxPages = 0;  // 0: groups instead of pages
    int pageRows = 8, pageColumns = 2;
    bool overlays = true;
    bool multipleDepths = false;
    bool temporalAccess = true;
    bool tiles = false;
    bool multiResolution = true;
    bool setableFrameRate = false;
    bool background = false;
    ProjectUnits units = ProjectUnits::Pixels;
    // A host of plain filters: an instance is told no size of a project, only the clip "Source" is ever connected,
    // clips know no frames, and an image asked of any other clip is there and has no data.
    bool onlySource = false;
    unsigned threads = 0;  // of the multi-thread suite; 0: as many as the machine runs at once
    // Compares every source image before and after the plug-in had it. Costs a pass over the pixels for each fetch.
    bool checkSources = false;
    // Where pictures lie during renders of those plug-ins that take them there. They may get its stream, too.
    std::shared_ptr<RenderDevice> device = nullptr;
    bool deviceStreams = true;
};

// One of the hosts that bundles know by name.
struct HostIdentity {
    std::string_view word;  // "nuke"
    std::string_view name;  // what it puts in OfxPropName
    std::string_view label;
    int maxPages;
    ProjectUnits units;
    bool onlySource = false;
};

std::span<const HostIdentity> knownHosts();
// The configuration of a known host by its word; any other text becomes the name of a host like the generic one.
HostConfig hostConfig(std::string_view wordOrName);

struct ProjectSettings {
    int width = 720, height = 576;  // pixels at full scale
    double pixelAspect = 1.0;
    double frameRate = 25.0;
    double firstFrame = 0.0, lastFrame = 99.0;  // frame range of clips that have no own, and of the sequence
    OfxPointD renderScale = {1.0, 1.0};

    double duration() const { return lastFrame - firstFrame + 1.0; }
};

}  // namespace ofxhost
