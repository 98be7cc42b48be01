#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

namespace quillvane::bench {

// A burst of hostile connection attempts on its own thread, as fast as the kernel lets them go:
// up to 32 non-blocking connects to the port on 127.0.0.1 are in flight at once; each one that
// connects sends either a TLS 1.2 ClientHello offering the link's cipher suite (so the host starts
// a real server handshake) or a line of garbage (alternately), and closes without reading. An
// attempt the kernel has not connected within 100 ms (its listen queue was full and the SYN was
// dropped) is given up rather than waited for, so the burst stays a burst.
class ConnectionFlood {
public:
    struct Result {
        int attempts = 0;
        int connected = 0;  // TCP connect succeeded (the host may still have refused at once)
        int unanswered = 0; // given up after 100 ms
        int failed = 0;     // the connect failed outright
        double milliseconds = 0;
    };

    ~ConnectionFlood();

    void start(std::uint16_t port, int attempts);
    // Whether the burst has ended; join() then returns at once.
    bool finished() const { return m_finished; }
    // Waits for the burst to end.
    Result join();

private:
    void run(std::uint16_t port, int attempts);

    std::thread m_thread;
    Result m_result;
    std::atomic<bool> m_finished = false;
};

} // namespace quillvane::bench
