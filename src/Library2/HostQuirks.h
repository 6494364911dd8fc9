// Which host the bundle runs in, and everything that this changes.
//
// Hosts read the standard in their own ways; a handful of them need a deviation to work at all. All deviations are
// columns of one table (HostQuirks.cpp). Code elsewhere asks the named question and never compares host numbers.
#pragma once

#include <string_view>

enum class HostId : int {
    Unknown = 0,  // before the first describe
    Generic = 1,
    Nuke = 2,
    Toxik = 3,
    Scratch = 4,
    Fusion = 5,
    FilmMaster = 6,
    Baselight = 7,
    AvidDS = 11,
    Mistika = 12,
    Vegas = 13,
    CdvDx = 14,
    Mlt = 15,
    FilterHost = 16,  // unknown, with the variable KESTREL_SOURCE_CLIP
};

enum class FrameNumbers {
    FromClip,        // first and last frame of the clip, current frame relative to the first
    ZeroToMany,      // 0 to 999999, current frame = host time
    ZeroToDuration,  // 0 to the effect's duration, current frame = host time
};

enum class PositionAspect { None, Multiply, Divide };

struct HostQuirks {
    HostId id = HostId::Unknown;
    const char* label = "";  // for display only

    // Describe
    const char* groupingFormat = "Quillon %s";  // menu grouping, %s is the effect's menu word
    bool onlySource = false;                    // one input clip, called "Source"; no further clips
    bool inFilterContext = false;               // that, and all else here, in the filter context alone
    bool shortClipLabels = false;               // clips get their short labels where they have one
    bool neverPages = false;                    // maxPages counts as 0 without asking
    bool firstPageAtTop = false;                // the first page has no group; its parameters have an empty parent
    bool skipColumns = false;                   // pages are broken into columns
    bool positionRanges = false;                // positions get a range and a display range
    bool sequentialRender = false;              // asks for frames in order

    // Threads
    bool ownThreads = false;   // works on its own threads instead of the host's suite
    bool simulatedWay = true;  // passes the host's CPU count on at instance creation

    // Geometry
    bool reciprocalAspect = false;      // pixel aspects are replaced by their reciprocals as they are read
    bool squarePixelExtent = false;     // the project extent's width counts square pixels
    bool verticalScaleForBoth = false;  // the horizontal render scale is overwritten with the vertical one
    bool sizeFromBounds = false;        // the working size is the input image's, not the project's
    PositionAspect positionAspect = PositionAspect::None;  // of position x values, read for rendering
    bool outputOwnBounds = false;                          // writes the whole output image, not the input's region

    // Frames
    FrameNumbers frameNumbers = FrameNumbers::FromClip;
    int neighbourOffset = 0;        // added to a wanted frame where it is not the clip's first frame
    bool millisecondTimes = false;  // without input, host times of generators are milliseconds

    // Render
    bool furtherHandles = true;      // asks for the handles of clips beyond the primary
    bool furtherClips = true;        // fetches clips beyond the primary
    bool abortAfterPrimary = true;   // asks for abort between the primary and the further clips
    bool skipsSmallPreview = false;  // the preview thumbnail shows the input for effects that say so

    // Overlays
    bool squaredOverlayAspect = false;      // overlay aspect from the pixel scales, pen positions as they are
    bool pixelScalePerRenderScale = false;  // pixel scale is divided by render scale

    // Changes
    bool swallowsFirstChoiceChange = false;  // the first notification of a steering choice is noise
    bool writesTextBack = true;              // changed texts go to the host at the end of a change

    const char* primaryClipName(const char* usual) const;
    // What holds for an effect in this context.
    const HostQuirks& in(std::string_view context) const;
};

// Recognises a host by its name property. Never fails: any other name is the generic host, or with `onlySource` one
// that feeds nothing but the clip "Source" of a filter.
const HostQuirks& IdentifyHost(std::string_view hostName, bool onlySource = false);

// All hosts that deviate from the generic one, for the reference documentation.
const HostQuirks* hostQuirksTable(int* count);
