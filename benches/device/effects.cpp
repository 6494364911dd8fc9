// Whole effects of the bundle, as a host has them rendered.
#include <cstdlib>
#include <memory>

#include "benches/device/measure.h"
#include "benches/support/bench.h"
#include "gpulib/gpulib.h"
#include "host/cli/cuda_device.h"
#include "host/cli/scene.h"
#include "host/core/ofxhost.h"
#include "support/bundle_copy.h"
#include "support/program_folder.h"

namespace device_bench {

namespace {

using namespace quillon;
using Clock = std::chrono::steady_clock;

// Effects that do something on a device in their scene.
const char* const EFFECTS[] = {"CrashZoom", "Aurora", "Burn",        "Candle",    "CCTV",     "Clean",     "ClipFlow",
                               "Darken",    "Facet",  "Fire",        "Flare",     "HeatHaze", "ImageFlow", "InfraRed",
                               "Lighten",   "Luna",   "NightVision", "Pool3D",    "Puddle3D", "RainDrops", "RomanTile",
                               "SpinBlur",  "Thermo", "TrailLive",   "TransFlow", "TVWall",   "Water"};

// What of a render the host's own pictures take: from when one is asked for until it is on the device, and all that
// comes after the plug-in's work.
struct Watch {
    Clock::time_point asked, begun, done;
    double hosts = 0;
    void begin() { begun = done = Clock::now(), hosts = 0; }
    double plugins() const { return std::chrono::duration<double, std::milli>(done - begun).count() - hosts; }
};

class WatchedQueue final : public ofxhost::DeviceQueue {
  public:
    WatchedQueue(std::unique_ptr<DeviceQueue> inner, Watch& watch) : m_inner(std::move(inner)), m_watch(watch) {}
    void* stream() const override { return m_inner->stream(); }
    void* allocate(std::size_t bytes) override { return m_inner->allocate(bytes); }
    void release(void* memory) override { m_inner->release(memory); }
    bool upload(void* device, const void* host, std::size_t bytes) override {
        const bool there = m_inner->upload(device, host, bytes) && m_inner->finish();
        m_watch.hosts += milliseconds_since(m_watch.asked);
        m_fresh = true;
        return there;
    }
    bool download(void* host, const void* device, std::size_t bytes) override {
        return m_inner->download(host, device, bytes);
    }
    bool finish() override {  // the first one after the pictures have been sent waits for the plug-in
        const bool finished = m_inner->finish();
        if (m_fresh) m_watch.done = Clock::now();
        m_fresh = false;
        return finished;
    }

  private:
    std::unique_ptr<DeviceQueue> m_inner;
    Watch& m_watch;
    bool m_fresh = false;
};

class WatchedDevice final : public ofxhost::RenderDevice {
  public:
    explicit WatchedDevice(Watch& watch) : m_watch(watch) {}
    std::unique_ptr<ofxhost::DeviceQueue> queue() override {
        auto inner = m_inner->queue();
        return inner ? std::make_unique<WatchedQueue>(std::move(inner), m_watch) : nullptr;
    }

  private:
    const std::shared_ptr<RenderDevice> m_inner = cudaDevice();
    Watch& m_watch;
};

// Decided: with pictures in main memory, and only where it is expected to pay.
enum class Where { Processor, MainMemory, Device, Decided };

// A copy of the bundle in a host of its own.
class Place {
  public:
    Place(Where where, int threads)
        : m_where(where), m_host(config(where, threads)), m_bundle(m_host, m_copy.library()) {
        ofxhost::HostHooks hooks;
        hooks.beforeCall = [this](const ofxhost::SuiteCall& call) {
            if (call.name == "clipGetImage") m_watch.asked = Clock::now();
            return std::optional<OfxStatus>{};
        };
        if (where == Where::Device) m_host.setHooks(hooks);
    }

    double time(const DeclaredEffect& effect, const std::vector<Picture>& inputs) {
        setenv("CUDA_DISABLE", m_where == Where::Processor ? "yes" : "no", 1);
        setenv("CUDA_ALWAYS", m_where == Where::Decided ? "no" : "yes", 1);
        ofxhost::Plugin& plugin = *m_bundle.find(effect.name);
        SceneRender render(plugin, effect.scene, inputs, {});
        if (m_where == Where::Device && !render.instance().descriptor().takesDevicePictures()) return NOT_MEASURED;
        const bool moves = effect.history != "none";
        double frame = moves ? 0 : effect.scene.frame;
        ofxhost::ImageLayout layout;
        layout.bounds = {0, 0, WIDTH, HEIGHT};
        const auto image = std::make_shared<ofxhost::Image>(layout);
        return fastest([&] {
            m_watch.begin();
            const bool rendered = render.instance().render({.time = frame}, image) == 0;
            frame += moves ? 1 : 0;
            if (!rendered || render.instance().deviceRenders().refused > 0) return -1.0;
            return m_where == Where::Device ? m_watch.plugins() : milliseconds_since(m_watch.begun);
        });
    }

  private:
    ofxhost::HostConfig config(Where where, int threads) {
        ofxhost::HostConfig made = ofxhost::hostConfig("generic");
        made.threads = static_cast<unsigned>(threads);
        if (where == Where::Device) made.device = std::make_shared<WatchedDevice>(m_watch);
        return made;
    }

    const Where m_where;
    Watch m_watch;
    const support::BundleCopy m_copy{support::beside_program(QUILLON_BUNDLE_PATH)};
    ofxhost::Host m_host;
    ofxhost::Bundle m_bundle;
};

std::vector<Picture> inputs_of(const DeclaredScene& scene) {
    const SharedImage frame = test_frame(4, SAMPLE_F32, WIDTH, HEIGHT);
    Picture picture(WIDTH, HEIGHT);
    for (int y = 0; y < HEIGHT; ++y) std::copy_n(image_row<float>(frame.get(), y), 4 * WIDTH, picture.row(y));
    return std::vector<Picture>(scene.inputs.size(), picture);
}

}  // namespace

bool measure_effects(const Options& options) {
    const auto declared = readDeclarations(support::beside_program(QUILLON_BUNDLE_PATH)).effects;
    const int all = static_cast<int>(std::thread::hardware_concurrency());
    std::vector<std::unique_ptr<Place>> places;
    for (const int threads : options.threads)
        places.push_back(threads ? std::make_unique<Place>(Where::Processor, threads) : nullptr);
    for (const Where where : {Where::MainMemory, Where::Device, Where::Decided})
        places.push_back(options.device ? std::make_unique<Place>(where, all) : nullptr);
    std::printf(
        "\n| Effect, as in its scene | 2 threads | 16 threads | device, from main memory | "
        "pictures on the device | as gpu_pays decides |\n|---|---|---|---|---|---|\n");
    bool passed = true;
    for (DeclaredEffect effect : declared) {
        const auto* const listed = std::find(std::begin(EFFECTS), std::end(EFFECTS), effect.shortName());
        if (listed == std::end(EFFECTS) || !options.wants(effect.shortName())) continue;
        effect.scene.width = WIDTH, effect.scene.height = HEIGHT;
        const std::vector<Picture> inputs = inputs_of(effect.scene);
        std::vector<double> times;
        for (const auto& place : places) times.push_back(place ? place->time(effect, inputs) : NOT_MEASURED);
        for (const double time : times) passed = passed && (time >= 0 || time == NOT_MEASURED);
        print_row(effect.shortName(), times);
    }
    return passed;
}

}  // namespace device_bench
