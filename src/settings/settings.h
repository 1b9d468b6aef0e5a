// The settings record: every configurable value of the program, one group per section of
// korvel.ini, each field named after its key. Filled from the compiled defaults below, then
// from the file at start-up, then changed by the command line and the dialogs; written back
// only when the user confirms Save.
#pragma once

#include <cstdint>

// The settings file, in the working directory.
constexpr const char* kSettingsFile = ".\\korvel.ini";

// Bits of Server.ServerMode: how the console and the channels behave.
constexpr uint32_t SendAndClose = 0x001;
constexpr uint32_t ShowReceivedData = 0x002;
constexpr uint32_t EchoKeyboard = 0x004;
constexpr uint32_t TextMode = 0x008;
constexpr uint32_t BinaryMode = 0x010;
constexpr uint32_t ShowReceivedCommands = 0x020;
constexpr uint32_t ExecuteReceivedCommands = 0x040;
constexpr uint32_t ModeDuplex = 0x080;
constexpr uint32_t EnableTimeout = 0x100;

// Presets stored whole into ServerMode by the configuration models.
constexpr uint32_t kHttpModel = 0x1CB;
constexpr uint32_t kProxyModel = 0x18A;
constexpr uint32_t kStdModel = 0x08E;
constexpr uint32_t kHttpBinaryModel = 0x094;

struct ServerSettings {
    uint32_t ServerMode = kHttpModel;  // key "Mode", hexadecimal in the file
    uint16_t ServerPort = 80;
    int16_t LeavingTimeout = 2;
    int16_t WaitingTimeout = 60;
    int16_t PreWaitingTimeout = 30;
    int16_t SendingTimeout = 60;
    int16_t PurgingTimeout = 60;
    int16_t connectionTimeout = 120;
    int16_t ServerProxy = 0;
    char ProxyHost[80] = "me";
    int16_t ProxyPort = 80;
    char Mailbox[80] = "mailbox";
    char HomeDir[80] = "\\korvel";
    int16_t ServerLog = 0;
    char ServerLogFilename[80] = "\\korvel\\server.log";
    int16_t ServerDef = 3;  // 0 Http, 1 Proxy, 2 Std, 3 Panel
    int16_t HowManyClients = 9;
};

struct ClientSettings {
    int16_t ClientPort = 80;
    char ClientHost[80] = "me";
    int16_t ClientLogFile = 0;
    char ClientFile[80] = "\\korvel\\file.tmp";
    int16_t ClientDef = 3;  // 0 Std, 1 HttpText, 2 HttpBinary, 3 Panel
};

struct UrlSettings {
    uint16_t Port = 80;
    int16_t MaxURL = 127;
    int16_t MaxIMG = 127;
    int16_t Mode = 0;  // 0 Text, 1 Binary
    int16_t All = 0;   // 1 All, 0 Local, 2 SamePath, 3 DownPath
    int16_t Retry = 10;
    int16_t AutoName = 1;
    char Prefix[20] = "korvel";
    int16_t ConnectionTimeout = 600;
    int16_t LeavingTimeout = 2;
    int16_t PurgingTimeout = 60;
    char HomeDir[105] = "\\tmp";
    char Url[496] = "";
    char ProxyHost[128] = "";
    char Bookmark[128] = "kvdir.htm";
    char FilePrefix[20] = "file:///c|";  // key "file:"
};

struct UrlBrowserSettings {
    char Book[128] = "\\korvel\\kvbook.htm";
};

struct CgiSettings {
    int16_t CGIMax = 1;
    int16_t CGISynchro = 1;  // read from "CGISynchro", written to "GCISynchro"
};

struct StandardSettings {
    int16_t Server = 0;  // 1: HTTP 1.0 answers, else HTTP 0.9
    int16_t Url = 0;     // 1: HTTP 1.0 requests, else HTTP 0.9
};

struct PingSettings {
    int16_t Page = 0;  // "yes": page mode, messages carried in echo packets
};

// Run-time grab fields that are not kept in the file.
struct UrlRunSettings {
    int16_t Levels = 1;           // "N=" and -o; at least 1 when typed
    char Index[4] = "00";         // running index of local names
    int16_t CheckHtmlHeader = 1;  // browse only pages served as text/html
    int16_t AddPageTrailer = 0;   // append the trailer to saved pages
};

struct SettingsRecord {
    ServerSettings Server;
    ClientSettings Client;
    UrlSettings Url;
    UrlBrowserSettings UrlBrowser;
    CgiSettings CGI;
    StandardSettings Standard;
    PingSettings Ping;
    UrlRunSettings UrlRun;
};

extern SettingsRecord Settings;

// The configuration models store their preset into Server.ServerMode; the Panel model (3)
// leaves it as it is.
void ApplyServerModel(int16_t serverDef);  // 0 Http, 1 Proxy, 2 Std
void ApplyClientModel(int16_t clientDef);  // 0 Std and 1 HttpText, 2 HttpBinary

// Loads every key of korvel.ini into Settings (start-up).
void LoadSettings();
// Writes Settings back to korvel.ini (Save dialog).
void SaveSettings();
