// Pieces of HTML.
#pragma once

#include <string>
#include <string_view>

namespace quillon {

// Text as it is to be read, also inside quotes.
std::string html(std::string_view text);

// The Markdown that referencePages() writes: headings, paragraphs, quotes, lists, tables, pictures, links, code and
// bold words. Links to other pages ("Rain.md") become links to their HTML.
std::string htmlOfMarkdown(std::string_view markdown);

}  // namespace quillon
