// A small web server on 127.0.0.1 for the grab tests, on plain POSIX sockets in a thread of
// its own. It answers each connection with the bytes registered for the requested path (or a
// 404 line), records every request, and can hold a connection open after its answer until
// the test releases it. Every wait is bounded.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace grab_testing {

class SiteServer {
public:
    SiteServer();
    ~SiteServer();
    SiteServer(const SiteServer&) = delete;
    SiteServer& operator=(const SiteServer&) = delete;

    uint16_t port() const { return port_; }
    // The answer to GET path: raw bytes, sent as they are. With hold, the connection stays
    // open after them until Release() (or 10 s).
    void Serve(const std::string& path, const std::string& bytes, bool hold = false);
    // An HTTP/1.0 answer with a Content-Length and a Content-Type.
    static std::string Http10(const std::string& body, const std::string& type = "text/html");
    std::vector<std::string> Requests();
    void Release();

private:
    struct Answer {
        std::string bytes;
        bool hold;
    };
    void Run();
    void Handle(int fd);

    int listener_ = -1;
    uint16_t port_ = 0;
    bool stop_ = false;
    bool released_ = false;
    std::mutex mutex_;
    std::map<std::string, Answer> answers_;
    std::vector<std::string> requests_;
    std::thread thread_;
};

}  // namespace grab_testing
