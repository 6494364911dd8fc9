// Where the product's files live.
#include <cstdlib>

#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr const char* VENDOR = "Brindlemoor";
constexpr const char* PRODUCT = "QuillonVanes";
constexpr const char* DEFAULT_HOME = "/opt/Brindlemoor/QuillonVanes";
constexpr std::size_t LONGEST_HOME = 1023;

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

std::string user_data_directory() {
    if (std::string directory = environment("XDG_DATA_HOME"); !directory.empty()) return directory;
    const std::string home = environment("HOME");
    return home.empty() ? home : path_join(home, ".local/share");
}

std::string find_home() {
    if (std::string home = environment("K7BM_HOME_DIR"); !home.empty() && home.size() <= LONGEST_HOME) return home;
    if (const std::string data = user_data_directory(); !data.empty()) {
        Trace(TRACE_TRACE, "No K7BM_HOME_DIR: get_home_directory() got Registry ProgramFilesDir entry: %s\n",
              data.c_str());
        return path_join(path_join(data, VENDOR), PRODUCT);
    }
    Trace(TRACE_TRACE, "get_home_directory() is returning utils.h hardwired DEFAULT: %s\n", DEFAULT_HOME);
    return DEFAULT_HOME;
}

std::string standard_directory(int number) {
    switch (number) {
        case DIRECTORY_HOME:
            return get_home_directory();
        case DIRECTORY_SETTINGS:
            return path_join(get_home_directory(), "Settings");
        case DIRECTORY_VARIABLES:
            return path_join(standard_directory(DIRECTORY_SETTINGS), "Variables");
        case DIRECTORY_LOGS:
            return path_join(get_home_directory(), "Logs");
        default:
            return {};
    }
}

}  // namespace

std::string get_home_directory() {
    std::string home = find_home();
    if (home.size() > 1 && home.back() == PATH_SEP) home.pop_back();
    Trace(TRACE_TRACE, "get_home_directory() is returning: %s\n", home.c_str());
    return home;
}

std::string get_standard_directory(int number) {
    std::string directory = standard_directory(number);
    Trace(TRACE_TRACE, "get_standard_directory(%d) is returning: %s\n", number, directory.c_str());
    return directory;
}

bool ensure_standard_directories() {
    for (int number : {DIRECTORY_HOME, DIRECTORY_SETTINGS, DIRECTORY_VARIABLES, DIRECTORY_LOGS})
        if (!create_directories(get_standard_directory(number).c_str())) return false;
    return true;
}

std::string GetHostPlatformSpecificHomeDirectory() {
    std::string directory = path_join(path_directory(get_home_directory()), "Quillon-OFX");
    Trace(TRACE_TRACE, "GetHostPlatformSpecificHomeDirectory() returning [%s]\n", directory.c_str());
    return directory;
}

std::string GetHostPlatformSpecificDataDirectory() {
    std::string directory = path_join(GetHostPlatformSpecificHomeDirectory(), "data");
    Trace(TRACE_TRACE, "GetHostPlatformSpecificDataDirectory() returning [%s]\n", directory.c_str());
    return directory;
}

std::string bundle_resources() {
    const std::string contents = path_directory(path_directory(module_path()));  // from Contents/<architecture>/
    return path_join(contents, "Resources");
}

std::string data_file(const std::string& name) {
    const std::string own = path_join(GetHostPlatformSpecificDataDirectory(), name);
    return path_readable(own.c_str()) ? own : path_join(path_join(bundle_resources(), "data"), name);
}
