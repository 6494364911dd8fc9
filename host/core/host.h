// The host itself: its identity and property set, its suites, and what it has seen and heard.
//
// Several hosts may live in one process. A suite call belongs to the host of its handle; one without a handle (threads,
// memory) to the host whose action runs on the calling thread, else to the host made last.
#pragma once

#include <atomic>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/core/diagnostics.h"
#include "host/core/hooks.h"
#include "host/core/property_set.h"
#include "host/core/settings.h"
#include "host/core/thread_pool.h"

namespace ofxhost {

// More is refused before the system is asked: such a size is a miscalculation.
inline constexpr std::size_t largestBlock = std::size_t{1} << 36;

struct HostMessage {
    std::string type, id, text;
};

class Host {
  public:
    explicit Host(const HostConfig& config = {});
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    OfxHost* record() { return &m_record; }  // what setHost gets
    const HostConfig& config() const { return m_config; }
    PropertySet& properties() { return *m_properties; }
    Diagnostics& diagnostics() { return m_diagnostics; }
    ThreadPool& threads();  // started when first needed
    unsigned cpus();        // as the plug-in is told

    // Replaces all hooks and starts their counts anew.
    void setHooks(const HostHooks& hooks);
    const HostHooks& hooks() const { return m_hooks; }
    int abortPolls() const { return m_abortPolls; }  // since setHooks
    int imageRequests() const { return m_imageRequests; }
    int pollAbort();                                    // counts one and answers
    bool nextImageRequestFails();                       // counts one
    void requestAbort(bool abort) { m_abort = abort; }  // from any thread, such as a signal's

    void setRecording(bool on) { m_recording = on; }
    bool recording() const { return m_recording; }
    // A call takes its place in the record when it begins; what it did is added when it ends.
    std::size_t beginRecord(std::string name, std::string arguments);
    void endRecord(std::size_t place, std::string arguments, OfxStatus status);
    std::vector<RecordedCall> recordedCalls() const;
    int countCalls(std::string_view name) const;  // of that name, among the recorded
    void clearRecord();

    void addMessage(HostMessage message);
    std::vector<HostMessage> messages() const;
    void setQuestionAnswer(OfxStatus answer) { m_questionAnswer = answer; }
    OfxStatus questionAnswer() const { return m_questionAnswer; }

    void report(Severity severity, std::string_view call, std::string_view subject, std::string message) {
        m_diagnostics.report(severity, call, subject, std::move(message));
    }

    // Blocks of the memory suite.
    OfxStatus allocate(std::size_t bytes, void** data);
    OfxStatus release(void* data);
    std::size_t memoryBlocks() const;
    // Mutexes and image memory of the suites live here until the plug-in destroys them.
    struct Resources;  // resources.h
    Resources& resources() { return *m_resources; }
    std::size_t imageMemoryBlocks() const;
    std::size_t mutexes() const;
    void reportLeaks();  // of all these; the destructor does it too

    static Host* current();  // of the calling thread, see above
    // While it lives, the host is the current one of this thread.
    class Scope {
      public:
        explicit Scope(Host& host);
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

      private:
        Host* m_before;
    };

  private:
    HostConfig m_config;
    Diagnostics m_diagnostics;
    HostHooks m_hooks;
    std::unique_ptr<PropertySet> m_properties;
    OfxHost m_record{};
    std::once_flag m_poolOnce;
    std::unique_ptr<ThreadPool> m_pool;
    std::atomic<int> m_abortPolls{0}, m_imageRequests{0};
    std::atomic<bool> m_abort{false}, m_recording{false};
    mutable std::mutex m_mutex;  // of the lists below
    std::vector<RecordedCall> m_calls;
    std::vector<HostMessage> m_messages;
    std::map<void*, std::size_t> m_memory;
    OfxStatus m_questionAnswer = ofx::status::ReplyYes;
    std::unique_ptr<Resources> m_resources;
};

}  // namespace ofxhost
