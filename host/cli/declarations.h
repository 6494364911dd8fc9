// What a bundle says of its own effects: Contents/Resources/effects.json, written when the bundle was built.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace quillon {

struct DeclaredClip {
    std::string name, label, shortLabel;
    bool required = false, temporal = false;
    bool mayStayEmpty = false;  // required, and the effect renders without it
};

struct DeclaredParam {
    std::string name, label, scriptName, type, kind, page, defaultText, range;
    std::vector<std::string> choices;
    bool animates = false, secret = false;
    std::string sentence;  // what it does; may be empty
};

// A value that a preset sets to something other than the parameter's default.
struct DeclaredChange {
    std::string label, value;
};

struct DeclaredPresets {
    std::string choice;                          // the parameter that chooses
    std::vector<std::string> columns;            // the parameters it writes
    std::vector<std::string> names;              // of the choice's options
    std::vector<std::vector<std::string>> rows;  // values by option and column
    bool othersToDefaults = false;
};

struct DeclaredRule {
    std::string steering;
    std::vector<std::string> greyed;  // parameters
    std::string when;
    std::string text;  // instead of both, where more than one parameter decides
};

struct DeclaredWidget {
    std::string kind;
    std::vector<std::string> params;
};

struct DeclaredHost {
    std::string host;
    std::vector<std::string> texts;
};

struct DeclaredScene {
    std::vector<std::string> inputs;    // a picture's name, or "@chart" and its like
    std::vector<std::string> settings;  // "NAME=VALUE"
    int lead = 0, frame = 0, width = 480, height = 270;
    std::vector<std::string> plates, look;  // instead of inputs and settings where the scene is shown large

    // As it is shown in the gallery and on the pages: with its plates and its look, at that size.
    DeclaredScene shown(int shownWidth, int shownHeight) const;
};

// A picture that the gallery and the pages show: the scene, or a preset in it.
struct DeclaredView {
    std::string caption;  // of a preset; empty for the scene
    std::string file;     // "Rain", "Rain.Demos-04": a file name without an extension
    std::string preset;   // "Demos=3"
    std::vector<DeclaredChange> changes;
};

struct DeclaredEffect {
    std::string name;  // "Q_Darken"
    std::string identifier, menu, description;
    std::string purpose;             // what it is for, in a few sentences; empty where the effect tells nothing
    std::vector<std::string> usage;  // how to use it
    std::vector<std::string> contexts;
    bool hasOverlay = false, otherFrames = false;
    std::vector<DeclaredClip> clips;
    std::vector<std::string> pages;
    std::vector<DeclaredParam> params;
    std::vector<DeclaredPresets> presets;
    std::vector<DeclaredRule> rules;
    std::vector<DeclaredWidget> widgets;
    std::vector<DeclaredHost> hosts;
    DeclaredScene scene;
    std::string history;  // what of earlier frames a frame may depend on: "none", "curves", "inputs" or "frames"

    std::string shortName() const;                        // "Darken"
    std::string labelOf(const std::string& param) const;  // its name where it has none
    const DeclaredParam* findParam(std::string_view name) const;
    const DeclaredClip* findClip(std::string_view name) const;
    // Its description as a reader wants it: blanks tidied, without the number of the box that it was sold in.
    std::string summary() const;
    std::vector<DeclaredView> views() const;                                   // the scene first, then the presets
    bool hasForeground() const { return scene.plates.size() > clips.size(); }  // the last plate is its matte
    std::string sourceFile() const;  // of the scene's picture, as DeclaredView::file
    // Where a frame rendered alone differs from the same frame in a sequence, in sentences; empty where it never does.
    std::string historyText() const;
};

struct Declarations {
    std::string version;
    std::vector<DeclaredEffect> effects;
};

// Of a file like effects.json. Throws RunError when it is missing or damaged.
Declarations readDeclarationsFile(const std::filesystem::path& file);
// Of the bundle at `path` (a .ofx.bundle folder or the .ofx file in it). Throws RunError when it has none.
Declarations readDeclarations(const std::filesystem::path& path);
// What the bundle at `path` says of one effect; empty where it says nothing.
DeclaredEffect declaredEffect(const std::filesystem::path& path, std::string_view identifier);
// The parameters of an effect that choose presets, as the bundle at `path` declares them. Empty where it declares none.
std::vector<std::string> presetChoices(const std::filesystem::path& path, std::string_view effect);

}  // namespace quillon
