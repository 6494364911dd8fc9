// Ways to disturb and to watch a host: for tests, and for a checker of bundles.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "ofx/ofx.h"

namespace ofxhost {

struct SuiteCall {
    std::string_view name;     // "clipGetImage"
    const void* handle;        // the call's first handle, good or not; null where it has none
    std::string_view subject;  // property, parameter or clip name where the call carries one
};

// Set before the actions they shall disturb; not while an action runs. All counts are 1-based, 0 means never.
struct HostHooks {
    // Before any suite call; a status is answered at once instead of doing the call. May run on any thread.
    std::function<std::optional<OfxStatus>(const SuiteCall&)> beforeCall;
    int abortAtPoll = 0;         // this and all later answers of abort() since armed are 1
    int failClipGetImageAt = 0;  // that call since armed answers `clipGetImageStatus` with no image
    OfxStatus clipGetImageStatus = ofx::status::Failed;
    std::string nullDataClip;     // images of this clip have no pixels; "*": of all clips
    std::string emptyBoundsClip;  // images of this clip say that they have no width and no height; "*": of all clips
    std::set<std::string> withheldSuites;
    std::set<std::string> withheldHostProperties;
    std::optional<unsigned> reportedCpus;        // answer of multiThreadNumCPUs
    std::optional<unsigned> maxThreadsGiven;     // multiThread never launches more
    std::optional<OfxStatus> multiThreadStatus;  // answered without running anything
    bool failAllocations = false;                // memory and image memory suites answer ErrMemory
};

struct RecordedCall {
    std::string name;       // suite function, or "action" for what the host sent
    std::string arguments;  // as text, comma separated: the action text and object, or the call's own arguments
    OfxStatus status = ofx::status::OK;
};

}  // namespace ofxhost
