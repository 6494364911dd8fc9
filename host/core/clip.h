// Clips: what a descriptor declares, and where an instance's pictures come from.
#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>

#include "host/core/image.h"
#include "host/core/property_set.h"

namespace ofxhost {

class EffectInstance;

class ClipDescriptor {
  public:
    ClipDescriptor(Host& host, std::string name);

    const std::string& name() const { return m_name; }
    PropertySet& properties() { return m_properties; }
    const PropertySet& properties() const { return m_properties; }
    bool optional() const;
    bool temporal() const;

  private:
    std::string m_name;
    PropertySet m_properties;
};

// How a clip's pictures look, told to the plug-in before it fetches one.
struct ClipFormat {
    Depth depth = Depth::Float;
    int components = 4;
    double pixelAspect = 1.0;
    double frameRate = 25.0;
    double firstFrame = 0.0, lastFrame = 0.0;
    std::string premultiplication = ofx::premultiplication::UnPremultiplied;
};

class Clip {
  public:
    using Source = std::function<ImagePtr(double time)>;  // null: no picture at that time. May throw: no picture either

    Clip(EffectInstance& effect, const ClipDescriptor& descriptor);

    const std::string& name() const { return m_name; }
    bool isOutput() const { return m_name == ofx::clip::Output; }
    bool optional() const { return m_optional; }
    PropertySet& properties() { return m_properties; }
    const PropertySet& properties() const { return m_properties; }
    EffectInstance& effect() const { return m_effect; }
    OfxImageClipHandle handle() const { return m_ticket.as<OfxImageClipHandle>(); }

    void connect(Source source, const ClipFormat& format);
    void connect(const ImagePtr& still, double firstFrame, double lastFrame);  // the same picture at every time
    void disconnect();
    bool connected() const;
    void setFormat(const ClipFormat& format);                    // of a clip whether connected or not
    void setRegionOfDefinition(std::optional<OfxRectD> region);  // canonical; none: the project's size
    OfxRectD regionOfDefinition(double time) const;

    // The picture that the suite gives for a time, and the error text of a source that threw.
    ImagePtr fetch(double time, std::string* error = nullptr) const;
    // The output clip gives this picture and no other while it is set.
    void setOutputImage(ImagePtr image, double time);
    void clearOutputImage();

    int fetches() const { return m_fetches; }  // pictures given to the plug-in so far
    void countFetch() { ++m_fetches; }

  private:
    EffectInstance& m_effect;
    std::string m_name;
    bool m_optional;
    PropertySet m_properties;
    Source m_source;
    ImagePtr m_output;
    double m_outputTime = 0.0;
    std::optional<OfxRectD> m_region;
    std::atomic<int> m_fetches{0};
    HandleTicket m_ticket;
};

}  // namespace ofxhost
