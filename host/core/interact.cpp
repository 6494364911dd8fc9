#include "host/core/interact.h"

#include <cmath>

#include "host/core/bundle.h"
#include "host/core/host.h"
#include "host/core/property_tables.h"
#include "ofx/ofx_names.h"

namespace ofxhost {

namespace prop = ofx::prop;
namespace action = ofx::action;

Interact::Interact(EffectInstance& effect, OfxPluginEntryPoint* entry, ObjectKind kind)
    : m_effect(effect),
      m_entry(entry),
      m_properties(effect.host(), kind, "interact of " + effect.plugin().name()),
      m_ticket(effect.host(), HandleKind::Interact, this) {
    if (kind == ObjectKind::InteractInstance) m_properties.setPointer(prop::EffectInstance, effect.handle());
}

Interact::~Interact() {
    if (m_created) send(action::DestroyInstance, nullptr);
}

std::unique_ptr<Interact> Interact::create(EffectInstance& effect, const ViewState& view) {
    auto* entry = reinterpret_cast<OfxPluginEntryPoint*>(
        effect.descriptor().properties().getPointer(prop::PluginOverlayInteractV1));
    if (!entry) return nullptr;
    const auto accepted = [](OfxStatus status) {
        return status == ofx::status::OK || status == ofx::status::ReplyDefault;
    };
    Interact descriptor(effect, entry, ObjectKind::InteractDescriptor);
    if (!accepted(descriptor.send(action::Describe, nullptr))) return nullptr;
    std::unique_ptr<Interact> interact(new Interact(effect, entry, ObjectKind::InteractInstance));
    interact->setView(view);
    if (!accepted(interact->send(action::CreateInstance, nullptr))) return nullptr;
    interact->m_created = true;
    return interact;
}

void Interact::setView(const ViewState& view) {
    m_view = view;
    m_properties.setDouble(prop::InteractPixelScale, view.pixelScale.x, 0);
    m_properties.setDouble(prop::InteractPixelScale, view.pixelScale.y, 1);
    m_properties.setDouble(prop::InteractViewport, view.viewport.x, 0);
    m_properties.setDouble(prop::InteractViewport, view.viewport.y, 1);
    for (int i = 0; i < 3; ++i) m_properties.setDouble(prop::InteractBackgroundColour, view.background[i], i);
}

OfxStatus Interact::send(const char* actionText, PropertySet* inArgs) {
    return m_effect.plugin().callEntry(m_entry, actionText, handle(), m_properties.owner(), inArgs, nullptr);
}

void Interact::fillView(PropertySet& arguments) const {
    arguments.setPointer(prop::EffectInstance, m_effect.handle());
    arguments.setDouble(prop::Time, m_view.time);
    arguments.setDouble(prop::RenderScale, m_view.renderScale.x, 0);
    arguments.setDouble(prop::RenderScale, m_view.renderScale.y, 1);
    if (!arguments.has(prop::InteractPixelScale)) return;  // key actions go without
    arguments.setDouble(prop::InteractPixelScale, m_view.pixelScale.x, 0);
    arguments.setDouble(prop::InteractPixelScale, m_view.pixelScale.y, 1);
    for (int i = 0; i < 3; ++i) arguments.setDouble(prop::InteractBackgroundColour, m_view.background[i], i);
}

OfxStatus Interact::sendView(const char* actionText) {
    PropertySet arguments(m_effect.host(), ObjectKind::InArgs, "inArgs");
    addArgumentProperties(arguments, actionText);
    fillView(arguments);
    return send(actionText, &arguments);
}

OfxStatus Interact::sendPen(const char* actionText, OfxPointD position, double pressure) {
    PropertySet arguments(m_effect.host(), ObjectKind::InArgs, "inArgs");
    addArgumentProperties(arguments, actionText);
    fillView(arguments);
    arguments.setDouble(prop::InteractPenPosition, position.x, 0);
    arguments.setDouble(prop::InteractPenPosition, position.y, 1);
    const auto onScreen = [](double place, double pixel) {
        return std::fabs(place / pixel) < 1e9 ? static_cast<int>(place / pixel) : 0;
    };
    arguments.setInt(prop::InteractPenViewportPosition, onScreen(position.x, m_view.pixelScale.x), 0);
    arguments.setInt(prop::InteractPenViewportPosition, onScreen(position.y, m_view.pixelScale.y), 1);
    arguments.setDouble(prop::InteractPenPressure, pressure);
    return send(actionText, &arguments);
}

OfxStatus Interact::draw() { return sendView(action::InteractDraw); }
OfxStatus Interact::penMotion(OfxPointD p, double pressure) { return sendPen(action::InteractPenMotion, p, pressure); }
OfxStatus Interact::penDown(OfxPointD p, double pressure) { return sendPen(action::InteractPenDown, p, pressure); }
OfxStatus Interact::penUp(OfxPointD p, double pressure) { return sendPen(action::InteractPenUp, p, pressure); }
OfxStatus Interact::gainFocus() { return sendView(action::InteractGainFocus); }
OfxStatus Interact::loseFocus() { return sendView(action::InteractLoseFocus); }

OfxStatus Interact::key(const char* actionText, int symbol, const std::string& text) {
    PropertySet arguments(m_effect.host(), ObjectKind::InArgs, "inArgs");
    addArgumentProperties(arguments, actionText);
    fillView(arguments);
    arguments.setInt(keySymbolProperty, symbol);
    arguments.setString(keyStringProperty, text);
    return send(actionText, &arguments);
}

}  // namespace ofxhost
