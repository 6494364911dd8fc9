// What is read from EPS files, sound and broken ones, and the program that draws them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "jawslib/jawslib_eps.h"
#include "k7pi_baselib/temporary_home.h"

namespace {

using testing::HasSubstr;

constexpr char HEADER[] = "%!PS-Adobe-3.0 EPSF-3.0\n", BOX[] = "%%BoundingBox: 10 20 110 70.5\n";

std::string little(std::uint32_t number, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) text += static_cast<char>(number >> (8 * i) & 255);
    return text;
}
std::string big(std::uint32_t number, int bytes) {
    const std::string text = little(number, bytes);
    return {text.rbegin(), text.rend()};
}

// The pixels of a TIFF in one strip, in either byte order; further fields by hand.
struct TiffMaker {
    bool motorola = false;
    int width, height, bits, samples, photometric, compression = 1;
    std::string strip;
    std::vector<unsigned> map = {};

    std::string number(std::uint32_t value, int bytes) const {
        return motorola ? big(value, bytes) : little(value, bytes);
    }
    std::string file() const {
        std::string colours;
        for (const unsigned colour : map) colours += number(colour, 2);
        const auto after = static_cast<std::uint32_t>(8 + strip.size());
        std::string text = std::string(motorola ? "MM" : "II") + number(42, 2) +
                           number(after + static_cast<std::uint32_t>(colours.size()), 4) + strip + colours;
        std::string fields;
        int count = 0;
        const auto field = [&](int tag, int type, std::uint32_t many, std::uint32_t value) {
            fields += number(static_cast<std::uint32_t>(tag), 2) + number(static_cast<std::uint32_t>(type), 2) +
                      number(many, 4);
            fields += type == 3 && many == 1 ? number(value, 2) + number(0, 2) : number(value, 4);
            ++count;
        };
        for (const auto& [tag, value] : {std::pair{0x100, width},
                                         {0x101, height},
                                         {0x102, bits},
                                         {0x103, compression},
                                         {0x106, photometric},
                                         {0x115, samples},
                                         {0x116, height}})
            field(tag, 3, 1, static_cast<std::uint32_t>(value));
        field(0x111, 4, 1, 8);
        field(0x117, 4, 1, static_cast<std::uint32_t>(strip.size()));
        if (!map.empty()) field(0x140, 3, static_cast<std::uint32_t>(map.size()), after);
        return text + number(static_cast<std::uint32_t>(count), 2) + fields + number(0, 4);
    }
};

// A file with parts: the PostScript between offset and length, the preview behind it.
std::string binary_eps(const std::string& postscript, const std::string& tiff) {
    const auto length = static_cast<std::uint32_t>(postscript.size());
    std::string header = little(0xC6D3D0C5, 4) + little(40, 4) + little(length, 4) + little(0, 4) + little(0, 4) +
                         little(40 + length, 4) + little(static_cast<std::uint32_t>(tiff.size()), 4) + little(0, 4);
    return header + "PADDING " + postscript + tiff;
}

class Eps : public TemporaryHome {
  protected:
    Eps() { SetTraceLevel(TRACE_OFF); }
    const std::string path = root + "/file.eps";

    bool reads(const std::string& text, const EpsReading& how = {}) {
        write(path, text);
        eps = {};
        return read_eps(path.c_str(), how, &eps);
    }
    std::string scriptOf(const EpsPlacement& placement) {
        const std::string script = root + "/script.ps";
        EXPECT_EQ(write_eps_script(eps, placement, script.c_str()), EpsScript::Done);
        return contents(script);
    }
    std::string thumbnail() const {  // rows from the top, each pixel as six digits
        std::string text;
        for (int y = eps.thumbnail.height; y-- > 0; text += '\n')
            for (int x = 0; x < eps.thumbnail.width; ++x) {
                const auto word = eps.thumbnail.pixels[static_cast<std::size_t>(y * eps.thumbnail.width + x)];
                char digits[16];
                std::snprintf(digits, sizeof digits, "%02x%02x%02x ", word & 255, word >> 8 & 255, word >> 16 & 255);
                text += digits;
            }
        return text;
    }
    EpsFile eps;
};

