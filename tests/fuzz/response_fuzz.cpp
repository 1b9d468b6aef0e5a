// A grab against a web server whose answers are arbitrary: the response header is parsed, the
// body saved, and for the crawling kinds the saved page is scanned and rewritten and the
// documents it lists are fetched in turn, each answered by the next part of the input. All of
// it through the real connection core on the in-memory socket backend.
//
// Every fetch goes through a proxy on a served port, so no name is ever looked up whatever
// hosts the pages name. At most four pages and four images are listed.
//
// Input: three option bytes, with the third's option 1 a counted piece (a length byte and the
// bytes), then steps, each a step byte and what it needs. Step byte, low three bits: 0 the
// server sends a counted piece, 1 the same byte by byte, 2 the server closes the connection
// (the document ends; the program may open the next one), 3 the tick after as many seconds as
// the next byte says (0 to 63), 4 the server sends as many times 256 filler bytes as the next
// byte's low four bits say (64 KiB at most in all, so that a shown document keeps the input
// short in time), 5 the proxy stops or starts taking connections (a connect is
// refused while it does not). At the end every connection still to come is closed without an
// answer until the grab ends.
// First option byte: low two bits the kind (0 saved under a given name, 1 one document, 2 the
// page and its images, 3 levels of links), 4 the request is HTTP 0.9 (no header is looked
// for), 8 the document is shown on the console instead.
// Second: 1 every page is browsed whatever its type, 2 pages get their trailer, 4 two levels,
// 8 one retry of a document that received nothing.
// Third: 1 the start page is on this PC's disk ("2mypc"), its content the counted piece; 2 the
// local names are made after the prefix.

#include <algorithm>
#include <string>

#include "base/textio.h"
#include "fuzz/harness.h"
#include "fuzz/peers.h"
#include "grabber/fetch.h"
#include "platform/fake_sockets.h"
#include "settings/settings.h"
#include "support/posix_peer.h"

namespace {

constexpr uint16_t kProxyPort = 9090;
constexpr const char* kStartUrl = "http://srv/a/b/index.htm";
constexpr const char* kDiskPage = "disk/start.htm";
constexpr int kMostEndings = 64;
constexpr size_t kFiller = 256;
constexpr size_t kMostFiller = 65536;

const int16_t kKinds[] = {kFetchSaveAs, kFetchBinary, kFetchImages, kFetchLevels};

void Configure(unsigned first, unsigned second, unsigned third) {
    CopyText(Settings.Url.HomeDir, fuzzing::WorkDir().c_str());
    CopyText(Settings.Url.ProxyHost, "127.0.0.1");
    Settings.Url.Port = kProxyPort;
    Settings.Url.MaxURL = 4;
    Settings.Url.MaxIMG = 4;
    Settings.Url.LeavingTimeout = 0;
    Settings.Url.Retry = (second & 8) ? 1 : 0;
    Settings.Standard.Url = (first & 4) ? 0 : 1;
    Settings.UrlRun.CheckHtmlHeader = (second & 1) ? 0 : 1;
    Settings.UrlRun.AddPageTrailer = (second & 2) ? 1 : 0;
    Settings.UrlRun.Levels = (second & 4) ? 2 : 1;
    Settings.Url.AutoName = (third & 2) ? 0 : 1;
    fakenet::Serve(kProxyPort);
}

// The URL of the start page: on the web server, or a page written on this PC's disk.
std::string StartUrl(unsigned third, fuzzing::Input& in) {
    if (!(third & 1)) return kStartUrl;
    fuzzing::MakeDir("disk");
    fuzzing::WriteFile(kDiskPage, in.Counted());
    return "http://2mypc" + fuzzing::WorkDir() + "/" + kDiskPage;
}

// The server's end of the document being fetched.
class Server {
public:
    // The proxy refuses connections while it is not serving.
    void ToggleServing() {
        serving_ = !serving_;
        if (serving_)
            fakenet::Serve(kProxyPort);
        else
            fakenet::StopServing(kProxyPort);
    }
    ~Server() { Close(); }
    // Takes the program's next connection if the current one has ended; false when none came.
    bool Next() {
        if (fd_ < 0) fd_ = fakenet::TakeConnection(kProxyPort);
        if (fd_ >= 0) peer::ReadAvailable(fd_);  // the request
        return fd_ >= 0;
    }
    void Send(const std::string& bytes) { fuzzing::Send(fd_, bytes); }
    void Fill(size_t blocks) {
        size_t bytes = std::min(kFiller * blocks, kMostFiller - filled_);
        filled_ += bytes;
        Send(std::string(bytes, 'x'));
    }
    void Close() {
        peer::Close(fd_);
        fd_ = -1;
    }

private:
    int fd_ = -1;
    bool serving_ = true;
    size_t filled_ = 0;
};

void Step(fuzzing::Input& in, Server& server) {
    switch (in.Byte() & 7) {
        case 0: server.Send(in.Counted()); break;
        case 1:
            for (char c : in.Counted()) {
                server.Send(std::string(1, c));
                fuzzing::RunProgram();
            }
            break;
        case 2: server.Close(); break;
        case 3: fuzzing::Tick(in.Byte() & 63); break;
        case 4: server.Fill(in.Byte() & 15); break;
        case 5: server.ToggleServing(); break;
        default: break;
    }
    fuzzing::RunProgram();
    server.Next();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzing::Input in(data, size);
    unsigned first = fuzzing::Options(in);
    unsigned second = fuzzing::Options(in);
    unsigned third = fuzzing::Options(in);
    fuzzing::BeginInput();
    Configure(first, second, third);
    int16_t kind = (first & 8) ? (int16_t)kFetchText : kKinds[first & 3];
    std::string url = StartUrl(third, in);
    if (StartFetch(kind, url.c_str(), "saved.htm")) {
        Server server;
        fuzzing::RunProgram();
        server.Next();
        while (!in.Empty()) Step(in, server);
        for (int i = 0; i < kMostEndings && server.Next(); ++i) {
            server.Close();
            fuzzing::RunProgram();
        }
    }
    fuzzing::EndInput();
    return 0;
}
