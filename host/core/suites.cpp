// Fetching suites, and the suites that need no object of an effect: memory, threads, messages, interacts.
#include "host/core/suites.h"

#include <cstdarg>
#include <cstdio>
#include <string_view>
#include <vector>

#include "host/core/interact.h"
#include "host/core/resources.h"
#include "ofx/ofx_names.h"

namespace ofxhost {
namespace {

const auto noArguments = [] { return std::string(); };

// A call that carries no handle of ours.
template <class Arguments, class Body>
OfxStatus onHost(const char* name, const void* handle, Arguments&& arguments, Body&& body) {
    Host* host = handle ? hostOfHandle(handle) : nullptr;
    if (!host) host = Host::current();
    if (!host) return ofx::status::Failed;
    return callHost(*host, {name, handle, ""}, arguments, [&] { return body(*host); });
}

OfxStatus nullResult(Host& host, const char* call) {
    host.report(Severity::Error, call, "", "null result pointer");
    return ofx::status::ErrValue;
}

// ---- Memory ---------------------------------------------------------------------------------------------------

OfxStatus memoryAlloc(void* effect, std::size_t bytes, void** data) {
    return onHost(
        "memoryAlloc", effect, [=] { return std::to_string(bytes); },
        [=](Host& host) { return data ? host.allocate(bytes, data) : nullResult(host, "memoryAlloc"); });
}

OfxStatus memoryFree(void* data) {
    return onHost("memoryFree", nullptr, noArguments, [=](Host& host) {
        if (!data) return ofx::status::OK;
        const OfxStatus status = host.release(data);
        if (status != ofx::status::OK)
            host.report(Severity::Error, "memoryFree", "", "not a block of this suite, or freed");
        return status;
    });
}

// ---- Threads --------------------------------------------------------------------------------------------------

OfxStatus multiThread(OfxThreadFunctionV1* function, unsigned int threads, void* custom) {
    return onHost(
        "multiThread", nullptr, [=] { return std::to_string(threads); },
        [=](Host& host) -> OfxStatus {
            const HostHooks& hooks = host.hooks();
            if (hooks.multiThreadStatus) return *hooks.multiThreadStatus;
            if (!function) {
                host.report(Severity::Error, "multiThread", "", "null function");
                return ofx::status::ErrValue;
            }
            if (ThreadPool::insideJob()) return ofx::status::ErrExists;
            if (threads == 0)
                host.report(Severity::Warning, "multiThread", "", "0 threads: the standard leaves this open");
            unsigned count = threads > 0 ? threads : host.cpus();
            if (hooks.maxThreadsGiven) count = std::min(count, *hooks.maxThreadsGiven);
            host.threads().run(count, [=, &host](unsigned index, unsigned given) {
                const Host::Scope scope(host);
                function(index, given, custom);
            });
            return ofx::status::OK;
        });
}

OfxStatus multiThreadNumCPUs(unsigned int* count) {
    return onHost("multiThreadNumCPUs", nullptr, noArguments, [=](Host& host) {
        if (!count) return nullResult(host, "multiThreadNumCPUs");
        *count = host.cpus();
        return ofx::status::OK;
    });
}

OfxStatus multiThreadIndex(unsigned int* index) {
    return onHost("multiThreadIndex", nullptr, noArguments, [=](Host& host) {
        if (!index) return nullResult(host, "multiThreadIndex");
        *index = ThreadPool::jobIndex();
        return ofx::status::OK;
    });
}

int multiThreadIsSpawnedThread() { return ThreadPool::insideJob(); }

OfxStatus mutexCreate(OfxMutexHandle* mutex, int lockCount) {
    return onHost("mutexCreate", nullptr, noArguments, [=](Host& host) {
        if (!mutex) return nullResult(host, "mutexCreate");
        auto made = std::make_shared<SuiteMutex>(host, lockCount);
        *mutex = made->handle();
        std::lock_guard lock(host.resources().mutex);
        host.resources().mutexes.push_back(std::move(made));
        return ofx::status::OK;
    });
}

// The body gets a share of the mutex, so that one destroyed while others wait for it stays sound.
template <class Body>
OfxStatus onMutex(const char* call, OfxMutexHandle handle, Body&& body) {
    Host* host = hostOfHandle(handle);
    return callOn<SuiteMutex>(call, handle, HandleKind::Mutex, "", noArguments, [&](SuiteMutex& target) -> OfxStatus {
        std::shared_ptr<SuiteMutex> share;
        {
            std::lock_guard lock(host->resources().mutex);
            for (const auto& entry : host->resources().mutexes) {
                if (entry.get() == &target) share = entry;
            }
        }
        return share ? body(*share, *host) : ofx::status::ErrBadHandle;
    });
}

OfxStatus mutexDestroy(OfxMutexHandle handle) {
    return onMutex("mutexDestroy", handle, [](SuiteMutex& mutex, Host& host) {
        if (mutex.held()) host.report(Severity::Error, "mutexDestroy", "", "the mutex is locked");
        std::lock_guard lock(host.resources().mutex);
        std::erase_if(host.resources().mutexes, [&](const auto& entry) { return entry.get() == &mutex; });
        return ofx::status::OK;
    });
}

OfxStatus mutexLock(OfxMutexHandle handle) {
    return onMutex("mutexLock", handle, [](SuiteMutex& mutex, Host&) {
        mutex.lock();
        return ofx::status::OK;
    });
}

OfxStatus mutexUnLock(OfxMutexHandle handle) {
    return onMutex("mutexUnLock", handle, [](SuiteMutex& mutex, Host& host) {
        if (mutex.unlock()) return ofx::status::OK;
        host.report(Severity::Error, "mutexUnLock", "", "the mutex is not locked by this thread");
        return ofx::status::Failed;
    });
}

OfxStatus mutexTryLock(OfxMutexHandle handle) {
    return onMutex("mutexTryLock", handle,
                   [](SuiteMutex& mutex, Host&) { return mutex.tryLock() ? ofx::status::OK : ofx::status::Failed; });
}

// ---- Messages -------------------------------------------------------------------------------------------------

[[gnu::format(printf, 1, 0)]] std::string formatted(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    std::string text(length > 0 ? static_cast<std::size_t>(length) + 1 : 1, '\0');
    if (length > 0) std::vsnprintf(text.data(), text.size(), format, again);
    va_end(again);
    text.pop_back();
    return text;
}

[[gnu::format(printf, 4, 5)]] OfxStatus message(void* handle, const char* type, const char* id, const char* format,
                                                ...) {
    struct {
        va_list list;
    } arguments;
    va_start(arguments.list, format);
    const auto text = [=] { return quoted(type) + ", " + quoted(id) + ", " + quoted(format); };
    const OfxStatus status = onHost("message", handle, text, [&](Host& host) {
        if (!type || !format) {
            host.report(Severity::Error, "message", "", "null message type or text");
            return ofx::status::ErrValue;
        }
        host.addMessage({type, id ? id : "", formatted(format, arguments.list)});
        return std::string_view(type) == "OfxMessageQuestion" ? host.questionAnswer() : ofx::status::OK;
    });
    va_end(arguments.list);
    return status;
}

// ---- Interacts ------------------------------------------------------------------------------------------------

template <class Body>
OfxStatus onInteract(const char* call, OfxInteractHandle handle, Body&& body) {
    return callOn<Interact>(call, handle, HandleKind::Interact, "", noArguments, body);
}

OfxStatus interactSwapBuffers(OfxInteractHandle handle) {
    return onInteract("interactSwapBuffers", handle, [](Interact& interact) {
        interact.countSwap();
        return ofx::status::OK;
    });
}

OfxStatus interactRedraw(OfxInteractHandle handle) {
    return onInteract("interactRedraw", handle, [](Interact& interact) {
        interact.countRedraw();
        return ofx::status::OK;
    });
}

OfxStatus interactGetPropertySet(OfxInteractHandle handle, OfxPropertySetHandle* properties) {
    return onInteract("interactGetPropertySet", handle, [=](Interact& interact) {
        if (!properties) return nullResult(interact.effect().host(), "interactGetPropertySet");
        *properties = interact.properties().handle();
        return ofx::status::OK;
    });
}

struct SuiteEntry {
    const char* name;
    const void* table;
};

}  // namespace

const OfxMemorySuiteV1 memorySuite = {memoryAlloc, memoryFree};
const OfxMultiThreadSuiteV1 multiThreadSuite = {
    multiThread, multiThreadNumCPUs, multiThreadIndex, multiThreadIsSpawnedThread, mutexCreate, mutexDestroy,
    mutexLock,   mutexUnLock,        mutexTryLock};
const OfxMessageSuiteV1 messageSuite = {message};
const OfxInteractSuiteV1 interactSuite = {interactSwapBuffers, interactRedraw, interactGetPropertySet};

const void* fetchSuite(OfxPropertySetHandle handle, const char* suiteName, int suiteVersion) {
    static const SuiteEntry entries[] = {
        {ofx::suite::ImageEffect, &imageEffectSuite}, {ofx::suite::Property, &propertySuite},
        {ofx::suite::Parameter, &parameterSuite},     {ofx::suite::Memory, &memorySuite},
        {ofx::suite::MultiThread, &multiThreadSuite}, {ofx::suite::Message, &messageSuite},
        {ofx::suite::Interact, &interactSuite},
    };
    const void* suite = nullptr;
    const auto arguments = [=] { return quoted(suiteName) + ", " + std::to_string(suiteVersion); };
    callOn<PropertySet>("fetchSuite", handle, HandleKind::PropertySet, suiteName, arguments, [&](PropertySet& set) {
        if (set.kind() != ObjectKind::Host || !suiteName) {
            set.host().report(Severity::Error, "fetchSuite", "", suiteName ? "not the host's handle" : "null name");
            return ofx::status::ErrBadHandle;
        }
        if (set.host().hooks().withheldSuites.contains(suiteName) || suiteVersion != 1) return ofx::status::ErrUnknown;
        for (const SuiteEntry& entry : entries) {
            if (std::string_view(entry.name) == suiteName) suite = entry.table;
        }
        return suite ? ofx::status::OK : ofx::status::ErrUnknown;
    });
    return suite;
}

}  // namespace ofxhost
