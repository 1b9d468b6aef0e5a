#include "fuzz/peers.h"

#include <sys/socket.h>

#include "base/app.h"
#include "platform/clock.h"
#include "platform/fake_sockets.h"
#include "platform/messages.h"
#include "support/posix_peer.h"

namespace fuzzing {

namespace {
constexpr int kRounds = 64;
}  // namespace

void Peers::Connect(int index, uint16_t port) {
    Close(index);
    fds_[index % kCount] = fakenet::ConnectToProgram(port);
}

void Peers::TakeConnections(uint16_t port, int first) {
    for (int i = first; i < kCount; ++i) {
        if (fds_[i] >= 0) continue;
        fds_[i] = fakenet::TakeConnection(port);
        if (fds_[i] < 0) return;
    }
}

void Peers::Write(int index, const std::string& bytes) { Send(Get(index), bytes); }

void Peers::Close(int index) {
    int& fd = fds_[index % kCount];
    peer::Close(fd);
    fd = -1;
}

void Peers::HalfClose(int index) {
    if (Get(index) >= 0) shutdown(Get(index), SHUT_WR);
}

void Peers::CloseAll() {
    for (int i = 0; i < kCount; ++i) Close(i);
}

void Peers::Drain() {
    for (int fd : fds_)
        if (fd >= 0) peer::ReadAvailable(fd);
}

void Send(int fd, const std::string& bytes) {
    if (fd >= 0 && !bytes.empty()) send(fd, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
}

void RunProgram() { platform::DispatchPendingEvents(kRounds); }

void Tick(int seconds) {
    platform::AdvanceFakeClock(seconds, (DWORD)seconds * 1000);
    SendMessageA(MainWindow, WM_TIMER, kTickTimer, 0);
    RunProgram();
}

}  // namespace fuzzing
