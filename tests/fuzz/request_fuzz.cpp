// Requests through the real connection core: visitors connect to the server on the in-memory
// socket backend and send arbitrary bytes, in arbitrary pieces, on several connections at
// once; the program reads them, processes the requests and answers (files, the Mailbox, CGI
// programs, the error page), its tick runs between the pieces.
//
// Input: two option bytes, then steps of a step byte and, for most steps, a counted piece (a
// length byte and that many bytes). The step byte's low three bits name a peer (0 to 3 are
// visitors, 4 to 7 the proxy's origin connections), its next three bits the step:
//   0 write the piece, 1 write the piece byte by byte, 2 close, 3 half-close (no more
//   writing), 4 the tick after as many seconds as the next byte says (0 to 63), 5 the piece
//   becomes the answer of every waiting CGI program (its ".tok" file, kept inside the working
//   directory), 6 a new connection, 7 another program starts writing a.txt (the next byte
//   even) or every ".tok" file (odd), or stops (so the server finds them locked).
// First option byte: 1 HTTP 1.0 answers with a status header, 2 connections stay open after
// an answer, 4 the server relays to an origin server (proxy mode), 8 three channels only and
// closing through the leaving state.
// Second, the console and channel modes a user can set: 1 no duplex (a sending channel does
// not read), 2 received commands are shown, 4 received data is not shown, 8 a leaving
// channel's CGI program still counts against the limit (CGISynchro).
//
// Besides the sanitizers, one promise is checked: every file the server sends (as its console
// says) lies inside its home directory. The CGI answers of the input name files there too, as
// the site's own programs would.

#include <fcntl.h>
#include <unistd.h>

#include <cctype>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "base/textio.h"
#include "channel/sockets.h"
#include "fuzz/harness.h"
#include "fuzz/peers.h"
#include "platform/fake_sockets.h"
#include "platform/files.h"
#include "settings/settings.h"

namespace {

constexpr uint16_t kPort = 8080;
constexpr uint16_t kOriginPort = 9090;
constexpr int kFirstOrigin = 4;

// The CGI programs: one waited for, one not, one with arguments, one that cannot start.
constexpr const char* kCgiMap =
    "cgi-dosw yes hide /bin/true\n"
    "cgi-dosn no show /bin/true\n"
    "cgi-dosa yes show /bin/true -x one two\n"
    "cgi-dosm yes show /nonexistent/korvel-cgi\n"
    "cgi-dosbad yes\n";

void MakeSite() {
    fuzzing::MakeDir("site");
    fuzzing::MakeDir("site/sub");
    fuzzing::WriteFile("site/home.htm", "<p>home</p>");
    fuzzing::WriteFile("site/a.txt", "hello");
    fuzzing::WriteFile("site/big.gif", std::string(1000, 'g'));
    fuzzing::WriteFile("site/data.xyz", "typed by the settings");
    fuzzing::WriteFile("site/stder.htm", "missing");
    fuzzing::WriteFile("site/stdack.htm", "thanks");
    fuzzing::WriteFile("site/cgierr.htm", "cgi failed");
    fuzzing::WriteFile("site/sub/home.htm", "sub home");
    fuzzing::WriteFile("korvel.ini", "[Mime]\nxyz=application/x-test\n");
    fuzzing::WriteFile("cgi-dos.map", kCgiMap);
}

void Configure(unsigned options, unsigned modes) {
    ServerSettings& s = Settings.Server;
    CopyText(s.HomeDir, "site");
    s.ServerPort = kPort;
    Settings.Standard.Server = (options & 1) ? 1 : 0;
    if (options & 4) {
        ApplyServerModel(1);
        s.ServerProxy = 1;
        CopyText(s.ProxyHost, "127.0.0.1");
        s.ProxyPort = kOriginPort;
        fakenet::Serve(kOriginPort);
    }
    if (options & 2) s.ServerMode &= ~SendAndClose;
    if (options & 8) {
        s.HowManyClients = 3;
    } else {
        s.LeavingTimeout = 0;
    }
    if (modes & 1) s.ServerMode &= ~ModeDuplex;
    if (modes & 2) s.ServerMode |= ShowReceivedCommands;
    if (modes & 4) s.ServerMode &= ~ShowReceivedData;
    Settings.CGI.CGIMax = 1;
    Settings.CGI.CGISynchro = (modes & 8) ? 1 : 0;
}

// What a CGI program writes into its token file: the name of the file to send (or NULL). The
// program is the site's own and trusted, so the fuzzed name is kept inside the home
// directory: it is put under "site/", with no drive and no "..".
void AnswerCgi(const std::string& piece) {
    std::string answer = piece;
    for (size_t i = 0; i < answer.size(); ++i) {
        char& c = answer[i];
        if (c == ':' || (c == '.' && i > 0 && answer[i - 1] == '.')) c = '_';
    }
    size_t word = 0;
    while (word < answer.size() && (signed char)answer[word] <= 32) ++word;
    if (answer.compare(word, 4, "NULL") != 0) answer.insert(word, "site/");
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator("site", ignored))
        if (entry.path().extension() == ".tok") fuzzing::WriteFile(entry.path().string(), answer);
}

