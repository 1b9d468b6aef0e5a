// The CGI steps of a request line. The call's key is looked up in cgi-dos.map; for a call
// whose answer is awaited the pipe files are made in the home directory: an empty output file
// whose path the program gets as its first argument, an empty ".tok" file into which the
// program writes the name of the file to send back, and the ".url" file holding the request
// line and header lines. Then the command line is built and checked; CGILauch starts it once
// the request is complete.

#include "server/cgi.h"

#include <cstring>

#include "base/print.h"
#include "base/textio.h"
#include "channel/channel.h"
#include "platform/files.h"
#include "server/cgi_map.h"
#include "server/request.h"
#include "settings/settings.h"

static_assert(kCgiMapLineLimit <= kPathSize, "a map line is read into the channel's SendPath");

namespace {

// The command line is built in a 512-byte buffer. A program is started only with at most 126
// characters: a DOS command line holds 128 bytes with its count byte and its closing carriage
// return, and the message names those 128.
constexpr size_t kCommandLimit = 511;
constexpr int kCommandLimitShown = 512;
constexpr size_t kStartLimit = 126;
constexpr int kStartLimitShown = 128;

// Pipe files are numbered 01 to 99, then 00 again.
constexpr int16_t kPipeNumbers = 100;

// The command line being built. It keeps count of the whole length, so an over-long line is
// measured exactly, while nothing is stored past its buffer.
class CommandLine {
public:
    void Append(const char* text) {
        for (; *text; ++text, ++length_)
            if (length_ < kCommandLimit) text_[length_] = *text;
        text_[length_ < kCommandLimit ? length_ : kCommandLimit] = '\0';
    }
    const char* Text() const { return text_; }
    size_t Length() const { return length_; }

private:
    char text_[kCommandLimit + 1] = "";
    size_t length_ = 0;
};

// The pipe files of a waited call on channel ch with pipe number n: "ch<ch>_<nn>" in the home
// directory, its ".tok" and its ".url".
struct PipeFiles {
    char output[kPathSize];
    char token[kPathSize];
    char request[kPathSize];
};

void NamePipeFiles(int ch, int16_t number, PipeFiles& files, char (&pipeName)[13]) {
    const char* home = Settings.Server.HomeDir;
    snprintf(files.output, sizeof files.output, "%s%cch%d_%02d", home, kDirSep, ch, number);
    snprintf(files.request, sizeof files.request, "%s%cch%d_%02d.url", home, kDirSep, ch, number);
    char name[32];
    snprintf(name, sizeof name, "ch%d_%02d.tok", ch, number);
    CopyText(pipeName, name);
    HomePath(files.token, pipeName);
}

// An error ends the request; the connection is closed only in the SendAndClose mode.
ChannelStatus EndOnError() {
    return (Settings.Server.ServerMode & SendAndClose) ? ChannelStatus::Close : ChannelStatus::Wait;
}

// Makes the pipe files of a waited call. The ".url" file stays open as the channel's SendFile,
// so that the header lines are appended as they arrive; it is closed when the request is
// complete. GoOn when the request goes on.
ChannelStatus MakePipeFiles(HWND window, int ch, const PipeFiles& files, const char* requestLine) {
    Channel& c = Channels[ch];
    if (FILE* output = FileOpen(files.output, "w+b")) fclose(output);
    FILE* token = FileOpen(files.token, "w+b");
    if (!token) {
        Print(window, "ProcessRequest, Unable to create the pipe file %s\n", files.token);
        return EndOnError();
    }
    fclose(token);
    if (c.SendFile) fclose(c.SendFile);
    c.SendFile = FileOpen(files.request, "w+b");
    if (!c.SendFile) {
        Print(window, "ProcessRequest, Unable to open %s\n", files.request);
        return ChannelStatus::GoOn;
    }
    fputs(requestLine, c.SendFile);
    return ChannelStatus::GoOn;
}

// Words 5 and later of the map line, each after a blank.
void AppendMapArguments(CommandLine& command, const char* line, const CgiMapMatch& match) {
    char word[kCgiMapLineLimit + 1];
    int16_t position = match.rest;
    while (NextWord(line, position, match.last, word, sizeof word) > 0) {
        command.Append(" ");
        command.Append(word);
    }
}

// Checks the command line and keeps it for CGILauch; a command line too long closes the
// connection.
ChannelStatus KeepCommand(HWND window, int ch, const CommandLine& command, const CgiMapMatch& match) {
    if (command.Length() > kCommandLimit) {
        Print(window, "ProcessRead, CGI command line is greater than %d\n", kCommandLimitShown);
        return ChannelStatus::Close;
    }
    CopyText(Channels[ch].CgiCommand, command.Text());
    Channels[ch].CgiShow = match.show;
    Channels[ch].CgiWait = match.wait ? 1 : 0;
    if (command.Length() > kStartLimit) {
        Print(window, "Process read, size of cgi command line %d is greater than %d\n", (int)command.Length(),
              kStartLimitShown);
        return ChannelStatus::Close;
    }
    return ChannelStatus::GoOn;
}

}  // namespace

ChannelStatus CgiRequestLine(HWND window, int ch, const char* callText, const char* line) {
    Channel& c = Channels[ch];
    Print(window, "\nCGI-Call = %s\n", callText);
    FILE* map = FileOpen(kCgiMapFile, "rb");
    if (!map) {
        Print(window, "ProcessRequest, Unable to open cgi-dos.map\n");
        return EndOnError();
    }
    // The key ends at the first blank; the argument text begins with that blank.
    const char* blank = strchr(callText, ' ');
    size_t keyLength = blank ? (size_t)(blank - callText) : strlen(callText);
    const char* arguments = callText + keyLength;

    // SendPath is only a work buffer for the map lines here.
    CgiMapMatch match;
    bool found = FindCgiProgram(window, map, callText, keyLength, Channels[ch].SendPath, match);
    fclose(map);
    if (!found) {
        // Answered like a plain request: the error page, with status 200.
        HomePath(Channels[ch].SendPath, "stder.htm");
        return ChannelStatus::GoOn;
    }

    CommandLine command;
    command.Append(match.program);
    PipeFiles files;
    if (match.wait) {
        PipeCounter = (int16_t)((PipeCounter + 1) % kPipeNumbers);
        NamePipeFiles(ch, PipeCounter, files, c.PipeName);
        command.Append(" ");
        command.Append(files.output);
    }
    AppendMapArguments(command, Channels[ch].SendPath, match);
    command.Append(arguments);

    if (match.wait) {
        ChannelStatus made = MakePipeFiles(window, ch, files, line);
        if (made != ChannelStatus::GoOn) return made;
    }
    c.RequestFlags |= kRequestCgi;
    return KeepCommand(window, ch, command, match);
}
