#include "host/core/clip.h"

#include "host/core/effect.h"
#include "host/core/host.h"

namespace ofxhost {

namespace prop = ofx::prop;

namespace {

const char* componentsText(int components) {
    return components == 4 ? ofx::component::RGBA : components == 3 ? ofx::component::RGB : ofx::component::Alpha;
}

}  // namespace

ClipDescriptor::ClipDescriptor(Host& host, std::string name)
    : m_name(std::move(name)), m_properties(host, ObjectKind::ClipDescriptor, "clip " + m_name) {
    for (const char* property : {prop::Name, prop::Label, prop::ShortLabel, prop::LongLabel}) {
        m_properties.setString(property, m_name);
    }
}

bool ClipDescriptor::optional() const { return m_properties.getInt(prop::ClipOptional) != 0; }
bool ClipDescriptor::temporal() const { return m_properties.getInt(prop::TemporalClipAccess) != 0; }

Clip::Clip(EffectInstance& effect, const ClipDescriptor& descriptor)
    : m_effect(effect),
      m_name(descriptor.name()),
      m_optional(descriptor.optional()),
      m_properties(effect.host(), ObjectKind::ClipInstance, "clip " + m_name),
      m_ticket(effect.host(), HandleKind::Clip, this) {
    m_properties.copyValuesFrom(descriptor.properties());
}

void Clip::setFormat(const ClipFormat& format) {
    const char* components = componentsText(format.components);
    for (const char* property : {prop::PixelDepth, prop::ClipUnmappedPixelDepth}) {
        m_properties.setString(property, depthText(format.depth));
    }
    for (const char* property : {prop::Components, prop::ClipUnmappedComponents}) {
        m_properties.setString(property, components);
    }
    for (const char* property : {prop::FrameRange, prop::UnmappedFrameRange}) {
        const bool told = !m_effect.host().config().onlySource;
        m_properties.setDouble(property, told ? format.firstFrame : 0.0, 0);
        m_properties.setDouble(property, told ? format.lastFrame : 0.0, 1);
    }
    for (const char* property : {prop::FrameRate, prop::UnmappedFrameRate}) {
        m_properties.setDouble(property, format.frameRate);
    }
    m_properties.setString(prop::PreMultiplication, format.premultiplication);
    m_properties.setDouble(prop::ImagePixelAspectRatio, format.pixelAspect);
}

void Clip::connect(Source source, const ClipFormat& format) {
    const bool onlySource = m_effect.host().config().onlySource;
    if (onlySource && !isOutput() && m_name != ofx::clip::Source) return;
    m_source = std::move(source);
    setFormat(format);
    m_properties.setInt(prop::ClipConnected, 1);
}

void Clip::connect(const ImagePtr& still, double firstFrame, double lastFrame) {
    const ImageLayout& layout = still->layout();
    connect([still](double) { return still; }, {.depth = layout.depth,
                                                .components = layout.components,
                                                .pixelAspect = layout.pixelAspect,
                                                .frameRate = m_effect.project().frameRate,
                                                .firstFrame = firstFrame,
                                                .lastFrame = lastFrame,
                                                .premultiplication = layout.premultiplication});
}

void Clip::disconnect() {
    m_source = nullptr;
    m_properties.setInt(prop::ClipConnected, 0);
}

bool Clip::connected() const { return m_properties.getInt(prop::ClipConnected) != 0; }

void Clip::setRegionOfDefinition(std::optional<OfxRectD> region) { m_region = region; }

OfxRectD Clip::regionOfDefinition(double) const {
    if (m_region) return *m_region;
    const OfxPointD extent = m_effect.projectExtent();
    return {0.0, 0.0, extent.x, extent.y};
}

ImagePtr Clip::fetch(double time, std::string* error) const {
    if (isOutput()) return m_output && time == m_outputTime ? m_output : nullptr;
    if (!m_source) return nullptr;
    try {
        return m_source(time);
    } catch (const std::exception& failure) {
        if (error) *error = failure.what();
        return nullptr;
    }
}

void Clip::setOutputImage(ImagePtr image, double time) {
    m_output = std::move(image);
    m_outputTime = time;
}

void Clip::clearOutputImage() { m_output.reset(); }

}  // namespace ofxhost
