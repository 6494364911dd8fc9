// A small writer of PDF 1.4 documents: A4 pages of text in Helvetica, which every reader has, and an outline.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quillon {

enum class PdfFont { Regular, Bold };

// Lengths are in points, of which 72 are an inch; y runs upwards from the lower edge. Texts are UTF-8; characters that
// the fonts do not have become question marks.
class PdfDocument {
  public:
    static constexpr double Width = 595.0, Height = 842.0;

    void beginPage();
    void text(double x, double y, PdfFont font, double size, std::string_view text);
    void bookmark(std::string_view title);  // an entry of the outline that leads to this page

    std::string finish() const;  // the whole file

    static double textWidth(PdfFont font, double size, std::string_view text);
    // The text in lines no wider than `width`, broken at blanks.
    static std::vector<std::string> wrapped(PdfFont font, double size, std::string_view text, double width);

  private:
    struct Bookmark {
        std::string title;
        std::size_t page;
    };
    std::vector<std::string> m_pages;  // content streams
    std::vector<Bookmark> m_bookmarks;
};

}  // namespace quillon
