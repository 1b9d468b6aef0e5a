#include "shell/cmdline.h"

#include <cstdio>
#include <cstring>

#include "base/print.h"
#include "base/textio.h"
#include "channel/sockets.h"
#include "grabber/fetch.h"
#include "ping/icmp.h"
#include "ping/ping_dialog.h"
#include "platform/frontend.h"
#include "platform/messages.h"
#include "settings/settings.h"
#include "shell/shell.h"

namespace {

constexpr int kTooLong = 127;
constexpr int kWordSize = 128;

enum ActionKind : int16_t { kGrabAction = 0, kServerAction = 1, kPingAction = 2 };

// Values kept while one pass runs; both passes start from the same ones.
struct Pass {
    int16_t number = 0;
    int16_t actionRequested = 0;
    int16_t actionKind = kGrabAction;
    bool expectingArgument = false;
    char option[kWordSize] = "";
    char url[kWordSize] = "";
    char name[kWordSize] = "";
};

void Complain(const Pass& pass, const char* format, const char* word) {
    if (pass.number == 1) Print(MainWindow, format, word);
}

// Options without an argument act when they are seen; options with one act on it.
struct Option {
    const char* word;
    void (*seen)(Pass&);
    void (*argument)(Pass&, const char*);
};

void Grab(Pass& p, const char* arg) {
    p.actionKind = kGrabAction;
    p.actionRequested = 1;
    CopyText(p.url, arg);
}

void GrabAndStay(Pass& p, const char* arg) {
    Grab(p, arg);
    if (p.number == 1) BatchMode = 0;
}

void Name(Pass& p, const char* arg) { CopyText(p.name, arg); }

void Timeout(Pass& p, const char* arg) {
    if (sscanf(arg, "%hd", &Settings.Url.ConnectionTimeout) != 1) Complain(p, "option= -t, bad argument %s\n", arg);
}

void Order(Pass& p, const char* arg) {
    Settings.UrlRun.Levels = 0;
    if (sscanf(arg, "%hd", &Settings.UrlRun.Levels) != 1) Complain(p, "option= -o, bad argument %s\n", arg);
}

void Prefix(Pass&, const char* arg) {
    CopyText(Settings.Url.Prefix, arg, 6);
    Settings.Url.AutoName = 0;
}

void Retry(Pass& p, const char* arg) {
    unsigned short retry;
    if (sscanf(arg, "%hu", &retry) == 1)
        Settings.Url.Retry = (int16_t)retry;
    else
        Complain(p, "option= -retry, bad argument %s\n", arg);
}

void Http(Pass& p, const char* arg) {
    short version;
    if (sscanf(arg, "%hd", &version) == 1 && (version == 0 || version == 1)) {
        Settings.Standard.Server = version;
        Settings.Standard.Url = version;
    } else {
        Complain(p, "option= -http, bad argument %s\n", arg);
    }
}

void PingHostArgument(Pass&, const char* arg) { CopyText(ping::Run.PingHost, arg); }
void ServerDir(Pass&, const char* arg) { CopyText(Settings.Server.HomeDir, arg); }
void GrabDir(Pass&, const char* arg) { CopyText(Settings.Url.HomeDir, arg); }
void GrabBookmark(Pass&, const char* arg) { CopyText(Settings.Url.Bookmark, arg); }

void ServerPort(Pass&, const char* arg) {
    unsigned short port;
    if (sscanf(arg, "%hu", &port) == 1) Settings.Server.ServerPort = port;
}

void AutoName(Pass&) { Settings.Url.AutoName = 1; }
void ShowNormal(Pass&) { Shell.ShowCommand = SW_SHOWNORMAL; }
void ServerAction(Pass& p) {
    p.actionKind = kServerAction;
    p.actionRequested = 1;
}
void PingAction(Pass& p) {
    p.actionKind = kPingAction;
    p.actionRequested = 1;
}
void LinksAll(Pass&) { Settings.Url.All = 1; }
void LinksLocal(Pass&) { Settings.Url.All = 0; }
void LinksSamePath(Pass&) { Settings.Url.All = 2; }
void LinksDownPath(Pass&) { Settings.Url.All = 3; }

const Option kOptions[] = {
    {"-u", nullptr, Grab},
    {"-ud", nullptr, GrabAndStay},
    {"-n", nullptr, Name},
    {"-t", nullptr, Timeout},
    {"-o", nullptr, Order},
    {"-p", nullptr, Prefix},
    {"-a", AutoName, nullptr},
    {"-s", ShowNormal, nullptr},
    {"-server", ServerAction, nullptr},
    {"-ping", PingAction, PingHostArgument},
    {"-all", LinksAll, nullptr},
    {"-local", LinksLocal, nullptr},
    {"-samepath", LinksSamePath, nullptr},
    {"-downpath", LinksDownPath, nullptr},
    {"-retry", nullptr, Retry},
    {"-http", nullptr, Http},
    {"-sdir", nullptr, ServerDir},
    {"-udir", nullptr, GrabDir},
    {"-ubook", nullptr, GrabBookmark},
    {"-sport", nullptr, ServerPort},
};

const Option* FindOption(const char* word) {
    for (const Option& option : kOptions)
        if (strcmp(option.word, word) == 0) return &option;
    return nullptr;
}

void TakeWord(Pass& pass, const char* word) {
    if (pass.expectingArgument) {
        pass.expectingArgument = false;
        if (const Option* option = FindOption(pass.option)) option->argument(pass, word);
        return;
    }
    CopyText(pass.option, word);
    const Option* option = FindOption(word);
    if (!option) {
        Complain(pass, "%s : Unknown Option\n", word);
        return;
    }
    if (option->seen) option->seen(pass);
    pass.expectingArgument = option->argument != nullptr;
}

// Each action returns whether it started.
bool StartGrab(const Pass& pass) {
    if (pass.name[0] != '\0') {
        Settings.Url.All = 1;
        return StartFetch(kFetchSaveAs, pass.url, pass.name) != 0;
    }
    return StartFetch((uint16_t)Settings.UrlRun.Levels == 0 ? kFetchImages : kFetchLevels, pass.url, "") != 0;
}

bool StartServer() {
    BatchMode = 0;
    ApplyServerModel(Settings.Server.ServerDef);
    return OpenServer();
}

bool StartPing() {
    BatchMode = 0;
    ping::Run.PingAuto = 1;
    ping::Run.ShowEcho = 1;
    ping::Run.PingVisible = 1;
    bool started = IcmpBox() != 0;
    SendMessageA(PingDialog, WM_INITDIALOG, 0, 0);
    ping::Run.PingVisible = 0;
    return started;
}

bool Act(const Pass& pass) {
    switch (pass.actionKind) {
        case kGrabAction: return StartGrab(pass);
        case kServerAction: return StartServer();
        case kPingAction: return StartPing();
    }
    return false;
}

}  // namespace

int16_t DecodeLine(const char* commandLine, int16_t passNumber) {
    Pass pass;
    pass.number = passNumber;
    Shell.ShowCommand = SW_SHOWMINNOACTIVE;
    int n = (int)strlen(commandLine);
    if (n >= kTooLong) {
        if (passNumber == 1) Print(MainWindow, "DecodeLine, command line is too large (%d characters)\n", n);
        return 0;
    }
    int16_t position = 0;
    char word[kWordSize];
    while (position <= n)
        if (NextWord(commandLine, position, (int16_t)n, word, sizeof word) > 0) TakeWord(pass, word);
    // The front end decides what a failed start means: a user at a screen may still fix the
    // settings, a headless run without a script has nothing left to do.
    if (passNumber == 1 && pass.actionRequested && !Act(pass)) platform::TheFrontEnd().CommandLineActionFailed();
    return pass.actionRequested;
}