// Another program writing files of the site, which the server then finds locked.
class Writers {
public:
    ~Writers() { Stop(); }
    void Toggle(bool tokens) {
        if (!fds_.empty()) return Stop();
        if (!tokens) return Open("site/a.txt");
        std::error_code ignored;
        for (const auto& entry : std::filesystem::directory_iterator("site", ignored))
            if (entry.path().extension() == ".tok") Open(entry.path().string());
    }

private:
    void Open(const std::string& path) {
        int fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
        if (fd >= 0) fds_.push_back(fd);
    }
    void Stop() {
        for (int fd : fds_) close(fd);
        fds_.clear();
    }
    std::vector<int> fds_;
};

// The path of a console line "\nSending file <N> PATH ...\n" that starts at `at`, or "". The
// console also shows what visitors send, so the line is taken only when it is exactly the
// server's own: what a visitor sends is shown with each line feed as "[LF]" before it, or
// after "Rx_Ligne: ", and a path read from a request holds no blank.
std::string SentPath(const std::string& console, size_t at) {
    if (at > 0 && console[at - 1] == ']') return "";
    size_t i = at + strlen("\nSending file <");
    size_t digits = 0;
    while (i < console.size() && isdigit((unsigned char)console[i])) ++i, ++digits;
    if (digits == 0 || digits > 2 || console.compare(i, 2, "> ") != 0) return "";
    size_t start = i + 2, end = start;
    while (end < console.size() && (signed char)console[end] > 32) ++end;
    if (end == start || console.compare(end, 5, " ...\n") != 0) return "";
    return console.substr(start, end - start);
}

// The files the console says were sent must lie inside the home directory.
void CheckSentFiles() {
    std::error_code error;
    const std::string home = std::filesystem::canonical(fuzzing::WorkDir() + "/site", error).string() + "/";
    const std::string console = fuzzing::TakeConsole();
    for (size_t at = console.find("\nSending file <"); at != std::string::npos;
         at = console.find("\nSending file <", at + 1)) {
        std::string path = SentPath(console, at);
        if (path.empty()) continue;
        std::string real = std::filesystem::weakly_canonical(HostPath(path.c_str()), error).string();
        if (real.compare(0, home.size(), home) != 0) {
            fprintf(stderr, "the server sent %s (%s), outside its home directory %s\n", path.c_str(), real.c_str(),
                    home.c_str());
            abort();
        }
    }
}

void Step(fuzzing::Input& in, fuzzing::Peers& peers, Writers& writers) {
    uint8_t step = in.Byte();
    int peer = step & 7;
    int op = (step >> 3) & 7;
    // A visitor that writes first connects first.
    if (op <= 1 && peer < kFirstOrigin && peers.Get(peer) < 0) peers.Connect(peer, kPort);
    switch (op) {
        case 0: peers.Write(peer, in.Counted()); break;
        case 1:
            for (char c : in.Counted()) {
                peers.Write(peer, std::string(1, c));
                fuzzing::RunProgram();
            }
            break;
        case 2: peers.Close(peer); break;
        case 3: peers.HalfClose(peer); break;
        case 4: fuzzing::Tick(in.Byte() & 63); break;
        case 5: AnswerCgi(in.Counted()); break;
        case 6:
            if (peer < kFirstOrigin) peers.Connect(peer, kPort);
            break;
        case 7: writers.Toggle(in.Byte() & 1); break;
    }
    fuzzing::RunProgram();
    peers.TakeConnections(kOriginPort, kFirstOrigin);
    peers.Drain();
    CheckSentFiles();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzing::Input in(data, size);
    unsigned options = fuzzing::Options(in);
    unsigned modes = fuzzing::Options(in);
    fuzzing::BeginInput();
    MakeSite();
    Configure(options, modes);
    if (OpenServer()) {
        fuzzing::Peers peers;
        Writers writers;
        while (!in.Empty()) Step(in, peers, writers);
        peers.CloseAll();
        fuzzing::RunProgram();
    }
    fuzzing::EndInput();
    return 0;
}
