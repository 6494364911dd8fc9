#include "host/cli/interrupt.h"

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

#include "host/cli/failure.h"
#include "host/core/host.h"

namespace quillon {

namespace {

// What the signal handler touches: lock-free, and text in plain storage.
std::atomic<bool> stopAsked{false};
std::atomic<ofxhost::Host*> runningHost{nullptr};
std::atomic<bool> pathSet{false};
char pathToRemove[4096];

void onSignal(int) {
    if (stopAsked.exchange(true)) {
        if (pathSet) ::unlink(pathToRemove);
        ::_exit(ExitFailed);
    }
    if (ofxhost::Host* host = runningHost) host->requestAbort(true);
}

}  // namespace

void catchInterrupts() {
    struct sigaction action {};
    action.sa_handler = onSignal;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
    action.sa_handler = SIG_IGN;
    for (const int signal : {SIGXFSZ, SIGPIPE}) sigaction(signal, &action, nullptr);
}

bool interrupted() { return stopAsked; }

AbortOnInterrupt::AbortOnInterrupt(ofxhost::Host& host) {
    runningHost = &host;
    if (stopAsked) host.requestAbort(true);
}

AbortOnInterrupt::~AbortOnInterrupt() { runningHost = nullptr; }

RemoveWhenKilled::RemoveWhenKilled(const std::string& path) {
    if (path.size() >= sizeof pathToRemove) return;
    std::memcpy(pathToRemove, path.c_str(), path.size() + 1);
    pathSet = true;
}

RemoveWhenKilled::~RemoveWhenKilled() { pathSet = false; }

}  // namespace quillon
