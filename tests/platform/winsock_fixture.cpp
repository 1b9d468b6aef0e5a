#include "platform/winsock_fixture.h"

#include <algorithm>
#include <chrono>

namespace testing_support {

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
    ASSERT_EQ(SetTimer(window, 77, 20, nullptr), 77u);
}

void WinsockTest::TearDown() {
    for (int fd : peerFds) peer::Close(fd);
    for (SOCKET s : sockets) closesocket(s);
    EXPECT_EQ(platform::OpenSocketCount(), 0) << "a test left a socket open";
    if (window) DestroyWindow(window);
    platform::ResetWindows();
    current = nullptr;
    WSACleanup();
}

bool WinsockTest::PumpUntil(const std::function<bool()>& done, int timeoutMs, const std::function<void()>& eachTurn) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!done() && std::chrono::steady_clock::now() < deadline) {
        MSG msg;
        if (!GetMessageA(&msg, nullptr, 0, 0)) break;
        DispatchMessageA(&msg);
        if (eachTurn) eachTurn();
    }
    return done();
}

std::vector<LPARAM> WinsockTest::EventsFor(SOCKET s) const {
    std::vector<LPARAM> events;
    for (const auto& m : messages)
        if (m.wParam == (WPARAM)s) events.push_back(m.lParam);
    return events;
}

int WinsockTest::Count(SOCKET s, long event) const {
    auto events = EventsFor(s);
    return (int)std::count_if(events.begin(), events.end(), [&](LPARAM l) { return WSAGETSELECTEVENT(l) == event; });
}

SOCKADDR_IN WinsockTest::Loopback(uint16_t port) {
    SOCKADDR_IN a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(port);
    a.sin_addr.S_addr = inet_addr("127.0.0.1");
    return a;
}

SOCKET WinsockTest::Bound(SOCKADDR_IN* address, bool listening) {
    SOCKET s = socket(AF_INET, SOCK_STREAM, 0);
    SOCKADDR_IN any = Loopback(0);
    EXPECT_EQ(bind(s, (const SOCKADDR*)&any, sizeof any), 0);
    if (listening) {
        EXPECT_EQ(listen(s, 2), 0);
    }
    *address = Loopback(peer::LocalPort((int)s));
    return s;
}

WinsockTest::Connection WinsockTest::Accepted(long events, int receiveBuffer) {
    SOCKADDR_IN a;
    SOCKET listener = Bound(&a, true);
    int fd = Keep(peer::Connect(ntohs(a.sin_port), receiveBuffer));
    SOCKET accepted = fd >= 0 ? accept(listener, nullptr, nullptr) : INVALID_SOCKET;
    closesocket(listener);
    if (events) {
        EXPECT_EQ(WSAAsyncSelect(accepted, window, kMessage, events), 0);
    }
    sockets.push_back(accepted);
    return {accepted, fd};
}

int WinsockTest::Keep(int fd) {
    if (fd >= 0) peerFds.push_back(fd);
    return fd;
}

void WinsockTest::ClosePeer(int fd, bool reset) {
    peerFds.erase(std::remove(peerFds.begin(), peerFds.end(), fd), peerFds.end());
    if (reset) {
        peer::Reset(fd);
    } else {
        peer::Close(fd);
    }
}

}  // namespace testing_support
