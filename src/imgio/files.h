// Private to imgio: files as a whole and as they grow.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace imgio {

// A regular file of up to 2^31 - 1 bytes, opened for reading.
class InputFile {
  public:
    InputFile() = default;
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    bool open(const char* path);
    std::int64_t size() const { return m_size; }
    std::FILE* stream() const { return m_stream; }
    bool read_all(std::vector<std::uint8_t>& bytes);

  private:
    std::FILE* m_stream = nullptr;
    std::int64_t m_size = 0;
};

// A file that stays only when it is committed.
class OutputFile {
  public:
    OutputFile() = default;
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    bool open(const char* path);  // "wb+": some formats go back to their header
    std::FILE* stream() const { return m_stream; }
    bool write(const void* bytes, std::size_t count);
    bool commit();  // closes; false when a byte could not be written, and the file is gone

  private:
    std::FILE* m_stream = nullptr;
    std::string m_path;
    bool m_failed = false;
};

}  // namespace imgio
