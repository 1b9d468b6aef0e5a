#include "platform/frontend.h"

namespace platform {

namespace {
FrontEnd silentFrontEnd;
FrontEnd* current = &silentFrontEnd;
}  // namespace

void SetFrontEnd(FrontEnd* frontEnd) { current = frontEnd ? frontEnd : &silentFrontEnd; }

FrontEnd& TheFrontEnd() { return *current; }

}  // namespace platform
