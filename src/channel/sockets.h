// The program's whole contact with Winsock for TCP: starting and stopping it, the listening
// server socket, accepting Remote Clients into free channels (or refusing them with one 502
// line when every channel is busy), opening Local Clients, closing sockets, the server and
// all Local Clients.
#pragma once

#include <cstdio>

#include "platform/winsock.h"

extern SOCKET ServerSocket;       // the listening socket; INVALID_SOCKET while the server is closed
extern char ClientOutputFile[200];  // the file that receives a Local Client's data

// The client session of the program: the interactive Local Client or a grab.
extern int16_t ClientOpen;       // 0 none, 1 interactive Local Client, 2 a grab being opened
extern int16_t ClientConnected;  // the Local Client's connect has completed

int StartWinsock();
void CloseWS();
bool OpenSocket(HWND window, SOCKET* out, int protocol, uint16_t port);
bool OpenServer();
void CloseServer();
// Closes the server log file, if one is open; console lines are no longer copied.
void CloseServerLog();
void CloseAllClients();
void ServerMsg(HWND window, WPARAM wParam, LPARAM lParam);
bool CloseSocket(SOCKET* socket);
int OpenClient(HWND window, const char* host, int protocol, uint16_t port);

// The linger call made on every connected socket while Server.LeavingTimeout is not 0.
void SetLeavingLinger(SOCKET s);
