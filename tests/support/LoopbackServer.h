#pragma once

#include <arpa/inet.h>
#include <atomic>
#include <mutex>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace tavrin::testing {

// A tiny HTTP server on 127.0.0.1 and an ephemeral port. It answers each request with the next
// status of `statuses` (the last one repeats), keeps the request bodies, and stops with the test.
class LoopbackServer {
public:
    explicit LoopbackServer(std::vector<int> statuses = {200}) : statuses_(std::move(statuses)) {
        fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address);
        socklen_t length = sizeof address;
        ::getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ntohs(address.sin_port);
        ::listen(fd_, 16);
        thread_ = std::thread([this] { serve(); });
    }
    ~LoopbackServer() {
        stopping_ = true;
        thread_.join();
        ::close(fd_);
    }

    std::string url() const { return "http://127.0.0.1:" + std::to_string(port_) + "/batch"; }
    int port() const { return port_; }
    std::vector<std::string> bodies() const {
        std::lock_guard lock(mutex_);
        return bodies_;
    }
    // The request line and headers of each request, in the order they came.
    std::vector<std::string> heads() const {
        std::lock_guard lock(mutex_);
        return heads_;
    }
    // While true, requests are read but never answered (a hung service).
    std::atomic<bool> silent{false};
    // While true, a request that has been read waits for its answer (a slow service).
    std::atomic<bool> held{false};

private:
    void serve() {
        while (!stopping_) {
            pollfd pfd{fd_, POLLIN, 0};
            if (::poll(&pfd, 1, 50) <= 0)
                continue;
            const int client = ::accept(fd_, nullptr, nullptr);
            if (client < 0)
                continue;
            std::string request;
            char buffer[4096];
            std::size_t expected = std::string::npos;
            for (int i = 0; i < 200 && (expected == std::string::npos || request.size() < expected); ++i) {
                pollfd cfd{client, POLLIN, 0};
                if (::poll(&cfd, 1, 50) <= 0)
                    continue;
                const auto n = ::read(client, buffer, sizeof buffer);
                if (n <= 0)
                    break;
                request.append(buffer, static_cast<std::size_t>(n));
                const auto headerEnd = request.find("\r\n\r\n");
                const auto lengthAt = request.find("Content-Length: ");
                if (headerEnd != std::string::npos && lengthAt != std::string::npos)
                    expected = headerEnd + 4 + std::stoul(request.substr(lengthAt + 16));
            }
            const auto headerEnd = request.find("\r\n\r\n");
            {
                std::lock_guard lock(mutex_);
                bodies_.push_back(headerEnd == std::string::npos ? "" : request.substr(headerEnd + 4));
                heads_.push_back(request.substr(0, headerEnd));
            }
            while (held && !stopping_)
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            if (silent) {
                while (silent && !stopping_)
                    std::this_thread::sleep_for(std::chrono::milliseconds(10));
            } else {
                const int status = statuses_[std::min(answered_++, statuses_.size() - 1)];
                const std::string reply =
                    "HTTP/1.1 " + std::to_string(status) + " X\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
                [[maybe_unused]] auto written = ::write(client, reply.data(), reply.size());
            }
            ::close(client);
        }
    }

    std::vector<int> statuses_;
    std::size_t answered_ = 0;
    int fd_ = -1;
    int port_ = 0;
    std::atomic<bool> stopping_{false};
    mutable std::mutex mutex_;
    std::vector<std::string> bodies_;
    std::vector<std::string> heads_;
    std::thread thread_;
};

} // namespace tavrin::testing
