#include "host/core/host.h"

#include <algorithm>
#include <new>

#include "host/core/resources.h"
#include "host/core/suites.h"
#include "ofx/ofx_names.h"

namespace ofxhost {
namespace {

thread_local Host* hostOfThread = nullptr;
std::mutex hostsMutex;
std::vector<Host*> hosts;  // in the order of making

constexpr std::align_val_t blockAlignment{16};

}  // namespace

// ---- Resources ------------------------------------------------------------------------------------------------

SuiteMutex::SuiteMutex(Host& host, int lockCount)
    : m_holder(lockCount > 0 ? std::this_thread::get_id() : std::thread::id()),
      m_count(std::max(lockCount, 0)),
      m_ticket(host, HandleKind::Mutex, this) {}

void SuiteMutex::lock() {
    std::unique_lock lock(m_mutex);
    m_free.wait(lock, [this] { return m_count == 0 || m_holder == std::this_thread::get_id(); });
    m_holder = std::this_thread::get_id();
    ++m_count;
}

bool SuiteMutex::tryLock() {
    std::lock_guard lock(m_mutex);
    if (m_count > 0 && m_holder != std::this_thread::get_id()) return false;
    m_holder = std::this_thread::get_id();
    ++m_count;
    return true;
}

bool SuiteMutex::unlock() {
    std::lock_guard lock(m_mutex);
    if (m_count == 0 || m_holder != std::this_thread::get_id()) return false;
    if (--m_count == 0) m_free.notify_one();
    return true;
}

bool SuiteMutex::held() const {
    std::lock_guard lock(m_mutex);
    return m_count > 0;
}

ImageMemory::ImageMemory(Host& host, std::size_t bytes)
    : m_data(::operator new(std::max<std::size_t>(bytes, 1), blockAlignment)),
      m_ticket(host, HandleKind::Memory, this) {}

// ---- Host -----------------------------------------------------------------------------------------------------

Host::Host(const HostConfig& config) : m_config(config), m_resources(std::make_unique<Resources>()) {
    namespace prop = ofx::prop;
    m_properties = std::make_unique<PropertySet>(*this, ObjectKind::Host, "host");
    PropertySet& set = *m_properties;
    set.setString(prop::Name, config.name);
    set.setString(prop::Label, config.label);
    set.setString(prop::VersionLabel, config.versionLabel);
    for (std::size_t i = 0; i < config.version.size(); ++i) {
        set.setInt(prop::Version, config.version[i], static_cast<int>(i));
    }
    set.setInt(prop::HostIsBackground, config.background);
    set.setInt(prop::SupportsOverlays, config.overlays);
    set.setInt(prop::SupportsMultiResolution, config.multiResolution);
    set.setInt(prop::SupportsTiles, config.tiles);
    set.setInt(prop::TemporalClipAccess, config.temporalAccess);
    set.setInt(prop::MultipleClipDepths, config.multipleDepths);
    set.setInt(prop::SetableFrameRate, config.setableFrameRate);
    set.setInt(prop::ParamHostMaxPages, config.maxPages);
    set.setInt(prop::ParamHostPageRowColumnCount, config.maxPages ? config.pageRows : 0, 0);
    set.setInt(prop::ParamHostPageRowColumnCount, config.maxPages ? config.pageColumns : 0, 1);
    if (config.device) {
        set.setString(prop::CudaRenderSupported, "true");
        if (config.deviceStreams) set.setString(prop::CudaStreamSupported, "true");
    }
    set.setString(prop::SupportedComponents, ofx::component::RGBA);
    int index = 0;
    for (const char* depth : {ofx::depth::Byte, ofx::depth::Short, ofx::depth::Float}) {
        set.setString(prop::SupportedPixelDepths, depth, index++);
    }
    index = 0;
    for (const char* context : {ofx::context::General, ofx::context::Filter, ofx::context::Generator}) {
        set.setString(prop::SupportedContexts, context, index++);
    }
    m_record.host = set.handle();
    m_record.fetchSuite = fetchSuite;
    std::lock_guard lock(hostsMutex);
    hosts.push_back(this);
}

Host::~Host() {
    reportLeaks();
    for (const auto& [data, bytes] : m_memory) ::operator delete(data, blockAlignment);
    std::lock_guard lock(hostsMutex);
    std::erase(hosts, this);
}

ThreadPool& Host::threads() {
    std::call_once(m_poolOnce, [this] { m_pool = std::make_unique<ThreadPool>(m_config.threads); });
    return *m_pool;
}

unsigned Host::cpus() { return m_hooks.reportedCpus.value_or(threads().size()); }

void Host::setHooks(const HostHooks& hooks) {
    m_hooks = hooks;
    m_abortPolls = 0;
    m_imageRequests = 0;
}

int Host::pollAbort() {
    const int poll = ++m_abortPolls;
    return m_abort || (m_hooks.abortAtPoll > 0 && poll >= m_hooks.abortAtPoll);
}

bool Host::nextImageRequestFails() { return ++m_imageRequests == m_hooks.failClipGetImageAt; }

// ---- The record -----------------------------------------------------------------------------------------------

std::size_t Host::beginRecord(std::string name, std::string arguments) {
    std::lock_guard lock(m_mutex);
    m_calls.push_back({std::move(name), std::move(arguments), ofx::status::OK});
    return m_calls.size() - 1;
}

void Host::endRecord(std::size_t place, std::string arguments, OfxStatus status) {
    std::lock_guard lock(m_mutex);
    if (place >= m_calls.size()) return;  // cleared meanwhile
    m_calls[place].arguments = std::move(arguments);
    m_calls[place].status = status;
}

std::vector<RecordedCall> Host::recordedCalls() const {
    std::lock_guard lock(m_mutex);
    return m_calls;
}

int Host::countCalls(std::string_view name) const {
    std::lock_guard lock(m_mutex);
    return static_cast<int>(
        std::count_if(m_calls.begin(), m_calls.end(), [name](const RecordedCall& call) { return call.name == name; }));
}

void Host::clearRecord() {
    std::lock_guard lock(m_mutex);
    m_calls.clear();
}

void Host::addMessage(HostMessage message) {
    std::lock_guard lock(m_mutex);
    m_messages.push_back(std::move(message));
}

std::vector<HostMessage> Host::messages() const {
    std::lock_guard lock(m_mutex);
    return m_messages;
}

// ---- Memory ---------------------------------------------------------------------------------------------------

OfxStatus Host::allocate(std::size_t bytes, void** data) {
    if (m_hooks.failAllocations || bytes > largestBlock) return ofx::status::ErrMemory;
    void* block = ::operator new(std::max<std::size_t>(bytes, 1), blockAlignment, std::nothrow);
    if (!block) return ofx::status::ErrMemory;
    std::lock_guard lock(m_mutex);
    m_memory.emplace(block, bytes);
    *data = block;
    return ofx::status::OK;
}

OfxStatus Host::release(void* data) {
    std::lock_guard lock(m_mutex);
    const auto found = m_memory.find(data);
    if (found == m_memory.end()) return ofx::status::ErrBadHandle;
    ::operator delete(data, blockAlignment);
    m_memory.erase(found);
    return ofx::status::OK;
}

std::size_t Host::memoryBlocks() const {
    std::lock_guard lock(m_mutex);
    return m_memory.size();
}

std::size_t Host::imageMemoryBlocks() const {
    std::lock_guard lock(m_resources->mutex);
    return m_resources->imageMemory.size();
}

std::size_t Host::mutexes() const {
    std::lock_guard lock(m_resources->mutex);
    return m_resources->mutexes.size();
}

void Host::reportLeaks() {
    const auto leak = [this](std::size_t count, const char* call, const char* what) {
        if (count > 0) report(Severity::Error, call, "", std::to_string(count) + what);
    };
    leak(memoryBlocks(), "memoryFree", " blocks of memory were not freed");
    leak(imageMemoryBlocks(), "imageMemoryFree", " blocks of image memory were not freed");
    leak(mutexes(), "mutexDestroy", " mutexes were not destroyed");
}

// ---- The current host -----------------------------------------------------------------------------------------

Host* Host::current() {
    if (hostOfThread) return hostOfThread;
    std::lock_guard lock(hostsMutex);
    return hosts.empty() ? nullptr : hosts.back();
}

Host::Scope::Scope(Host& host) : m_before(hostOfThread) { hostOfThread = &host; }
Host::Scope::~Scope() { hostOfThread = m_before; }

}  // namespace ofxhost
