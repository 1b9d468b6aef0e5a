// ProcessRequest: one call per complete line of a request. The request line chooses the
// answer (a file, the Mailbox, a CGI program or the error page); header lines are skipped
// (or copied for a CGI program); the blank line ends the request and the answer is sent. A
// request line without a version (HTTP/0.9) is answered at once, without a status header.

#include "server/request.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "base/print.h"
#include "base/textio.h"
#include "platform/files.h"
#include "server/cgi.h"
#include "server/mailbox.h"
#include "server/send.h"
#include "server/target.h"
#include "settings/settings.h"

int16_t PipeCounter = 0;

namespace {

constexpr int kExtendedLimit = 512;
constexpr int kCommandSize = kExtendedLimit + 2;
constexpr const char* kProxyPrefix = "http://proxyhost";
constexpr size_t kProxyPrefixLength = 16;

template <size_t N>
void Copy(char (&out)[N], const std::string& text) {
    CopyText(out, text.c_str());
}

// The command text of the line: the line itself, or the Extended Cmd read back from its file.
ChannelStatus CommandText(HWND window, int ch, char (&command)[kCommandSize], bool& extended) {
    Channel& c = Channels[ch];
    extended = false;
    if (!c.ExtCmdOpen) {
        CopyText(command, c.Line);
        return ChannelStatus::GoOn;
    }
    Print(window, "Extended Command received\n");
    if (!c.ExtCmdFile) {
        Print(window, "ProcessRequest, Extended Cmd and file is NULL!!!\n");
        return ChannelStatus::Close;
    }
    rewind(c.ExtCmdFile);
    int count = (int)fread(command, 1, kExtendedLimit, c.ExtCmdFile);
    if (count < 1 || count > kExtendedLimit - 2) {
        Print(window, "Process Request, cmd size %d Error\n", count);
        return ChannelStatus::Close;
    }
    command[count] = '\0';
    fclose(c.ExtCmdFile);
    c.ExtCmdFile = nullptr;
    c.ExtCmdOpen = 0;
    extended = true;
    return ChannelStatus::GoOn;
}

void NotFound(HWND window, int ch) {
    char message[kPathSize + 64];
    snprintf(message, sizeof message, "HTTP/1.0 404 file requested %s was not found\n", Channels[ch].SendPath);
    Print(window, "\n%s", message);
    Channels[ch].RequestFlags |= kRequestError;
    HomePath(Channels[ch].SendPath, "stder.htm");
}

// A form post: the decoded form is appended to the Mailbox and the page rebuilt. The raw file
// is HomeDir, then ".\" exactly so, then the Mailbox name; DOS resolves "dir.\name" into the
// home directory, and the path translation does the same.
void MailboxPost(int ch, std::string form) {
    HomePath(Channels[ch].SendPath, "stdack.htm");
    std::string base = std::string(Settings.Server.HomeDir) + "." + kDirSepText + Settings.Server.Mailbox;
    std::string raw = base + ".tmp", page = base + ".htm";
    FILE* file = FileOpen(raw.c_str(), "a+t");
    if (!file) return;
    form += "\n<HR>";
    fputs(form.c_str(), file);
    fclose(file);
    MailboxPage(raw.c_str(), page.c_str());
}

// The file under the home directory that a target names ("home.htm" for a directory).
void TargetPath(int ch, const std::string& path) {
    std::string full = Settings.Server.HomeDir;
    if (path.empty() || path[0] != kDirSep) full += kDirSep;
    full += path;
    if (!full.empty() && full.back() == kDirSep) full += "home.htm";
    Copy(Channels[ch].SendPath, full);
}

// Chooses the answer of a request line. A refused target (outside the home directory, or one
// of the gateway's working files) is answered like a missing file. GoOn when the request goes
// on.
ChannelStatus ChooseAnswer(HWND window, int ch, const DecodedTarget& target, bool refused, bool extended,
                           const char* line) {
    Channel& c = Channels[ch];
    if (!extended) {
        TargetPath(ch, target.path);
        if (!refused && FileOpensForReading(Channels[ch].SendPath)) return ChannelStatus::GoOn;
    }
    if (extended && !target.query) {
        Print(window, "HTTP/1.0 404 Extended Cmd with no form or cgi\n");
        HomePath(Channels[ch].SendPath, "stder.htm");
        c.RequestFlags |= kRequestError;
        return ChannelStatus::GoOn;
    }
    if (!target.query) {
        // A file that exists but is being written (access denied) is not a 404: its path is
        // kept and the sending waits for it.
        FILE* file = refused ? nullptr : FileOpen(Channels[ch].SendPath, "rb");
        if (file)
            fclose(file);
        else if (refused || errno != EACCES)
            NotFound(window, ch);
        return ChannelStatus::GoOn;
    }
    if (!target.cgi) {
        MailboxPost(ch, target.form);
        return ChannelStatus::GoOn;
    }
    return CgiRequestLine(window, ch, target.call.c_str(), line);
}

// The first line of a request. GoOn when the request goes on; only GET is answered.
ChannelStatus RequestLine(HWND window, int ch, const char* command, int16_t last, bool extended) {
    Channel& c = Channels[ch];
    char word[kCommandSize];
    int16_t position = 0;
    NextWord(command, position, last, word, sizeof word);
    if (strcmp(word, "GET") != 0) return ChannelStatus::Wait;
    c.RequestFlags = kRequestSeen;
    c.ResponseStatus = 0;
    char target[kCommandSize];
    NextWord(command, position, last, target, sizeof target);
    if (target[0] != '\0' && NextWord(command, position, last, word, sizeof word) == 0)
        c.RequestFlags |= kRequestNoVersion | kRequestComplete;
    const char* shown = target;
    if (strlen(target) > kProxyPrefixLength && strncmp(target, kProxyPrefix, kProxyPrefixLength) == 0) {
        shown = target + kProxyPrefixLength;
        Print(window, "Cmd= %s\n", shown);
    }
    DecodedTarget decoded = DecodeTarget(shown);
    bool refused = LeavesHome(shown) || NamesGatewayFile(shown);
    ChannelStatus chosen = ChooseAnswer(window, ch, decoded, refused, extended, command);
    if (chosen != ChannelStatus::GoOn) return chosen;
    c.RequestFlags |= kRequestLineDone;
    return ChannelStatus::GoOn;
}

void HeaderLine(int ch, const char* command, int16_t last) {
    Channel& c = Channels[ch];
    if ((c.RequestFlags & kRequestCgi) && c.SendFile) fputs(command, c.SendFile);
    char word[kCommandSize];
    int16_t position = 0;
    if (NextWord(command, position, last, word, sizeof word) == 0) c.RequestFlags |= kRequestComplete;
}

// The request is complete: the answer goes out.
ChannelStatus Answer(HWND window, int ch) {
    Channel& c = Channels[ch];
    if (c.SendFile) fclose(c.SendFile);
    c.SendFile = nullptr;
    if (!(c.RequestFlags & (kRequestCgi | kRequestNoVersion)) && Settings.Standard.Server == 1)
        c.ResponseStatus = (c.RequestFlags & kRequestError) ? 404 : 200;
    if (c.RequestFlags & kRequestCgi) {
        c.RequestFlags = 0;
        if (CGILauch(window, ch)) return ChannelStatus::Wait;
        if (c.CgiState == kCgiDelayed) {
            c.State = kSending;
            c.StateTime = ChannelNow();
            return ChannelStatus::Wait;
        }
        c.CgiState = kCgiNone;
    }
    c.RequestFlags = 0;
    return SendaFile(window, ch, Channels[ch].SendPath);
}

}  // namespace

void HomePath(char (&out)[kPathSize], const char* name) {
    snprintf(out, kPathSize, "%s%c%s", Settings.Server.HomeDir, kDirSep, name);
}

ChannelStatus ProcessRequest(HWND window, int ch) {
    Channel& c = Channels[ch];
    if (c.State != kWaiting || !(Settings.Server.ServerMode & TextMode)) return ChannelStatus::Wait;
    char command[kCommandSize];
    bool extended = false;
    ChannelStatus status = CommandText(window, ch, command, extended);
    if (status != ChannelStatus::GoOn) return status;
    int16_t last = (int16_t)strlen(command);
    if (!(c.RequestFlags & kRequestSeen)) {
        status = RequestLine(window, ch, command, last, extended);
        if (status != ChannelStatus::GoOn) return status;
    } else {
        HeaderLine(ch, command, last);
    }
    if (c.RequestFlags & kRequestComplete) return Answer(window, ch);
    return ChannelStatus::Wait;
}
