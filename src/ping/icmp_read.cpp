// Reading the ICMP socket: one datagram per call, gathered in Run.RxBuffer until the awaited reply
// is complete. A reply is matched on its tag word and counted, timed, and shown in the PING
// dialog. A listener instead prints every message it receives and acknowledges echo replies by
// sending them back with bit 0 of the tag set.

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/app.h"
#include "base/print.h"
#include "base/timestamp.h"
#include "ping/icmp.h"
#include "ping/ping_dialog.h"
#include "platform/clock.h"
#include "platform/ui.h"
#include "settings/settings.h"

namespace ping {

namespace {

constexpr int kLineSize = 160;
constexpr uint32_t kAcknowledged = 1;  // tag bit set by a listener in its acknowledgement

uint32_t TagOf(const uint8_t* packet) {
    return (uint32_t)packet[4] | (uint32_t)packet[5] << 8 | (uint32_t)packet[6] << 16 | (uint32_t)packet[7] << 24;
}

// The tag of what was gathered; a datagram too short to carry one counts as 0.
uint32_t GatheredTag() { return Run.RxLength >= kIcmpHeaderSize ? TagOf(Run.RxBuffer) : 0; }

// Appends a datagram to Run.RxBuffer, as much as fits, and ends it with a NUL.
void Gather(const uint8_t* datagram, int length) {
    int start = std::clamp<int>(Run.RxLength, 0, kIcmpRxBufferSize - 1);
    int taken = std::min(length, kIcmpRxBufferSize - 1 - start);
    memcpy(Run.RxBuffer + start, datagram, (size_t)taken);
    Run.RxLength = (int16_t)(start + taken);
    Run.RxBuffer[start + taken] = 0;
}

enum class Match { Drop, Wait, Reply };

// The awaited reply carries the last echo's tag (in page mode perhaps acknowledged), and no
// echo is answered twice. One that comes in pieces is waited for.
Match MatchReply() {
    if (Run.RxLength >= kIcmpHeaderSize) {
        uint32_t tag = GatheredTag();
        if (Settings.Ping.Page) tag &= ~kAcknowledged;
        if (tag != Run.LastTag || Run.PingReceived + 1 > Run.PingSent) {
            Run.RxLength = 0;
            return Match::Drop;
        }
    }
    return Run.RxLength < Run.IcmpLength || Run.RxLength < kIcmpHeaderSize ? Match::Wait : Match::Reply;
}

// Milliseconds since the send. A clock that wrapped in between is answered by negating the
// send time, which is how the round trip was always computed; the result is then now + send.
uint32_t RoundTrip() {
    uint32_t now = timeGetTime();
    if (now < Run.SendTime) Run.SendTime = 0u - Run.SendTime;
    return now - Run.SendTime;
}

const char* ChecksumVerdict() {
    if (Run.RxLength < kIcmpHeaderSize) return "NOK";
    uint16_t carried = (uint16_t)(Run.RxBuffer[2] << 8 | Run.RxBuffer[3]);
    return carried == IcmpChecksum(Run.RxBuffer, Run.PingListen ? Run.RxLength : Run.IcmpLength) ? "OK" : "NOK";
}

// A listener prints who sent a message and the message, as long as its length says.
void PrintMessage(HWND window, const uint8_t* sender) {
    char stamp[kTimeStampSize];
    TimeStamp(CurrentTime(), stamp);
    Print(window, "%s, from  %u.%u.%u.%u\n", stamp, sender[0], sender[1], sender[2], sender[3]);
    char message[kIcmpRxBufferSize];
    int length = std::min<int>(std::max(Run.RxLength - kIcmpHeaderSize, 0), (int)((GatheredTag() & 0xFFFF) >> 4));
    memcpy(message, Run.RxBuffer + kIcmpHeaderSize, (size_t)length);
    message[length] = '\0';
    Print(window, "%s\n", message);
}

// The sender shows the reply line and, with Show Echo, the statistics (normal mode) or the
// text that came back (page mode).
void ShowReply(char* line, const char* verdict) {
    Run.RxBuffer[Run.IcmpLength] = 0;
    size_t used = strlen(line);
    uint32_t tag = GatheredTag();
    if (Run.ShowEcho && !Settings.Ping.Page)
        snprintf(line + used, kLineSize - used, " Checksum=%3s, Length=%02d, Seq=%05u", verdict, Run.RxLength,
                 (unsigned)(int)(int16_t)(tag & 0xFFFF));
    else if (Run.ShowEcho)
        snprintf(line + used, kLineSize - used, "check=%3s length=%02d, seq=%8.8lx", verdict, Run.RxLength,
                 (unsigned long)tag);
    ShowPingLine(kReplyField, "%s", line);
    if (!Run.ShowEcho)
        ShowPingLine(kMessageField, "%s", "");
    else if (!Settings.Ping.Page)
        ShowPingLine(kMessageField, "Sent: %lu, Received: %lu, Lost: %02lu%s, Time_Average %04lu ms",
                  (unsigned long)Run.PingSent, (unsigned long)Run.PingReceived,
                  (unsigned long)(100u - (Run.PingReceived * 100u) / Run.PingSent), "%",
                  (unsigned long)(Run.PingTotalTime / Run.PingReceived));
    else
        ShowPingLine(kMessageField, "%s", (const char*)Run.RxBuffer + kIcmpHeaderSize);
}

// An echo reply is sent back to where it came from with bit 0 of its tag set, once.
void Acknowledge(const SOCKADDR_IN& sender) {
    if (Run.RxLength >= kIcmpHeaderSize && Run.RxBuffer[0] == 0 && !(GatheredTag() & kAcknowledged)) {
        Run.RxBuffer[4] |= kAcknowledged;
        uint16_t sum = IcmpChecksum(Run.RxBuffer, Run.RxLength);
        Run.RxBuffer[2] = (uint8_t)(sum >> 8);
        Run.RxBuffer[3] = (uint8_t)sum;
        sendto(Run.IcmpSocket, (const char*)Run.RxBuffer, Run.RxLength, 0, (const SOCKADDR*)&sender, sizeof sender);
    }
    Run.RxLength = 0;
}

}  // namespace

int16_t ICMPRead(HWND window) {
    if (Run.IcmpSocket == INVALID_SOCKET) return 0;
    uint8_t datagram[kIcmpReadSize];
    SOCKADDR_IN sender{};
    int senderLength = sizeof sender;
    int received = recvfrom(Run.IcmpSocket, (char*)datagram, kIcmpReadSize, 0, (SOCKADDR*)&sender, &senderLength);
    if (received == SOCKET_ERROR) {
        int error = WSAGetLastError();
        if (error != WSAEWOULDBLOCK && !Run.PingListen) {
            CloseICMP();
            Print(window, "\nICMPRead, socket error [WSA_%d]\n", error);
        }
        return 0;
    }
    if (received <= 0) return 0;
    if (!Run.PingListen && !(Run.IcmpState & RequestPending)) {
        Run.RxLength = 0;
        return 0;
    }
    Gather(datagram, received);
    if (!Run.PingListen && MatchReply() != Match::Reply) return 0;

    uint32_t roundTrip = RoundTrip();
    ++Run.PingReceived;
    Run.PingTotalTime += roundTrip;
    const char* verdict = ChecksumVerdict();
    const auto* from = (const uint8_t*)&sender.sin_addr.S_addr;
    char line[kLineSize];
    snprintf(line, sizeof line, "%u.%u.%u.%u is alive (%04lu ms)", from[0], from[1], from[2], from[3],
             (unsigned long)roundTrip);

    if (Run.PingListen) {
        PrintMessage(window, from);
        Acknowledge(sender);
        return 0;
    }
    if (PingLinesRead()) ShowReply(line, verdict);
    Run.IcmpState = (uint16_t)((Run.IcmpState | ReplyReceived) & ~RequestPending);
    // A single ping ends at its first reply.
    if (!Run.PingAuto) CloseICMP();
    return 0;
}

}  // namespace ping
