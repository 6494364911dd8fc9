// The program that draws an EPS file into a frame.
#include <charconv>
#include <cstdio>

#include "jawslib/jawslib_eps.h"
#include "k7pi_baselib/in_memory.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

// The file may leave operands and dictionaries behind and call showpage: the pair of procedures keeps that inside, as
// Adobe's document on the format advises.
constexpr char PROLOGUE[] =
    "%!PS-Adobe-3.0\n"
    "%%Title: (Jaws Plugin Temporary PostScript File)\n"
    "%%Pages: 1\n"
    "%%EndComments\n"
    "%%BeginProlog\n"
    "/BeginEPSF{\n"
    "/b4_Inc_state save def\n"
    "/dict_count countdictstack def\n"
    "/op_count count 1 sub def\n"
    "userdict begin\n"
    "/showpage {} def\n"
    "0 setgray 0 setlinecap\n"
    "1 setlinewidth 0 setlinejoin\n"
    "10 setmiterlimit [] 0 setdash newpath\n"
    "/languagelevel where\n"
    "{ pop languagelevel\n"
    "1 ne\n"
    "{ false setstrokeadjust false setoverprint\n"
    "} if\n"
    "} if\n"
    "} bind def\n"
    "/EndEPSF{\n"
    "count op_count sub { pop } repeat\n"
    "countdictstack dict_count sub { end } repeat\n"
    "b4_Inc_state restore\n"
    "} bind def\n"
    "%%EndProlog\n"
    "BeginEPSF\n";

// Four digits behind the point, whatever the host's locale.
void add_number(std::string& text, double number) {
    char digits[400];
    text.append(digits, std::to_chars(digits, digits + sizeof digits, number, std::chars_format::fixed, 4).ptr);
    text += ' ';
}

void add_pair(std::string& text, double x, double y, const char* operation) {
    add_number(text, x);
    add_number(text, y);
    text.append(operation) += '\n';
}

struct Window {
    double x0, y0, x1, y1;  // pixels of the frame with the fitted box in it
};

Window window_of(const EpsPlacement& placement) {
    const double width = placement.width, height = placement.height;
    if (!placement.transform) return {0.0, 0.0, width, height};
    const double half_x = width / 2.0 / placement.scale_x, half_y = height / 2.0 / placement.scale_y;
    return {placement.centre_x - half_x, placement.centre_y - half_y, placement.centre_x + half_x,
            placement.centre_y + half_y};
}

std::string transform_text(const EpsFile& eps, const EpsPlacement& placement) {
    const double width = placement.width, height = placement.height;
    const EpsRectangle fitted = fitted_box(eps.box, placement.width, placement.height);
    const double unit_x = (eps.box.urx - eps.box.llx) / (fitted.right - fitted.left);
    const double unit_y = (eps.box.ury - eps.box.lly) / (fitted.top - fitted.bottom);
    const Window window = window_of(placement);
    const double ex0 = eps.box.llx + unit_x * (window.x0 - fitted.left);
    const double ey0 = eps.box.lly + unit_y * (window.y0 - fitted.bottom);
    const double ex1 = eps.box.llx + unit_x * (window.x1 - fitted.left);
    const double ey1 = eps.box.lly + unit_y * (window.y1 - fitted.bottom);

    std::string text =
        "0 0 " + std::to_string(placement.width) + " " + std::to_string(placement.height) + " rectclip\n";
    add_pair(text, width / 2.0, height / 2.0, "translate");
    add_pair(text, 1.0 / placement.pixel_aspect, 1.0, "scale");
    add_number(text, placement.transform ? placement.degrees : 0.0);
    text += "rotate\n";
    add_pair(text, -width / 2.0, -height / 2.0, "translate");
    add_pair(text, width / (ex1 - ex0), height / (ey1 - ey0), "scale");
    add_pair(text, -ex0, -ey0, "translate");
    return text;
}

bool put(std::FILE* file, std::string_view text) {
    return std::fwrite(text.data(), 1, text.size(), file) == text.size();
}

// From the line "%!PS-Adobe" to the one before "%%EOF".
EpsScript copy_document(EpsLines& lines, std::FILE* script) {
    bool inside = false;
    for (std::string_view line; lines.next(&line);) {
        if (line.starts_with("%%EOF")) break;
        inside = inside || line.starts_with("%!PS-Adobe");
        if (inside && !put(script, line)) return EpsScript::NoScript;
    }
    if (inside && !lines.failed()) return EpsScript::Done;
    Trace(TRACE_ERROR, "Failed to read EPS input file.\n");
    return EpsScript::NoSource;
}

EpsScript write_to(std::FILE* file, const EpsFile& eps, const EpsPlacement& placement, EpsLines& lines) {
    std::string transform;
    if (!in_memory([&] { transform = transform_text(eps, placement); })) return EpsScript::NoMemory;
    if (!put(file, PROLOGUE) || !put(file, transform) || !put(file, "%%BeginDocument: epsffile\n"))
        return EpsScript::NoScript;
    const EpsScript copied = copy_document(lines, file);
    if (copied != EpsScript::Done) return copied;
    return put(file, "%%EndDocument\nEndEPSF\nshowpage\n%%EOF\n") ? EpsScript::Done : EpsScript::NoScript;
}

}  // namespace

EpsScript write_eps_script(const EpsFile& eps, const EpsPlacement& placement, const char* script) {
    if (eps.path.empty()) {
        Trace(TRACE_ERROR, "Source EPS file name has zero length.\n");
        return EpsScript::NoSource;
    }
    EpsLines lines(eps.path.c_str(), eps.fromMacintosh);
    if (!lines.isOpen() || !lines.seek(eps.offset, eps.length)) {
        Trace(TRACE_ERROR, "Could not open:[%s]\n", eps.path.c_str());
        return EpsScript::NoSource;
    }
    std::FILE* file = std::fopen(script, "w+e");
    if (!file) {
        Trace(TRACE_ERROR, "Failed to open dpsfn temp output file.\n");
        return EpsScript::NoScript;
    }
    EpsScript result = write_to(file, eps, placement, lines);
    if (std::fclose(file) != 0 && result == EpsScript::Done) result = EpsScript::NoScript;
    if (result != EpsScript::Done) remove_file(script);
    return result;
}
