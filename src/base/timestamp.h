// The date-and-time text of login and logout lines, the statistics window and the ping tool,
// formatted after the user's regional settings ([intl]), which are read afresh on each call.
#pragma once

#include <cstdint>
#include <ctime>

// The size of the buffer that callers give TimeStamp.
constexpr int kTimeStampSize = 64;

// Writes the local time of `time` as " Mon  11/16/26 -   2:05:09 PM  " (the date order,
// separators, clock and suffixes as the regional settings say) into `out`, which holds
// kTimeStampSize bytes. Returns the number of characters written.
int16_t TimeStamp(time_t time, char* out);
