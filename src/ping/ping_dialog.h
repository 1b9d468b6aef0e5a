// The PING dialog (modeless "DIALOG_8") and the ping box that starts a ping run.
#pragma once

#include <cstdint>

#include "platform/ui.h"

extern const DialogTemplate kPingDialogTemplate;
extern HWND PingDialog;  // the modeless PING window, created hidden at start-up

INT_PTR PingDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);

// Opens the ICMP socket, resets the run's counters and sends the first echo to PingHost.
// Returns 1 when a run was started, 0 otherwise.
int16_t IcmpBox();