TEST_F(Eps, FindsTheBoxThatTheFileTellsFirst) {
    ASSERT_TRUE(reads(std::string(HEADER) + "%%BoundingBox: (atend)\n1 2 add\n" + BOX + "%%BoundingBox: 0 0 1 1\n"));
    EXPECT_TRUE(eps.isEps);
    EXPECT_EQ(eps.box.llx, 10.0);
    EXPECT_EQ(eps.box.ury, 70.5);
    const EpsReading strict{.tryNonEPS = false};
    EXPECT_TRUE(reads(std::string(HEADER) + BOX, strict));
    EXPECT_FALSE(reads(std::string(BOX) + "showpage\n")) << "no header";
    EXPECT_FALSE(reads(std::string("%!PS\n") + BOX)) << "not the header of a structured file";
    EXPECT_FALSE(reads(std::string("%!PS-Adobe-3.0\n") + BOX, strict)) << "not EPSF";
    for (const char* none : {"%%BoundingBox: (atend)\n", "%%BoundingBox: 0 0 10\n", "%%BoundingBox: 10 0 10 5\n",
                             "%%BoundingBox: nan 0 10 5\n", "%%BoundingBox: 0 0 1e300 5\n", ""}) {
        EXPECT_FALSE(reads(std::string(HEADER) + none, strict)) << none;
        ASSERT_TRUE(reads(std::string(HEADER) + none)) << none;
        EXPECT_FALSE(eps.isEps);
        EXPECT_EQ(eps.box.urx, 595.0);
        EXPECT_EQ(eps.box.ury, 842.0);
    }
    EXPECT_FALSE(read_eps(root.c_str(), {}, &eps)) << "a folder";
    EXPECT_FALSE(read_eps("/dev/zero", {}, &eps));
    EXPECT_FALSE(read_eps((root + "/none.eps").c_str(), {}, &eps));
}

TEST_F(Eps, EndsLinesAsAMacintoshDidWhenAsked) {
    std::string text = std::string(HEADER) + BOX + "(a) pop\n%%EOF\n";
    std::replace(text.begin(), text.end(), '\n', '\r');
    const EpsReading macintosh{.tryNonEPS = false, .fromMacintosh = true};
    EXPECT_FALSE(reads(text, {.tryNonEPS = false}));
    ASSERT_TRUE(reads(text, macintosh));
    const std::string script = scriptOf({.width = 10, .height = 10});
    EXPECT_THAT(script, HasSubstr("epsffile\n" + std::string(HEADER) + BOX + "(a) pop\n%%EndDocument\n"));
}

TEST_F(Eps, ReadsPreviewsOfHexadecimalDigits) {
    const EpsReading wanted{.viewAnyThumbnail = true};
    const auto preview = [](const char* comment) { return std::string(HEADER) + BOX + "%%EndComments\n" + comment; };
    ASSERT_TRUE(reads(preview("%%BeginPreview: 3 2 8 2\n% 00 8 0\n%ff 0\n%102 00\n%%EndPreview\n"), wanted));
    EXPECT_EQ(thumbnail(), "ffffff 7f7f7f 000000 \nfefefe fdfdfd ffffff \n") << "an odd digit waits for the next one";
    ASSERT_TRUE(reads(preview("%BeginPreview: 9 1 1 1\n% 8080\n%%EndPreview\n"), wanted));
    EXPECT_EQ(thumbnail().substr(0, 14), "000000 ffffff ");
    EXPECT_EQ(thumbnail().substr(56), "000000 \n");
    ASSERT_TRUE(reads(preview("%%BeginPreview: 2 1 4 1\n% 5f\n%%EndPreview\n"), wanted));
    EXPECT_EQ(thumbnail(), "aaaaaa 000000 \n");
    for (const char* broken :
         {"%%BeginPreview: 3 2 8 2\n% 00\n%%EndPreview\n", "%%BeginPreview: 0 1 8 1\n% 00\n",
          "%%BeginPreview: 99999 99999 8 1\n% 00\n", "%%BeginPreview: 1 1 3 1\n% 00\n", "%%BeginPreview: 1 1\n% 00\n",
          "%%BeginPreview: -4 -4 8 1\n% 00\n", "1 pop\n%%BeginPreview: 1 1 8 1\n% 00\n"}) {
        EXPECT_TRUE(reads(preview(broken), wanted)) << broken;
        EXPECT_FALSE(eps.hasThumbnail()) << broken;
    }
    EXPECT_TRUE(reads(preview("%%BeginPreview: 1 1 8 1\n% 00\n%%EndPreview\n")));
    EXPECT_FALSE(eps.hasThumbnail()) << "not wanted";
}

