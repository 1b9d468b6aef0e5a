#include "grabber/site_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstring>

namespace grab_testing {

namespace {

using Clock = std::chrono::steady_clock;

int BoundSocket(uint16_t* port) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    socklen_t length = sizeof address;
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    *port = ntohs(address.sin_port);
    return fd;
}

bool Readable(int fd, int ms) {
    pollfd p{fd, POLLIN, 0};
    return poll(&p, 1, ms) > 0;
}

// The request: up to the blank line, or the first line when it names no HTTP version.
std::string ReadRequest(int fd) {
    std::string request;
    auto deadline = Clock::now() + std::chrono::seconds(5);
    while (Clock::now() < deadline && request.size() < 8192) {
        if (request.find("\r\n\r\n") != std::string::npos) break;
        size_t line = request.find("\r\n");
        if (line != std::string::npos && request.substr(0, line).find(" HTTP/") == std::string::npos) break;
        if (!Readable(fd, 50)) continue;
        char block[512];
        ssize_t n = recv(fd, block, sizeof block, 0);
        if (n <= 0) break;
        request.append(block, (size_t)n);
    }
    return request;
}

std::string PathOf(const std::string& request) {
    if (request.compare(0, 4, "GET ") != 0) return "";
    size_t end = request.find_first_of(" \r\n", 4);
    return request.substr(4, end == std::string::npos ? std::string::npos : end - 4);
}

}  // namespace

SiteServer::SiteServer() {
    listener_ = BoundSocket(&port_);
    listen(listener_, 8);
    thread_ = std::thread([this] { Run(); });
}

SiteServer::~SiteServer() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    thread_.join();
    close(listener_);
}

void SiteServer::Serve(const std::string& path, const std::string& bytes, bool hold) {
    std::lock_guard<std::mutex> lock(mutex_);
    answers_[path] = Answer{bytes, hold};
}

std::string SiteServer::Http10(const std::string& body, const std::string& type) {
    return "HTTP/1.0 200 OK\r\nContent-Type: " + type + "\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}

std::vector<std::string> SiteServer::Requests() {
    std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
}

void SiteServer::Release() {
    std::lock_guard<std::mutex> lock(mutex_);
    released_ = true;
}

void SiteServer::Run() {
    for (;;) {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (stop_) return;
        }
        if (!Readable(listener_, 50)) continue;
        int fd = accept(listener_, nullptr, nullptr);
        if (fd < 0) continue;
        Handle(fd);
        close(fd);
    }
}

void SiteServer::Handle(int fd) {
    std::string request = ReadRequest(fd);
    Answer answer{"HTTP/1.0 404 Not Found\r\n\r\n", false};
    {
        std::lock_guard<std::mutex> lock(mutex_);
        requests_.push_back(request);
        auto found = answers_.find(PathOf(request));
        if (found != answers_.end()) answer = found->second;
    }
    send(fd, answer.bytes.data(), answer.bytes.size(), MSG_NOSIGNAL);
    if (!answer.hold) return;
    auto deadline = Clock::now() + std::chrono::seconds(10);
    while (Clock::now() < deadline) {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (released_ || stop_) return;
        }
        if (Readable(fd, 20)) {
            char block[64];
            if (recv(fd, block, sizeof block, 0) <= 0) return;  // the grabber closed
        }
    }
}

}  // namespace grab_testing
