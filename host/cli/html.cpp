#include "host/cli/html.h"

#include <vector>

#include "host/cli/text.h"

namespace quillon {

namespace {

// ---- Inside a line --------------------------------------------------------------------------------------------

// "[words](place)" at the beginning of the text; the length of it, 0 when there is none.
std::size_t link(std::string_view text, std::string_view& words, std::string_view& place) {
    const auto middle = text.find("](");
    const auto end = text.find(')', middle);
    if (!text.starts_with('[') || middle == std::string_view::npos || end == std::string_view::npos) return 0;
    words = text.substr(1, middle - 1);
    place = text.substr(middle + 2, end - middle - 2);
    return end + 1;
}

std::string inlineHtml(std::string_view text) {
    std::string result;
    bool bold = false;
    while (!text.empty()) {
        std::string_view words, place;
        std::size_t taken = 1;
        if (text.starts_with('\\') && text.size() > 1) {
            result += html(text.substr(1, 1));
            taken = 2;
        } else if (text.starts_with("**")) {
            result += bold ? "</b>" : "<b>";
            bold = !bold;
            taken = 2;
        } else if (const auto end = text.find('`', 1); text.starts_with('`') && end != std::string_view::npos) {
            std::string code;
            for (std::size_t i = 1; i < end; ++i)
                if (text[i] != '\\' || text[i + 1] != '|') code += text[i];
            result += "<code>" + html(code) + "</code>";
            taken = end + 1;
        } else if (const auto tag = text.find('>'); text.starts_with("<img ") && tag != std::string_view::npos) {
            result += text.substr(0, tag + 1);
            taken = tag + 1;
        } else if (const auto length = link(text, words, place); length != 0) {
            std::string target(place);
            if (target.ends_with(".md")) target.replace(target.size() - 3, 3, ".html");
            result += "<a href=\"" + html(target) + "\">" + inlineHtml(words) + "</a>";
            taken = length;
        } else {
            result += html(text.substr(0, 1));
        }
        text.remove_prefix(taken);
    }
    return result;
}

// ---- Lines ----------------------------------------------------------------------------------------------------

std::vector<std::string> linesOf(std::string_view text) { return split(std::string(text), '\n'); }

// "| a | b\|c |": a bar behind a backslash belongs to the cell.
std::vector<std::string> cellsOf(std::string_view row) {
    std::vector<std::string> cells;
    std::string cell;
    for (std::size_t i = 1; i < row.size(); ++i) {
        if (row[i] == '|' && row[i - 1] != '\\') {
            cells.emplace_back(trimmed(cell));
            cell.clear();
        } else {
            cell += row[i];
        }
    }
    return cells;
}

std::string rowHtml(std::string_view row, const char* kind) {
    std::string text = "<tr>";
    for (const std::string& cell : cellsOf(row))
        text += std::string("<") + kind + ">" + inlineHtml(cell) + "</" + kind + ">";
    return text + "</tr>\n";
}

std::string tableHtml(const std::vector<std::string>& lines, std::size_t& i) {
    std::string text = "<div class=\"table\"><table>\n" + rowHtml(lines[i], "th");
    for (i += 2; i < lines.size() && lines[i].starts_with('|'); ++i) text += rowHtml(lines[i], "td");
    return text + "</table></div>\n";
}

std::string listHtml(const std::vector<std::string>& lines, std::size_t& i) {
    std::string text = "<ul>\n";
    for (; i < lines.size() && lines[i].starts_with("- "); ++i)
        text += "<li>" + inlineHtml(std::string_view(lines[i]).substr(2)) + "</li>\n";
    return text + "</ul>\n";
}

std::string headingHtml(const std::string& line) {
    const std::size_t level = line.find_first_not_of('#');
    const std::string tag = "h" + std::to_string(level) + ">";
    return "<" + tag + inlineHtml(trimmed(std::string_view(line).substr(level))) + "</" + tag + "\n";
}

}  // namespace

std::string html(std::string_view text) {
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

std::string htmlOfMarkdown(std::string_view markdown) {
    const std::vector<std::string> lines = linesOf(markdown);
    std::string text;
    for (std::size_t i = 0; i < lines.size();) {
        const std::string& line = lines[i];
        if (line.starts_with('|')) {
            text += tableHtml(lines, i);
        } else if (line.starts_with("- ")) {
            text += listHtml(lines, i);
        } else {
            if (line.starts_with('#'))
                text += headingHtml(line);
            else if (line.starts_with("> "))
                text += "<blockquote>" + inlineHtml(std::string_view(line).substr(2)) + "</blockquote>\n";
            else if (!line.empty())
                text += "<p>" + inlineHtml(line) + "</p>\n";
            ++i;
        }
    }
    return text;
}

}  // namespace quillon