TEST_F(Eps, ReadsPreviewsInTiff) {
    const std::string postscript = std::string(HEADER) + BOX;
    const EpsReading wanted{.viewAnyThumbnail = true};
    using S = std::string;
    const struct {
        TiffMaker tiff;
        const char* shows;
    } cases[] = {
        {{false, 2, 2, 8, 3, 2, 1, S("\1\2\3\4\5\6\7\10\11\12\13\14", 12)}, "010203 040506 \n070809 0a0b0c \n"},
        {{true, 2, 1, 16, 3, 2, 1, S("\1\0\2\0\3\0\4\0\5\0\6\0", 12)}, "010203 040506 \n"},
        {{false, 2, 1, 16, 3, 2, 1, S("\0\1\0\2\0\3\0\4\0\5\0\6", 12)}, "010203 040506 \n"},
        {{true, 3, 2, 8, 1, 1, 32773, S("\2\1\2\3\200\376\7", 7)}, "010101 020202 030303 \n070707 070707 070707 \n"},
        {{false, 3, 1, 1, 1, 0, 1, S("\240")}, "000000 ffffff 000000 \n"},
        {{true, 2, 1, 4, 1, 3, 1, S("\41"), {0, 0x1100, 0x4400, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                             0, 0x2200, 0x5500, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                             0, 0x3300, 0x6600, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
         "445566 112233 \n"},
    };
    for (const auto& [tiff, shows] : cases) {
        const std::string whole = tiff.file();
        ASSERT_TRUE(reads(binary_eps(postscript, whole), wanted));
        EXPECT_EQ(thumbnail(), shows);
        EXPECT_EQ(eps.offset, 40);
        EXPECT_EQ(eps.length, static_cast<long long>(postscript.size()));
        // Cut anywhere, or with any byte changed, it is read or refused; a sanitizer sees what goes too far.
        for (std::size_t length = 0; length < whole.size(); ++length) {
            EpsThumbnail unused;
            const std::vector<std::uint8_t> cut(whole.begin(), whole.begin() + static_cast<long>(length));
            read_tiff_preview(cut.data(), cut.size(), &unused);
            for (const int value : {0, 1, 127, 255}) {
                std::vector<std::uint8_t> changed(whole.begin(), whole.end());
                changed[length] = static_cast<std::uint8_t>(value);
                read_tiff_preview(changed.data(), changed.size(), &unused);
            }
        }
    }
    ASSERT_TRUE(reads(binary_eps(postscript, ""), wanted));
    EXPECT_FALSE(eps.hasThumbnail());
}

// The whole program, with wide pixels: 100 x 50.5 points fit a frame of 200 x 120 pixels at a scale of 2.
TEST_F(Eps, WritesTheProgramThatDrawsItIntoTheFrame) {
    ASSERT_TRUE(reads(binary_eps(std::string("junk\n") + HEADER + BOX + "(" + std::string(3000, 'x') + ") pop\n", "")));
    const std::string script = scriptOf({.width = 200, .height = 120, .pixel_aspect = 2.0});
    EXPECT_EQ(script.substr(0, script.find("BeginEPSF\n0 0")),
              "%!PS-Adobe-3.0\n%%Title: (Jaws Plugin Temporary PostScript File)\n%%Pages: 1\n%%EndComments\n"
              "%%BeginProlog\n/BeginEPSF{\n/b4_Inc_state save def\n/dict_count countdictstack def\n"
              "/op_count count 1 sub def\nuserdict begin\n/showpage {} def\n0 setgray 0 setlinecap\n"
              "1 setlinewidth 0 setlinejoin\n10 setmiterlimit [] 0 setdash newpath\n/languagelevel where\n"
              "{ pop languagelevel\n1 ne\n{ false setstrokeadjust false setoverprint\n} if\n} if\n} bind def\n"
              "/EndEPSF{\ncount op_count sub { pop } repeat\ncountdictstack dict_count sub { end } repeat\n"
              "b4_Inc_state restore\n} bind def\n%%EndProlog\n");
    EXPECT_THAT(script, HasSubstr("BeginEPSF\n0 0 200 120 rectclip\n100.0000 60.0000 translate\n0.5000 1.0000 scale\n"
                                  "0.0000 rotate\n-100.0000 -60.0000 translate\n2.0000 2.0000 scale\n"
                                  "-10.0000 -15.2500 translate\n%%BeginDocument: epsffile\n%!PS-Adobe-3.0 EPSF"));
    EXPECT_THAT(script, HasSubstr("(" + std::string(3000, 'x') + ") pop\n%%EndDocument\nEndEPSF\nshowpage\n%%EOF\n"));
    EXPECT_THAT(script, testing::Not(HasSubstr("junk")));

    // Twice as wide around a place to the right of the middle, which comes to the middle.
    const std::string moved = scriptOf({.width = 200,
                                        .height = 120,
                                        .transform = true,
                                        .centre_x = 150,
                                        .centre_y = 60,
                                        .scale_x = 2,
                                        .scale_y = 1,
                                        .degrees = -30});
    EXPECT_THAT(moved, HasSubstr("1.0000 1.0000 scale\n-30.0000 rotate\n-100.0000 -60.0000 translate\n"
                                 "4.0000 2.0000 scale\n-60.0000 -15.2500 translate\n"));
    std::filesystem::remove(path);
    EXPECT_EQ(write_eps_script(eps, {.width = 9, .height = 9}, (root + "/no.ps").c_str()), EpsScript::NoSource);
    EXPECT_FALSE(std::filesystem::exists(root + "/no.ps"));
}

}  // namespace
