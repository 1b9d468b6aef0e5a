// The floor under korvel's file sending: one thread, poll(), and for every connection a
// request read up to its blank line, then the file moved in 200-byte read()s and 200-byte
// send()s, then close. It does nothing else (no console, no settings, no header but the status
// line and the length), so it shows what the 200-byte sending costs by itself.
//
// With --whole it is the floor under any poll-loop server of small files instead: the file is
// read at once and the answer leaves in one send().
//
//   sendloop PORT DIRECTORY [--whole]
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr size_t kPiece = 200;
bool whole = false;

struct Connection {
    int socket = -1;
    int file = -1;
    std::string request;
    std::string pending;  // the part of the current piece not sent yet
};

bool ReadRequest(Connection& c, const std::string& directory) {
    char piece[kPiece];
    ssize_t n = recv(c.socket, piece, sizeof piece, 0);
    if (n <= 0) return false;
    c.request.append(piece, (size_t)n);
    if (c.request.find("\r\n\r\n") == std::string::npos) return true;
    size_t start = c.request.find(' ') + 1, end = c.request.find(' ', start);
    std::string path = directory + c.request.substr(start, end - start);
    c.file = open(path.c_str(), O_RDONLY);
    struct stat info {};
    if (c.file < 0 || fstat(c.file, &info) != 0) {
        c.pending = "HTTP/1.0 404 Not Found\r\nContent-Length: 0\r\n\r\n";
        return true;
    }
    c.pending = "HTTP/1.0 200 OK\r\nContent-Length: " + std::to_string((long long)info.st_size) + "\r\n\r\n";
    if (whole) {
        size_t header = c.pending.size();
        c.pending.resize(header + (size_t)info.st_size);
        ssize_t n = read(c.file, &c.pending[header], (size_t)info.st_size);
        c.pending.resize(header + (size_t)(n > 0 ? n : 0));
        close(c.file);
        c.file = -1;
    }
    return true;
}

// Sends until the socket is full or the file ends; false when the connection is done.
bool SendPieces(Connection& c) {
    for (;;) {
        if (c.pending.empty()) {
            char piece[kPiece];
            ssize_t n = c.file >= 0 ? read(c.file, piece, sizeof piece) : 0;
            if (n <= 0) return false;
            c.pending.assign(piece, (size_t)n);
        }
        ssize_t sent = send(c.socket, c.pending.data(), c.pending.size(), MSG_NOSIGNAL);
        if (sent < 0) return errno == EAGAIN;
        c.pending.erase(0, (size_t)sent);
    }
}

void Close(Connection& c) {
    if (c.file >= 0) close(c.file);
    close(c.socket);
    c = Connection();
}

}  // namespace

int main(int argc, char** argv) {
    whole = argc == 4 && strcmp(argv[3], "--whole") == 0;
    if (argc != 3 && !whole) {
        fprintf(stderr, "usage: %s PORT DIRECTORY [--whole]\n", argv[0]);
        return 2;
    }
    int listener = socket(AF_INET, SOCK_STREAM, 0);
    int on = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons((uint16_t)atoi(argv[1]));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(listener, (sockaddr*)&address, sizeof address) != 0 || listen(listener, 128) != 0) {
        perror("sendloop");
        return 1;
    }
    std::string directory = std::string(argv[2]) + "/";
    std::vector<Connection> connections;
    for (;;) {
        std::vector<pollfd> fds{{listener, POLLIN, 0}};
        for (auto& c : connections) fds.push_back({c.socket, (short)(c.file >= 0 || !c.pending.empty() ? POLLOUT : POLLIN), 0});
        if (poll(fds.data(), fds.size(), -1) < 0) continue;
        for (size_t i = 1; i < fds.size(); ++i) {
            Connection& c = connections[i - 1];
            if (!fds[i].revents) continue;
            bool sending = c.file >= 0 || !c.pending.empty();
            bool alive = sending ? SendPieces(c) : ReadRequest(c, directory) && (c.pending.empty() || SendPieces(c));
            if (!alive) Close(c);
        }
        std::vector<Connection> open;
        for (auto& c : connections)
            if (c.socket >= 0) open.push_back(c);
        connections.swap(open);
        if (fds[0].revents & POLLIN) {
            int s = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK);
            if (s >= 0) connections.push_back(Connection{s, -1, "", ""});
        }
    }
}
