// The file that carries a job, and the names around it.
#include <algorithm>
#include <charconv>
#include <cstdio>
#include <memory>
#include <vector>

#include "jawslib/jaws_cipher.h"
#include "jawslib/jawslib.h"
#include "k7pi_baselib/in_memory.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr std::size_t BUFFER = 65536;
constexpr std::string_view FIRST_LINE = "%!PS-Adobe-3.0", RASTER_INFO = "%%RasterInfo: ";

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// A file that is written whole or not at all.
class NewFile {
  public:
    explicit NewFile(const char* path) : m_path(path), m_file(std::fopen(path, "wb+xe")) {}
    ~NewFile() {
        if (m_file && !m_whole) {
            m_file.reset();
            remove_file(m_path);
        }
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    explicit operator bool() const { return m_file != nullptr; }
    bool write(const char* bytes, std::size_t count) { return std::fwrite(bytes, 1, count, m_file.get()) == count; }
    bool finish() {
        m_whole = std::fclose(m_file.release()) == 0;
        if (!m_whole) remove_file(m_path);
        return m_whole;
    }

  private:
    const char* m_path;
    File m_file;
    bool m_whole = false;
};

std::string_view take_line(std::string_view& text) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

// The last word of a line, a number.
bool take_last_number(std::string_view& line, int& number) {
    const std::size_t blank = line.rfind(' ');
    if (blank == std::string_view::npos) return false;
    const std::string_view word = line.substr(blank + 1);
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    line = line.substr(0, blank);
    return error == std::errc{} && end == word.data() + word.size();
}

}  // namespace

std::string jaws_base_directory() {
    const std::string data = GetHostPlatformSpecificDataDirectory();
    const bool usable = directory_exists(data.c_str()) ? path_writable(data.c_str()) : create_directories(data.c_str());
    return usable ? data : get_home_directory();
}

bool is_uuid(std::string_view name) {
    if (name.size() != 36) return false;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const char c = name[i];
        const bool is_digit = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
        if (i == 8 || i == 13 || i == 18 || i == 23 ? c != '-' : !is_digit) return false;
    }
    return true;
}

std::string raster_info_line(const JawsRequest& request) {
    std::string line(RASTER_INFO);
    line += request.picture;
    for (const int number : {request.width, request.height, request.depth}) line += ' ' + std::to_string(number);
    return line;
}

bool parse_raster_info(std::string_view line, JawsRequest* request) {
    if (!line.starts_with(RASTER_INFO)) return false;
    line.remove_prefix(RASTER_INFO.size());
    JawsRequest found;
    if (!take_last_number(line, found.depth) || !take_last_number(line, found.height) ||
        !take_last_number(line, found.width))
        return false;
    return in_memory([&] {
        found.picture = line;
        *request = found;
    });
}

JawsJob write_jaws_job(const char* script, const JawsRequest* request, const char* job) {
    const File source(std::fopen(script, "rbe"));
    if (!source) return JawsJob::NoScript;
    NewFile target(job);
    if (!target) return JawsJob::NoJob;
    const Gost28147 cipher(JAWS_KEY, JAWS_BOXES);
    std::string header;
    std::vector<char> buffer;
    if (!in_memory([&] {
            if (request) header = std::string(FIRST_LINE) + '\n' + raster_info_line(*request) + '\n';
            buffer.resize(BUFFER);
        }) ||
        header.size() > BUFFER)
        return JawsJob::NoJob;

    std::copy(header.begin(), header.end(), buffer.begin());
    for (std::size_t filled = header.size();; filled = 0) {
        const std::size_t count = filled + std::fread(buffer.data() + filled, 1, BUFFER - filled, source.get());
        if (std::ferror(source.get())) return JawsJob::NoScript;
        cipher.feedback_encipher(JAWS_INITIAL, buffer.data(), count);
        if (!target.write(buffer.data(), count)) return JawsJob::NoJob;
        if (count < BUFFER) break;
    }
    return target.finish() ? JawsJob::Done : JawsJob::NoJob;
}

JawsJob read_jaws_job(const char* job, const char* script, JawsRequest* request) {
    const File source(std::fopen(job, "rbe"));
    if (!source) return JawsJob::NoJob;
    NewFile target(script);
    if (!target) return JawsJob::NoScript;
    const Gost28147 cipher(JAWS_KEY, JAWS_BOXES);
    std::vector<char> buffer;
    if (!in_memory([&] { buffer.resize(BUFFER); })) return JawsJob::NoScript;
    for (bool first = true;; first = false) {
        const std::size_t count = std::fread(buffer.data(), 1, BUFFER, source.get());
        if (std::ferror(source.get())) return JawsJob::NoJob;
        cipher.feedback_decipher(JAWS_INITIAL, buffer.data(), count);
        if (first) {
            std::string_view text(buffer.data(), count);
            if (take_line(text) != FIRST_LINE || !parse_raster_info(take_line(text), request)) return JawsJob::Broken;
        }
        if (!target.write(buffer.data(), count)) return JawsJob::NoScript;
        if (count < BUFFER) break;
    }
    return target.finish() ? JawsJob::Done : JawsJob::NoScript;
}
