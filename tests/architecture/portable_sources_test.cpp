// No result hangs on the system's mathematics: its elementary functions differ in the last bit between libraries and
// processors, and so do the library's distributions and complex numbers. simdlib/elementary.h has what stands in for
// them. Roots, rounding and remainders are exact and may be used.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

// Comments and texts become blanks; lines stay.
std::string code_only(const std::string& text) {
    static const std::regex noise(R"(//[^\n]*|/\*[^]*?\*/|"(\\.|[^"\\\n])*"|'(\\.|[^'\\\n])+')");
    std::string code;
    std::size_t from = 0;
    for (std::sregex_iterator found(text.begin(), text.end(), noise), end; found != end; ++found) {
        const auto place = static_cast<std::size_t>(found->position());
        code.append(text, from, place - from);
        for (const char c : found->str()) code += c == '\n' ? '\n' : ' ';
        from = place + static_cast<std::size_t>(found->length());
    }
    return code + text.substr(from);
}

// What the code takes from the system that is not the same everywhere, each with its line.
std::vector<std::string> findings(const std::string& text) {
    // Whose function it is, and its name: members and other namespaces have their own.
    static const std::regex function(
        R"(((?:\w+\s*)?::\s*|\.|->|\b)(\b__builtin_|\b)(exp|exp2|exp10|expm1|log|log2|log10|log1p|pow|powi|sin|cos|sincos|)"
        R"(tan|asin|acos|atan|atan2|sinh|cosh|tanh|asinh|acosh|atanh|hypot|cbrt|erf|erfc|tgamma|lgamma|fma)[fl]?\b(?=(\s*\()?))");
    static const std::regex others(
        R"(std\s*::\s*(lerp|polar|complex|\w+_distribution)\b|#\s*include\s*<(complex|ctgmath|tgmath.h|valarray|random)>)");
    const std::string code = code_only(text);
    std::vector<std::string> found;
    const auto add = [&](const std::smatch& at) {
        const auto line = 1 + std::count(code.begin(), code.begin() + at.position() + at.length(), '\n');
        found.push_back(std::to_string(line) + ": " + at.str());
    };
    const std::sregex_iterator end;
    for (std::sregex_iterator at(code.begin(), code.end(), function); at != end; ++at) {
        std::string owner = (*at)[1].str();
        std::erase_if(owner, [](char c) { return c == ' '; });
        const bool is_called = (*at)[4].matched;
        if (owner == "std::" || (*at)[2].length() > 0 || ((owner.empty() || owner == "::") && is_called)) add(*at);
    }
    for (std::sregex_iterator at(code.begin(), code.end(), others); at != end; ++at) add(*at);
    return found;
}

TEST(PortableSources, TheSearchFindsWhatItShould) {
    for (const char* bad : {"x = std::exp(y);", "float a = powf(x, 2);", "  sin (x)", "::cos(x)", "__builtin_tan(x)",
                            "f(&std::atan2);", "#include <complex>", "std::uniform_int_distribution<int> d;"})
        EXPECT_EQ(findings(bad).size(), 1u) << bad;
    for (const char* good :
         {"k7_exp(x)", "// std::exp(x)", "\"std::exp(x)\"", "elementary::exp(v)", "table.exp(x)", "std::sqrt(x)",
          "std::fmod(a, b)", "power(x)", "const float cosine = 1;", "/* sin(x)\n cos(x) */"})
        EXPECT_EQ(findings(good), std::vector<std::string>{}) << good;
}

TEST(PortableSources, TakeNothingInexactFromTheSystem) {
    int files = 0;
    for (const auto& entry : fs::recursive_directory_iterator(fs::path(QUILLON_SOURCE) / "src")) {
        const fs::path& path = entry.path();
        const std::string extension = path.extension().string();
        if (extension != ".h" && extension != ".cpp" && extension != ".cu") continue;
        if (path.filename() == "elementary.h") continue;  // defines functions of these names
        std::ifstream file(path);
        const std::string text{std::istreambuf_iterator<char>(file), {}};
        for (const std::string& line : findings(text)) ADD_FAILURE() << path << ":" << line;
        ++files;
    }
    EXPECT_GT(files, 100);
}

}  // namespace
