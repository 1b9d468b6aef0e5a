// Starting a channel's CGI program, and watching the answer of a program whose client has
// gone. At most CGI.CGIMax programs whose answers are awaited run at once; a further call
// waits in state sending and is tried again at every FD_WRITE and tick.

#include <cerrno>
#include <cstdio>

#include "base/print.h"
#include "channel/channel.h"
#include "platform/files.h"
#include "platform/process.h"
#include "server/cgi.h"
#include "server/request.h"
#include "settings/settings.h"

namespace {

constexpr UINT kFirstSuccess = 32;  // WinExec's results below this are failures
constexpr size_t kCheckRead = 99;

// Channels whose program runs and whose answer is awaited. A leaving channel still counts
// while it keeps the PIPE_CGI state (CGISynchro).
int RunningPrograms() {
    int running = 0;
    for (int ch = 0; ch < ChannelsInUse(); ++ch)
        if (Channels[ch].State != kFree && Channels[ch].CgiState == kPipeCgi) ++running;
    return running;
}

}  // namespace

int16_t CGILauch(HWND window, int ch) {
    Channel& c = Channels[ch];
    if (RunningPrograms() >= Settings.CGI.CGIMax) {
        Print(window, "Delaying <%d> [%s] ...\n", ch, Channels[ch].CgiCommand);
        c.CgiState = kCgiDelayed;
        c.State = kSending;
        return 0;
    }
    Print(window, "Executing <%d> [%s] ...\n", ch, Channels[ch].CgiCommand);
    UINT result = WinExec(Channels[ch].CgiCommand, (UINT)Channels[ch].CgiShow);
    if (result < kFirstSuccess) {
        Print(window, "CGILauch, WinExec error [%d]\n", (int)result);
        HomePath(Channels[ch].SendPath, "cgierr.htm");
        c.CgiState = kImmediatePage;
        return 0;
    }
    if (Channels[ch].CgiWait != 1) {
        // Not waited for: the acknowledgement page goes out at once.
        HomePath(Channels[ch].SendPath, "stdack.htm");
        c.CgiState = kImmediatePage;
        return 0;
    }
    c.CgiState = kPipeCgi;
    c.State = kSending;
    c.StateTime = ChannelNow();
    return 1;
}

// The client is gone, so the answer is not sent: it only has to be there for the channel to
// stop counting against CGIMax.
int16_t CGICheck(HWND window, int ch) {
    Channel& c = Channels[ch];
    if (c.CgiState != kPipeCgi) {
        Print(window, "CGICheck <%d>, and not PIPE_CGI state \n", ch);
        c.CgiState = kCgiNone;
        return 1;
    }
    char path[kPathSize];
    HomePath(path, c.PipeName);
    FILE* token = FileOpenDenyWrite(path, "rb");
    if (!token) {
        if (errno == EACCES) Print(window, "CGICheck <%d>, State=Leaving, pipefile %s Permission Denied\n", ch, path);
        return 0;
    }
    char answer[kCheckRead];
    size_t count = fread(answer, 1, sizeof answer, token);
    fclose(token);
    if (count > 0) {
        c.CgiState = kCgiNone;
        return 1;
    }
    Print(window, "CGICheck <%d>, State=Leaving, Waiting cgi response\n", ch);
    return 0;
}
