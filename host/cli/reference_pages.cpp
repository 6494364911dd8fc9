#include "host/cli/reference_pages.h"

#include <algorithm>

#include "host/cli/session.h"
#include "host/cli/text.h"

namespace quillon {

namespace {

// ---- Pieces of Markdown ---------------------------------------------------------------------------------------

// Runs of blanks become one, those at the ends go.
std::string tidy(std::string_view text) {
    std::string result;
    for (const char c : text) {
        const bool blank = c == ' ' || c == '\t' || c == '\n' || c == '\r';
        if (blank && (result.empty() || result.back() == ' ')) continue;
        result += blank ? ' ' : c;
    }
    while (result.ends_with(' ')) result.pop_back();
    return result;
}

// Text that is to be read as it stands, also in a table.
std::string plain(std::string_view text) {
    std::string result;
    for (const char c : tidy(text)) {
        if (c == '|' || c == '*' || c == '<' || c == '`' || c == '[' || c == '\\') result += '\\';
        result += c;
    }
    return result;
}

std::string code(std::string_view text) {
    std::string result = "`";
    for (const char c : text) result += c == '|' ? "\\|" : std::string(1, c);
    return result + "`";
}

std::string joined(const std::vector<std::string>& parts, std::string_view separator) {
    std::string result;
    for (const std::string& part : parts) result.append(result.empty() ? "" : separator).append(part);
    return result;
}

// "Red", "Red and Green", "Red, Green and Blue"
std::string listed(const std::vector<std::string>& parts) {
    if (parts.size() < 2) return joined(parts, "");
    return joined({parts.begin(), parts.end() - 1}, ", ") + " and " + parts.back();
}

std::string tableRow(const std::vector<std::string>& cells) {
    std::string row = "|";
    for (const std::string& cell : cells) row += " " + cell + " |";
    return row + "\n";
}

std::string tableHead(const std::vector<std::string>& cells) {
    return tableRow(cells) + "|" + joined(std::vector<std::string>(cells.size(), "---"), "|") + "|\n";
}

std::vector<std::string> labelsOf(const DeclaredEffect& effect, const std::vector<std::string>& params) {
    std::vector<std::string> labels;
    for (const std::string& param : params) labels.push_back(plain(effect.labelOf(param)));
    return labels;
}

std::string capitalised(std::string text) {
    if (!text.empty() && text[0] >= 'a' && text[0] <= 'z') text[0] = static_cast<char>(text[0] - 'a' + 'A');
    return text;
}

// ---- Sections -------------------------------------------------------------------------------------------------

std::string picture(const PagePictures& pictures, const std::string& file, const std::string& words, int width) {
    return "<img src=\"" + pictures.folder + file + "\" alt=\"" + words + "\" width=\"" + std::to_string(width) + "\">";
}

// The scene beside what it was made from, and what was set for it.
std::string sceneSection(const DeclaredEffect& effect, const PagePictures& pictures) {
    const std::string file = effect.shortName() + ".jpg", source = effect.sourceFile() + ".jpg";
    if (!pictures.has(file)) return {};
    std::string text;
    if (!effect.sourceFile().empty() && pictures.has(source))
        text = tableHead({"Source", plain(effect.name)}) +
               tableRow({picture(pictures, source, "Source", 480), picture(pictures, file, plain(effect.name), 480)});
    else
        text = picture(pictures, file, plain(effect.name), 720) + "\n";
    std::vector<std::string> settings;
    for (const std::string& setting : effect.scene.shown(1, 1).settings) {
        const auto equals = setting.find('=');
        settings.push_back(plain(effect.labelOf(setting.substr(0, equals))) + " " + plain(setting.substr(equals + 1)));
    }
    return text + "\n" + (settings.empty() ? "As it is when it is added." : "With " + joined(settings, " · ") + ".") +
           (effect.hasForeground() ? " What stands in front of the sky is laid over it by a matte." : "") + "\n\n";
}

std::string usageSection(const DeclaredEffect& effect) {
    std::vector<std::string> lines = effect.usage;
    if (const std::string history = effect.historyText(); !history.empty()) lines.push_back(history);
    if (lines.empty()) return {};
    std::string text = "## How to use it\n\n";
    for (const std::string& line : lines) text += "- " + plain(line) + "\n";
    return text + "\n";
}

std::string headSection(const DeclaredEffect& effect, const PagePictures& pictures) {
    std::string text = "# " + plain(effect.name) + "\n\n" +
                       plain(effect.purpose.empty() ? effect.summary() : effect.purpose) + "\n\n" +
                       sceneSection(effect, pictures);
    std::vector<std::string> contexts;
    for (const std::string& context : effect.contexts) contexts.push_back(contextWord(context));
    text += usageSection(effect);
    text += tableHead({"", ""});
    text += tableRow({"Menu", plain("Quillon " + effect.menu)});
    text += tableRow({"Identifier", code(effect.identifier)});
    text += tableRow({"Contexts", joined(contexts, ", ")});
    text += tableRow({"Handles in the viewer", effect.hasOverlay ? "yes" : "no"});
    text += tableRow({"Needs other frames", effect.otherFrames ? "yes" : "no"});
    return text + "\n";
}

std::string clipSection(const DeclaredEffect& effect) {
    if (effect.clips.empty()) return {};
    std::string text = "## Clips\n\n" + tableHead({"Label", "Name", "Short label", "Required", "Other frames"});
    for (const DeclaredClip& clip : effect.clips)
        text +=
            tableRow({plain(clip.label), code(clip.name), clip.shortLabel == clip.label ? "" : plain(clip.shortLabel),
                      clip.required ? "yes" : "no", clip.temporal ? "yes" : "no"});
    return text + "\n";
}

std::string rangeText(const DeclaredParam& param) {
    if (param.choices.empty()) return plain(param.range);
    std::vector<std::string> options;
    for (const std::string& choice : param.choices) options.push_back(plain(choice));
    return joined(options, " · ");
}

std::string paramRow(const DeclaredParam& param, bool sentences) {
    std::vector<std::string> notes;
    if (param.secret) notes.emplace_back("hidden");
    if (!param.animates && param.kind != "Button") notes.emplace_back("not animated");
    std::vector<std::string> cells{
        plain(param.label),       code(param.name),
        code(param.scriptName),   param.kind + (notes.empty() ? "" : " (" + joined(notes, ", ") + ")"),
        plain(param.defaultText), rangeText(param)};
    if (sentences) cells.push_back(plain(param.sentence));
    return tableRow(cells);
}

std::string paramSection(const DeclaredEffect& effect) {
    if (effect.params.empty()) return {};
    std::vector<std::string> pages{""};
    pages.insert(pages.end(), effect.pages.begin(), effect.pages.end());
    const bool sentences = std::any_of(effect.params.begin(), effect.params.end(),
                                       [](const DeclaredParam& param) { return !param.sentence.empty(); });
    std::vector<std::string> head{"Label", "Name", "Script name", "Type", "Default", "Range or options"};
    if (sentences) head.emplace_back("What it does");
    std::string text = "## Parameters\n\n";
    for (const std::string& page : pages) {
        std::string rows;
        for (const DeclaredParam& param : effect.params)
            if (param.page == page) rows += paramRow(param, sentences);
        if (rows.empty()) continue;
        if (!page.empty()) text += "### Page " + plain(page) + "\n\n";
        text += tableHead(head) + rows + "\n";
    }
    return text;
}

// "Size is greyed when Split RGB is on."
std::string ruleText(const DeclaredEffect& effect, const DeclaredRule& rule) {
    if (!rule.text.empty()) return plain(rule.text) + (rule.text.ends_with('.') ? "" : ".");
    return listed(labelsOf(effect, rule.greyed)) + (rule.greyed.size() == 1 ? " is" : " are") + " greyed when " +
           plain(rule.when) + ".";
}

std::string ruleSection(const DeclaredEffect& effect) {
    if (effect.rules.empty()) return {};
    std::string text = "## Enable rules\n\n";
    for (const DeclaredRule& rule : effect.rules) text += "- " + ruleText(effect, rule) + "\n";
    return text + "\n";
}

std::string changesText(const std::vector<DeclaredChange>& changes) {
    std::vector<std::string> parts;
    for (const DeclaredChange& change : changes) parts.push_back(plain(change.label) + " " + plain(change.value));
    return parts.empty() ? "the defaults" : joined(parts, " · ");
}

std::string presetTable(const DeclaredEffect& effect, const DeclaredPresets& presets, const PagePictures& pictures) {
    std::string text = "**" + plain(effect.labelOf(presets.choice)) + "** (" + code(presets.choice) + ") ";
    text += presets.othersToDefaults
                ? "puts all parameters back to their defaults, positions and clocks aside, but for these:\n\n"
                : "writes " + std::to_string(presets.columns.size()) +
                      (presets.columns.size() == 1 ? " parameter" : " parameters") +
                      " and leaves the others. Those that then differ from their defaults:\n\n";
    std::string rows;
    for (const DeclaredView& view : effect.views()) {
        if (!view.preset.starts_with(presets.choice + "=")) continue;
        const bool has = pictures.has(view.file + ".jpg");
        rows += tableRow({has ? picture(pictures, view.file + ".jpg", plain(view.caption), 320) : "",
                          plain(view.caption), changesText(view.changes)});
    }
    return text + tableHead({"", "Preset", "Values"}) + rows + "\n";
}

std::string presetSection(const DeclaredEffect& effect, const PagePictures& pictures) {
    if (effect.presets.empty()) return {};
    std::string text = "## Presets\n\n";
    for (const DeclaredPresets& presets : effect.presets) text += presetTable(effect, presets, pictures);
    return text;
}

std::string overlaySection(const DeclaredEffect& effect) {
    if (effect.widgets.empty()) return {};
    std::string text = "## Handles in the viewer\n\n";
    for (const DeclaredWidget& widget : effect.widgets)
        text += "- " + capitalised(widget.kind) + ": " + listed(labelsOf(effect, widget.params)) + "\n";
    return text + "\n";
}

std::string hostSection(const DeclaredEffect& effect) {
    if (effect.hosts.empty()) return {};
    std::string text = "## In certain hosts\n\n" + tableHead({"Host", "What differs"});
    for (const DeclaredHost& host : effect.hosts) {
        std::vector<std::string> texts;
        for (const std::string& one : host.texts) texts.push_back(plain(one));
        text += tableRow({plain(host.host), joined(texts, " ")});
    }
    return text + "\n";
}

constexpr char IndexHead[] =
    R"(# The effects

One page for each effect, written by `quillon reference` from what the effects declare.

**How to read the pages.** A *position* runs from 0, 0 at the lower left corner of the picture to 1, 1 at the upper
right. A *size* is a fraction of the picture's width; a radius counts in half widths. An *angle* is in degrees. *Name*
is what `quillon render -p NAME=VALUE` and project files use, *script name* what the host's scripts see. Greyed
parameters keep their values and have no effect. Every effect has a **Help** button besides.

)";

std::string indexPage(const Declarations& declarations) {
    std::vector<std::string> menus;
    for (const DeclaredEffect& effect : declarations.effects)
        if (std::find(menus.begin(), menus.end(), effect.menu) == menus.end()) menus.push_back(effect.menu);
    std::sort(menus.begin(), menus.end());
    std::string text = IndexHead;
    for (const std::string& menu : menus) {
        text += "## " + plain(menu) + "\n\n" + tableHead({"Effect", "What it does"});
        for (const DeclaredEffect& effect : declarations.effects)
            if (effect.menu == menu)
                text +=
                    tableRow({"[" + plain(effect.name) + "](" + effect.shortName() + ".md)", plain(effect.summary())});
        text += "\n";
    }
    while (text.ends_with("\n\n")) text.pop_back();
    return text;
}

}  // namespace

std::string referencePage(const DeclaredEffect& effect, const PagePictures& pictures) {
    std::string text = headSection(effect, pictures) + presetSection(effect, pictures) + clipSection(effect) +
                       paramSection(effect) + ruleSection(effect) + overlaySection(effect) + hostSection(effect);
    return text + "[All effects](README.md)\n";
}

std::map<std::string, std::string> referencePages(const Declarations& declarations, const PagePictures& pictures) {
    std::map<std::string, std::string> pages{{"README.md", indexPage(declarations)}};
    for (const DeclaredEffect& effect : declarations.effects)
        pages[effect.shortName() + ".md"] = referencePage(effect, pictures);
    return pages;
}

}  // namespace quillon
