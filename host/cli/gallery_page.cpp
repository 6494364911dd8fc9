#include "host/cli/gallery_page.h"

namespace quillon {

namespace {

std::string html(const std::string& text) {
    std::string result;
    for (const char c : text) {
        switch (c) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '"':
                result += "&quot;";
                break;
            default:
                result += c;
        }
    }
    return result;
}

constexpr char Head[] = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Quillon: the effects</title>
<style>
:root { color-scheme: dark; }
body { margin: 0; background: #17191c; color: #d8dade; font: 15px/1.5 system-ui, sans-serif; }
header, main, footer { max-width: 1500px; margin: 0 auto; padding: 0 24px; }
header { padding-top: 40px; }
h1 { margin: 0; font-size: 30px; font-weight: 600; color: #fff; }
header p, footer { color: #9297a0; }
a { color: #8ab8ff; }
.grid { display: grid; grid-template-columns: repeat(auto-fill, minmax(min(100%, 380px), 1fr)); gap: 24px; }
main { padding-top: 24px; padding-bottom: 24px; }
article { background: #202327; border-radius: 8px; overflow: hidden; }
.wide { grid-column: 1 / -1; }
.wide > img { max-width: 760px; }
img { display: block; width: 100%; height: auto; background: #0c0d0f; }
.text { padding: 12px 16px 16px; }
h2 { margin: 0; font-size: 18px; font-weight: 600; color: #fff; }
h2 small { float: right; font-size: 13px; font-weight: 400; color: #9297a0; }
.text p { margin: 4px 0 0; }
code { font-size: 13px; color: #b9c2cf; overflow-wrap: anywhere; }
.presets { display: grid; grid-template-columns: repeat(auto-fill, minmax(180px, 1fr)); gap: 12px; }
.presets { padding: 0 16px 16px; }
figure { margin: 0; }
figcaption { padding-top: 4px; font-size: 13px; color: #b9c2cf; }
footer { padding-bottom: 48px; }
</style>
</head>
<body>
)";

std::string image(const GalleryEffect& effect, const GalleryPicture& picture, const std::string& alt) {
    return "<img src=\"" + html(picture.file) + "\" alt=\"" + html(alt) + "\" width=\"" + std::to_string(effect.width) +
           "\" height=\"" + std::to_string(effect.height) + "\" loading=\"lazy\">";
}

std::string effectArticle(const GalleryEffect& effect) {
    const bool presets = effect.pictures.size() > 1;
    std::string text = "<article id=\"" + html(effect.name) + (presets ? "\" class=\"wide\">\n" : "\">\n") +
                       image(effect, effect.pictures.front(), effect.name) + "\n<div class=\"text\">\n<h2>" +
                       html(effect.name) + " <small>" + html(effect.menu) + "</small></h2>\n<p>" +
                       html(effect.description) + "</p>\n";
    if (!effect.settings.empty()) text += "<p><code>" + html(effect.settings) + "</code></p>\n";
    text += "</div>\n";
    if (presets) {
        text += "<div class=\"presets\">\n";
        for (std::size_t i = 1; i < effect.pictures.size(); ++i) {
            const GalleryPicture& picture = effect.pictures[i];
            text += "<figure>" + image(effect, picture, effect.name + ", " + picture.caption) + "<figcaption>" +
                    html(picture.caption) + "</figcaption></figure>\n";
        }
        text += "</div>\n";
    }
    return text + "</article>\n";
}

std::string footer(const Gallery& gallery) {
    if (gallery.withoutPicture.empty()) return {};
    std::string names;
    for (const std::string& name : gallery.withoutPicture) names += (names.empty() ? "" : ", ") + html(name);
    return "<footer><p>Declared, and so far handing on their input: " + names + ".</p></footer>\n";
}

}  // namespace

std::string galleryPage(const Gallery& gallery) {
    std::string text = Head;
    text += "<header>\n<h1>Quillon " + html(gallery.version) + "</h1>\n<p>" + std::to_string(gallery.effects.size()) +
            (gallery.effects.size() == 1 ? " effect" : " effects") +
            ", each in the scene that it declares of itself. <a href=\"" + html(gallery.contactSheet) +
            "\">All on one sheet</a></p>\n</header>\n<main class=\"grid\">\n";
    for (const GalleryEffect& effect : gallery.effects) text += effectArticle(effect);
    return text + "</main>\n" + footer(gallery) + "</body>\n</html>\n";
}

}  // namespace quillon
