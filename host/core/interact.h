// An overlay interact of an effect instance: what a viewer would send it.
#pragma once

#include <memory>

#include "host/core/effect.h"

namespace ofxhost {

// The viewer at one moment.
struct ViewState {
    double time = 0.0;
    OfxPointD renderScale = {1.0, 1.0};
    OfxPointD pixelScale = {1.0, 1.0};  // canonical size of a screen pixel
    OfxPointD viewport = {720.0, 576.0};
    double background[3] = {0.0, 0.0, 0.0};
};

class Interact {
  public:
    // Null when the effect has no overlay or refuses to describe or create it. The effect must outlive the interact.
    static std::unique_ptr<Interact> create(EffectInstance& effect, const ViewState& view = {});
    ~Interact();
    Interact(const Interact&) = delete;
    Interact& operator=(const Interact&) = delete;

    void setView(const ViewState& view);
    // Draw needs a GL context of the caller's, unless the effect draws nothing.
    OfxStatus draw();
    OfxStatus penMotion(OfxPointD position, double pressure = 1.0);
    OfxStatus penDown(OfxPointD position, double pressure = 1.0);
    OfxStatus penUp(OfxPointD position, double pressure = 0.0);
    OfxStatus gainFocus();
    OfxStatus loseFocus();
    OfxStatus key(const char* action, int symbol, const std::string& text);

    PropertySet& properties() { return m_properties; }
    EffectInstance& effect() const { return m_effect; }
    OfxInteractHandle handle() const { return m_ticket.as<OfxInteractHandle>(); }
    int redraws() const { return m_redraws; }  // asked for by the plug-in
    int swaps() const { return m_swaps; }
    void countRedraw() { ++m_redraws; }
    void countSwap() { ++m_swaps; }

  private:
    Interact(EffectInstance& effect, OfxPluginEntryPoint* entry, ObjectKind kind);
    OfxStatus send(const char* action, PropertySet* inArgs);
    OfxStatus sendView(const char* action);
    OfxStatus sendPen(const char* action, OfxPointD position, double pressure);
    void fillView(PropertySet& arguments) const;

    EffectInstance& m_effect;
    OfxPluginEntryPoint* m_entry;
    ViewState m_view;
    PropertySet m_properties;
    bool m_created = false;
    int m_redraws = 0, m_swaps = 0;
    HandleTicket m_ticket;
};

}  // namespace ofxhost
