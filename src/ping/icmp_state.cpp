// The ping engine's one run record; its start-up values are those of the record's fields.
#include "ping/icmp.h"

namespace ping {

PingRun Run;

}  // namespace ping
