#include "host/cli/manual.h"

#include <algorithm>
#include <map>

#include "host/cli/pdf.h"

namespace quillon {

namespace {

constexpr double Margin = 56.0, Body = 9.5, Small = 8.5, Leading = 1.35;

// Fills pages from top to bottom.
class Flow {
  public:
    explicit Flow(PdfDocument& document) : m_document(document) {}
    void newPage() {
        m_document.beginPage();
        m_y = PdfDocument::Height - Margin;
        const std::string number = std::to_string(++m_page);
        const double width = PdfDocument::textWidth(PdfFont::Regular, Small, number);
        m_document.text(PdfDocument::Width - Margin - width, Margin / 2, PdfFont::Regular, Small, number);
    }
    int page() const { return m_page; }  // 1 is the first
    void gap(double height) { m_y -= height; }
    // Keeps what follows on one page with its heading.
    void require(double height) {
        if (m_y - height < Margin) newPage();
    }
    void paragraph(PdfFont font, double size, const std::string& text, double indent = 0.0) {
        const double width = PdfDocument::Width - 2 * Margin - indent;
        for (const std::string& line : PdfDocument::wrapped(font, size, text, width)) {
            require(size * Leading);
            m_y -= size * Leading;
            m_document.text(Margin + indent, m_y, font, size, line);
        }
    }
    void heading(double size, const std::string& text) {
        require(5 * size);
        gap(size * 0.7);
        paragraph(PdfFont::Bold, size, text);
        gap(size * 0.2);
    }

  private:
    PdfDocument& m_document;
    double m_y = 0.0;
    int m_page = 0;
};

std::string joined(const std::vector<std::string>& parts, const std::string& separator = ", ") {
    std::string result;
    for (const std::string& part : parts) result += (result.empty() ? "" : separator) + part;
    return result;
}

// "Number, 80, from 0 to 100": type, default, range or options.
std::string factsOf(const DeclaredParam& param) {
    std::string facts = param.kind;
    if (!param.defaultText.empty()) facts += "; default " + param.defaultText;
    if (!param.choices.empty()) facts += "; options: " + joined(param.choices);
    if (!param.range.empty() && param.choices.empty()) {
        const auto dots = param.range.find(" .. ");
        facts += "; range " + (dots == std::string::npos
                                   ? param.range
                                   : param.range.substr(0, dots) + " to " + param.range.substr(dots + 4));
    }
    if (!param.animates && param.kind != "Button") facts += "; not animated";
    return facts + ".";
}

void writeParameters(Flow& flow, const DeclaredEffect& effect) {
    std::string page;
    for (const DeclaredParam& param : effect.params) {
        if (param.secret) continue;
        if (param.page != page) flow.heading(11.0, param.page);
        page = param.page;
        flow.require(4 * Body);
        flow.gap(3.0);
        flow.paragraph(PdfFont::Bold, Body, param.label);
        if (!param.sentence.empty()) flow.paragraph(PdfFont::Regular, Body, param.sentence, 12.0);
        flow.paragraph(PdfFont::Regular, Small, factsOf(param), 12.0);
    }
}

void writeUsage(Flow& flow, const DeclaredEffect& effect) {
    std::vector<std::string> lines = effect.usage;
    if (const std::string history = effect.historyText(); !history.empty()) lines.push_back(history);
    if (!lines.empty()) flow.heading(11.0, "How to use it");
    for (const std::string& line : lines) {
        flow.gap(2.0);
        flow.paragraph(PdfFont::Regular, Body, line, 12.0);
    }
}

// What each preset sets to something other than the defaults.
void writePresets(Flow& flow, const DeclaredEffect& effect) {
    if (!effect.presets.empty()) flow.heading(11.0, "Presets");
    for (const DeclaredView& view : effect.views()) {
        if (view.preset.empty()) continue;
        std::vector<std::string> values;
        for (const DeclaredChange& change : view.changes) values.push_back(change.label + "\u00A0" + change.value);
        flow.require(3 * Body);
        flow.gap(3.0);
        flow.paragraph(PdfFont::Bold, Body, view.caption);
        if (!values.empty()) flow.paragraph(PdfFont::Regular, Small, joined(values, "; "), 12.0);
    }
}

// The page on which each effect begins.
using Pages = std::map<std::string, int>;

void writeEffect(PdfDocument& document, Flow& flow, const DeclaredEffect& effect, Pages& pages) {
    flow.newPage();
    pages[effect.name] = flow.page();
    document.bookmark(effect.name);
    flow.paragraph(PdfFont::Bold, 18.0, effect.name);
    flow.gap(6.0);
    flow.paragraph(PdfFont::Regular, Body, effect.purpose.empty() ? effect.summary() : effect.purpose);
    writeUsage(flow, effect);
    flow.heading(11.0, "Clips");
    for (const DeclaredClip& clip : effect.clips)
        flow.paragraph(PdfFont::Regular, Body, clip.label + (clip.required ? " (required)" : ""), 12.0);
    writeParameters(flow, effect);
    writePresets(flow, effect);
    for (const DeclaredHost& host : effect.hosts) {
        if (&host == &effect.hosts.front()) flow.heading(11.0, "In certain hosts");
        std::string texts = host.host + ":";
        for (const std::string& text : host.texts) texts += " " + text;
        flow.paragraph(PdfFont::Regular, Small, texts, 12.0);
    }
}

void writeContents(PdfDocument& document, Flow& flow, const Declarations& declarations, Pages& pages) {
    std::vector<std::string> menus;
    for (const DeclaredEffect& effect : declarations.effects) menus.push_back(effect.menu);
    std::sort(menus.begin(), menus.end());
    menus.erase(std::unique(menus.begin(), menus.end()), menus.end());
    flow.newPage();
    document.bookmark("Contents");
    pages["Contents"] = flow.page();
    flow.paragraph(PdfFont::Bold, 22.0, "Quillon " + declarations.version);
    flow.gap(8.0);
    flow.paragraph(PdfFont::Regular, Body,
                   "A position runs from 0, 0 at the lower left corner of the picture to 1, 1 at the upper right. A "
                   "size is a fraction of the picture's width; a radius counts in half widths. Angles are in degrees. "
                   "Greyed parameters keep their values and have no effect.");
    for (const std::string& menu : menus) {
        std::vector<std::string> names;
        for (const DeclaredEffect& effect : declarations.effects)
            if (effect.menu == menu) names.push_back(effect.name + "\u00A0" + std::to_string(pages[effect.name]));
        flow.heading(11.0, menu);
        flow.paragraph(PdfFont::Regular, Body, joined(names), 12.0);
    }
}

}  // namespace

// Written twice: the contents stand before the pages that they name.
std::string manualPdf(const Declarations& declarations) {
    Pages pages;
    for (const bool last : {false, true}) {
        PdfDocument document;
        Flow flow(document);
        writeContents(document, flow, declarations, pages);
        for (const DeclaredEffect& effect : declarations.effects) writeEffect(document, flow, effect, pages);
        if (last) return document.finish();
    }
    return {};
}

}  // namespace quillon
