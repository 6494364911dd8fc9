// An effect as the host sees it: its descriptor, filled by the plug-in's describe actions, and its instances.
#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/core/clip.h"
#include "host/core/device_pictures.h"
#include "host/core/param.h"
#include "host/core/property_set.h"
#include "host/core/settings.h"

namespace ofxhost {

class Plugin;
class EffectDescriptor;
class EffectInstance;

// What descriptor and instance have in common: a handle, a property set and a parameter set.
class Effect {
  public:
    virtual ~Effect();
    Effect(const Effect&) = delete;
    Effect& operator=(const Effect&) = delete;

    Host& host() const;
    Plugin& plugin() const { return m_plugin; }
    PropertySet& properties() { return m_properties; }
    const PropertySet& properties() const { return m_properties; }
    PropertySet& paramSetProperties() { return m_paramSetProperties; }
    const PropertySet& paramSetProperties() const { return m_paramSetProperties; }
    OfxImageEffectHandle handle() const { return m_ticket.as<OfxImageEffectHandle>(); }
    OfxParamSetHandle paramSetHandle() const { return m_paramSetTicket.as<OfxParamSetHandle>(); }
    // One of the two is this object, the other null.
    virtual EffectDescriptor* asDescriptor() { return nullptr; }
    virtual EffectInstance* asInstance() { return nullptr; }
    // The action that the plug-in is working on for this effect on the calling thread, the innermost one; null when
    // none is.
    const char* currentAction() const;

  protected:
    Effect(Plugin& plugin, ObjectKind kind);
    // Sends an action to the plug-in's main entry with this effect as its handle.
    OfxStatus send(const char* action, PropertySet* inArgs, PropertySet* outArgs);

  private:
    Plugin& m_plugin;
    PropertySet m_properties, m_paramSetProperties;
    HandleTicket m_ticket, m_paramSetTicket;
};

// Made by Plugin::describe (no context: no clips or parameters yet) and Plugin::describeInContext.
class EffectDescriptor final : public Effect {
  public:
    EffectDescriptor(Plugin& plugin, std::string context);

    EffectDescriptor* asDescriptor() override { return this; }
    const std::string& context() const { return m_context; }
    std::string label() const;
    std::vector<std::string> supportedContexts() const;
    bool supports(Depth depth) const;
    bool hasOverlay() const;
    bool takesDevicePictures() const;

    // In the order of definition.
    const std::vector<std::unique_ptr<ClipDescriptor>>& clips() const { return m_clips; }
    const std::vector<std::unique_ptr<ParamDescriptor>>& params() const { return m_params; }
    const ClipDescriptor* findClip(std::string_view name) const;
    const ParamDescriptor* findParam(std::string_view name) const;

    OfxStatus runDescribe();
    OfxStatus runDescribeInContext();
    // Called by the suites; null when the definition is refused, which has been reported.
    ClipDescriptor* defineClip(const char* name, OfxStatus& status);
    ParamDescriptor* defineParam(const char* type, const char* name, OfxStatus& status);

  private:
    void checkDescription();
    void checkClips();
    void checkParameters();

    std::string m_context;
    std::vector<std::unique_ptr<ClipDescriptor>> m_clips;
    std::vector<std::unique_ptr<ParamDescriptor>> m_params;
};

struct ClipPreferences {
    double frameRate = 0.0;
    bool frameVarying = false, continuousSamples = false;
    std::string premultiplication, fieldOrder;
    std::map<std::string, std::string> components, depth;  // by clip
    std::map<std::string, double> pixelAspect;             // by clip
};

using FrameRanges = std::vector<OfxRangeD>;

// Sizes, rates and times of one render; the window defaults to the whole output image.
struct RenderRequest {
    double time = 0.0;
    OfxPointD renderScale = {1.0, 1.0};
    std::optional<OfxRectI> window = std::nullopt;
    bool sequential = false, interactive = false, draft = false;
    bool onDevice = true;  // where host and plug-in can; else in main memory
    // From then on the effect is told to stop when it asks.
    std::optional<std::chrono::steady_clock::time_point> stopAt = std::nullopt;
};

// What has become of an instance's renders on a device.
struct DeviceRenders {
    int made = 0;
    int refused = 0;                     // where plug-in or device failed: made in main memory then
    OfxStatus answer = ofx::status::OK;  // the plug-in's to the last one of these
};

// While one thread renders, another may send the other actions, as the interface of a host does; set-up (connect,
// formats, regions, project) may not happen meanwhile.
class EffectInstance final : public Effect {
  public:
    // The descriptor must have a context and outlive the instance. Sends nothing: call create().
    EffectInstance(EffectDescriptor& descriptor, const ProjectSettings& project);
    ~EffectInstance() override;  // sends the destroy action if created

    EffectInstance* asInstance() override { return this; }
    EffectDescriptor& descriptor() const { return m_descriptor; }
    const ProjectSettings& project() const { return m_project; }
    void setProject(const ProjectSettings& project);
    OfxPointD projectExtent() const;  // in the host's units; what the plug-in is told unless the host tells nothing
    double currentTime() const { return m_time; }
    void setCurrentTime(double time) { m_time = time; }  // where paramGetValue reads

