#include "Library2/HostDeviations.h"

#include <algorithm>
#include <cstring>

#include "Library2/PluginK7.h"

namespace {

struct Case {
    const HostQuirks& host;
    const EffectTraits& traits;
    const EffectInfo& info;

    const ClipParam* primary() const { return info.inputs().empty() ? nullptr : &info.inputs().front()->param(); }
};

// ---- Questions ------------------------------------------------------------------------------------------------

bool hasShortLabels(const EffectInfo& info) {
    return std::any_of(info.inputs().begin(), info.inputs().end(), [](const ClipRecord* clip) {
        const ClipParam& param = clip->param();
        return param.shortLabel && std::strcmp(param.shortLabel, param.label) != 0;
    });
}

template <class Control>
bool hasControl(const EffectInfo& info) {
    return std::any_of(info.controls().begin(), info.controls().end(),
                       [](const ControlK7* control) { return dynamic_cast<const Control*>(control); });
}

// A page that is long enough to be broken into columns.
bool hasLongPage(const EffectInfo& info) {
    for (std::size_t page = 0; page < info.pages().size(); ++page)
        if (std::count_if(info.controls().begin(), info.controls().end(),
                          [=](const ControlK7* control) { return control->page() == static_cast<int>(page); }) > 8)
            return true;
    return false;
}

bool hasSteeringChoice(const EffectInfo& info) {
    return std::any_of(info.controls().begin(), info.controls().end(), [&](const ControlK7* control) {
        return info.steers(control) && dynamic_cast<const ListControlK7*>(control);
    });
}

// ---- Answers --------------------------------------------------------------------------------------------------

std::string groupingText(const Case& c) {
    std::string menu = c.host.groupingFormat;
    menu.replace(menu.find("%s"), 2, c.traits.menu);
    return "Found in the menu \"" + menu + "\".";
}

std::string clipText(const Case& c) {
    const std::string the = c.host.inFilterContext ? "In the filter context the clip " : "The clip ";
    const std::string name = c.primary()->name;
    const std::string first = the + name + " is called " + c.host.primaryClipName(c.primary()->name) + ".";
    return c.info.inputs().size() > 1 ? first + " There are no further clips." : first;
}

std::string shortLabelText(const Case& c) {
    std::string labels;
    for (const ClipRecord* clip : c.info.inputs())
        if (clip->param().shortLabel)
            labels +=
                (labels.empty() ? "" : ", ") + std::string(clip->param().shortLabel) + " (" + clip->param().name + ")";
    return "Clips have short labels: " + labels + ".";
}

struct Deviation {
    bool (*here)(const Case&);
    std::string (*text)(const Case&);
};

const Deviation DEVIATIONS[] = {
    {[](const Case& c) { return std::strcmp(c.host.groupingFormat, HostQuirks{}.groupingFormat) != 0; }, groupingText},
    {[](const Case& c) { return c.host.onlySource && c.primary(); }, clipText},
    {[](const Case& c) { return c.host.shortClipLabels && hasShortLabels(c.info); }, shortLabelText},
    {[](const Case& c) { return c.host.firstPageAtTop && !c.info.controls().empty() && !c.info.pages().empty(); },
     [](const Case& c) -> std::string {
         const std::string first = c.info.pages().front();
         return "The parameters of the page " + first + " stand at the top, outside any group" +
                (c.info.pages().size() > 1 ? "; further pages are groups." : ".");
     }},
    {[](const Case& c) { return c.host.skipColumns && hasLongPage(c.info); },
     [](const Case&) -> std::string { return "Long pages are laid out in columns."; }},
    {[](const Case& c) { return c.host.positionRanges && hasControl<PositionControlK7>(c.info); },
     [](const Case&) -> std::string { return "Positions have a range."; }},
    {[](const Case& c) { return c.host.sequentialRender; },
     [](const Case&) -> std::string { return "The effect asks for its frames in order."; }},
    {[](const Case& c) { return c.host.millisecondTimes && c.traits.generator; },
     [](const Case&) -> std::string { return "Without an input, the host's times are taken as milliseconds."; }},
    {[](const Case& c) { return c.host.skipsSmallPreview && c.traits.skipsSmallPreview; },
     [](const Case&) -> std::string { return "The preview thumbnail shows the input."; }},
    {[](const Case& c) { return c.host.sizeFromBounds; },
     [](const Case&) -> std::string { return "The effect works at the size of its input, not of the project."; }},
    {[](const Case& c) { return c.host.outputOwnBounds; },
     [](const Case&) -> std::string { return "The whole output image is written, not the input's region alone."; }},
    {[](const Case& c) { return c.host.ownThreads; },
     [](const Case&) -> std::string { return "The effect works on its own threads instead of the host's."; }},
    {[](const Case& c) { return c.host.swallowsFirstChoiceChange && hasSteeringChoice(c.info); },
     [](const Case&) -> std::string {
         return "The first change of a choice that steers others, which this host sends by itself, is ignored.";
     }},
    {[](const Case& c) { return !c.host.writesTextBack && hasControl<TextControlK7>(c.info); },
     [](const Case&) -> std::string { return "Texts that the effect changes are not written back to the dialog."; }},
};

}  // namespace

std::vector<const HostQuirks*> deviatingHosts() {
    int count = 0;
    const HostQuirks* table = hostQuirksTable(&count);
    std::vector<const HostQuirks*> hosts;
    for (int i = 0; i < count; ++i)
        if (table[i].id != HostId::Unknown && table[i].id != HostId::Generic && table[i].id != HostId::FilterHost)
            hosts.push_back(&table[i]);
    return hosts;
}

std::vector<std::string> hostDeviations(const HostQuirks& host, const EffectTraits& traits, const EffectInfo& info) {
    const Case c{host, traits, info};
    std::vector<std::string> texts;
    for (const Deviation& deviation : DEVIATIONS)
        if (deviation.here(c)) texts.push_back(deviation.text(c));
    return texts;
}
