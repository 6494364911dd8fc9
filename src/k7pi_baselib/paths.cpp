// Path texts and the small services that need nothing of the operating system.
#include <algorithm>
#include <charconv>
#include <cstring>

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

// The pattern is a user's text, so it never reaches printf itself. Appends the number for the conversion that `text`
// starts with ("%d", "%4d", "%04d") and answers its length, 0 for any other conversion.
std::size_t append_frame(std::string& name, std::string_view text, int frame) {
    std::size_t at = 1;
    const bool zeros = at < text.size() && text[at] == '0';
    if (zeros) ++at;
    std::size_t width = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
        width = width * 10 + static_cast<std::size_t>(text[at] - '0');
        if (width > 99) return 0;
    }
    if (at >= text.size() || text[at] != 'd') return 0;

    char digits[16];
    const auto end = std::to_chars(digits, digits + sizeof digits, frame).ptr;
    std::string_view number(digits, static_cast<std::size_t>(end - digits));
    const std::size_t padding = width > number.size() ? width - number.size() : 0;
    if (zeros && frame < 0) {
        name += '-';
        number.remove_prefix(1);
    }
    name.append(padding, zeros ? '0' : ' ');
    name += number;
    return at + 1;
}

}  // namespace

std::string frame_file_name(std::string_view directory, const char* pattern, int frame) {
    if (!pattern) return {};
    const std::string_view text = pattern;
    std::string name;
    bool numbered = false;
    for (std::size_t i = 0; i < text.size();) {
        if (text[i] != '%') {
            name += text[i++];
        } else if (text.substr(i, 2) == "%%") {
            name += '%';
            i += 2;
        } else {
            const std::size_t length = numbered ? 0 : append_frame(name, text.substr(i), frame);
            if (length == 0) return {};
            numbered = true;
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
