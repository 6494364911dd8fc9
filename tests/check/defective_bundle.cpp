// A bundle with one effect that does all that it should, and one for each way of going wrong. All of them copy their
// source, a tenth brighter; what else they do is their defect.

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <new>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/opened_memory.h"
#include "support/test_plugin.h"

namespace {

using namespace testplugin;
namespace prop = ofx::prop;
using ofx::status::Failed;
using ofx::status::OK;

enum class Defect {
    None,
    CrashesOnNull,       // takes an image's data for granted
    CrashesWithoutClip,  // takes an optional clip for granted
    LeaksImage,          // keeps an image of every render
    WritesOutside,       // a row more than there is
    WritesSource,
    ReadsOutside,
    DependsOnThreads,
    DependsOnCpus,  // trusts that as many threads run as there are processors
    IgnoresAbort,
    Hangs,           // on odd widths
    DependsOnOrder,  // counts renders
    SaysSo,          // the same, but declared
    SharesState,     // a picture in a variable of all instances
    UsesFreshMemory,
    LeavesOutput,   // does not write every pixel
    IgnoresRows,    // takes rows to follow each other
    TrustsMemory,   // an allocation is never refused
    ShowsHalfMade,  // where one is refused
    LeaksMemory,    // of each instance
    BadDefault,
    BadScriptName,
    KeepsOldValue,
    NotANumber,
    CrashesOnName,
    NeedsProperty,
    IgnoresScale,
    FragileInteract,
    CrashesDescribing,
    FreesUnderRender,  // a change takes away what a render reads
    Slow,              // no defect: a minute a frame, but it stops when told to
    Deaf,              // three seconds a frame, and does not ask
    TouchesDevice,     // takes pictures on a device for ones in main memory
    DiffersOnDevice,
    HalfOnDevice,  // goes on where the device fails in the middle
    Count
};

constexpr int effectCount = static_cast<int>(Defect::Count);

// In the order of Defect.
const std::string& nameOf(int number) {
    static const std::vector<std::string> names = [] {
        std::istringstream words(
            "Sound CrashesOnNull CrashesWithoutClip LeaksImage WritesOutside WritesSource ReadsOutside "
            "DependsOnThreads DependsOnCpus IgnoresAbort Hangs DependsOnOrder SaysSo SharesState "
            "UsesFreshMemory LeavesOutput IgnoresRows TrustsMemory ShowsHalfMade LeaksMemory BadDefault BadScriptName "
            "KeepsOldValue NotANumber CrashesOnName NeedsProperty IgnoresScale FragileInteract "
            "CrashesDescribing FreesUnderRender Slow Deaf TouchesDevice DiffersOnDevice HalfOnDevice");
        return std::vector<std::string>(std::istream_iterator<std::string>(words), {});
    }();
    return names.at(static_cast<std::size_t>(number));
}

struct Instance {
    int renders = 0;
    double firstGain = -1.0;
    std::atomic<volatile char*> table{nullptr};  // a page that a render reads
};

constexpr std::size_t pageSize = 4096;
volatile char* newPage() {
    return static_cast<volatile char*>(
        ::mmap(nullptr, pageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
}

Instance* instanceOf(OfxImageEffectHandle effect) {
    void* data = nullptr;
    props->propGetPointer(propertiesOf(effect), prop::InstanceData, 0, &data);
    return static_cast<Instance*>(data);
}

// ---- Rendering --------------------------------------------------------------------------------------------------

struct Job {
    const HostImage& source;
    const HostImage& output;
    double gain;
    unsigned cpus;
    Defect defect;
};

void fillRows(const Job& job, int first, int last, float extra) {
    for (int y = first; y < last; ++y)
        if (job.defect != Defect::LeavesOutput || y % 7 != 3)
            job.output.fill(y, y + 1, [&](int x, int row, int c) {
                return job.source.get(x, row, c) * static_cast<float>(job.gain) + extra;
            });
}

void runPart(unsigned index, unsigned count, void* custom) {
    const Job& job = *static_cast<Job*>(custom);
    const unsigned parts = job.defect == Defect::DependsOnCpus ? job.cpus : count;
    const int rows = job.output.bounds[3] - job.output.bounds[1];
    const auto row = [&](unsigned part) {
        return job.output.bounds[1] + static_cast<int>(static_cast<std::int64_t>(rows) * part / parts);
    };
    const float extra = job.defect == Defect::DependsOnThreads ? 0.01f * static_cast<float>(index) : 0.0f;
    fillRows(job, row(index), row(index + 1), extra);
}

float sharedLevel = 0.0f;

double gainAt(OfxImageEffectHandle effect, double time) {
    double gain = 1.1;
    if (OfxParamHandle handle = param(effect, "Gain")) params->paramGetValueAtTime(handle, time, &gain);
    return gain;
}

void spoil(Defect defect, Instance& instance, OfxImageEffectHandle effect, const HostImage& source,
           const HostImage& output, double time) {
    const int width = output.width(), height = output.height();
    const auto brighten = [&](float by) {
        for (int y = output.bounds[1]; y < output.bounds[3]; ++y)
            for (int x = output.bounds[0]; x < output.bounds[2]; ++x) output.set(x, y, 0, output.get(x, y, 0) + by);
    };
    switch (defect) {
        case Defect::WritesOutside:
            *output.at(output.bounds[2], output.bounds[3] - 1) = std::byte{1};
            break;
        case Defect::WritesSource:
            if (source.data) source.set(source.bounds[0], source.bounds[1], 0, 0.77f);
            break;
        case Defect::ReadsOutside:
            if (source.data) [[maybe_unused]]
                const volatile std::byte read = *source.at(source.bounds[2], source.bounds[3] - 1);
            break;
        case Defect::Hangs:
            while (width % 2 == 1) ::usleep(1000);
            break;
        case Defect::Slow:
            for (int i = 0; i < 60000 && !effects->abort(effect); ++i) ::usleep(1000);
            break;
        case Defect::Deaf:
            ::usleep(3000000);
            break;
        case Defect::DependsOnOrder:
        case Defect::SaysSo:
            brighten(0.01f * static_cast<float>(instance.renders++));
            break;
        case Defect::SharesState:
            sharedLevel = static_cast<float>(instanceOf(effect)->firstGain);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            brighten(sharedLevel);
            break;
        case Defect::UsesFreshMemory: {
            auto* fresh = static_cast<volatile unsigned char*>(std::malloc(64));
            brighten(static_cast<float>(fresh[40]) / 255.0f);
            std::free(const_cast<unsigned char*>(fresh));
            break;
        }
        case Defect::IgnoresRows:
            if (source.data && source.bytes == output.bytes)
                std::memcpy(output.at(output.bounds[0], output.bounds[1]),
                            source.at(source.bounds[0], source.bounds[1]),
                            std::size_t(std::min(width, source.width())) * 4 * std::size_t(output.bytes) *
                                std::size_t(std::min(height, source.height())));
            break;
        case Defect::TrustsMemory: {
            auto* block = static_cast<volatile float*>(std::malloc(4000));
            block[0] = 1.0f;
            std::free(const_cast<float*>(block));
            break;
        }
        case Defect::ShowsHalfMade: {
            void* const block = std::malloc(4000);
            if (!block) brighten(0.5f);
            std::free(block);
            break;
        }
        case Defect::NotANumber:
            if (time == 1.0) output.set(output.bounds[0], output.bounds[1], 1, std::numeric_limits<float>::quiet_NaN());
            break;
        case Defect::IgnoresScale:
            output.fill(output.bounds[1], output.bounds[3], [](int x, int, int) { return x < 30 ? 1.0f : 0.0f; });
            break;
        default:
            break;
    }
}

// ---- On a device ------------------------------------------------------------------------------------------------

support::OpenedMemory opened(const HostImage& image, bool really) {
    const bool any = really && image.data && image.height() > 0;
    return {image.data, any ? std::size_t(image.rowBytes) * std::size_t(image.height()) : 0};
}

// Stands for the calls to a device's driver: from the one on that the variable counts, all fail.
bool deviceFails() {
    static std::atomic<int> calls{0};
    const char* const from = std::getenv("DEFECTIVE_DEVICE_FAILS_AT");
    return ++calls >= (from ? std::atoi(from) : std::numeric_limits<int>::max());
}

// The first half of the rows, another call, the second half.
OfxStatus renderOnDevice(Job& job) {
    const int first = job.output.bounds[1], last = job.output.bounds[3], middle = (first + last) / 2;
    if (deviceFails()) return ofx::status::GPURenderFailed;
    fillRows(job, first, middle, job.defect == Defect::DiffersOnDevice ? 0.01f : 0.0f);
    if (deviceFails()) return job.defect == Defect::HalfOnDevice ? OK : ofx::status::GPURenderFailed;
    fillRows(job, middle, last, 0.0f);
    return OK;
}

OfxStatus render(Defect defect, OfxImageEffectHandle effect, OfxPropertySetHandle in) {
    double time = 0.0;
    props->propGetDouble(in, prop::Time, 0, &time);
    Instance* instance = instanceOf(effect);
    if (!instance) return Failed;
    if (defect == Defect::IgnoresAbort) {
        for (int i = 0; i < 150; ++i, ::usleep(500)) effects->abort(effect);
    } else {
        for (int i = 0; i < 3; ++i)
            if (effects->abort(effect)) return OK;
    }
    HostImage source(effect, "Source", time);
    const HostImage matte(effect, "Matte", time);
    if (defect == Defect::CrashesWithoutClip) *reinterpret_cast<volatile char*>(matte.data);
    const HostImage output(effect, ofx::clip::Output, time);
    if (defect == Defect::CrashesOnNull && output) *const_cast<volatile std::byte*>(output.data);
    if (!output.data || output.width() <= 0 || output.height() <= 0) return OK;
    if (defect == Defect::FreesUnderRender) {
        volatile char* const table = newPage();
        instance->table = table;
        for (int i = 0; i < 20; ++i, ::usleep(200)) [[maybe_unused]] const char read = table[i];
    }
    double gain = gainAt(effect, time);
    if (instance->firstGain < 0.0) instance->firstGain = gain;
    if (defect == Defect::KeepsOldValue) gain = instance->firstGain;
    unsigned cpus = 1;
    if (threads) threads->multiThreadNumCPUs(&cpus);
    Job job{source, output, gain, cpus ? cpus : 1, defect};
    int enabled = 0;
    props->propGetInt(in, prop::CudaEnabled, 0, &enabled);
    const bool device = enabled == 1 && defect != Defect::TouchesDevice;
    const support::OpenedMemory openSource = opened(source, device), openOutput = opened(output, device);
    if (enabled == 1) {
        if (const OfxStatus status = renderOnDevice(job); status != OK) return status;
    } else if (!threads || threads->multiThread(runPart, job.cpus, &job) != OK)
        runPart(0, 1, &job);
    spoil(defect, *instance, effect, source, output, time);
    if (defect == Defect::LeaksImage) source.keep();
    return OK;
}

// ---- Describing -------------------------------------------------------------------------------------------------

OfxStatus interactEntry(Defect defect, const char* action, OfxPropertySetHandle in) {
    double place = 0.0;
    if (in && is(action, ofx::action::InteractPenDown)) props->propGetDouble(in, prop::InteractPenPosition, 0, &place);
    if (defect == Defect::FragileInteract && place > 60.0) std::abort();
    return ofx::status::ReplyDefault;
}

OfxStatus fragileInteract(const char* action, const void*, OfxPropertySetHandle in, OfxPropertySetHandle) {
    if (is(action, ofx::action::Describe) || is(action, ofx::action::CreateInstance)) return OK;
    return interactEntry(Defect::FragileInteract, action, in);
}

OfxStatus describe(Defect defect, OfxImageEffectHandle effect) {
    fetchSuites();
    if (!props || !effects || !params) return ofx::status::ErrMissingHostFeature;
    if (defect == Defect::NeedsProperty) {
        char* text = nullptr;
        props->propGetString(theHost->host, prop::VersionLabel, 0, &text);
        if (text[0] == '\0') return Failed;
    }
    describeEffect(effect, nameOf(static_cast<int>(defect)).c_str(), {ofx::context::Filter});
    OfxPropertySetHandle set = propertiesOf(effect);
    char* devices = nullptr;
    props->propGetString(theHost->host, prop::CudaRenderSupported, 0, &devices);
    if (devices && is(devices, "true")) {
        props->propSetString(set, prop::CudaRenderSupported, 0, "true");
        props->propSetString(set, prop::CudaStreamSupported, 0, "true");
    }
    if (defect == Defect::SaysSo) props->propSetInt(set, prop::InstanceSequentialRender, 0, 1);
    if (defect == Defect::FragileInteract)
        props->propSetPointer(set, prop::PluginOverlayInteractV1, 0, reinterpret_cast<void*>(&fragileInteract));
    return OK;
}

OfxStatus describeInContext(Defect defect, OfxImageEffectHandle effect) {
    if (defect == Defect::CrashesDescribing) std::abort();
    defineClip(effect, ofx::clip::Output);
    defineClip(effect, "Source");
    defineClip(effect, "Matte", true);
    for (const char* name : {"Gain", "Twin"}) {
        OfxPropertySetHandle set = defineDouble(effect, name, defect == Defect::BadDefault ? 5.0 : 1.1, 0.0, 4.0);
        props->propSetDouble(set, prop::ParamDisplayMin, 0, 0.0);
        props->propSetDouble(set, prop::ParamDisplayMax, 0, 2.0);
        if (defect == Defect::BadScriptName) props->propSetString(set, prop::ParamScriptName, 0, "same");
    }
    if (defect == Defect::Slow) {
        OfxPropertySetHandle set = define(effect, ofx::param_type::Integer, "Particles");
        props->propSetInt(set, prop::ParamMin, 0, 0);
        props->propSetInt(set, prop::ParamMax, 0, 5000);
        props->propSetInt(set, prop::ParamDisplayMin, 0, 0);
        props->propSetInt(set, prop::ParamDisplayMax, 0, 5000);
        props->propSetInt(set, prop::ParamDefault, 0, 200);
    }
    return OK;
}

void* volatile lost = nullptr;

OfxStatus createInstance(Defect defect, OfxImageEffectHandle effect) {
    auto* made = new (std::nothrow) Instance;
    if (!made) return ofx::status::ErrMemory;
    if (props->propSetPointer(propertiesOf(effect), prop::InstanceData, 0, made) != OK) {
        delete made;
        return Failed;
    }
    if (defect == Defect::LeaksMemory) lost = std::malloc(100);
    return OK;
}

OfxStatus changed(Defect defect, OfxImageEffectHandle effect, OfxPropertySetHandle in) {
    Instance* instance = instanceOf(effect);
    if (defect == Defect::FreesUnderRender && instance) {
        volatile char* const old = instance->table.exchange(nullptr);
        if (old) ::munmap(const_cast<char*>(old), pageSize);
    }
    char* name = nullptr;
    props->propGetString(in, prop::Name, 0, &name);
    if (defect == Defect::CrashesOnName && name && std::strlen(name) > 1000) {
        volatile int* const nowhere = nullptr;
        *nowhere = 1;
    }
    return OK;
}

OfxStatus mainEntry(Defect defect, const char* action, const void* handle, OfxPropertySetHandle in) {
    const auto effect = static_cast<OfxImageEffectHandle>(const_cast<void*>(handle));
    if (is(action, ofx::action::Load) || is(action, ofx::action::Unload)) return OK;
    if (is(action, ofx::action::Describe)) return describe(defect, effect);
    if (is(action, ofx::action::DescribeInContext)) return describeInContext(defect, effect);
    if (is(action, ofx::action::CreateInstance)) return createInstance(defect, effect);
    if (is(action, ofx::action::DestroyInstance)) {
        delete instanceOf(effect);
        return OK;
    }
    if (is(action, ofx::action::InstanceChanged)) return changed(defect, effect, in);
    if (is(action, ofx::action::Render)) return render(defect, effect, in);
    return ofx::status::ReplyDefault;
}

// ---- One record for each defect ---------------------------------------------------------------------------------

template <int Number>
OfxStatus entry(const char* action, const void* handle, OfxPropertySetHandle in, OfxPropertySetHandle) {
    return mainEntry(static_cast<Defect>(Number), action, handle, in);
}

template <int... Numbers>
void fillRecords(OfxPlugin* records, std::string* identifiers, std::integer_sequence<int, Numbers...>) {
    ((identifiers[Numbers] = "com.brindlemoor.tests." + nameOf(Numbers),
      records[Numbers] = {ofx::ImageEffectPluginApi, 1, identifiers[Numbers].c_str(), 1, 0, setHost, entry<Numbers>}),
     ...);
}

OfxPlugin* records() {
    static std::string identifiers[effectCount];
    static OfxPlugin all[effectCount];
    static const bool filled = (fillRecords(all, identifiers, std::make_integer_sequence<int, effectCount>()), true);
    return filled ? all : nullptr;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int OfxGetNumberOfPlugins() { return effectCount; }

extern "C" __attribute__((visibility("default"))) OfxPlugin* OfxGetPlugin(int index) {
    return index >= 0 && index < effectCount ? records() + index : nullptr;
}
