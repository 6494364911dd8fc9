// What an EPS file tells of itself before it is drawn.
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <optional>

#include "jawslib/jawslib_eps.h"
#include "k7pi_baselib/in_memory.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr EpsBox PLAIN_PAGE{0.0, 0.0, 595.0, 842.0};  // A4, for PostScript that tells no box

// The header of files with a preview for DOS: PostScript and preview are parts of one file.
struct BinaryHeader {
    static constexpr std::size_t SIZE = 32;
    static constexpr std::uint32_t MAGIC = 0xC6D3D0C5;
    std::uint32_t magic = 0, postscript_offset = 0, postscript_length = 0, wmf_offset = 0, wmf_length = 0,
                  tiff_offset = 0, tiff_length = 0, checksum = 0;
};

BinaryHeader read_binary_header(std::FILE* file) {
    std::uint8_t bytes[BinaryHeader::SIZE] = {};
    BinaryHeader header;
    if (std::fread(bytes, 1, sizeof bytes, file) != sizeof bytes) return header;
    const auto word = [&bytes](std::size_t at) {
        return bytes[at] | std::uint32_t{bytes[at + 1]} << 8 | std::uint32_t{bytes[at + 2]} << 16 |
               std::uint32_t{bytes[at + 3]} << 24;
    };
    header.magic = word(0);
    if (header.magic != BinaryHeader::MAGIC) return header;
    header = {word(0), word(4), word(8), word(12), word(16), word(20), word(24), 0};
    header.checksum = word(28);
    return header;
}

// Numbers apart by blanks, up to the first word that is none.
template <class Number, std::size_t COUNT>
bool read_numbers(std::string_view text, std::array<Number, COUNT>& numbers) {
    for (Number& number : numbers) {
        text.remove_prefix(std::min(text.find_first_not_of(" \t+"), text.size()));
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (error != std::errc{}) return false;
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    }
    return true;
}

std::optional<EpsBox> read_box(std::string_view line) {
    std::array<double, 4> n{};
    if (!read_numbers(line, n)) return std::nullopt;
    constexpr double MOST = 1e9;  // points: what is larger is no page, and neither is what is not a number
    for (const double number : n)
        if (!(std::fabs(number) <= MOST)) return std::nullopt;
    if (!(n[2] > n[0]) || !(n[3] > n[1])) return std::nullopt;
    return EpsBox{n[0], n[1], n[2], n[3]};
}

void read_binary_preview(std::FILE* file, const BinaryHeader& header, EpsThumbnail* thumbnail) {
    constexpr std::uint32_t LARGEST = 1u << 28;
    if (header.tiff_length > LARGEST || ::fseeko(file, 0, SEEK_END) != 0) return;
    const auto end = ::ftello(file);
    if (end < off_t{header.tiff_offset} + off_t{header.tiff_length}) return;
    std::vector<std::uint8_t> bytes;
    thumbnail->noMemory = !in_memory([&] { bytes.resize(header.tiff_length); });
    if (thumbnail->noMemory) return;
    if (::fseeko(file, off_t{header.tiff_offset}, SEEK_SET) == 0 &&
        std::fread(bytes.data(), 1, bytes.size(), file) == bytes.size())
        read_tiff_preview(bytes.data(), bytes.size(), thumbnail);
}

struct Scan {
    bool has_header = false, is_epsf = false;
    std::optional<EpsBox> box;
};

// Up to the first box that the file tells, or to its end.
Scan scan_lines(EpsLines& lines, bool try_non_eps) {
    constexpr std::string_view BOX = "%%BoundingBox:";
    Scan scan;
    for (std::string_view line; lines.next(&line);) {
        if (line.starts_with("%!PS-Adobe")) {
            scan.has_header = true;
            if (line.find("EPSF") != std::string_view::npos) scan.is_epsf = true;
        }
        if (!scan.has_header || !(scan.is_epsf || try_non_eps)) continue;
        if (!line.starts_with(BOX) || line.find("(atend)") != std::string_view::npos) continue;
        scan.box = read_box(line.substr(BOX.size()));
        break;
    }
    return scan;
}

// The preview follows the comments at the beginning: the first line that is none ends the search.
void find_hex_preview(EpsLines& lines, EpsThumbnail* thumbnail) {
    for (std::string_view line; lines.next(&line) && (line.front() == '%' || line == "\n" || line == "\r\n");)
        for (const std::string_view begin : {"%%BeginPreview:", "%BeginPreview:"})
            if (line.starts_with(begin)) {
                std::array<int, 4> n{};  // width, height, depth, lines
                if (read_numbers(line.substr(begin.size()), n)) read_hex_preview(lines, n[0], n[1], n[2], thumbnail);
                return;
            }
}

}  // namespace

bool read_eps(const char* path, const EpsReading& how, EpsFile* eps) {
    EpsLines lines(path, how.fromMacintosh);
    if (!lines.isOpen()) {
        Trace(TRACE_ERROR, "Could not open:[%s]\n", path);
        return false;
    }
    EpsFile found;
    found.fromMacintosh = how.fromMacintosh;
    const BinaryHeader header = read_binary_header(lines.file());
    if (header.magic == BinaryHeader::MAGIC) {
        found.offset = header.postscript_offset;
        found.length = header.postscript_length;
        if (header.tiff_offset != 0 && how.viewAnyThumbnail)
            read_binary_preview(lines.file(), header, &found.thumbnail);
    }
    if (!lines.seek(found.offset, found.length)) return false;
    const Scan scan = scan_lines(lines, how.tryNonEPS);
    if (how.viewAnyThumbnail && !found.hasThumbnail()) find_hex_preview(lines, &found.thumbnail);
    if (lines.failed() || !scan.has_header) return false;
    found.isEps = scan.is_epsf && scan.box.has_value();
    if (!found.isEps) {
        if (!how.tryNonEPS) return false;
        Trace(TRACE_INFO, "NOT EPSF. Maybe PostScript... Trying... But may not work.\n");
    }
    found.box = scan.box.value_or(PLAIN_PAGE);
    eps->noMemory = found.thumbnail.noMemory || !in_memory([&] { found.path = path; });
    if (eps->noMemory) return false;
    *eps = std::move(found);
    return true;
}

EpsRectangle fitted_box(const EpsBox& box, int width, int height) {
    const double box_width = box.urx - box.llx, box_height = box.ury - box.lly;
    const double scale = std::min(width / box_width, height / box_height);
    const double left = (width - box_width * scale) / 2.0, bottom = (height - box_height * scale) / 2.0;
    return {left, bottom, left + box_width * scale, bottom + box_height * scale};
}
