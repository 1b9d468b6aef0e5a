#include "base/app.h"

HINSTANCE hInst = nullptr;
HWND MainWindow = nullptr;
int16_t BatchMode = 0;
