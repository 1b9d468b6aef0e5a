// Sending: SendaFile starts a file (with its header when the status is 200), SendaBuf a text
// held in memory, and SendBlockOfData pushes the 200-byte buffer out and refills it, after
// resolving the channel's pending CGI states. Whatever the socket does not take now goes at
// the next FD_WRITE or tick.

#include "server/send.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/print.h"
#include "base/textio.h"
#include "channel/channel.h"
#include "platform/files.h"
#include "server/cgi.h"
#include "server/request.h"
#include "settings/settings.h"

namespace {

constexpr const char* kStatusAndServer = "HTTP/1.0 200 Document follows\r\nServer: Korvel/4.0\r\n";
constexpr size_t kLongestExtension = 18;

// The extension: the text after the last '.' found searching back from the second-to-last
// character, if it is shorter than 18 characters.
const char* Extension(const char* path) {
    size_t length = strlen(path);
    if (length < 2) return nullptr;
    for (size_t i = length - 1; i-- > 0;)
        if (path[i] == '.') return strlen(path + i + 1) < kLongestExtension ? path + i + 1 : nullptr;
    return nullptr;
}

int BuildHeader(char* out, size_t size, const char* path, long length) {
    char type[81] = "";
    if (const char* extension = Extension(path)) MimeType(extension, type);
    int used = snprintf(out, size, "%s", kStatusAndServer);
    if (type[0] != '\0') used += snprintf(out + used, size - (size_t)used, "MIME-Version: 1.0\r\nContent-Type: %s\r\n", type);
    used += snprintf(out + used, size - (size_t)used, "Content-Length: %lu\r\n\r\n", (unsigned long)length);
    return used;
}

// The file could not be opened because another program writes it: a token file naming it is
// written and the channel waits in sending; the next FD_WRITE or tick tries again.
ChannelStatus Locked(HWND window, int ch, const char* path) {
    Channel& c = Channels[ch];
    Print(window, "SendaFile, file %s Permission Denied\n", path);
    c.CgiState = kTokenFile;
    snprintf(c.PipeName, sizeof c.PipeName, "ch%d.tok", ch);
    char token[kPathSize];
    HomePath(token, c.PipeName);
    FILE* file = FileOpen(token, "w+b");
    if (!file) {
        Print(window, "\nSendaFile, Unable to open %s\n", token);
        return ChannelStatus::Close;
    }
    fputs(path, file);
    fclose(file);
    return ChannelStatus::Wait;
}

// Reads up to `size` bytes of a pipe file of the home directory. Returns the count, or -1
// when it cannot be opened (its message printed).
int ReadPipeFile(HWND window, int ch, char* out, size_t size) {
    Channel& c = Channels[ch];
    char path[kPathSize];
    HomePath(path, c.PipeName);
    FILE* file = FileOpenDenyWrite(path, "rb");
    if (!file) {
        if (errno == EACCES)
            Print(window, "SendBlockOfData, pipefile %s Permission Denied\n", path);
        else
            Print(window, "SendBlockOfData, pipefile (%s) error [%d]\n", path, errno);
        return -1;
    }
    int count = (int)fread(out, 1, size, file);
    fclose(file);
    out[count] = '\0';
    return count;
}

// A delayed CGI program is tried again.
ChannelStatus Delayed(HWND window, int ch) {
    Channel& c = Channels[ch];
    if (CGILauch(window, ch) || c.CgiState != kImmediatePage) return ChannelStatus::Wait;
    c.State = kWaiting;
    c.CgiState = kCgiNone;
    return SendaFile(window, ch, Channels[ch].SendPath);
}

// Resolves the pending CGI states: GoOn when nothing stands in the way of sending.
ChannelStatus PendingCgi(HWND window, int ch) {
    Channel& c = Channels[ch];
    if (c.CgiState == kCgiNone) return ChannelStatus::GoOn;
    if (c.CgiState == kCgiDelayed) return Delayed(window, ch);
    char text[kPathSize + 1];
    size_t size = c.CgiState == kTokenFile ? kPathSize : 100;
    int count = ReadPipeFile(window, ch, text, size);
    // A token file that cannot be read any more ends the connection; an awaited answer is
    // polled again.
    if (count < 0) return c.CgiState == kTokenFile ? ChannelStatus::Close : ChannelStatus::Wait;
    if (c.CgiState == kTokenFile) {
        c.State = kWaiting;
        c.CgiState = kCgiNone;
        return SendaFile(window, ch, text);
    }
    if (count == 0) {
        Print(window, "Waiting cgi response on channel%d\n", ch);
        return ChannelStatus::Wait;
    }
    char word[kPathSize + 1];
    int16_t position = 0;
    NextWord(text, position, (int16_t)count, word, sizeof word);
    if (strcmp(word, "NULL") == 0) {
        Print(window, "cgi-dos, no file to send\n");
        return ChannelStatus::GoOn;
    }
    c.CgiState = kCgiNone;
    c.State = kWaiting;
    return SendaFile(window, ch, word);
}

// Sends what the buffer holds, refilling it from the file: GoOn once all of it went out.
ChannelStatus SendLoop(HWND window, int ch) {
    Channel& c = Channels[ch];
    while (c.TxCount != 0) {
        int n = send(c.Socket, c.TxBuffer + c.TxStart, c.TxCount, 0);
        if (n < 0 || n > c.TxCount) {
            if (WSAGetLastError() == WSAEWOULDBLOCK) return ChannelStatus::Wait;
            Print(window, "SendBlocOfData, socket error %d !!!\n", n);
            return ChannelStatus::Close;
        }
        if (n == 0) return ChannelStatus::Wait;
        c.TxBytes += (uint32_t)n;
        c.TxCount = (uint16_t)(c.TxCount - n);
        c.TxStart = c.TxCount == 0 ? 0 : (uint16_t)(c.TxStart + n);
        if (c.SendFile && c.TxStart == 0) {
            size_t read = fread(c.TxBuffer, 1, kTxUsable, c.SendFile);
            if (ferror(c.SendFile)) {
                Print(window, "\nSendBlocOfData, file read error\n");
                return ChannelStatus::Close;
            }
            c.TxCount = (uint16_t)(c.TxCount + read);
        }
    }
    return ChannelStatus::GoOn;
}

}  // namespace

