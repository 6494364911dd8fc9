// Abekas YUV: video of ITU-R BT.601 without a header, two pixels in four bytes (blue difference, luminance, red
// difference, luminance), top line first. IMGIO_YUV_LINESIZE tells the pixels of a line (720), IMGIO_YUV_LINES how many
// lines (those that the file has; for writing those of the picture). Colour differences lie at every other pixel;
// IMGIO_YUV_FILTER "yes" averages them over three with weights 1 2 1 when writing, otherwise every other one is taken.
// Source: ITU-R Recommendation BT.601 (luminance 16 to 235, differences 128 +- 112).
#include <strings.h>

#include <cstdlib>

#include "imgio/pictures.h"

namespace imgio {

namespace {

constexpr int LINE = 720;

int number_of(const char* variable, int fallback) {
    const std::string text = imgio_variable(variable);
    return text.empty() ? fallback : static_cast<int>(std::clamp(std::strtol(text.c_str(), nullptr, 10), 0L, 65535L));
}

// In 16.16 fixed point, so that the colours are the same everywhere.
std::uint8_t rounded(int fixed) { return static_cast<std::uint8_t>(std::clamp((fixed + 32768) >> 16, 0, 255)); }

void to_rgb(int y, int u, int v, std::uint8_t* out) {
    const int luminance = (y - 16) * 76309;  // 255 / 219
    u -= 128;
    v -= 128;
    out[0] = rounded(luminance + 104597 * v);
    out[1] = rounded(luminance - 25675 * u - 53279 * v);
    out[2] = rounded(luminance + 132201 * u);
}

int luminance_of(const std::uint8_t* c) { return rounded((16 << 16) + 16829 * c[0] + 33039 * c[1] + 6416 * c[2]); }
int blue_of(const std::uint8_t* c) { return (128 << 16) - 9714 * c[0] - 19070 * c[1] + 28784 * c[2]; }
int red_of(const std::uint8_t* c) { return (128 << 16) + 28784 * c[0] - 24103 * c[1] - 4681 * c[2]; }

class YuvReader final : public MemoryReader {
  public:
    bool read(int line, void* samples) override;

  private:
    bool parse(ImgioFile& file) override;
};

bool YuvReader::parse(ImgioFile& file) {
    const int width = number_of("IMGIO_YUV_LINESIZE", LINE);
    if (width < 2 || width % 2 != 0) return error("YUV: Lines have an even number of pixels.\n");
    const std::size_t row = 2 * static_cast<std::size_t>(width);
    const auto lines = static_cast<std::int64_t>(bytes_from(0) / row);
    const int wanted = number_of("IMGIO_YUV_LINES", 0);
    if (wanted == 0 && bytes_from(0) % row != 0) return error("YUV: The file does not hold whole lines.\n");
    if (wanted > lines) return error("YUV: The file is too short.\n");
    return set_layout(file, width, wanted ? wanted : lines, 3, 8);
}

bool YuvReader::read(int line, void* samples) {
    auto* out = static_cast<std::uint8_t*>(samples);
    ByteReader bytes = reader(2 * static_cast<std::size_t>(width()) * static_cast<std::size_t>(line));
    for (int x = 0; x < width(); x += 2, out += 6) {
        const int u = bytes.u8(), first = bytes.u8(), v = bytes.u8(), second = bytes.u8();
        to_rgb(first, u, v, out);
        to_rgb(second, u, v, out + 3);
    }
    return bytes.ok();
}

class YuvWriter final : public PictureWriter {
    int stored_channels(int) const override { return 3; }
    bool prepare() override {
        m_filtered = strcasecmp(imgio_variable("IMGIO_YUV_FILTER").c_str(), "yes") == 0;
        return width() % 2 == 0 || error("YUV: Lines have an even number of pixels.\n");
    }
    bool encode(ByteWriter& out) override;

    bool m_filtered = false;
};

bool YuvWriter::encode(ByteWriter& out) {
    for (int y = 0; y < height(); ++y) {
        const std::uint8_t* colours = line<std::uint8_t>(y);
        const auto difference = [&](int x, auto of) {
            if (!m_filtered) return rounded(of(colours + 3 * x));
            const std::uint8_t* left = colours + 3 * std::max(x - 1, 0);
            return rounded((of(left) + 2 * of(colours + 3 * x) + of(colours + 3 * (x + 1))) / 4);
        };
        for (int x = 0; x < width(); x += 2) {
            out.u8(difference(x, blue_of));
            out.u8(luminance_of(colours + 3 * x));
            out.u8(difference(x, red_of));
            out.u8(luminance_of(colours + 3 * (x + 1)));
        }
    }
    return true;
}

}  // namespace

ImgioFormat yuv_format(ImgioFormat names) { return writes<YuvWriter>(reads<YuvReader>(names)); }

}  // namespace imgio
