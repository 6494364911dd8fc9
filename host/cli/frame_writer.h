// Frames on their way to disk while the next ones are rendered: encoded on several threads, written in order.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <filesystem>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace quillon {

class FrameWriter {
  public:
    struct Frame {
        std::filesystem::path path;
        std::function<std::vector<unsigned char>()> encode;            // the file's bytes; runs on any thread
        std::function<void()> written;                                 // called in order, by one thread at a time
        std::function<std::exception_ptr(std::exception_ptr)> failed;  // what a failure of this frame is told as
    };

    // Keeps at most `most` frames at once, those being encoded included; both numbers are at least 1.
    FrameWriter(unsigned threads, std::size_t most);
    // Waits for what is being encoded and drops it.
    ~FrameWriter();
    FrameWriter(const FrameWriter&) = delete;
    FrameWriter& operator=(const FrameWriter&) = delete;

    // Waits until there is room. Throws when a frame before has failed: then no frame behind it is written.
    void put(Frame frame);
    // Waits until all frames are on disk. Throws the first failure.
    void finish();

    // Sums over all threads so far.
    struct Times {
        int frames = 0;
        double encoding = 0.0, writing = 0.0;  // seconds
    };
    Times times() const;

  private:
    void work();
    void encodeAndWrite(const Frame& frame, std::size_t number);
    bool waitForTurn(std::unique_lock<std::mutex>& lock, std::size_t number);

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Frame> m_waiting;
    std::size_t m_most, m_given = 0, m_taken = 0, m_turn = 0;  // frames put, taken by a thread, done with
    std::exception_ptr m_failure;
    bool m_stop = false;
    Times m_times;
    std::vector<std::thread> m_threads;
};

}  // namespace quillon
