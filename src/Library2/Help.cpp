#include <cstdio>
#include <string>

#include "Library2/Actions.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr std::size_t LONGEST_HELP_PATH = 2048;

// The manual in the bundle's Resources, unless the variable QuillonHelpPath names another.
std::string helpAddress() {
    const std::string replaced = read_variable("QuillonHelpPath");
    if (!replaced.empty() && replaced.size() <= LONGEST_HELP_PATH) return "file://" + replaced;
    const std::string contents = path_directory(path_directory(module_path()));  // from Contents/<architecture>/
    return "file://" + path_join(path_join(contents, "Resources"), "OFX_Quillon.pdf");
}

// What the desktop's answer to opening an address means, for the platforms that give a number.
struct ShellError {
    int code;
    const char* text;
};
constexpr ShellError SHELL_ERRORS[] = {
    {0, "The operating system is out of memory or resources."},
    {2, "The file %s was not found."},
    {3, "The path %s was not found."},
    {5, "The operating system denied access to %s."},
    {8, "There was not enough memory to complete the operation."},
    {11, "The .exe file is invalid (non-Win32.exe or error in .exe image)."},
    {26, "A sharing violation occurred."},
    {27, "The file name association for %s is incomplete or invalid."},
    {28, "The DDE transaction could not be completed because the request timed out."},
    {29, "The DDE transaction failed."},
    {30, "The DDE transaction could not be completed because other DDE transactions were being processed."},
    {31,
     "There is no application associated with the file name extension for %s:\nperhaps you need to install Adobe "
     "Acrobat?."},
};

std::string shellErrorText(int code, const std::string& address) {
    for (const ShellError& error : SHELL_ERRORS) {
        if (error.code != code) continue;
        std::string text = error.text;
        if (const auto place = text.find("%s"); place != std::string::npos) text.replace(place, 2, address);
        return text;
    }
    return {};
}

}  // namespace

// A plug-in has no window of its own to show a dialog in: the facts go to the log, the manual to the desktop.
void showHelp(const EffectTraits& traits) {
    const std::string label = effectLabel(traits);
    std::fprintf(stderr, "%s Version %s\n", label.c_str(), PRODUCT_VERSION);
    const std::string address = helpAddress();  // before the first line: looking it up writes lines of its own
    Trace(TRACE_INFO, "%s Plug-Ins for OFX: %s\n", "Quillon", PRODUCT_VERSION_LONG);
    TraceMore("%s: %s\n", label.c_str(), traits.description);
    TraceMore("More help on %s: %s\n", label.c_str(), address.c_str());
    constexpr int NOT_FOUND = 2;
    if (!open_address(address.c_str()))
        Trace(TRACE_WARN, "Error Loading File: %s\n", shellErrorText(NOT_FOUND, address).c_str());
}
