#include "host/cli/pdf.h"

#include <algorithm>
#include <array>
#include <iomanip>
#include <locale>
#include <sstream>

namespace quillon {

namespace {

// Advance widths of Helvetica from the blank to the tilde, in thousandths of the size (Adobe Font Metrics, Core 14).
constexpr std::array<int, 95> Widths = {278,  278, 355, 556, 556, 889, 667, 191, 333, 333, 389, 584, 278, 333, 278, 278,
                                        556,  556, 556, 556, 556, 556, 556, 556, 556, 556, 278, 278, 584, 584, 584, 556,
                                        1015, 667, 667, 722, 722, 667, 611, 778, 722, 278, 500, 667, 556, 833, 722, 778,
                                        667,  778, 722, 667, 611, 722, 667, 944, 667, 667, 611, 278, 278, 278, 469, 556,
                                        333,  556, 556, 500, 556, 556, 278, 556, 556, 222, 222, 500, 222, 833, 556, 556,
                                        556,  556, 333, 500, 278, 556, 500, 722, 500, 500, 500, 334, 260, 334, 584};
constexpr double BoldWider = 1.1;  // no letter of Helvetica-Bold that is used in words is wider by more

// Code points to the fonts' encoding, Windows 1252: the same below 256, but for typographic signs.
char encoded(char32_t code) {
    switch (code) {
        case 0x2013:
            return '\x96';  // en dash
        case 0x2014:
            return '\x97';
        case 0x2018:
            return '\x91';
        case 0x2019:
            return '\x92';
        case 0x201C:
            return '\x93';
        case 0x201D:
            return '\x94';
        case 0x2026:
            return '\x85';  // ellipsis
        default:
            return code < 0x80 || (code >= 0xA0 && code < 0x100) ? static_cast<char>(code) : '?';
    }
}

std::string encoded(std::string_view utf8) {
    std::string result;
    for (std::size_t i = 0; i < utf8.size();) {
        const auto lead = static_cast<unsigned char>(utf8[i++]);
        const int more = lead < 0xC0 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
        char32_t code = more == 0 ? lead : lead & (0x3Fu >> more);
        for (int k = 0; k < more && i < utf8.size(); ++k)
            code = code << 6 | (static_cast<unsigned char>(utf8[i++]) & 0x3Fu);
        result += encoded(code);
    }
    return result;
}

// A string of the document's syntax.
std::string literal(const std::string& text) {
    std::string result = "(";
    for (const char c : text) {
        if (c == '(' || c == ')' || c == '\\') result += '\\';
        result += c;
    }
    return result + ")";
}

// The values one after another; numbers with a point to a tenth, whatever the language of the process.
template <class... Values>
std::string together(const Values&... values) {
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << std::fixed << std::setprecision(1);
    (stream << ... << values);
    return stream.str();
}

std::string reference(std::size_t object) { return together(object, " 0 R"); }

// Numbered objects and the table that says where each begins.
class Objects {
  public:
    explicit Objects(std::size_t count) : m_places(count + 1) {}
    void add(std::size_t number, const std::string& body) {
        m_places[number] = m_file.size();
        m_file += together(number, " 0 obj\n", body, "\nendobj\n");
    }
    std::string finish() {
        const std::size_t table = m_file.size();
        m_file += together("xref\n0 ", m_places.size(), "\n0000000000 65535 f \n");
        for (std::size_t i = 1; i < m_places.size(); ++i)
            m_file += together(std::setw(10), std::setfill('0'), m_places[i], " 00000 n \n");
        m_file += together("trailer\n<< /Size ", m_places.size(), " /Root 1 0 R >>\nstartxref\n", table, "\n%%EOF\n");
        return m_file;
    }

