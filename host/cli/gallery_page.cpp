#include "host/cli/gallery_page.h"

#include <algorithm>

#include "host/cli/gallery_assets.h"
#include "host/cli/html.h"
#include "host/cli/reference_pages.h"

namespace quillon {

namespace {

constexpr char Folder[] = "pictures/";
constexpr std::size_t MostValues = 18;  // of a preset, shown at once

std::string head(const std::string& title, const std::string& folder) {
    return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<meta name=\"viewport\" "
           "content=\"width=device-width, initial-scale=1\">\n<title>" +
           html(title) + "</title>\n<link rel=\"stylesheet\" href=\"" + folder + "gallery.css\">\n</head>\n<body>\n";
}

class IndexPage {
  public:
    explicit IndexPage(const Gallery& gallery) : m_gallery(gallery) {
        m_size = " width=\"" + std::to_string(gallery.width) + "\" height=\"" + std::to_string(gallery.height) + "\"";
    }

    std::string text() const {
        std::string page = head("Quillon: the effects", "") + top() + "<main>\n";
        for (const DeclaredEffect& effect : m_gallery.effects) page += section(effect);
        return page + "</main>\n<footer></footer>\n" + dialog() +
               "<script src=\"gallery.js\"></script>\n</body>\n</html>\n";
    }

  private:
    std::string top() const {
        std::string links;
        for (const DeclaredEffect& effect : m_gallery.effects)
            links += "<a href=\"#" + html(effect.shortName()) + "\">" + html(effect.shortName()) + "</a>\n";
        const std::size_t count = m_gallery.effects.size();
        return "<header class=\"top\">\n<h1>Quillon " + html(m_gallery.version) + "</h1>\n<p>" + std::to_string(count) +
               (count == 1 ? " effect" : " effects") +
               " with all presets. Point at a picture to see its source; click to enlarge it, and drag across it. <a "
               "href=\"" +
               html(m_gallery.contactSheet) + "\">All on one sheet</a></p>\n<nav>\n" + links + "</nav>\n</header>\n";
    }

    std::string source(const DeclaredEffect& effect) const {
        const std::string file = effect.sourceFile();
        return file.empty() ? std::string() : Folder + file + ".jpg";
    }

    // The still where the viewer wants nothing to move.
    std::string after(const DeclaredView& view, const std::string& words) const {
        const std::string file = html(Folder + view.file);
        std::string text = "<picture class=\"after\">";
        if (m_gallery.moving.contains(view.file))
            text += "<source media=\"(prefers-reduced-motion: no-preference)\" srcset=\"" + file + ".webp\">";
        return text + "<img src=\"" + file + ".jpg\" alt=\"" + html(words) + "\"" + m_size +
               " loading=\"lazy\"></picture>";
    }
    std::string before(const DeclaredEffect& effect, const DeclaredView& view) const {
        const std::string from = source(effect);
        return "<img class=\"before\" src=\"" + html(from.empty() ? Folder + view.file + ".jpg" : from) +
               "\" alt=\"\"" + m_size + " loading=\"lazy\">";
    }

    // What the script needs to enlarge it.
    std::string data(const DeclaredEffect& effect, const DeclaredView& view, const std::string& title) const {
        std::string text = " data-full=\"" + html(Folder + view.file) + ".jpg\" data-source=\"" + html(source(effect)) +
                           "\" data-title=\"" + html(title) + "\"";
        if (m_gallery.moving.contains(view.file)) text += " data-loop=\"" + html(Folder + view.file) + ".webp\"";
        return text;
    }

    std::string lead(const DeclaredEffect& effect, const DeclaredView& view) const {
        const bool alone = effect.sourceFile().empty();
        std::string text = std::string("<div class=\"lead\">\n<figure class=\"split") + (alone ? " alone" : "") +
                           "\">" + before(effect, view) + after(view, effect.name) +
                           (alone ? ""
                                  : "<input type=\"range\" value=\"50\" aria-label=\"How much of the source is shown\">"
                                    "<span class=\"tag left\">source</span>") +
                           "<span class=\"tag right\">" + html(effect.name) +
                           "</span><button class=\"enlarge\" aria-label=\"Enlarge\"" + data(effect, view, effect.name) +
                           ">&#10530;</button></figure>\n<div class=\"words\">\n<h2>" + html(effect.name) + "<small>" +
                           html(effect.menu) + "</small></h2>\n<p>" +
                           html(effect.purpose.empty() ? effect.summary() : effect.purpose) + "</p>\n";
        if (!effect.usage.empty()) {
            text += "<ul>\n";
            for (const std::string& line : effect.usage) text += "<li>" + html(line) + "</li>\n";
            text += "</ul>\n";
        }
        return text + "<p><a href=\"effects/" + html(effect.shortName()) + ".html\">All about " + html(effect.name) +
               "</a></p>\n</div>\n</div>\n";
    }

