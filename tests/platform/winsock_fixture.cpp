#include "platform/winsock_fixture.h"

#include <algorithm>
#include <chrono>
#include <cstring>

#include "platform/posix_peer.h"

namespace testing_support {

namespace {

constexpr int kMaxTurns = 100000;
constexpr UINT_PTR kPumpTimer = 77;

int64_t NowMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace

WinsockTest* WinsockTest::current = nullptr;

LRESULT WinsockTest::Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message < WM_USER || !current) return DefWindowProcA(window, message, wParam, lParam);
    SocketMessage m{message, wParam, lParam};
    current->messages.push_back(m);
    if (current->onMessage) current->onMessage(m);
    return 0;
}

void WinsockTest::SetUp() {
    WSADATA data;
    ASSERT_EQ(WSAStartup(0x0101, &data), 0);
    current = this;
    WNDCLASSEXA cls{};
    cls.cbSize = sizeof cls;
    cls.lpfnWndProc = Procedure;
    cls.lpszClassName = "SocketTestWindow";
    ASSERT_NE(RegisterClassExA(&cls), 0);
    window = CreateWindowExA(0, "SocketTestWindow", "sockets", 0, 0, 0, 80, 25, nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(window, nullptr);
    ASSERT_EQ(SetTimer(window, kPumpTimer, 20, nullptr), kPumpTimer);
}

void WinsockTest::TearDown() {
    for (int fd : peerFds) peer::Close(fd);
    EXPECT_EQ(platform::OpenSocketCount(), 0) << "a test left a socket open";
    if (window) DestroyWindow(window);
    platform::ResetWindows();
    current = nullptr;
    WSACleanup();
}

bool WinsockTest::PumpUntil(const std::function<bool()>& done, int timeoutMs, const std::function<void()>& eachTurn) {
    int64_t deadline = NowMs() + timeoutMs;
    for (int turn = 0; turn < kMaxTurns && !done() && NowMs() < deadline; ++turn) {
        MSG msg;
        if (!GetMessageA(&msg, nullptr, 0, 0)) break;
        DispatchMessageA(&msg);
        if (eachTurn) eachTurn();
    }
    return done();
}

void WinsockTest::PumpFor(int ms, const std::function<void()>& eachTurn) {
    PumpUntil([] { return false; }, ms, eachTurn);
}

std::vector<LPARAM> WinsockTest::EventsFor(SOCKET s) const {
    std::vector<LPARAM> events;
    for (const auto& m : messages)
        if (m.wParam == (WPARAM)s) events.push_back(m.lParam);
    return events;
}

int WinsockTest::Count(SOCKET s, long event) const {
    int count = 0;
    for (LPARAM l : EventsFor(s))
        if (WSAGETSELECTEVENT(l) == event) ++count;
    return count;
}

SOCKADDR_IN WinsockTest::Loopback(uint16_t port) {
    SOCKADDR_IN a;
    memset(&a, 0, sizeof a);
    a.sin_family = AF_INET;
    a.sin_port = htons(port);
    a.sin_addr.S_addr = inet_addr("127.0.0.1");
    return a;
}

SOCKET WinsockTest::AcceptFromPeer(int* peerFd, int receiveBuffer) {
    *peerFd = -1;
    SOCKET listener = socket(AF_INET, SOCK_STREAM, 0);
    if (listener == INVALID_SOCKET) return INVALID_SOCKET;
    SOCKADDR_IN a = Loopback(0);
    SOCKET accepted = INVALID_SOCKET;
    if (bind(listener, (const SOCKADDR*)&a, sizeof a) == 0 && listen(listener, 2) == 0) {
        *peerFd = Keep(peer::Connect(peer::LocalPort((int)listener), receiveBuffer));
        if (*peerFd >= 0) accepted = accept(listener, nullptr, nullptr);
    }
    closesocket(listener);
    return accepted;
}

int WinsockTest::Keep(int fd) {
    if (fd >= 0) peerFds.push_back(fd);
    return fd;
}

void WinsockTest::ClosePeer(int fd) {
    peerFds.erase(std::remove(peerFds.begin(), peerFds.end(), fd), peerFds.end());
    peer::Close(fd);
}

void WinsockTest::ResetPeer(int fd) {
    peerFds.erase(std::remove(peerFds.begin(), peerFds.end(), fd), peerFds.end());
    peer::Reset(fd);
}

}  // namespace testing_support
