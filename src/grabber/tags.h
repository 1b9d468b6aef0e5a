// The tag tables that say which tags carry links, built at start-up from built-in entries or
// from the file tag.map.
#pragma once

#include <cstdint>

int16_t TAGinit();
