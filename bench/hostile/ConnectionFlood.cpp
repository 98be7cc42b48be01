#include "ConnectionFlood.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <vector>

namespace quillvane::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kInFlight = 32;
constexpr auto kGiveUp = std::chrono::milliseconds(100);

// A minimal TLS 1.2 ClientHello: version 3.3, a fixed random, no session, the suites
// TLS_PSK_WITH_AES_128_GCM_SHA256 (0x00A8) and the renegotiation SCSV, no compression, no
// extensions. Enough for the server to answer with its hello and wait for the key exchange.
std::vector<std::uint8_t> clientHello() {
    std::vector<std::uint8_t> body = {0x03, 0x03};
    for (int i = 0; i < 32; ++i)
        body.push_back(static_cast<std::uint8_t>(i * 7 + 1));
    const std::array<std::uint8_t, 9> rest = {0x00, 0x00, 0x04, 0x00, 0xA8, 0x00, 0xFF, 0x01, 0x00};
    body.insert(body.end(), rest.begin(), rest.end());

    const auto length = body.size();
    std::vector<std::uint8_t> handshake = {0x01, 0x00, static_cast<std::uint8_t>(length >> 8),
                                           static_cast<std::uint8_t>(length)};
    handshake.insert(handshake.end(), body.begin(), body.end());

    const auto recordLength = handshake.size();
    std::vector<std::uint8_t> record = {0x16, 0x03, 0x01,
                                        static_cast<std::uint8_t>(recordLength >> 8),
                                        static_cast<std::uint8_t>(recordLength)};
    record.insert(record.end(), handshake.begin(), handshake.end());
    return record;
}

const std::vector<std::uint8_t> kGarbage = {'G', 'E', 'T', ' ', '/', ' ', 'H',  'T',
                                            'T', 'P', '/', '1', '.', '1', '\r', '\n'};

struct Attempt {
    int fd = -1;
    Clock::time_point started;
    const std::vector<std::uint8_t>* payload = nullptr;
};

void deliverAndClose(const Attempt& attempt) {
    // A refused connection may already be reset; the send's outcome does not matter.
    static_cast<void>(
        ::send(attempt.fd, attempt.payload->data(), attempt.payload->size(), MSG_NOSIGNAL));
    ::close(attempt.fd);
}

} // namespace

ConnectionFlood::~ConnectionFlood() {
    if (m_thread.joinable())
        m_thread.join();
}

void ConnectionFlood::start(std::uint16_t port, int attempts) {
    m_thread = std::thread([this, port, attempts] { run(port, attempts); });
}

ConnectionFlood::Result ConnectionFlood::join() {
    if (m_thread.joinable())
        m_thread.join();
    return m_result;
}

void ConnectionFlood::run(std::uint16_t port, int attempts) {
    const std::vector<std::uint8_t> hello = clientHello();
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);

    const auto started = Clock::now();
    Result result;
    std::vector<Attempt> pending;
    while (result.attempts < attempts || !pending.empty()) {
        while (result.attempts < attempts && pending.size() < kInFlight) {
            Attempt attempt{::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0),
                            Clock::now(), result.attempts % 2 == 0 ? &hello : &kGarbage};
            ++result.attempts;
            if (attempt.fd < 0) {
                ++result.failed;
                continue;
            }
            if (::connect(attempt.fd, reinterpret_cast<const sockaddr*>(&address),
                          sizeof address) == 0) {
                ++result.connected;
                deliverAndClose(attempt);
            } else if (errno == EINPROGRESS) {
                pending.push_back(attempt);
            } else {
                ++result.failed;
                ::close(attempt.fd);
            }
        }

        std::vector<pollfd> polls;
        for (const Attempt& attempt : pending)
            polls.push_back({attempt.fd, POLLOUT, 0});
        ::poll(polls.data(), polls.size(), 1);

        std::vector<Attempt> still;
        const auto now = Clock::now();
        for (std::size_t i = 0; i < pending.size(); ++i) {
            const Attempt& attempt = pending[i];
            if (polls[i].revents != 0) {
                int error = 0;
                socklen_t size = sizeof error;
                ::getsockopt(attempt.fd, SOL_SOCKET, SO_ERROR, &error, &size);
                if (error == 0) {
                    ++result.connected;
                    deliverAndClose(attempt);
                } else {
                    ++result.failed;
                    ::close(attempt.fd);
                }
            } else if (now - attempt.started > kGiveUp) {
                ++result.unanswered;
                ::close(attempt.fd);
            } else {
                still.push_back(attempt);
            }
        }
        pending = std::move(still);
    }
    result.milliseconds = std::chrono::duration<double, std::milli>(Clock::now() - started).count();
    m_result = result;
    m_finished = true;
}

} // namespace quillvane::bench