ChannelStatus SendaFile(HWND window, int ch, const char* path) {
    Channel& c = Channels[ch];
    if (c.State == kFree) {
        Print(window, "\nSendaFile, Error, Socket is Free !!!\n");
        return ChannelStatus::Wait;
    }
    if (c.State == kSending) {
        Print(window, "\nSend A file, Error, Socket is Sending !!!\n");
        return ChannelStatus::Close;
    }
    c.State = kSending;
    c.StateTime = ChannelNow();
    FILE* file = FileOpenDenyWrite(path, "rb");
    if (!file) {
        if (errno == EACCES) return Locked(window, ch, path);
        Print(window, "\nSendaFile,the requested file %s doesn't exist[errno= %d]\n", path, errno);
        return ChannelStatus::Close;
    }
    c.SendFile = file;
    long length = FileLength(file);
    c.TxStart = 0;
    int header = c.ResponseStatus == 200 ? BuildHeader(c.TxBuffer, kTxBufferSize, path, length) : 0;
    c.TxCount = (uint16_t)header;
    size_t read = fread(c.TxBuffer + header, 1, (size_t)(kTxUsable - header), file);
    if (ferror(file)) {
        Print(window, "\nSendaFile, Error while reading file %s \n", path);
        return ChannelStatus::Close;
    }
    c.TxCount = (uint16_t)(c.TxCount + read);
    Print(window, "\nSending file <%d> %s ...\n", ch, path);
    return SendBlockOfData(window, ch);
}

ChannelStatus SendBlockOfData(HWND window, int ch) {
    Channel& c = Channels[ch];
    if (c.State != kSending) return ChannelStatus::Wait;
    ChannelStatus pending = PendingCgi(window, ch);
    if (pending != ChannelStatus::GoOn) return pending;
    ChannelStatus sent = SendLoop(window, ch);
    if (sent != ChannelStatus::GoOn) return sent;
    c.TxStart = 0;
    if (c.SendFile) fclose(c.SendFile);
    c.SendFile = nullptr;
    if ((Settings.Server.ServerMode & SendAndClose) && Settings.Server.ServerProxy == 0) return ChannelStatus::Close;
    c.State = kWaiting;
    c.StateTime = ChannelNow();
    return ChannelStatus::Wait;
}

ChannelStatus SendaBuf(HWND window, int ch, const char* text, int16_t length) {
    Channel& c = Channels[ch];
    if (c.State != kWaiting) {
        Print(window, "SendaBuf, and not waiting !!!\n");
        return ChannelStatus::Wait;
    }
    if (length > kTxUsable) {
        char name[16], path[kPathSize];
        snprintf(name, sizeof name, "http%02d.txt", ch);
        snprintf(path, sizeof path, "%s%c%s", Settings.Url.HomeDir, kDirSep, name);
        FILE* file = FileOpen(path, "w+b");
        if (!file) {
            Print(window, "SendaBuf, unable to open file %s\n", path);
            return ChannelStatus::Wait;
        }
        fputs(text, file);
        fclose(file);
        return SendaFile(window, ch, path);
    }
    c.State = kSending;
    c.StateTime = ChannelNow();
    c.TxStart = 0;
    memcpy(c.TxBuffer, text, (size_t)(length < 0 ? 0 : length));
    c.TxCount = (uint16_t)(length < 0 ? 0 : length);
    return SendBlockOfData(window, ch);
}
