// A bundle with one effect that does all that it should, and one for each way of going wrong. All of them copy their
// source, a tenth brighter; what else they do is their defect.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "ofx/ofx.h"
#include "ofx/ofx_names.h"

namespace {

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
    LeavesOutput,  // does not write every pixel
    IgnoresRows,   // takes rows to follow each other
    TrustsMemory,  // an allocation is never refused
    LeaksMemory,   // of each instance
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
    Count
};

constexpr const char* names[] = {"Sound",
                                 "CrashesOnNull",
                                 "CrashesWithoutClip",
                                 "LeaksImage",
                                 "WritesOutside",
                                 "WritesSource",
                                 "ReadsOutside",
                                 "DependsOnThreads",
                                 "DependsOnCpus",
                                 "IgnoresAbort",
                                 "Hangs",
                                 "DependsOnOrder",
                                 "SaysSo",
                                 "SharesState",
                                 "UsesFreshMemory",
                                 "LeavesOutput",
                                 "IgnoresRows",
                                 "TrustsMemory",
                                 "LeaksMemory",
                                 "BadDefault",
                                 "BadScriptName",
                                 "KeepsOldValue",
                                 "NotANumber",
                                 "CrashesOnName",
                                 "NeedsProperty",
                                 "IgnoresScale",
                                 "FragileInteract",
                                 "CrashesDescribing",
                                 "FreesUnderRender",
                                 "Slow",
                                 "Deaf"};
constexpr int effectCount = static_cast<int>(Defect::Count);
static_assert(std::size(names) == effectCount);

OfxHost* theHost = nullptr;
const OfxPropertySuiteV1* props = nullptr;
const OfxImageEffectSuiteV1* effects = nullptr;
const OfxParameterSuiteV1* params = nullptr;
const OfxMultiThreadSuiteV1* threads = nullptr;

bool is(const char* a, const char* b) { return std::strcmp(a, b) == 0; }

