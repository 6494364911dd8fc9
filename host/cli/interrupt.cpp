#include "host/cli/interrupt.h"

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

#include "host/core/host.h"

namespace quillon {

namespace {

// What the signal handler touches: lock-free, and text in plain storage.
std::atomic<int> stopSignal{0};  // that asked to stop
std::atomic<ofxhost::Host*> runningHost{nullptr};
std::atomic<bool> pathSet{false};
char pathToRemove[4096];

void onSignal(int signal) {
    if (stopSignal.exchange(signal) != 0) {
        if (pathSet) ::unlink(pathToRemove);
        ::signal(signal, SIG_DFL);
        ::raise(signal);  // comes through when this handler returns
        return;
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

bool interrupted() { return stopSignal != 0; }

void endByTheSignal() {
    if (stopSignal == 0) return;
    ::signal(stopSignal, SIG_DFL);
    ::raise(stopSignal);
}

AbortOnInterrupt::AbortOnInterrupt(ofxhost::Host& host) {
    runningHost = &host;
    if (interrupted()) host.requestAbort(true);
}

AbortOnInterrupt::~AbortOnInterrupt() { runningHost = nullptr; }

RemoveWhenKilled::RemoveWhenKilled(const std::string& path) {
    if (path.size() >= sizeof pathToRemove) return;
    std::memcpy(pathToRemove, path.c_str(), path.size() + 1);
    pathSet = true;
}

RemoveWhenKilled::~RemoveWhenKilled() { pathSet = false; }

}  // namespace quillon