  private:
    std::string m_file = "%PDF-1.4\n%\xE2\xE3\xCF\xD3\n";  // the second line marks the file as not pure ASCII
    std::vector<std::size_t> m_places;
};

}  // namespace

void PdfDocument::beginPage() { m_pages.emplace_back(); }

void PdfDocument::text(double x, double y, PdfFont font, double size, std::string_view text) {
    m_pages.back() += together("BT /F", font == PdfFont::Bold ? 2 : 1, " ", size, " Tf ", x, " ", y, " Td ",
                               literal(encoded(text)), " Tj ET\n");
}

void PdfDocument::bookmark(std::string_view title) { m_bookmarks.push_back({encoded(title), m_pages.size() - 1}); }

double PdfDocument::textWidth(PdfFont font, double size, std::string_view text) {
    int sum = 0;
    for (const char c : encoded(text)) {
        const auto index = static_cast<std::size_t>(static_cast<unsigned char>(c)) - ' ';
        sum += index < Widths.size() ? Widths[index] : 556;
    }
    return sum * size / 1000.0 * (font == PdfFont::Bold ? BoldWider : 1.0);
}

std::vector<std::string> PdfDocument::wrapped(PdfFont font, double size, std::string_view text, double width) {
    std::vector<std::string> lines;
    std::string line;
    std::size_t at = 0;
    while ((at = text.find_first_not_of(" \n\t", at)) != std::string_view::npos) {
        const std::size_t end = std::min(text.find_first_of(" \n\t", at), text.size());
        const std::string word(text.substr(at, end - at));
        at = end;
        const std::string longer = line.empty() ? word : line + " " + word;
        if (!line.empty() && textWidth(font, size, longer) > width) {
            lines.push_back(line);
            line = word;
        } else {
            line = longer;
        }
    }
    if (!line.empty()) lines.push_back(line);
    return lines;
}

// Objects: 1 the catalogue, 2 the list of pages, 3 and 4 the fonts, 5 the outline, its entries, then two for each page.
std::string PdfDocument::finish() const {
    constexpr std::size_t Outline = 5;
    const std::size_t firstPage = Outline + 1 + m_bookmarks.size();
    Objects objects(firstPage + 2 * m_pages.size() - 1);
    objects.add(1, "<< /Type /Catalog /Pages 2 0 R /Outlines 5 0 R /PageMode /UseOutlines >>");
    std::string kids;
    for (std::size_t i = 0; i < m_pages.size(); ++i) kids += reference(firstPage + 2 * i) + " ";
    objects.add(2, together("<< /Type /Pages /Kids [ ", kids, "] /Count ", m_pages.size(), " >>"));
    for (const bool bold : {false, true})
        objects.add(bold ? 4 : 3, together("<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica", bold ? "-Bold" : "",
                                           " /Encoding /WinAnsiEncoding >>"));
    const std::size_t entries = m_bookmarks.size();
    objects.add(Outline, entries == 0 ? "<< /Type /Outlines >>"
                                      : together("<< /Type /Outlines /First ", reference(Outline + 1), " /Last ",
                                                 reference(Outline + entries), " /Count ", entries, " >>"));
    for (std::size_t i = 0; i < entries; ++i) {
        std::string entry = "<< /Title " + literal(m_bookmarks[i].title) + " /Parent 5 0 R";
        if (i > 0) entry += " /Prev " + reference(Outline + i);
        if (i + 1 < entries) entry += " /Next " + reference(Outline + i + 2);
        objects.add(Outline + 1 + i,
                    entry + " /Dest [ " + reference(firstPage + 2 * m_bookmarks[i].page) + " /Fit ] >>");
    }
    for (std::size_t i = 0; i < m_pages.size(); ++i) {
        const std::size_t page = firstPage + 2 * i;
        objects.add(page, together("<< /Type /Page /Parent 2 0 R /MediaBox [ 0 0 ", Width, " ", Height, " ] /Contents ",
                                   reference(page + 1), " /Resources << /Font << /F1 3 0 R /F2 4 0 R >> >> >>"));
        objects.add(page + 1, together("<< /Length ", m_pages[i].size(), " >>\nstream\n", m_pages[i], "endstream"));
    }
    return objects.finish();
}

}  // namespace quillon
