// Path texts and the small services that need nothing of the operating system.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

#include "k7pi_baselib/k7pi_baselib.h"

std::string path_directory(std::string_view path) {
    const auto separator = path.rfind(PATH_SEP);
    if (separator == std::string_view::npos) return {};
    return std::string(path.substr(0, std::max<std::size_t>(separator, 1)));
}

std::string path_component(std::string_view path, int n) {
    std::size_t begin = 0;
    while (n >= 0) {
        begin = path.find_first_not_of(PATH_SEP, begin);
        if (begin == std::string_view::npos) return {};
        const std::size_t end = std::min(path.find(PATH_SEP, begin), path.size());
        if (n-- == 0) return std::string(path.substr(begin, end - begin));
        begin = end;
    }
    return {};
}

std::string path_join(std::string_view directory, std::string_view name) {
    std::string path(directory);
    if (!path.empty() && path.back() != PATH_SEP) path += PATH_SEP;
    path += name;
    return path;
}

// ---- Frame file names ---------------------------------------------------------------------------------------------

namespace {

// The pattern is a user's text: only conversions that are checked character by character reach printf.
constexpr std::size_t MOST_DIGITS = 2;  // of a width or a precision

// The length of the integer conversion that `text` starts with, flags, width and precision included; 0 for any other.
std::size_t integer_conversion(std::string_view text) {
    const auto at = [&](std::size_t i) { return i < text.size() ? text[i] : '\0'; };
    const auto skip_digits = [&](std::size_t& i) {
        const std::size_t first = i;
        while (at(i) >= '0' && at(i) <= '9') ++i;
        return i - first <= MOST_DIGITS;
    };
    std::size_t i = std::min(text.find_first_not_of("-+ #0", 1), text.size());
    const bool is_alternative = text.substr(0, i).find('#') != std::string_view::npos;
    if (!skip_digits(i)) return 0;
    if (at(i) == '.' && !skip_digits(++i)) return 0;
    const std::string_view conversions = is_alternative ? "oxX" : "diuoxX";  // others have no alternative form
    return at(i) != '\0' && conversions.find(at(i)) != std::string_view::npos ? i + 1 : 0;
}

std::string print_integer(std::string_view conversion, int frame) {
    char text[256];
    const bool is_signed = conversion.back() == 'd' || conversion.back() == 'i';
    const std::string format(conversion);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    if (is_signed)
        std::snprintf(text, sizeof text, format.c_str(), frame);
    else
        std::snprintf(text, sizeof text, format.c_str(), static_cast<unsigned>(frame));
#pragma GCC diagnostic pop
    return text;
}

}  // namespace

std::string frame_file_name(std::string_view directory, const char* pattern, int frame, std::string_view base) {
    if (!pattern) return {};
    const std::string_view text = pattern;
    std::string name;
    bool has_number = false, has_base = false;
    for (std::size_t i = 0; i < text.size();) {
        const std::string_view rest = text.substr(i);
        if (text[i] != '%') {
            name += text[i++];
        } else if (rest.starts_with("%%")) {
            name += '%';
            i += 2;
        } else if (rest.starts_with("%s")) {
            if (std::exchange(has_base, true)) return {};
            name += base;
            i += 2;
        } else {
            const std::size_t length = integer_conversion(rest);
            if (length == 0 || std::exchange(has_number, true)) return {};
            name += print_integer(rest.substr(0, length), frame);
            i += length;
        }
    }
    return path_join(directory, name);
}

std::string temporary_name() { return path_join(temporary_directory(), make_uuid()); }

// ---- Bytes and texts ----------------------------------------------------------------------------------------------

namespace {

template <class Word, class Swap>
void swap_words(void* words, std::size_t count, Swap swap) {
    if (!words) return;
    auto* bytes = static_cast<unsigned char*>(words);
    for (std::size_t i = 0; i < count; ++i, bytes += sizeof(Word)) {
        Word word;  // by way of memcpy: file data has no alignment
        std::memcpy(&word, bytes, sizeof word);
        word = swap(word);
        std::memcpy(bytes, &word, sizeof word);
    }
}

}  // namespace

void swap_bytes_32(void* words, std::size_t count) {
    swap_words<unsigned int>(words, count, [](unsigned int word) { return __builtin_bswap32(word); });
}

void swap_bytes_16(void* words, std::size_t count) {
    swap_words<unsigned short>(words, count, [](unsigned short word) { return __builtin_bswap16(word); });
}

void strip_line_end(char* text) {
    if (!text) return;
    std::size_t length = std::strlen(text);
    while (length > 0 && (text[length - 1] == '\n' || text[length - 1] == '\r')) --length;
    text[length] = '\0';
}
