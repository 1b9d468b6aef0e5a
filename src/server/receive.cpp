// Receiving: ProcessRead drains a channel's socket block by block; each block is logged,
// shown, relayed or cut into lines: request lines for the request processor, and while the
// channel's role reads a response header (a grab), header lines for that role. A line that fills the 200-byte buffer is an Extended Cmd:
// its pieces go to the file "ext<ch>.txt" and the request processor reads it back whole.

#include "server/receive.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/app.h"
#include "base/print.h"
#include "base/textio.h"
#include "channel/channel.h"
#include "channel/role.h"
#include "channel/sockets.h"
#include "platform/files.h"
#include "server/request.h"
#include "server/send.h"
#include "settings/settings.h"

namespace {

constexpr int kBlockSize = 200;
constexpr int kExtCmdLimit = 512;
constexpr ULONG kReadPerEvent = 16384;

// Processing mode bits of one block.
constexpr int kCutText = 1;
constexpr int kCutRequest = 2;
constexpr int kCutHeader = 4;

uint32_t Mode() { return Settings.Server.ServerMode; }

int BlockMode(const Channel& c) {
    int mode = 0;
    if (Mode() & TextMode) mode |= kCutText;
    if (Mode() & ExecuteReceivedCommands) mode |= kCutRequest;
    const ChannelRole& role = RoleOf(c);
    if (role.HeaderPending && role.HeaderPending(c)) mode |= kCutHeader | kCutText;
    return mode;
}

// The console shows a block byte by byte: text mode prints printable bytes as they are and
// the others in hexadecimal. The pieces are printed a few hundred characters at a time, which
// puts the same bytes on the console and in the log as one print per byte.
void ShowBlock(HWND window, const Channel& c, const char* block, int n) {
    if (c.Link != kNoLink) Print(window, "<%d>", c.Link);
    char piece[960];
    size_t used = 0;
    auto append = [&](const char* text) {
        size_t length = strlen(text);
        memcpy(piece + used, text, length + 1);
        used += length;
    };
    for (int i = 0; i < n; ++i) {
        unsigned char b = (unsigned char)block[i];
        char text[8];
        if ((Mode() & TextMode) && b == 10)
            snprintf(text, sizeof text, "[LF]\n");
        else if ((Mode() & TextMode) && b == 13)
            snprintf(text, sizeof text, "[CR]");
        else if ((Mode() & TextMode) && b >= 32 && b <= 126)
            snprintf(text, sizeof text, "%c", b);
        else
            snprintf(text, sizeof text, " x%2.2X ", b);
        append(text);
        if (used > sizeof piece - 16) {
            Print(window, "%s", piece);
            used = 0;
        }
    }
    if (used > 0) Print(window, "%s", piece);
    if (c.Link != kNoLink) {
        Print(window, "</%d>", c.Link);
        if (Mode() & BinaryMode) Print(window, "\n");
    }
}

// Appends the first `length` bytes of Line to the Extended Cmd file, which must not reach 512
// bytes; a command that does not fit closes the connection.
ChannelStatus AppendExtCmd(HWND window, int ch, int length, bool openIfNeeded) {
    Channel& c = Channels[ch];
    if (openIfNeeded && !c.ExtCmdOpen) {
        char name[32];
        snprintf(name, sizeof name, "ext%d.txt", ch);
        c.ExtCmdFile = FileOpen(name, "w+b");
        if (c.ExtCmdFile) {
            c.ExtCmdOpen = 1;
            c.ExtCmdLength = 0;
        }
    }
    if (!c.ExtCmdOpen || !c.ExtCmdFile || c.ExtCmdLength + length >= kExtCmdLimit) {
        Print(window, "ProcessRead, Cmd size greater than %d\n", kExtCmdLimit);
        return ChannelStatus::Close;
    }
    fwrite(c.Line, 1, (size_t)length, c.ExtCmdFile);
    c.ExtCmdLength = (int16_t)(c.ExtCmdLength + length);
    return ChannelStatus::GoOn;
}

// A line has been completed in Line (LineFill bytes).
ChannelStatus LineComplete(HWND window, int ch, int& mode, const char* block, int next, int n) {
    Channel& c = Channels[ch];
    c.Line[c.LineFill] = '\0';
    if (c.LineFill == 0) return ChannelStatus::GoOn;
    c.LineLength = (uint16_t)c.LineFill;
    if (Mode() & ShowReceivedCommands) {
        if (c.ExtCmdOpen == 1) Print(window, "Extended Cmd !!!,");
        Print(window, "\nRx_Ligne: %s", c.Line);
    }
    if (mode & kCutRequest) return ProcessRequest(window, ch);
    if ((mode & kCutHeader) && RoleOf(c).HeaderLine(window, ch, block + next, n - next)) mode = 0;
    return ChannelStatus::GoOn;
}

ChannelStatus LineFeed(HWND window, int ch, int& mode, const char* block, int next, int n) {
    Channel& c = Channels[ch];
    int length = ++c.LineFill;
    if (length < kLineUsable) {
        if (c.ExtCmdOpen && AppendExtCmd(window, ch, length, false) == ChannelStatus::Close) return ChannelStatus::Close;
    } else if (mode & kCutHeader) {
        if (RoleOf(c).LongHeaderLine(ch, length)) mode = 0;
        c.LineFill = 0;
    } else if (mode & kCutRequest) {
        if (AppendExtCmd(window, ch, length, true) == ChannelStatus::Close) return ChannelStatus::Close;
        --c.LineFill;
    } else {
        --c.LineFill;
    }
    ChannelStatus status = LineComplete(window, ch, mode, block, next, n);
    c.LineLength = 0;
    c.LineFill = 0;
    return status;
}

ChannelStatus BufferFull(HWND window, int ch, int& mode) {
    Channel& c = Channels[ch];
    if (mode & kCutHeader) {
        if (RoleOf(c).LongHeaderLine(ch, kLineUsable)) mode = 0;
    } else if ((mode & kCutRequest) && AppendExtCmd(window, ch, kLineUsable, true) == ChannelStatus::Close) {
        return ChannelStatus::Close;
    }
    c.LineLength = 0;
    c.LineFill = 0;
    return ChannelStatus::GoOn;
}

// Cuts a block into lines, byte by byte, while the mode stays non-zero. A request answered
// with the end of the connection ends the cutting.
ChannelStatus CutLines(HWND window, int ch, const char* block, int n, int mode) {
    Channel& c = Channels[ch];
    for (int i = 0; i < n && mode != 0; ++i) {
        c.Line[c.LineFill] = block[i];
        ChannelStatus status = ChannelStatus::GoOn;
        if (block[i] == '\n')
            status = LineFeed(window, ch, mode, block, i + 1, n);
        else if (++c.LineFill >= kLineUsable)
            status = BufferFull(window, ch, mode);
        if (status == ChannelStatus::Close) return status;
    }
    return ChannelStatus::GoOn;
}

// Relays a block to the linked channel's send buffer. The partner is not the channel whose
// event is being handled, so a send that ends it closes it here.
void Relay(int partner, const char* block, int n) {
    Channel& p = Channels[partner];
    p.State = kSending;
    p.StateTime = ChannelNow();
    memcpy(p.TxBuffer + p.TxStart + p.TxCount, block, (size_t)n);
    p.TxCount = (uint16_t)(p.TxCount + n);
    if (SendBlockOfData(MainWindow, partner) == ChannelStatus::Close) CloseChannel(partner);
}

bool PartnerFull(const Channel& p) { return p.TxCount == kTxUsable - p.TxStart; }

ULONG Waiting(SOCKET s) {
    ULONG avail = 0;
    if (ioctlsocket(s, FIONREAD, &avail) == SOCKET_ERROR) return 0;
    return avail;
}

}  // namespace

