// A library that is wrong before any of its effects is used: it exports more than the entry points, opens a file at
// each load, has a plug-in at any index, and two of one name.

#include <fcntl.h>

#include "ofx/ofx.h"
#include "ofx/ofx_names.h"

namespace {

const int openedAtLoad = ::open("/dev/null", O_RDONLY | O_CLOEXEC);

void setHost(OfxHost*) {}

OfxStatus mainEntry(const char*, const void*, OfxPropertySetHandle, OfxPropertySetHandle) {
    return ofx::status::ReplyDefault;
}

OfxPlugin plugin = {ofx::ImageEffectPluginApi, 1, "com.brindlemoor.tests.Twin", 1, 0, setHost, mainEntry};

}  // namespace

extern "C" __attribute__((visibility("default"))) int helperOfTheLibrary() { return openedAtLoad; }
extern "C" __attribute__((visibility("default"))) int OfxGetNumberOfPlugins() { return 2; }
extern "C" __attribute__((visibility("default"))) OfxPlugin* OfxGetPlugin(int) { return &plugin; }
