#include <algorithm>
#include <cmath>
#include <exception>
#include <limits>
#include <string_view>

#include "Library2/Actions.h"
#include "Library2/InstanceRecord.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

PropertySet interactProperties(OfxInteractHandle interact) {
    OfxPropertySetHandle set = nullptr;
    if (!interact ||
        callSuite(bundleState().suites.interact, &OfxInteractSuiteV1::interactGetPropertySet, interact, &set))
        return {};
    return PropertySet(set);
}

// An interact and the effect it belongs to. Arguments of the action are looked for first, then the interact itself.
class Interact {
  public:
    Interact(const PropertySet& set, const PropertySet& inArgs) : m_set(set), m_inArgs(inArgs) {
        void* instance = inArgs.pointerOr(ofx::prop::EffectInstance, nullptr);
        if (!instance) instance = set.pointerOr(ofx::prop::EffectInstance, nullptr);
        m_instance = static_cast<OfxImageEffectHandle>(instance);
        m_record = instanceRecord(m_instance);
    }

    const PropertySet& properties() const { return m_set; }
    PluginK7* effect() const { return m_record ? m_record->effect.get() : nullptr; }

    void readView() const {
        const PropertySet instance = effectProperties(m_instance);
        const HostQuirks& quirks = *bundleState().quirks;
        OverlayView& view = effect()->overlaySide().view;
        double scaleX = pixelScale(0);
        const double scaleY = pixelScale(1);
        const double renderX = argument(ofx::prop::RenderScale, 1.0, 0);
        const double renderY = argument(ofx::prop::RenderScale, 1.0, 1);
        const double ratio = scaleY != 0.0 ? scaleX / scaleY : 1.0;
        view.width = pixels(instance.doubleOr(ofx::prop::ProjectSize, 0.0, 0) * renderX);
        view.height = pixels(instance.doubleOr(ofx::prop::ProjectSize, 0.0, 1) * renderY);
        view.vertical = 1.0f;
        view.aspect = quirks.squaredOverlayAspect && ratio != 0.0 ? static_cast<float>(1.0 / (ratio * ratio)) : 1.0f;
        if (quirks.pixelScalePerRenderScale && renderX > 0.0 && renderX <= 1.0) scaleX /= renderX;
        view.hitScale = scaleX != 0.0 ? static_cast<float>(0.75 / scaleX) : 0.0f;
        effect()->info().fetchFollowed({.time = argument(ofx::prop::Time, 0.0)});
    }

    double argument(const char* name, double fallback, int index = 0) const {
        double value = fallback;
        return m_inArgs.getDouble(name, &value, index) ? value : m_set.doubleOr(name, fallback, index);
    }

    // A viewer that is mirrored has pixels of the same size; one that says nothing sensible has pixels of none.
    double pixelScale(int axis) const {
        const double size = std::fabs(argument(ofx::prop::InteractPixelScale, 1.0, axis));
        constexpr double FINEST = 1e-3, COARSEST = 1e3;
        return size > 0.0 && std::isfinite(size) ? std::clamp(size, FINEST, COARSEST) : 0.0;
    }

    // As a float; what none can hold is no place.
    float penPlace(int axis) const {
        const double place = argument(ofx::prop::InteractPenPosition, 0.0, axis);
        return std::fabs(place) < 1e30 ? static_cast<float>(place) : std::numeric_limits<float>::quiet_NaN();
    }

    void wireWidgets() const {
        for (OverlayControlK7* widget : effect()->info().widgets()) {
            widget->overlay = &effect()->overlaySide();
            // All go to one index, so that the last one stays: hosts redraw on any change anyway.
            for (const ControlK7* control : widget->followed)
                m_set.setString(ofx::prop::InteractSlaveToParam, control->name(), 0);
        }
    }

    bool anythingGrabbed() const {
        for (const OverlayControlK7* widget : effect()->info().widgets())
            if (widget->grabbed != 0) return true;
        return false;
    }

    std::vector<int> hoveredParts() const {  // of each widget
        std::vector<int> parts;
        for (const OverlayControlK7* widget : effect()->info().widgets()) parts.push_back(widget->hovered);
        return parts;
    }

  private:
    static int pixels(double size) { return size >= 0.0 && size < 1e9 ? static_cast<int>(size) : 0; }

    PropertySet m_set;
    PropertySet m_inArgs;
    OfxImageEffectHandle m_instance = nullptr;
    InstanceRecord* m_record = nullptr;
};

char s_interactMarker;  // every interact's instance data: the effect's own record is reached through the effect

OfxStatus createInteract(const Interact& interact) {
    if (!interact.effect()) return ofx::status::ErrBadHandle;
    interact.properties().setPointer(ofx::prop::InstanceData, &s_interactMarker);
    interact.wireWidgets();
    return ofx::status::OK;
}

OfxStatus drawInteract(const Interact& interact) {
    if (!interact.effect()) return ofx::status::ErrBadHandle;
    interact.readView();
    interact.effect()->overlaySide().Draw();
    return ofx::status::OK;
}

// A pen that moves while it holds nothing hovers: handles light up under it.
OfxStatus penInteract(const Interact& interact, OfxInteractHandle handle, PenEventCode event) {
    if (!interact.effect()) return ofx::status::ErrBadHandle;
    interact.readView();
    const bool before = interact.anythingGrabbed();
    if (event == PenEventCode::Motion && !before) event = PenEventCode::Hover;
    const auto lit = interact.hoveredParts();
    interact.effect()->overlaySide().PenEvent(event, interact.penPlace(0), interact.penPlace(1));
    if (interact.hoveredParts() != lit)
        callSuite(bundleState().suites.interact, &OfxInteractSuiteV1::interactRedraw, handle);
    const bool taken = event == PenEventCode::Up ? before : interact.anythingGrabbed();
    return taken ? ofx::status::OK : ofx::status::ReplyDefault;
}

OfxStatus dispatch(std::string_view action, OfxInteractHandle handle, const PropertySet& inArgs) {
    namespace act = ofx::action;
    const PropertySet set = interactProperties(handle);
    if (action == act::Describe || action == act::DestroyInstance) return ofx::status::OK;
    const Interact interact(set, inArgs);
    if (action == act::CreateInstance) return createInteract(interact);
    if (action == act::InteractDraw) return drawInteract(interact);
    if (action == act::InteractPenMotion) return penInteract(interact, handle, PenEventCode::Motion);
    if (action == act::InteractPenDown) return penInteract(interact, handle, PenEventCode::Down);
    if (action == act::InteractPenUp) return penInteract(interact, handle, PenEventCode::Up);
    return ofx::status::ReplyDefault;
}

}  // namespace

OfxStatus overlayMain(const char* action, const void* handle, OfxPropertySetHandle inArgs) noexcept {
    if (!action) return ofx::status::ReplyDefault;
    try {
        return dispatch(action, static_cast<OfxInteractHandle>(const_cast<void*>(handle)), PropertySet(inArgs));
    } catch (const std::exception& error) {
        reportError(error.what());
    } catch (...) {
        reportError("unknown exception");
    }
    return ofx::status::Failed;
}
