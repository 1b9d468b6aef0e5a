// The channel table: every TCP connection of the program, incoming (a Remote Client accepted
// by the server) or outgoing (a Local Client of the Client dialog, the proxy or the grabber),
// lives in one of 25 slots. Only the first Server.HowManyClients are used. A slot moves
// free -> waiting -> sending/waiting ... -> purging -> leaving -> free; it becomes free only
// when the FD_CLOSE of a leaving channel is handled.
#pragma once

#include <cstdint>
#include <cstdio>

#include "platform/winsock.h"

constexpr int kChannelCount = 25;
constexpr int kLineSize = 202;     // 200 usable bytes and room for the terminator
constexpr int kLineUsable = 200;
constexpr int kTxBufferSize = 202;
constexpr int kTxUsable = 200;
constexpr uint16_t kNoLink = 65535;
constexpr int kPathSize = 200;  // a path of the server: the file to send, a CGI command line

// State codes.
enum : uint16_t {
    kFree = 0,
    kWaiting = 1,
    kSending = 2,
    kLeaving = 3,
    kPurging = 4,
    kPreWait = 5,  // never stored: a waiting channel whose connect is still pending
};

// CGI sub-states.
enum : uint8_t {
    kCgiNone = 0,
    kPipeCgi = 1,       // a CGI program runs and its response file is awaited
    kTokenFile = 2,     // the file to send was locked; a token file names it
    kCgiDelayed = 3,    // too many CGI programs already run
    kImmediatePage = 4, // a fixed page is to be sent
};

// What the routines that handle a channel's event ask of the dispatcher when they return. They
// never close the channel themselves: the dispatcher does, in one place, once the handler has
// returned, so no code runs on in a slot that was freed under it.
enum class ChannelStatus : uint8_t {
    GoOn,   // carry on with what was being done
    Wait,   // nothing more to do now: the next event (or tick) goes on
    Close,  // end the connection
};

struct FetchRecord;
struct ChannelRole;

struct Channel {
    uint16_t State;
    SOCKET Socket;
    uint16_t Connected;
    uint16_t LocalClient;
    uint16_t ExtCmdOpen;
    int16_t ExtCmdLength;
    FILE* ExtCmdFile;
    char Line[kLineSize];
    uint16_t LineLength;
    int16_t LineFill;
    char TxBuffer[kTxBufferSize];
    uint16_t TxCount;
    uint16_t TxStart;
    FILE* SendFile;
    FILE* RxLogFile;
    uint32_t TxBytes;
    uint32_t RxBytes;
    uint8_t PeerAddress[4];
    uint16_t PeerPort;
    uint16_t Link;
    uint32_t ConnectTime;
    uint32_t StateTime;
    uint8_t CgiState;
    char PipeName[13];
    uint16_t RequestFlags;
    uint16_t ResponseStatus;
    // The server's request on this channel, kept until the next one replaces it.
    char SendPath[kPathSize];    // the file that answers it
    char CgiCommand[kPathSize];  // the command line of its CGI program
    int16_t CgiShow;             // the program is to be shown (not minimised)
    int16_t CgiWait;             // its answer is awaited
    FetchRecord* Fetch;       // the grab carried by this Local Client, if any
    const ChannelRole* Role;  // who handles the events of the slot, set when it is taken
};

extern Channel Channels[kChannelCount];

// Server.HowManyClients as the loops over the table use it: the setting is kept as read, but
// no loop or routing ever goes past the 25 slots that exist.
int ChannelsInUse();

// The time as the channel records keep it (32-bit seconds).
uint32_t ChannelNow();

void InitChannels();
// Prepares a free slot for a new connection: line, buffers, files, CGI state, request state,
// counters and grab record start afresh. The caller sets the socket and the state fields.
void ResetSlot(Channel& c);
void CloseChannel(int ch);
void ChannelTick();
void LeavingCheck(int ch, int force, int32_t idle);

// The byte counts of a logout: "N bytes received, N bytes sent".
void PrintByteCounts(HWND window, const Channel& c);

// Posts an event to a channel the way the program does everywhere: a synchronous send of
// message 1026 + ch, so the handler has run when this returns.
void PostChannelEvent(int ch, uint16_t event);