    const std::vector<std::unique_ptr<Clip>>& clips() const { return m_clips; }
    const std::vector<std::unique_ptr<Param>>& params() const { return m_params; }
    Clip* findClip(std::string_view name) const;
    Param* findParam(std::string_view name) const;
    Clip& output() const;               // throws std::logic_error when the effect has none
    std::vector<Clip*> inputs() const;  // in the order of definition

    // ---- Actions. Each answers the plug-in's status; images still held at the end are reported and taken back. ----
    OfxStatus create();
    OfxStatus destroy();
    // A change as a user makes it: the value, then Begin/InstanceChanged/End with the user's reason.
    OfxStatus setParam(Param& param, const ParamValue& value);
    OfxStatus pressButton(Param& param);
    OfxStatus clipChanged(Clip& clip);
    // Several changes in one bracket.
    OfxStatus beginChanged(const char* reason);
    OfxStatus instanceChanged(const char* objectType, const std::string& name, const char* reason);
    OfxStatus endChanged(const char* reason);
    // From the parameter suite: sends the bracket with the plug-in's reason, recursively, unless creating.
    void changedByPlugin(Param& param);

    OfxStatus clipPreferences(ClipPreferences& preferences);
    OfxStatus regionOfDefinition(double time, OfxPointD renderScale, OfxRectD& region);
    OfxStatus regionsOfInterest(double time, OfxPointD renderScale, const OfxRectD& wanted,
                                std::map<std::string, OfxRectD>& regions);
    OfxStatus framesNeeded(double time, std::map<std::string, FrameRanges>& frames);
    OfxStatus timeDomain(OfxRangeD& range);
    // 0: pass `clip` through at `identityTime`.
    OfxStatus isIdentity(const RenderRequest& request, const OfxRectI& window, std::string& clip, double& identityTime);
    OfxStatus beginSequence(const RenderRequest& request, OfxRangeD frames, double step);
    OfxStatus endSequence(const RenderRequest& request, OfxRangeD frames, double step);
    // Renders into `image`; reports writes outside its pixels. On the host's device where the plug-in takes pictures
    // there; where that fails, once more in main memory.
    OfxStatus render(const RenderRequest& request, const ImagePtr& image);
    const DeviceRenders& deviceRenders() const { return m_deviceRenders; }
    bool toldToStop() const { return m_toldToStop; }  // in the last render, by its stopAt
    bool pollStop();                                  // from the effect suite
    OfxStatus simpleAction(const char* action);       // one without arguments: purge caches, sync, begin and end edit

    // ---- Images held by the plug-in ----
    int heldImages() const;
    int fetchedImages() const { return m_fetched; }    // since creation
    int releasedImages() const { return m_released; }  // by the plug-in itself
    OfxStatus getImage(Clip& clip, double time, OfxPropertySetHandle* image);
    OfxStatus releaseImage(OfxPropertySetHandle image);
    static EffectInstance* holderOf(const PropertySet& image);  // null when the set is not that of an image

    bool creating() const { return m_creating; }
    int editDepth() const { return m_editDepth; }
    OfxStatus editBegin();
    OfxStatus editEnd();

  private:
    // One image in the plug-in's hands. All property sets of kind Image are such.
    struct HeldImage : PropertySet {
        HeldImage(Clip& clip, ImagePtr image, double time, bool empty, void* onDevice);
        Clip& clip;
        ImagePtr image;
        std::uint64_t checksum = 0;  // of a source, when the host checks those
    };
    OfxStatus run(const char* action, PropertySet* inArgs, PropertySet* outArgs);
    bool usesDevice(const RenderRequest& request) const;
    // With the pictures on the device. `made`: neither the plug-in nor the device refused.
    OfxStatus runOnDevice(const char* action, PropertySet& inArgs, bool& made);
    std::shared_ptr<DevicePictures> devicePictures() const;  // of the action that asks for an image; null: none
    OfxStatus renderAnywhere(const RenderRequest& request, PropertySet& inArgs);
    OfxStatus sendSequence(const char* action, const RenderRequest& request, OfxRangeD frames, double step);
    void takeBackImages(const char* action);
    void retire(HeldImage& held);

    EffectDescriptor& m_descriptor;
    ProjectSettings m_project;
    std::atomic<double> m_time{0.0};
    std::vector<std::unique_ptr<Clip>> m_clips;
    std::vector<std::unique_ptr<Param>> m_params;
    mutable std::mutex m_imagesMutex;
    std::vector<std::unique_ptr<HeldImage>> m_held;
    std::atomic<int> m_fetched{0}, m_released{0};
    std::atomic<int> m_actionDepth{0}, m_changeDepth{0};
    int m_editDepth = 0;
    std::atomic<std::chrono::steady_clock::time_point> m_stopAt{std::chrono::steady_clock::time_point::max()};
    std::atomic<bool> m_toldToStop{false};
    bool m_created = false, m_creating = false;
    std::unique_ptr<DeviceQueue> m_queue;        // made by the first render on a device
    std::shared_ptr<DevicePictures> m_onDevice;  // while an action has its pictures there; under m_imagesMutex
    DeviceRenders m_deviceRenders;
};

}  // namespace ofxhost
