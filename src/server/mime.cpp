// Content types: a few built in, the rest from the [Mime] section of korvel.ini, which the
// user writes and the program only reads (each time a file is served). Extensions compare
// exactly, case included: "HTM" is not "htm".

#include <cstdio>
#include <cstring>

#include "platform/profile.h"
#include "server/send.h"
#include "settings/settings.h"

namespace {

struct BuiltInType {
    const char* extension;
    const char* type;
};

const BuiltInType kBuiltIn[] = {
    {"htm", "text/html"},   {"html", "text/html"},  {"gif", "image/gif"},
    {"jpg", "image/jpeg"},  {"jpeg", "image/jpeg"}, {"jpe", "image/jpeg"},
};

}  // namespace

void MimeType(const char* extension, char (&type)[81]) {
    for (const BuiltInType& entry : kBuiltIn)
        if (strcmp(entry.extension, extension) == 0) {
            snprintf(type, sizeof type, "%s", entry.type);
            return;
        }
    GetPrivateProfileStringA("Mime", extension, "", type, 80, kSettingsFile);
}
