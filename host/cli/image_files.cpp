// quillon image-info and quillon convert: picture files through the bundle's own library, as its effects read and write
// them. They load no bundle.

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <memory>

#include "host/cli/atomic_file.h"
#include "host/cli/command.h"
#include "host/cli/failure.h"
#include "host/cli/interrupt.h"
#include "host/cli/text.h"
#include "imagelib/imagelib_fileio.h"
#include "imgio/imgio.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace quillon {

namespace {

namespace fs = std::filesystem;

constexpr const char* OWN_FORMAT = "tk7";  // beside those of the table

std::vector<std::string> formatNames() {
    std::size_t count = 0;
    const ImgioFormat* formats = imgio_formats(&count);
    std::vector<std::string> names;
    for (std::size_t i = 1; i < count; ++i) names.emplace_back(formats[i].name);  // the first is "unknown"
    names.emplace_back(OWN_FORMAT);
    return names;
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word;
    return text;
}

// The format asked for, else the one that the file's extension stands for: in the library's list first, which leaves
// some formats out, then in its table.
std::string formatOf(const std::string& path, const std::string& asked) {
    const std::vector<std::string> names = formatNames();
    if (!asked.empty()) {
        if (std::find(names.begin(), names.end(), asked) == names.end())
            throw UsageError("there is no format \"" + asked + "\"" + suggestion(asked, names) + " (there are " +
                             joined(names) + ")");
        return asked;
    }
    if (const char* listed = image_file_format(path.c_str())) return listed;
    const std::string extension = fs::path(path).extension().string();
    for (const std::string& name : names)
        if (const ImgioFormat* format = imgio_find_format(name);
            format && !extension.empty() && equalIgnoringCase(extension.substr(1), imgio_extension(format)))
            return name;
    throw RunError("the extension of " + path + " stands for no format; --format NAME tells which (" + joined(names) +
                   ")");
}

// What the library says of the call that has just failed.
[[noreturn]] void fail(const std::string& what, const std::string& path) {
    const std::string reason = imgio_last_error();
    throw RunError("cannot " + what + " " + path + (reason.empty() ? "" : ": " + reason));
}

void requireFile(const std::string& path) {
    if (!fs::exists(path)) throw RunError("cannot read " + path + ": there is no such file");
}

struct InfoOptions {
    std::string file, format;
};

void info(const InfoOptions& options) {
    SetTraceLevel(TRACE_OFF);
    const std::string format = formatOf(options.file, options.format);
    requireFile(options.file);
    int width = 0, height = 0, channels = 0, bits = 0;
    if (!image_file_info(options.file.c_str(), &width, &height, &channels, &bits, format.c_str()))
        fail("read", options.file);
    std::cout << format << ' ' << width << 'x' << height << ' ' << channels << " channels " << bits << " bits\n";
}

struct ConvertOptions {
    std::string in, out, inFormat, outFormat;
    int bits = 0;  // 0: those of the input
    bool compress = false;
};

ImagePtr withBits(ImagePtr image, int bits) {
    const int type = bits == 8 ? SAMPLE_U8 : SAMPLE_U16;
    if (bits == 0 || image->sample_type == type) return image;
    ImagePtr converted = make_image_uncleared(image->width, image->height, image->channels, type);
    if (!converted || !image_convert(image.get(), converted.get(), true, 1)) throw std::bad_alloc();
    return converted;
}

// Beside the file under another name until it is whole.
void writeImage(const std::string& path, const K7Image* image, const ConvertOptions& options,
                const std::string& format) {
    requireWritable(path);
    const fs::path target(path);
    const fs::path part =
        target.parent_path() / ("." + target.filename().string() + ".part" + std::to_string(::getpid()));
    const RemoveWhenKilled cleanUp(part.string());
    if (!image_write(part.c_str(), image, options.compress, format.c_str())) fail("write", path);
    std::error_code error;
    fs::rename(part, target, error);
    if (!error) return;
    fs::remove(part);
    throw RunError("cannot write " + path + ": " + error.message());
}

void convert(const ConvertOptions& options) {
    SetTraceLevel(TRACE_OFF);
    const std::string inFormat = formatOf(options.in, options.inFormat);
    const std::string outFormat = formatOf(options.out, options.outFormat);
    const ImgioFormat* row = imgio_find_format(outFormat);
    if (options.bits == 16 && row && row->write_line && !row->write_line16)
        throw UsageError("files of the format " + outFormat + " hold 8 bits");
    requireFile(options.in);
    ImagePtr image(image_read(options.in.c_str(), inFormat.c_str()));
    if (!image) fail("read", options.in);
    image = withBits(std::move(image), options.bits);
    writeImage(options.out, image.get(), options, outFormat);
}

std::function<void()> declareInfo(CLI::App& app) {
    const auto options = std::make_shared<InfoOptions>();
    app.add_option("FILE", options->file, "Picture file")->required();
    app.add_option("--format", options->format, "Format of the file; else what its extension stands for");
    return [options] { info(*options); };
}

std::function<void()> declareConvert(CLI::App& app) {
    const auto options = std::make_shared<ConvertOptions>();
    app.add_option("IN", options->in, "Picture file to read")->required();
    app.add_option("OUT", options->out, "Picture file to write")->required();
    app.add_option("--in-format", options->inFormat, "Format of IN; else what its extension stands for");
    app.add_option("--format", options->outFormat, "Format of OUT; else what its extension stands for");
    app.add_option("--bits", options->bits, "Bits of a sample, 8 or 16; else those of IN, and 16 for floats")
        ->check(CLI::IsMember({8, 16}));
    app.add_flag("--compress", options->compress, "TIFF with LZW, Targa in runs");
    return [options] { convert(*options); };
}

}  // namespace

const Command imageInfoCommand{"image-info", "Tell the format and the size of a picture file", declareInfo};
const Command convertCommand{"convert", "Convert a picture file with the bundle's own library", declareConvert};

}  // namespace quillon
