// The Statistics window (modeless "DIALOG_4"): the state of the first nine channels, refreshed
// every second by its own timer while it is shown.
#pragma once

#include "platform/ui.h"

extern const DialogTemplate kStatisticsTemplate;
extern HWND StatisticsDialog;  // the modeless statistics window, created hidden at start-up

INT_PTR StatisticsDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
