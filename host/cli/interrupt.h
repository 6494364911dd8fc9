// Ctrl-C and its like: the first asks the render to stop, the second ends the program at once. Neither leaves a
// temporary file behind, and both end it by the signal, so that a shell's loop stops as well.
#pragma once

#include <string>

namespace ofxhost {
class Host;
}

namespace quillon {

void catchInterrupts();  // SIGINT, SIGTERM and SIGHUP; SIGXFSZ and SIGPIPE become errors of write()
bool interrupted();
void endByTheSignal();  // where there has been one; else returns

// While it lives, an interruption makes the host answer its plug-in's abort test with yes.
class AbortOnInterrupt {
  public:
    explicit AbortOnInterrupt(ofxhost::Host& host);
    ~AbortOnInterrupt();
    AbortOnInterrupt(const AbortOnInterrupt&) = delete;
    AbortOnInterrupt& operator=(const AbortOnInterrupt&) = delete;
};

// While it lives, the file is removed when the program is ended at once. One at a time.
class RemoveWhenKilled {
  public:
    explicit RemoveWhenKilled(const std::string& path);
    ~RemoveWhenKilled();
    RemoveWhenKilled(const RemoveWhenKilled&) = delete;
    RemoveWhenKilled& operator=(const RemoveWhenKilled&) = delete;
};

}  // namespace quillon
