// The store of named variables that switch diagnostics and GPU use.
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "k7pi_baselib/k7pi_baselib.h"

namespace {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

// A variable's file, positioned behind its length, which is known to be no longer than the file.
struct OpenVariable {
    std::unique_ptr<std::FILE, FileCloser> file;
    std::uint32_t length = 0;
};

bool is_file_name(const char* name) { return name && *name && !std::strchr(name, PATH_SEP) && *name != '.'; }

OpenVariable open_variable(const char* name) {
    constexpr long long header_size = 4;
    if (!is_file_name(name) || !ensure_standard_directories()) return {};
    const std::string path = path_join(get_standard_directory(DIRECTORY_VARIABLES), name);
    const long long size = file_size(path.c_str());
    if (size < header_size) return {};

    OpenVariable variable;
    variable.file.reset(std::fopen(path.c_str(), "rb"));
    unsigned char header[header_size];
    if (!variable.file || std::fread(header, 1, sizeof header, variable.file.get()) != sizeof header) return {};
    variable.length = header[0] | header[1] << 8 | header[2] << 16 | static_cast<std::uint32_t>(header[3]) << 24;
    if (variable.length > size - header_size) return {};
    return variable;
}

bool read_value(const OpenVariable& variable, char* buffer) {
    buffer[variable.length] = '\0';
    return std::fread(buffer, 1, variable.length, variable.file.get()) == variable.length;
}

bool equals_ignoring_case(std::string_view a, std::string_view b) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (lower(a[i]) != lower(b[i])) return false;
    return true;
}

}  // namespace

char* GetVariable(const char* name) {
    const OpenVariable variable = open_variable(name);
    if (!variable.file) return nullptr;
    auto* value = static_cast<char*>(k7_malloc(std::size_t{variable.length} + 1));
    if (value && !read_value(variable, value)) {
        k7_free(value);
        value = nullptr;
    }
    return value;
}

char* GetVariableInto(const char* name, char* buffer) {
    static thread_local char own_buffer[VARIABLE_BUFFER_SIZE];
    const OpenVariable variable = open_variable(name);
    if (!variable.file || variable.length >= VARIABLE_BUFFER_SIZE) return nullptr;
    char* value = buffer ? buffer : own_buffer;
    return read_value(variable, value) ? value : nullptr;
}

std::string read_variable(const char* name, std::string_view fallback) {
    if (char* value = GetVariable(name)) {
        std::string text = value;
        k7_free(value);
        return text;
    }
    const char* value = name ? std::getenv(name) : nullptr;
    return value ? std::string(value) : std::string(fallback);
}

bool read_variable_is_yes(const char* name) { return equals_ignoring_case(read_variable(name), "yes"); }

int read_variable_integer(const char* name, int fallback) {
    const std::string text = read_variable(name);
    const char* begin = text.data();
    const char* end = begin + text.size();
    while (begin != end && (*begin == ' ' || *begin == '\t')) ++begin;
    if (begin != end && *begin == '+') ++begin;
    int value = 0;
    return std::from_chars(begin, end, value).ec == std::errc{} ? value : fallback;
}
