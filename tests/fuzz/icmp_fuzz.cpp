// The ICMP reply reader with arbitrary datagrams, as a pinging sender waiting for its reply or
// as a page-mode listener, with the PING dialog shown; the engine's tick runs between them.
// A UDP socket on 127.0.0.1 stands in for the raw socket (the engine expects the ICMP header
// at the start of what it reads, which is what the platform gives it after the IP header),
// and a peer socket sends the datagrams.
//
// Input: two option bytes, the echo's data text up to the first line feed, then steps: a step
// byte whose low two bits say 0 a counted datagram (a length byte and the bytes), 1 the tick,
// 2 a counted datagram that carries the last echo's tag, 3 the same with its checksum made
// right as well.
// First option byte: 1 page mode, 2 listen (page mode's host "0.0.0.0"), 4 repeat (auto),
// 8 an echo reply is sent (page mode's "$host").
// Second: 1 Show Echo off, 2 the PING dialog is hidden.

#include <cstring>
#include <string>

#include "base/app.h"
#include "base/textio.h"
#include "fuzz/harness.h"
#include "ping/icmp.h"
#include "ping/ping_dialog.h"
#include "platform/ui.h"
#include "settings/settings.h"
#include "support/posix_peer.h"
#include "support/program_state.h"

namespace {

constexpr uint32_t kAcknowledged = 1;

// The peer that plays the pinged host.
struct Bench {
    int peer = testing_support::UseFakeIcmpSocket();
    ~Bench() { peer::Close(peer); }
};

void Start(unsigned first, const std::string& text) {
    using ping::Run;
    CopyText(Run.PingHost, "127.0.0.1");
    CopyText(Run.PingData, text.c_str());
    Run.IcmpState |= ping::TargetSet;
    if (first & 2) {
        Run.PingListen = 1;
        Run.IcmpLength = 0;
        Run.PingAuto = 0;
        return;
    }
    Run.IcmpType = (first & 8) ? 0 : 8;
    int16_t length = (int16_t)strlen(Run.PingData);
    uint32_t sequence = Run.PingSequence++;
    ping::SENDICMP(MainWindow, Run.PingData, length, ping::MakeEchoTag(length, sequence), Run.IcmpType,
                   Run.TargetAddress);
}

// A datagram made to pass the engine's matching: the awaited tag (acknowledged in page mode),
// and with `checksum` the Internet checksum that the engine verifies.
void Disguise(std::string& datagram, bool checksum) {
    if (datagram.size() < 8) datagram.resize(8, '\0');
    uint32_t tag = ping::Run.LastTag | (Settings.Ping.Page ? kAcknowledged : 0);
    for (int i = 0; i < 4; ++i) datagram[4 + i] = (char)(tag >> (8 * i));
    if (!checksum) return;
    peer::Bytes bytes(datagram.begin(), datagram.end());
    bytes = peer::WithChecksum(bytes);
    datagram.assign(bytes.begin(), bytes.end());
}

void Step(fuzzing::Input& in, const Bench& bench) {
    uint8_t step = in.Byte() & 3;
    if (step == 1) {
        // The tick could reopen a closed socket as a raw one: a closed engine stays closed here.
        if (ping::Run.IcmpSocket != INVALID_SOCKET) ping::ICMPCheck();
    } else {
        std::string datagram = in.Counted();
        if (step >= 2) Disguise(datagram, step == 3);
        if (ping::Run.IcmpSocket == INVALID_SOCKET) return;
        peer::SendTo(bench.peer, peer::LocalPort((int)ping::Run.IcmpSocket),
                     peer::Bytes(datagram.begin(), datagram.end()));
        if (peer::WaitReadable((int)ping::Run.IcmpSocket, 100)) ping::ICMPRead(MainWindow);
    }
    while (!peer::Receive(bench.peer, 0).empty()) {
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzing::Input in(data, size);
    unsigned first = fuzzing::Options(in);
    unsigned second = fuzzing::Options(in);
    std::string text = in.Field();
    fuzzing::BeginInput();
    Settings.Ping.Page = (first & 1) ? 1 : 0;
    ping::Run.PingAuto = (first & 4) ? 1 : 0;
    ping::Run.ShowEcho = (second & 1) ? 0 : 1;
    ping::Run.PingVisible = (second & 2) ? 0 : 1;
    PingDialog = CreateDialogParamA(hInst, "DIALOG_8", nullptr, PingDlgProc, 0);
    {
        Bench bench;
        if (bench.peer >= 0) {
            Start(first, text);
            while (!in.Empty()) Step(in, bench);
        }
    }
    fuzzing::EndInput();
    return 0;
}