ChannelStatus ProcessRead(HWND window, int ch) {
    Channel& c = Channels[ch];
    if (!(Mode() & ModeDuplex)) {
        if (c.State == kSending) {
            Print(window, "\nProcessRead, receiving data while SENDING !!!\n");
            return ChannelStatus::Wait;
        }
        if (c.Socket == INVALID_SOCKET) {
            Print(window, "\nProcessRead, and INVALID SOCKET !!!\n");
            return ChannelStatus::Wait;
        }
    }
    if (c.Link != kNoLink) {
        const Channel& p = Channels[c.Link];
        if (PartnerFull(p) || p.State != kWaiting || p.Connected != 1) return ChannelStatus::Wait;
    }
    // A purging channel ends once everything it received has been read.
    ULONG avail = Waiting(c.Socket);
    if (avail == 0) return c.State == kPurging ? ChannelStatus::Close : ChannelStatus::Wait;
    // Only what the socket holds as the event comes is read, and at most kReadPerEvent of it: a
    // peer that never stops sending cannot keep the loop here, nor the other clients and the
    // tick, with its time limits, waiting. The rest comes with the next read event.
    ULONG budget = std::min<ULONG>(avail, kReadPerEvent);
    char block[kBlockSize];
    while (avail > 0 && budget > 0) {
        if (c.State == kSending || c.Socket == INVALID_SOCKET) break;
        avail = std::min(avail, budget);
        if (c.Link != kNoLink) {
            const Channel& p = Channels[c.Link];
            int room = kTxUsable - p.TxStart - p.TxCount;
            if (room <= 0 || p.State != kWaiting) return ChannelStatus::Wait;
            avail = std::min<ULONG>(avail, (ULONG)room);
        } else {
            avail = std::min<ULONG>(avail, kBlockSize);
        }
        int n = recv(c.Socket, block, (int)avail, 0);
        if (n == 0) {
            avail = 0;
            break;
        }
        if (n < 0 || (ULONG)n > avail) {
            if (WSAGetLastError() == WSAEWOULDBLOCK) {
                avail = 0;
                break;
            }
            Print(window, "\nProcessRead, socket error %d ?\n", n);
            return ChannelStatus::Close;
        }
        int mode = BlockMode(c);
        if (c.RxLogFile) fwrite(block, 1, (size_t)n, c.RxLogFile);
        if (Mode() & ShowReceivedData) ShowBlock(window, c, block, n);
        c.RxBytes += (uint32_t)n;
        if (c.Link != kNoLink) {
            Relay(c.Link, block, n);
        } else if (mode == 0) {
            c.LineLength = 0;
            c.LineFill = 0;
        } else if (CutLines(window, ch, block, n, mode) == ChannelStatus::Close) {
            return ChannelStatus::Close;
        }
        budget -= (ULONG)n;
        avail = c.Socket != INVALID_SOCKET ? Waiting(c.Socket) : 0;
    }
    return c.State == kPurging && avail == 0 ? ChannelStatus::Close : ChannelStatus::Wait;
}
