#include "Library2/HostQuirks.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "ofx/ofx_names.h"

namespace {

// Frameworks of filters: a picture reaches the clip "Source" and no other, and no size of a project is told.
constexpr HostQuirks filterHost(HostId id, const char* label) {
    return {.id = id,
            .label = label,
            .onlySource = true,
            .inFilterContext = true,
            .sizeFromBounds = true,
            .furtherHandles = false,
            .furtherClips = false};
}

constexpr std::array<HostQuirks, 14> TABLE{{
    {.id = HostId::Unknown},
    {.id = HostId::Generic, .label = "OFX"},
    {.id = HostId::Nuke,
     .label = "Nuke",
     .groupingFormat = "Quillon/Quillon %s",
     .shortClipLabels = true,
     .squarePixelExtent = true,
     .pixelScalePerRenderScale = true},
    {.id = HostId::Toxik,
     .label = "Toxik",
     .groupingFormat = "Q. %s",
     .skipColumns = true,
     .sequentialRender = true,
     .frameNumbers = FrameNumbers::ZeroToMany,
     .neighbourOffset = 1,
     .writesTextBack = false},
    {.id = HostId::Scratch, .label = "Scratch", .squarePixelExtent = true},
    {.id = HostId::Fusion,
     .label = "Fusion",
     .groupingFormat = "Quillon/Quillon %s",
     .neverPages = true,
     .firstPageAtTop = true,
     .ownThreads = true,
     .reciprocalAspect = true,
     .positionAspect = PositionAspect::Multiply,
     .frameNumbers = FrameNumbers::ZeroToDuration,
     .squaredOverlayAspect = true,
     .swallowsFirstChoiceChange = true},
    {.id = HostId::FilmMaster, .label = "Film Master"},
    {.id = HostId::Baselight, .label = "Baselight"},
    {.id = HostId::AvidDS, .label = "Avid DS"},
    {.id = HostId::Mistika, .label = "Mistika"},
    {.id = HostId::Vegas,
     .label = "Vegas",
     .onlySource = true,
     .positionRanges = true,
     .ownThreads = true,
     .simulatedWay = false,
     .squarePixelExtent = true,
     .verticalScaleForBoth = true,
     .sizeFromBounds = true,
     .millisecondTimes = true,
     .furtherClips = false,
     .abortAfterPrimary = false,
     .skipsSmallPreview = true,
     .swallowsFirstChoiceChange = true},
    {.id = HostId::CdvDx,
     .label = "CDV DX",
     .onlySource = true,
     .skipColumns = true,
     .positionAspect = PositionAspect::Divide,
     .outputOwnBounds = true,
     .swallowsFirstChoiceChange = true},
    filterHost(HostId::Mlt, "MLT"),
    filterHost(HostId::FilterHost, "OFX"),
}};

const HostQuirks& quirksOf(HostId id) {
    return *std::find_if(TABLE.begin(), TABLE.end(), [id](const HostQuirks& row) { return row.id == id; });
}

bool sameIgnoringCase(std::string_view a, std::string_view b) {
    const auto lower = [](char c) { return std::tolower(static_cast<unsigned char>(c)); };
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [&](char x, char y) { return lower(x) == lower(y); });
}

bool startsIgnoringCase(std::string_view text, std::string_view start) {
    return text.size() >= start.size() && sameIgnoringCase(text.substr(0, start.size()), start);
}

// The first rule that matches decides.
enum class Match { Exact, IgnoringCase, Start, StartIgnoringCase, Anywhere };
struct NameRule {
    Match match;
    std::string_view name;
    HostId id;
};
constexpr NameRule RULES[] = {
    {Match::Exact, "uk.co.thefoundry.nuke", HostId::Nuke},
    {Match::Anywhere, "Toxik", HostId::Toxik},  // "Autodesk Toxik" and its render utility and script bindings
    {Match::Exact, "com.eyeonline.Fusion", HostId::Fusion},
    {Match::StartIgnoringCase, "film master", HostId::FilmMaster},
    {Match::StartIgnoringCase, "film cutter", HostId::FilmMaster},
    {Match::StartIgnoringCase, "data conform", HostId::FilmMaster},
    {Match::StartIgnoringCase, "nucoda", HostId::FilmMaster},
    {Match::StartIgnoringCase, "phoenix", HostId::FilmMaster},
    {Match::Exact, "Baselight", HostId::Baselight},
    {Match::Exact, "Assimilator", HostId::Scratch},
    {Match::IgnoringCase, "DS OFX Host", HostId::AvidDS},
    {Match::Exact, "Mistika", HostId::Mistika},
    {Match::Exact, "com.sonycreativesoftware.vegas", HostId::Vegas},
    {Match::Exact, "com.chinadigitalvideo.dx", HostId::CdvDx},
    {Match::Start, "MLT", HostId::Mlt},
};

bool matches(const NameRule& rule, std::string_view name) {
    switch (rule.match) {
        case Match::Exact:
            return name == rule.name;
        case Match::IgnoringCase:
            return sameIgnoringCase(name, rule.name);
        case Match::Start:
            return name.starts_with(rule.name);
        case Match::StartIgnoringCase:
            return startsIgnoringCase(name, rule.name);
        case Match::Anywhere:
            return name.find(rule.name) != std::string_view::npos;
    }
    return false;
}

}  // namespace

const char* HostQuirks::primaryClipName(const char* usual) const { return onlySource ? ofx::clip::Source : usual; }

const HostQuirks& HostQuirks::in(std::string_view context) const {
    return inFilterContext && context != ofx::context::Filter ? quirksOf(HostId::Generic) : *this;
}

const HostQuirks& IdentifyHost(std::string_view hostName, bool onlySource) {
    for (const NameRule& rule : RULES)
        if (matches(rule, hostName)) return quirksOf(rule.id);
    return quirksOf(onlySource ? HostId::FilterHost : HostId::Generic);
}

const HostQuirks* hostQuirksTable(int* count) {
    *count = static_cast<int>(TABLE.size());
    return TABLE.data();
}