    static std::string values(const std::vector<DeclaredChange>& changes) {
        if (changes.empty()) return {};
        std::string list = "<ul class=\"values\">";
        for (const DeclaredChange& change : changes)
            list += "<li>" + html(change.label) + " <b>" + html(change.value) + "</b></li>";
        list += "</ul>";
        if (changes.size() <= MostValues) return list;
        return "<details><summary>" + std::to_string(changes.size()) + " values</summary>" + list + "</details>";
    }

    std::string card(const DeclaredEffect& effect, const DeclaredView& view, const std::string& spans) const {
        const bool alone = effect.sourceFile().empty();
        return "<figure class=\"card\" style=\"" + spans + "\"><button class=\"shot" + (alone ? " alone" : "") + "\"" +
               data(effect, view, effect.name + ", " + view.caption) + ">" + before(effect, view) +
               after(view, view.caption) + (alone ? "" : "<span class=\"tag left\">source</span>") +
               "</button><figcaption><b>" + html(view.caption) + "</b>" + values(view.changes) +
               "</figcaption></figure>\n";
    }

    // Of `count` cards in rows of at most `most`, the width of card `index` in twelfths: rows differ by one card at
    // most, the fuller ones first, and each fills the whole width.
    static int span(int count, int most, int index) {
        const int rows = (count + most - 1) / most, fewer = count / rows, fuller = count % rows;
        const bool inFuller = index < fuller * (fewer + 1);
        return 12 / (inFuller ? fewer + 1 : fewer);
    }

    std::string section(const DeclaredEffect& effect) const {
        const std::vector<DeclaredView> views = effect.views();
        std::string text = "<section id=\"" + html(effect.shortName()) + "\">\n" + lead(effect, views.front());
        const int count = static_cast<int>(views.size()) - 1;
        if (count > 0) text += "<div class=\"cards\">\n";
        for (int i = 0; i < count; ++i) {
            const auto width = [&](const char* name, int most) {
                return std::string("--") + name + ":" + std::to_string(span(count, most, i)) + ";";
            };
            text += card(effect, views[static_cast<std::size_t>(i) + 1],
                         width("two", 2) + width("three", 3) + width("four", 4));
        }
        return text + (count > 0 ? "</div>\n" : "") + "</section>\n";
    }

    std::string dialog() const {
        return "<dialog style=\"--shape:" + std::to_string(m_gallery.width) + "/" + std::to_string(m_gallery.height) +
               "\">\n<div class=\"stage\"><figure class=\"split\"><img class=\"before\" alt=\"\"" + m_size +
               "><span class=\"after\"><img alt=\"\"" + m_size +
               "></span><input type=\"range\" value=\"0\" aria-label=\"How much of the source is "
               "shown\"></figure></div>"
               "\n<div class=\"bar\"><span></span><button class=\"play\" hidden>Play</button>"
               "<button class=\"previous\">Previous</button><button class=\"next\">Next</button>"
               "<button class=\"close\" autofocus>Close</button></div>\n</dialog>\n";
    }

    const Gallery& m_gallery;
    std::string m_size;
};

// The page of the reference, with the gallery's pictures.
std::string effectPage(const DeclaredEffect& effect) {
    std::string markdown =
        referencePage(effect, {std::string("../") + Folder, [](const std::string&) { return true; }});
    const std::string toAll = "[All effects](README.md)";
    markdown.replace(markdown.find(toAll), toAll.size(), "[All effects](../index.html#" + effect.shortName() + ")");
    return head(effect.name, "../") + "<div class=\"page\">\n" + htmlOfMarkdown(markdown) +
           "</div>\n</body>\n</html>\n";
}

}  // namespace

std::map<std::string, std::string> galleryPages(const Gallery& gallery) {
    std::map<std::string, std::string> pages{
        {"index.html", IndexPage(gallery).text()}, {"gallery.css", galleryStyle}, {"gallery.js", galleryScript}};
    for (const DeclaredEffect& effect : gallery.effects)
        pages["effects/" + effect.shortName() + ".html"] = effectPage(effect);
    return pages;
}

}  // namespace quillon
