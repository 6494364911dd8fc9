// Work in a process of its own, with limits: what it says, and how it ended.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace bundlecheck {

struct Limits {
    double seconds = 20.0;  // of time on the wall, then it is killed; of processor time four times as much
    static constexpr std::size_t anyMemory = 0;
    std::size_t memory = 4ull << 30;  // bytes of address space; not under a sanitizer, which reserves terabytes
    std::string scratch;              // a folder that becomes the child's home and folder for temporary files
};

enum class MessageKind : char {
    Step = 'S',
    Finding = 'F',
    Note = 'N',
    Renders = 'R',
    GivenUp = 'G',
    Text = 'T',
    Done = 'D'
};

struct Message {
    MessageKind kind;
    std::string text;
};

// The child's way to its parent: each message is whole or missing.
class Sender {
  public:
    explicit Sender(int descriptor) : m_descriptor(descriptor) {}
    void send(MessageKind kind, const std::string& text) const;
    int descriptor() const { return m_descriptor; }

  private:
    int m_descriptor;
};

class ChildProcess {
  public:
    using Work = std::function<void(const Sender&)>;
    enum class End { Running, Finished, Died, TimedOut };

    // Forks; the child runs the work and ends. Throws std::runtime_error when there is no process to be had.
    ChildProcess(const Work& work, const Limits& limits);
    ~ChildProcess();  // kills one that still runs
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    int descriptor() const { return m_pipe; }  // readable when there is something for advance()
    // Reads what has come; End::Running until the child is gone or its time is up.
    End advance();
    const std::vector<Message>& messages() const { return m_messages; }
    std::string lastStep() const;
    // What the child wrote to its standard streams; its last 64 KiB.
    std::string output() const;
    // "killed by signal 11 (Segmentation fault)", "ended with exit code 1", "no end after 20 s".
    std::string deathText() const;

  private:
    [[noreturn]] static void runChild(const Work& work, const Limits& limits, int pipe, int output);
    void takeMessages();
    void reap();

    pid_t m_child = -1;
    int m_pipe = -1, m_output = -1;
    double m_seconds;
    std::chrono::steady_clock::time_point m_deadline;
    std::string m_buffer;
    std::vector<Message> m_messages;
    End m_end = End::Running;
    int m_status = 0;
};

// Work that becomes another program, with the words and the pipe's number as its arguments and the text as its input.
// That program goes on by workAsChild().
ChildProcess::Work becoming(const std::filesystem::path& program, std::vector<std::string> words, std::string input);
[[noreturn]] void workAsChild(const ChildProcess::Work& work, int pipe);

// Waits until one of the children has something to say, for at most `seconds`.
void waitForAny(const std::vector<ChildProcess*>& children, double seconds);

// Images whose surroundings are pages that nobody may touch, so that a fault can be told in words. Slots are reused;
// the fault handler reads them.
void watchMemory(const void* start, std::size_t size, const char* name);
void forgetMemory(const void* start);

}  // namespace bundlecheck
