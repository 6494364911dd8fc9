#include "host/core/settings.h"

namespace ofxhost {
namespace {

constexpr auto Pixels = ProjectUnits::Pixels;
constexpr auto SquarePixels = ProjectUnits::SquarePixels;

// word, name, label, pages, units, only the source
constexpr HostIdentity identities[] = {
    {"generic", "com.brindlemoor.QuillonHost", "Quillon host", 0, Pixels},
    {"nuke", "uk.co.thefoundry.nuke", "Nuke", 0, SquarePixels},
    {"toxik", "Autodesk Toxik", "Toxik", 10, Pixels},
    {"scratch", "Assimilator", "Scratch", 10, SquarePixels},
    {"fusion", "com.eyeonline.Fusion", "Fusion", 0, Pixels},
    {"filmmaster", "Film Master", "Film Master", 10, Pixels},
    {"baselight", "Baselight", "Baselight", 0, Pixels},
    {"avid", "DS OFX Host", "Avid DS", 10, Pixels},
    {"mistika", "Mistika", "Mistika", 0, Pixels},
    {"vegas", "com.sonycreativesoftware.vegas", "Vegas", 0, SquarePixels},
    {"cdv", "com.chinadigitalvideo.dx", "CDV DX", 10, Pixels},
    {"mlt", "MLT", "MLT", 0, Pixels, true},
};

}  // namespace

std::span<const HostIdentity> knownHosts() { return identities; }

HostConfig hostConfig(std::string_view wordOrName) {
    HostConfig config;
    for (const HostIdentity& identity : identities) {
        if (wordOrName != identity.word) continue;
        config.name = identity.name;
        config.label = identity.label;
        config.maxPages = identity.maxPages;
        config.units = identity.units;
        config.onlySource = identity.onlySource;
        return config;
    }
    config.name = wordOrName;
    config.label = wordOrName;
    return config;
}

}  // namespace ofxhost
