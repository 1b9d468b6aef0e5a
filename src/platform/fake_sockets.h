// A socket backend in memory, for tests and fuzzers: it stands in for the system's behind
// sys_sockets.h, so the program runs its whole connection core (Winsock events, channels,
// server, grab) without a network. Peers are ordinary descriptors in the same process:
//
// - a peer that connects to the program's listening socket on a port gets the far end of a
//   new connection, which the program's accept takes (ConnectToProgram);
// - a Local Client of the program that connects to a port served here has its far end queued
//   for the test to take (Serve, TakeConnection); a port not served refuses the connect.
//
// Every stream socket is one end of a local socket pair, so send, recv, FIONREAD and poll
// behave as the system's do. Datagram and raw sockets are the system's own.
#pragma once

#include <cstdint>

namespace fakenet {

// Puts this backend in place of the system's, with no port listening or served.
void Install();
// Closes what the backend still holds and puts the system's backend back.
void Remove();

// A peer connects to the program's listening socket on `port` (host byte order): the far end
// of the connection, or -1 when nothing listens there.
int ConnectToProgram(uint16_t port);

// From now on, a connect of the program to `port` (host byte order, any address) succeeds.
void Serve(uint16_t port);
// From now on, a connect to `port` is refused again; connections not yet taken are closed.
void StopServing(uint16_t port);
// The far end of the oldest connection the program made to `port`, or -1 when none waits.
int TakeConnection(uint16_t port);

}  // namespace fakenet
