#include "host/cli/frame_writer.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "host/cli/atomic_file.h"

namespace quillon {

namespace {

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

FrameWriter::FrameWriter(unsigned threads, std::size_t most) : m_most(std::max<std::size_t>(most, 1)) {
    for (unsigned i = 0; i < std::max(threads, 1u); ++i) m_threads.emplace_back([this] { work(); });
}

FrameWriter::~FrameWriter() {
    {
        const std::lock_guard lock(m_mutex);
        m_stop = true;
    }
    m_changed.notify_all();
    for (std::thread& thread : m_threads) thread.join();
}

void FrameWriter::put(Frame frame) {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_failure || m_given - m_turn < m_most; });
    if (m_failure) std::rethrow_exception(m_failure);
    m_waiting.push_back(std::move(frame));
    ++m_given;
    m_changed.notify_all();
}

void FrameWriter::finish() {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_failure || m_turn == m_given; });
    if (m_failure) std::rethrow_exception(m_failure);
}

FrameWriter::Times FrameWriter::times() const {
    const std::lock_guard lock(m_mutex);
    return m_times;
}

void FrameWriter::work() {
    for (;;) {
        Frame frame;
        std::size_t number = 0;
        {
            std::unique_lock lock(m_mutex);
            m_changed.wait(lock, [this] { return m_stop || m_failure || !m_waiting.empty(); });
            if (m_stop || m_failure) return;
            frame = std::move(m_waiting.front());
            m_waiting.pop_front();
            number = m_taken++;
        }
        try {
            encodeAndWrite(frame, number);
        } catch (...) {
            const std::exception_ptr failure = frame.failed(std::current_exception());
            std::unique_lock lock(m_mutex);
            if (!waitForTurn(lock, number)) return;  // a frame before has failed, and that is what is told
            m_failure = failure;
            m_changed.notify_all();
            return;
        }
    }
}

// False when a frame before has failed or the writer is at its end.
bool FrameWriter::waitForTurn(std::unique_lock<std::mutex>& lock, std::size_t number) {
    m_changed.wait(lock, [&] { return m_stop || m_failure || m_turn == number; });
    return !m_stop && !m_failure;
}

void FrameWriter::encodeAndWrite(const Frame& frame, std::size_t number) {
    auto start = std::chrono::steady_clock::now();
    const std::vector<unsigned char> bytes = frame.encode();
    const double encoding = secondsSince(start);
    {
        std::unique_lock lock(m_mutex);
        m_times.encoding += encoding;
        if (!waitForTurn(lock, number)) return;
    }
    // Whoever has the turn is alone here.
    start = std::chrono::steady_clock::now();
    writeFileAtomically(frame.path, bytes.data(), bytes.size());
    const double writing = secondsSince(start);
    if (frame.written) frame.written();
    const std::lock_guard lock(m_mutex);
    m_times.writing += writing;
    ++m_times.frames;
    ++m_turn;
    m_changed.notify_all();
}

}  // namespace quillon