template <class Suite>
void fetch(const Suite*& suite, const char* name) {
    suite = static_cast<const Suite*>(theHost->fetchSuite(theHost->host, name, 1));
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

OfxPropertySetHandle propertiesOf(OfxImageEffectHandle effect) {
    OfxPropertySetHandle set = nullptr;
    effects->getPropertySet(effect, &set);
    return set;
}

Instance* instanceOf(OfxImageEffectHandle effect) {
    void* data = nullptr;
    props->propGetPointer(propertiesOf(effect), prop::InstanceData, 0, &data);
    return static_cast<Instance*>(data);
}

// ---- Images -----------------------------------------------------------------------------------------------------

class HostImage {
  public:
    HostImage(OfxImageEffectHandle effect, const char* clipName, double time) {
        OfxImageClipHandle clip = nullptr;
        if (effects->clipGetHandle(effect, clipName, &clip, nullptr) != OK || !clip) return;
        if (effects->clipGetImage(clip, time, nullptr, &m_set) != OK) {
            m_set = nullptr;
            return;
        }
        void* pointer = nullptr;
        char* depth = nullptr;
        const bool told = props->propGetPointer(m_set, prop::ImageData, 0, &pointer) == OK &&
                          props->propGetIntN(m_set, prop::ImageBounds, 4, bounds) == OK &&
                          props->propGetInt(m_set, prop::ImageRowBytes, 0, &rowBytes) == OK &&
                          props->propGetString(m_set, prop::PixelDepth, 0, &depth) == OK;
        if (!told || !depth) return;
        bytes = is(depth, ofx::depth::Byte) ? 1 : is(depth, ofx::depth::Short) ? 2 : 4;
        data = static_cast<std::byte*>(pointer);
    }
    ~HostImage() {
        if (m_set) effects->clipReleaseImage(m_set);
    }
    HostImage(const HostImage&) = delete;
    HostImage& operator=(const HostImage&) = delete;

    void keep() { m_set = nullptr; }
    explicit operator bool() const { return m_set != nullptr; }
    bool holds(int x, int y) const { return x >= bounds[0] && x < bounds[2] && y >= bounds[1] && y < bounds[3]; }
    std::byte* at(int x, int y) const {
        return data + std::ptrdiff_t(y - bounds[1]) * rowBytes + std::ptrdiff_t(x - bounds[0]) * 4 * bytes;
    }
    float get(int x, int y, int c) const {
        if (!data || !holds(x, y)) return 0.0f;
        const std::byte* sample = at(x, y) + c * bytes;
        if (bytes == 1) return static_cast<float>(*sample) / 255.0f;
        std::uint16_t level;
        float value;
        if (bytes == 2) return std::memcpy(&level, sample, 2), static_cast<float>(level) / 65535.0f;
        return std::memcpy(&value, sample, 4), value;
    }
    void set(int x, int y, int c, float value) const {
        std::byte* sample = at(x, y) + c * bytes;
        const float limited = value > 0.0f ? std::min(value, 1.0f) : 0.0f;
        const auto level8 = static_cast<std::uint8_t>(limited * 255.0f + 0.5f);
        const auto level16 = static_cast<std::uint16_t>(limited * 65535.0f + 0.5f);
        if (bytes == 1) *sample = std::byte{level8};
        if (bytes == 2) std::memcpy(sample, &level16, 2);
        if (bytes == 4) std::memcpy(sample, &value, 4);
    }

    std::byte* data = nullptr;
    int bounds[4] = {}, rowBytes = 0, bytes = 4;

  private:
    OfxPropertySetHandle m_set = nullptr;
};

// ---- Rendering --------------------------------------------------------------------------------------------------

struct Job {
    const HostImage& source;
    const HostImage& output;
    double gain;
    unsigned cpus;
    Defect defect;
};

void fillRows(const Job& job, int first, int last, float extra) {
    const HostImage& out = job.output;
    for (int y = first; y < last; ++y) {
        if (job.defect == Defect::LeavesOutput && y % 7 == 3) continue;
        for (int x = out.bounds[0]; x < out.bounds[2]; ++x)
            for (int c = 0; c < 4; ++c) {
                float value = job.source.get(x, y, c);
                value = value * static_cast<float>(job.gain) + extra;
                out.set(x, y, c, value);
            }
    }
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
    OfxParamSetHandle all = nullptr;
    OfxParamHandle handle = nullptr;
    double gain = 1.1;
    if (effects->getParamSet(effect, &all) == OK && params->paramGetHandle(all, "Gain", &handle, nullptr) == OK)
        params->paramGetValueAtTime(handle, time, &gain);
    return gain;
}

void spoil(Defect defect, Instance& instance, OfxImageEffectHandle effect, const HostImage& source,
           const HostImage& output, double time) {
    const int width = output.bounds[2] - output.bounds[0], height = output.bounds[3] - output.bounds[1];
    const auto brighten = [&](float by) {
        for (int y = output.bounds[1]; y < output.bounds[3]; ++y)
            for (int x = output.bounds[0]; x < output.bounds[2]; ++x) output.set(x, y, 0, output.get(x, y, 0) + by);
    };
    switch (defect) {
        case Defect::WritesOutside:
            output.at(output.bounds[0], output.bounds[3] - 1)[std::ptrdiff_t(width) * 4 * output.bytes] = std::byte{1};
            break;
        case Defect::WritesSource:
            if (source.data) source.set(source.bounds[0], source.bounds[1], 0, 0.77f);
            break;
        case Defect::ReadsOutside: {
            volatile std::byte read{};
            if (source.data)
                read = source.at(
                    source.bounds[0],
                    source.bounds[3] - 1)[std::ptrdiff_t(source.bounds[2] - source.bounds[0]) * 4 * source.bytes];
            (void)read;
            break;
        }
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
                std::memcpy(
                    output.at(output.bounds[0], output.bounds[1]), source.at(source.bounds[0], source.bounds[1]),
                    std::size_t(std::min(width, source.bounds[2] - source.bounds[0])) * 4 * std::size_t(output.bytes) *
                        std::size_t(std::min(height, source.bounds[3] - source.bounds[1])));
            break;
        case Defect::TrustsMemory: {
            auto* block = static_cast<volatile float*>(std::malloc(4000));
            block[0] = 1.0f;
            std::free(const_cast<float*>(block));
            break;
        }
        case Defect::NotANumber:
            if (time == 1.0) output.set(output.bounds[0], output.bounds[1], 1, std::numeric_limits<float>::quiet_NaN());
            break;
        case Defect::IgnoresScale:
            for (int y = output.bounds[1]; y < output.bounds[3]; ++y)  // a bar of 60 pixels at any scale
                for (int x = output.bounds[0]; x < output.bounds[0] + std::min(60, width); ++x)
                    for (int c = 0; c < 4; ++c) output.set(x, y, c, x < 30 ? 1.0f : 0.0f);
            break;
        default:
            break;
    }
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
    if (!output.data || output.bounds[2] <= output.bounds[0] || output.bounds[3] <= output.bounds[1]) return OK;
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
    if (!threads || threads->multiThread(runPart, job.cpus, &job) != OK) runPart(0, 1, &job);
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
    fetch(props, ofx::suite::Property);
    fetch(effects, ofx::suite::ImageEffect);
    fetch(params, ofx::suite::Parameter);
    fetch(threads, ofx::suite::MultiThread);
    if (!props || !effects || !params) return ofx::status::ErrMissingHostFeature;
    if (defect == Defect::NeedsProperty) {
        char* text = nullptr;
        props->propGetString(theHost->host, prop::VersionLabel, 0, &text);
        if (text[0] == '\0') return Failed;
    }
    OfxPropertySetHandle set = nullptr;
    if (effects->getPropertySet(effect, &set) != OK) return Failed;
    props->propSetString(set, prop::Label, 0, names[static_cast<int>(defect)]);
    props->propSetString(set, prop::PluginGrouping, 0, "Tests");
    props->propSetString(set, prop::SupportedContexts, 0, ofx::context::Filter);
    const char* const depths[] = {ofx::depth::Byte, ofx::depth::Short, ofx::depth::Float};
    props->propSetStringN(set, prop::SupportedPixelDepths, 3, depths);
    props->propSetInt(set, prop::SupportsTiles, 0, 0);
    if (defect == Defect::SaysSo) props->propSetInt(set, prop::InstanceSequentialRender, 0, 1);
    if (defect == Defect::FragileInteract)
        props->propSetPointer(set, prop::PluginOverlayInteractV1, 0, reinterpret_cast<void*>(&fragileInteract));
    return OK;
}

OfxStatus describeInContext(Defect defect, OfxImageEffectHandle effect) {
    if (defect == Defect::CrashesDescribing) std::abort();
    for (const char* name : {ofx::clip::Output, "Source", "Matte"}) {
        OfxPropertySetHandle set = nullptr;
        if (effects->clipDefine(effect, name, &set) != OK) return Failed;
        props->propSetString(set, prop::SupportedComponents, 0, ofx::component::RGBA);
        if (is(name, "Matte")) props->propSetInt(set, prop::ClipOptional, 0, 1);
    }
    OfxParamSetHandle all = nullptr;
    if (effects->getParamSet(effect, &all) != OK) return Failed;
    const char* const gains[] = {"Gain", "Twin"};
    for (const char* name : gains) {
        OfxPropertySetHandle set = nullptr;
        if (params->paramDefine(all, ofx::param_type::Double, name, &set) != OK) return Failed;
        props->propSetDouble(set, prop::ParamMin, 0, 0.0);
        props->propSetDouble(set, prop::ParamMax, 0, 4.0);
        props->propSetDouble(set, prop::ParamDisplayMin, 0, 0.0);
        props->propSetDouble(set, prop::ParamDisplayMax, 0, 2.0);
        props->propSetDouble(set, prop::ParamDefault, 0, defect == Defect::BadDefault ? 5.0 : 1.1);
        if (defect == Defect::BadScriptName) props->propSetString(set, prop::ParamScriptName, 0, "same");
    }
    if (defect == Defect::Slow) {
        OfxPropertySetHandle set = nullptr;
        if (params->paramDefine(all, ofx::param_type::Integer, "Particles", &set) != OK) return Failed;
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

void setHost(OfxHost* host) { theHost = host; }

template <int Number>
OfxStatus entry(const char* action, const void* handle, OfxPropertySetHandle in, OfxPropertySetHandle) {
    return mainEntry(static_cast<Defect>(Number), action, handle, in);
}

template <int... Numbers>
void fillRecords(OfxPlugin* records, std::string* identifiers, std::integer_sequence<int, Numbers...>) {
    ((identifiers[Numbers] = std::string("com.brindlemoor.tests.") + names[Numbers],
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
