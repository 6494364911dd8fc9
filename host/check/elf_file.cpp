#include "host/check/elf_file.h"

#include <elf.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <span>
#include <stdexcept>

namespace bundlecheck {

namespace {

// The file's bytes, with every access inside them: tables of a damaged file may point anywhere.
class Bytes {
  public:
    explicit Bytes(const std::filesystem::path& path) {
        std::ifstream file(path, std::ios::binary);
        m_bytes.assign(std::istreambuf_iterator<char>(file), {});
    }
    template <class Record>
    Record at(std::uint64_t offset) const {
        if (offset > m_bytes.size() || m_bytes.size() - offset < sizeof(Record))
            throw std::runtime_error("a table of the library points outside the file");
        Record record;
        std::memcpy(&record, m_bytes.data() + offset, sizeof record);
        return record;
    }
    std::string text(std::uint64_t offset) const {
        if (offset >= m_bytes.size()) return {};
        const auto end = std::find(m_bytes.begin() + static_cast<std::ptrdiff_t>(offset), m_bytes.end(), '\0');
        return {m_bytes.begin() + static_cast<std::ptrdiff_t>(offset), end};
    }

  private:
    std::vector<char> m_bytes;
};

class Reader {
  public:
    explicit Reader(const std::filesystem::path& path) : m_bytes(path) {
        m_header = m_bytes.at<Elf64_Ehdr>(0);
        if (std::memcmp(m_header.e_ident, ELFMAG, SELFMAG) != 0 || m_header.e_ident[EI_CLASS] != ELFCLASS64 ||
            m_header.e_type != ET_DYN)
            throw std::runtime_error("not a shared library of 64 bits");
        for (int i = 0; i < m_header.e_shnum; ++i)
            m_sections.push_back(
                m_bytes.at<Elf64_Shdr>(m_header.e_shoff + static_cast<std::uint64_t>(i) * m_header.e_shentsize));
    }

    ElfFacts read() const {
        ElfFacts facts;
        for (const Elf64_Shdr& section : m_sections) {
            if (section.sh_type == SHT_DYNSYM) readSymbols(section, facts);
            if (section.sh_type == SHT_DYNAMIC) readDynamic(section, facts);
            if (section.sh_type == SHT_GNU_verneed) readVersions(section, facts);
        }
        return facts;
    }

  private:
    std::string textOf(const Elf64_Shdr& section, std::uint64_t offset) const {
        if (section.sh_link >= m_sections.size()) return {};
        return m_bytes.text(m_sections[section.sh_link].sh_offset + offset);
    }
    void readSymbols(const Elf64_Shdr& section, ElfFacts& facts) const {
        for (std::uint64_t at = 0; at + sizeof(Elf64_Sym) <= section.sh_size; at += sizeof(Elf64_Sym)) {
            const auto symbol = m_bytes.at<Elf64_Sym>(section.sh_offset + at);
            const int binding = ELF64_ST_BIND(symbol.st_info), kind = ELF64_ST_TYPE(symbol.st_info);
            const int visibility = ELF64_ST_VISIBILITY(symbol.st_other);
            const bool visible = visibility == STV_DEFAULT || visibility == STV_PROTECTED;
            if (symbol.st_shndx == SHN_UNDEF || symbol.st_shndx == SHN_ABS || binding == STB_LOCAL || !visible ||
                kind == STT_SECTION)
                continue;
            facts.exported.push_back(textOf(section, symbol.st_name));
        }
    }
    void readDynamic(const Elf64_Shdr& section, ElfFacts& facts) const {
        for (std::uint64_t at = 0; at + sizeof(Elf64_Dyn) <= section.sh_size; at += sizeof(Elf64_Dyn)) {
            const auto entry = m_bytes.at<Elf64_Dyn>(section.sh_offset + at);
            if (entry.d_tag == DT_NULL) break;
            if (entry.d_tag == DT_NEEDED) facts.libraries.push_back(textOf(section, entry.d_un.d_val));
            if (entry.d_tag == DT_INIT_ARRAY) facts.initialisesOnLoad = true;
        }
    }
    void readVersions(const Elf64_Shdr& section, ElfFacts& facts) const {
        std::uint64_t at = section.sh_offset;
        for (std::uint32_t i = 0; i < section.sh_info; ++i) {
            const auto need = m_bytes.at<Elf64_Verneed>(at);
            std::uint64_t detailAt = at + need.vn_aux;
            for (int j = 0; j < need.vn_cnt; ++j) {
                const auto detail = m_bytes.at<Elf64_Vernaux>(detailAt);
                facts.versions.push_back({textOf(section, need.vn_file), textOf(section, detail.vna_name)});
                detailAt += detail.vna_next;
            }
            if (need.vn_next == 0) break;
            at += need.vn_next;
        }
    }

    Bytes m_bytes;
    Elf64_Ehdr m_header;
    std::vector<Elf64_Shdr> m_sections;
};

std::vector<int> numbersOf(std::string_view text) {
    std::vector<int> numbers;
    while (!text.empty()) {
        int number = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (error != std::errc()) return {};
        numbers.push_back(number);
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
        if (!text.empty()) text.remove_prefix(1);  // the dot
    }
    return numbers;
}

// The oldest systems that commercial hosts run on, RHEL 8 and its relatives: glibc 2.28, as the VFX Reference Platform
// asks for, and the runtime libraries of GCC 8.
constexpr const char* baseline[] = {"GLIBC_2.28", "GLIBCXX_3.4.25", "CXXABI_1.3.11", "CXXABI_TM_1",
                                    "GCC_7.0.0",  "OMP_4.5",        "GOMP_4.5"};

}  // namespace

ElfFacts readElf(const std::filesystem::path& library) { return Reader(library).read(); }

bool withinBaseline(const std::string& version) {
    const std::size_t digits = version.find_last_of('_');
    if (digits == std::string::npos) return false;
    const std::vector<int> asked = numbersOf(std::string_view(version).substr(digits + 1));
    if (asked.empty()) return false;
    for (const std::string_view known : baseline) {
        if (known.substr(0, digits + 1) != std::string_view(version).substr(0, digits + 1)) continue;
        return asked <= numbersOf(known.substr(digits + 1));
    }
    return false;
}

}  // namespace bundlecheck
