// korvel.ini: loading at start-up and saving on request.
//
// The reader and the writer do not quite agree, and the disagreements are kept because saved
// files depend on them: numbers are read as decimal with the field's current value as the
// default and stored into 16 bits, but written with "%u" after widening with their sign (so
// -1 is written as 4294967295; ServerProxy alone is written with "%d"); the [Server] Mode is
// hexadecimal; the CGI synchronisation flag is read from "CGISynchro" and written to
// "GCISynchro", which is never read.

#include "settings/settings.h"

#include <cstdio>
#include <cstring>

#include "base/textio.h"
#include "platform/profile.h"

SettingsRecord Settings;

namespace {

// Read limits of the text keys (the buffer size given to the profile reader).
constexpr int kShortTextLimit = 80;

void ReadSigned(const char* section, const char* key, int16_t& field) {
    field = (int16_t)GetPrivateProfileIntA(section, key, field, kSettingsFile);
}

void ReadUnsigned(const char* section, const char* key, uint16_t& field) {
    field = (uint16_t)GetPrivateProfileIntA(section, key, (int)(unsigned)field, kSettingsFile);
}

template <size_t N>
void ReadText(const char* section, const char* key, const char* defaultText, char (&field)[N], int limit) {
    char buffer[512];
    GetPrivateProfileStringA(section, key, defaultText, buffer, (DWORD)limit, kSettingsFile);
    CopyText(field, buffer);
}

void ReadServerMode() {
    char text[kShortTextLimit];
    char defaultText[16];
    snprintf(defaultText, sizeof defaultText, "%lx", (unsigned long)Settings.Server.ServerMode);
    GetPrivateProfileStringA("Server", "Mode", defaultText, text, sizeof text, kSettingsFile);
    unsigned long mode;
    if (sscanf(text, "%lx", &mode) == 1) Settings.Server.ServerMode = (uint32_t)mode;
}

void LoadServer() {
    ServerSettings& s = Settings.Server;
    ReadServerMode();
    ReadUnsigned("Server", "ServerPort", s.ServerPort);
    ReadSigned("Server", "LeavingTimeout", s.LeavingTimeout);
    ReadSigned("Server", "WaitingTimeout", s.WaitingTimeout);
    ReadSigned("Server", "PreWaitingTimeout", s.PreWaitingTimeout);
    ReadSigned("Server", "SendingTimeout", s.SendingTimeout);
    ReadSigned("Server", "PurgingTimeout", s.PurgingTimeout);
    ReadSigned("Server", "connectionTimeout", s.connectionTimeout);
    ReadSigned("Server", "ServerProxy", s.ServerProxy);
    ReadText("Server", "ProxyHost", "me", s.ProxyHost, kShortTextLimit);
    ReadSigned("Server", "ProxyPort", s.ProxyPort);
    ReadText("Server", "Mailbox", "mailbox", s.Mailbox, kShortTextLimit);
    ReadText("Server", "HomeDir", "\\korvel", s.HomeDir, kShortTextLimit);
    ReadSigned("Server", "ServerLog", s.ServerLog);
    ReadText("Server", "ServerLogFilename", "\\korvel\\server.log", s.ServerLogFilename, kShortTextLimit);
    ReadSigned("Server", "ServerDef", s.ServerDef);
    ReadSigned("Server", "HowManyClients", s.HowManyClients);
}

void LoadClient() {
    ClientSettings& c = Settings.Client;
    ReadSigned("Client", "ClientPort", c.ClientPort);
    ReadText("Client", "ClientHost", "me", c.ClientHost, kShortTextLimit);
    ReadSigned("Client", "ClientLogFile", c.ClientLogFile);
    ReadText("Client", "ClientFile", "\\korvel\\file.tmp", c.ClientFile, kShortTextLimit);
    ReadSigned("Client", "ClientDef", c.ClientDef);
}

void LoadUrl() {
    UrlSettings& u = Settings.Url;
    ReadUnsigned("Url", "Port", u.Port);
    ReadSigned("Url", "MaxURL", u.MaxURL);
    ReadSigned("Url", "MaxIMG", u.MaxIMG);
    ReadSigned("Url", "Mode", u.Mode);
    ReadSigned("Url", "All", u.All);
    ReadSigned("Url", "Retry", u.Retry);
    ReadSigned("Url", "AutoName", u.AutoName);
    ReadText("Url", "Prefix", "korvel", u.Prefix, 20);
    ReadSigned("Url", "ConnectionTimeout", u.ConnectionTimeout);
    ReadSigned("Url", "LeavingTimeout", u.LeavingTimeout);
    ReadSigned("Url", "PurgingTimeout", u.PurgingTimeout);
    ReadText("Url", "HomeDir", "\\tmp", u.HomeDir, 105);
    ReadText("Url", "Url", "", u.Url, 496);
    ReadText("Url", "ProxyHost", "", u.ProxyHost, kShortTextLimit);
    ReadText("Url", "Bookmark", "kvdir.htm", u.Bookmark, 128);
    ReadText("UrlBrowser", "Book", "\\korvel\\kvbook.htm", Settings.UrlBrowser.Book, 128);
    ReadText("Url", "file:", "file:///c|", u.FilePrefix, 20);
}

void LoadPing() {
    char page[kShortTextLimit];
    GetPrivateProfileStringA("Ping", "Page", "no", page, sizeof page, kSettingsFile);
    if (strcmp(page, "yes") == 0) Settings.Ping.Page = 1;
}

void LoadOthers() {
    ReadSigned("CGI", "CGIMax", Settings.CGI.CGIMax);
    ReadSigned("CGI", "CGISynchro", Settings.CGI.CGISynchro);
    ReadSigned("Standard", "Server", Settings.Standard.Server);
    ReadSigned("Standard", "Url", Settings.Standard.Url);
}

// ---------------------------------------------------------------------------------------------

void Write(const char* section, const char* key, const char* text) {
    WritePrivateProfileStringA(section, key, text, kSettingsFile);
}

// An i16 field, widened with its sign and written unsigned.
void WriteSigned(const char* section, const char* key, int16_t value) {
    char text[16];
    snprintf(text, sizeof text, "%u", (unsigned)(int32_t)value);
    Write(section, key, text);
}

void WriteUnsigned(const char* section, const char* key, uint16_t value) {
    char text[16];
    snprintf(text, sizeof text, "%u", (unsigned)value);
    Write(section, key, text);
}

void SaveServer() {
    const ServerSettings& s = Settings.Server;
    char text[16];
    snprintf(text, sizeof text, "%lx", (unsigned long)s.ServerMode);
    Write("Server", "Mode", text);
    WriteUnsigned("Server", "ServerPort", s.ServerPort);
    WriteSigned("Server", "LeavingTimeout", s.LeavingTimeout);
    WriteSigned("Server", "WaitingTimeout", s.WaitingTimeout);
    WriteSigned("Server", "PreWaitingTimeout", s.PreWaitingTimeout);
    WriteSigned("Server", "SendingTimeout", s.SendingTimeout);
    WriteSigned("Server", "PurgingTimeout", s.PurgingTimeout);
    WriteSigned("Server", "connectionTimeout", s.connectionTimeout);
    snprintf(text, sizeof text, "%d", (int)s.ServerProxy);
    Write("Server", "ServerProxy", text);
    Write("Server", "ProxyHost", s.ProxyHost);
    WriteSigned("Server", "ProxyPort", s.ProxyPort);
    Write("Server", "Mailbox", s.Mailbox);
    Write("Server", "HomeDir", s.HomeDir);
    WriteSigned("Server", "ServerLog", s.ServerLog);
    Write("Server", "ServerLogFilename", s.ServerLogFilename);
    WriteSigned("Server", "ServerDef", s.ServerDef);
    WriteSigned("Server", "HowManyClients", s.HowManyClients);
}

void SaveClient() {
    const ClientSettings& c = Settings.Client;
    WriteSigned("Client", "ClientPort", c.ClientPort);
    Write("Client", "ClientHost", c.ClientHost);
    WriteSigned("Client", "ClientLogFile", c.ClientLogFile);
    Write("Client", "ClientFile", c.ClientFile);
    WriteSigned("Client", "ClientDef", c.ClientDef);
}

void SaveUrl() {
    const UrlSettings& u = Settings.Url;
    WriteUnsigned("Url", "Port", u.Port);
    WriteSigned("Url", "Retry", u.Retry);
    WriteSigned("Url", "MaxURL", u.MaxURL);
    WriteSigned("Url", "MaxIMG", u.MaxIMG);
    WriteSigned("Url", "Mode", u.Mode);
    WriteSigned("Url", "All", u.All);
    WriteSigned("Url", "AutoName", u.AutoName);
    Write("Url", "Prefix", u.Prefix);
    WriteSigned("Url", "ConnectionTimeout", u.ConnectionTimeout);
    WriteSigned("Url", "LeavingTimeout", u.LeavingTimeout);
    WriteSigned("Url", "PurgingTimeout", u.PurgingTimeout);
    Write("Url", "HomeDir", u.HomeDir);
    Write("Url", "ProxyHost", u.ProxyHost);
    Write("Url", "file:", u.FilePrefix);
    Write("Url", "Url", u.Url);
    Write("Url", "Bookmark", u.Bookmark);
}

}  // namespace

void ApplyServerModel(int16_t serverDef) {
    switch (serverDef) {
        case 0: Settings.Server.ServerMode = kHttpModel; break;
        case 1: Settings.Server.ServerMode = kProxyModel; break;
        case 2: Settings.Server.ServerMode = kStdModel; break;
        default: break;
    }
}

void ApplyClientModel(int16_t clientDef) {
    switch (clientDef) {
        case 0:
        case 1: Settings.Server.ServerMode = kStdModel; break;
        case 2: Settings.Server.ServerMode = kHttpBinaryModel; break;
        default: break;
    }
}

void LoadSettings() {
    LoadServer();
    LoadClient();
    LoadUrl();
    LoadPing();
    LoadOthers();
}

void SaveSettings() {
    SaveServer();
    SaveClient();
    SaveUrl();
    Write("UrlBrowser", "Book", Settings.UrlBrowser.Book);
    WriteSigned("CGI", "CGIMax", Settings.CGI.CGIMax);
    WriteSigned("CGI", "GCISynchro", Settings.CGI.CGISynchro);
    WriteSigned("Standard", "Server", Settings.Standard.Server);
    WriteSigned("Standard", "Url", Settings.Standard.Url);
}
