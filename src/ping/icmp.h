// The ICMP echo engine: one raw socket, one echo outstanding at a time, replies matched on
// their tag word and timed in milliseconds; retries, the repeating mode and the blinking
// window title are driven by the one-second tick. In page mode the echo data is a short
// message: a listener (host "0.0.0.0") prints and acknowledges what it receives, and a host
// written "$name" receives the message as an echo reply.
#pragma once

#include <cstdint>

#include "platform/winsock.h"

namespace ping {

// Bits of IcmpState.
constexpr uint16_t TargetSet = 1;
constexpr uint16_t RequestPending = 2;
constexpr uint16_t ReplyReceived = 4;

constexpr int kIcmpRxBufferSize = 252;
constexpr int kPingTextSize = 80;
constexpr int kIcmpHeaderSize = 8;   // type, code, checksum, tag
constexpr int kIcmpReadSize = 250;   // most bytes taken from one datagram
constexpr int kEchoBufferSize = 200; // the packet buffer of a send

// The PING dialog's output fields, which the engine fills while the dialog is shown.
constexpr int kCountdownField = 123;
constexpr int kSendField = 124;
constexpr int kReplyField = 125;
constexpr int kMessageField = 126;
constexpr int kRetriesField = 127;

// The one ping run of the program: what the user asked for (host, data, limits, modes) and
// the engine's state between the tick, the sends and the replies.
struct PingRun {
    // What the user asked for.
    SOCKET IcmpSocket = INVALID_SOCKET;
    char PingHost[kPingTextSize] = "";
    char PingData[kPingTextSize] = "";
    int16_t PingTimeout = 5;
    int16_t PingRetryNumber = 10;
    int16_t PingAuto = 0;
    int16_t ShowEcho = 1;
    int16_t PingVisible = 1;  // the ping dialog is shown; its fields are updated only then
    // The engine's state.
    int16_t PingListen = 0;
    uint8_t IcmpType = 8;
    uint16_t IcmpState = 0;
    uint32_t PingSequence = 0;
    uint32_t LastTag = 0;
    int16_t IcmpLength = 0;
    uint8_t RxBuffer[kIcmpRxBufferSize] = {};
    int16_t RxLength = 0;
    uint32_t PingSent = 0;
    uint32_t PingReceived = 0;
    uint32_t PingTotalTime = 0;
    uint32_t SendTime = 0;
    int16_t WaitedSeconds = 0;
    int16_t RetriesLeft = 0;
    int16_t PingAlive = 0;
    int16_t TitleBlink = 0;
    SOCKADDR_IN TargetAddress = {};
};

extern PingRun Run;

// The three lines in which the PING dialog shows a run: the send line (kSendField), the reply
// line (kReplyField) and the statistics, page-mode message or timeout count (kMessageField).
// The dialog gets them only while it is shown. One watcher, registered by a higher floor (a
// front end without windows), is told every one of them, shown or not; null stops that.
typedef void (*PingLineWatcher)(int field, const char* text);
void WatchPingLines(PingLineWatcher watcher);
// Whether anybody reads the lines now: the shown dialog, or the watcher.
bool PingLinesRead();
// Shows one line: in the dialog while it is shown, and to the watcher.
void ShowPingLine(int field, const char* format, ...) __attribute__((format(printf, 2, 3)));

int16_t OpenICMP(HWND window, SOCKET* socket);
int16_t CloseICMP();
int16_t ConnectICMP(HWND window, const char* host, const char* data, int16_t dataLength);
int16_t SENDICMP(HWND window, const char* data, int16_t dataLength, uint32_t tag, uint8_t type,
                 const SOCKADDR_IN& address);
int16_t BuildEcho(uint8_t* buffer, uint32_t tag, int16_t dataLength, uint8_t type);
uint16_t IcmpChecksum(const uint8_t* packet, int16_t length);
uint32_t MakeEchoTag(int16_t dataLength, uint32_t sequence);
int16_t PurgeSocket(HWND window, SOCKET socket);
int16_t ICMPRead(HWND window);
void ICMPCheck();

// Reads a dotted address the forgiving way ConnectICMP falls back on when a host is no name:
// pieces cut at '.', at blanks and at the end, each read as a number. Returns how many pieces
// became address bytes (the address is good only when that is 4).
int16_t DottedAddress(const char* text, uint8_t address[4]);

}  // namespace ping
