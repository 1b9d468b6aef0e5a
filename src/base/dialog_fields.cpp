#include "base/dialog_fields.h"

#include "base/print.h"

bool ScanSigned(HWND dialog, int id, int16_t& value) {
    short scanned;
    if (DlgScanf(dialog, 0, id, "%hd", &scanned) <= 0) return false;
    value = scanned;
    return true;
}

bool ScanUnsigned(HWND dialog, int id, uint16_t& value, int limit) {
    char text[1000];
    GetDlgItemTextA(dialog, id, text, limit < (int)sizeof text ? limit : (int)sizeof text);
    unsigned short scanned;
    if (sscanf(text, "%hu", &scanned) <= 0) return false;
    value = scanned;
    return true;
}

void EnableControl(HWND dialog, int id, bool enabled) { EnableWindow(GetDlgItem(dialog, id), enabled ? TRUE : FALSE); }

void FillHttpVersions(HWND dialog, int id, int16_t selected) {
    SendDlgItemMessageA(dialog, id, CB_RESETCONTENT, 0, 0);
    SendDlgItemMessageA(dialog, id, CB_ADDSTRING, 0, (LPARAM) "HTTP 0.9");
    SendDlgItemMessageA(dialog, id, CB_ADDSTRING, 0, (LPARAM) "HTTP 1.0");
    SendDlgItemMessageA(dialog, id, CB_SETCURSEL, (WPARAM)selected, 0);
}
