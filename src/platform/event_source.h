// Event sources of the message loop: anything with file descriptors to watch (the Winsock
// layer, a front end's terminal or signal pipe, a script runner's clock).
//
// GetMessageA asks every source for the descriptors it wants, polls them together with the
// next timer deadline, and hands the results back; a source turns readiness into posted
// messages. A source may also ask to be woken after some milliseconds and may do idle work
// just before the loop blocks.
#pragma once

#include <poll.h>

#include <vector>

namespace platform {

class EventSource {
public:
    virtual ~EventSource() = default;
    // Appends the descriptors to watch. Called before every poll.
    virtual void AddDescriptors(std::vector<pollfd>& fds) = 0;
    // Receives the entries it appended (same order), with revents filled in.
    virtual void HandleEvents(const pollfd* fds, size_t count) = 0;
    // Milliseconds until the source wants to run again without any descriptor event, or -1.
    virtual int WakeAfterMs() { return -1; }
    // Called when the queue is empty and nothing is due, just before blocking. May post
    // messages; returns true when it did (the loop then does not block).
    virtual bool Idle() { return false; }
    // Called right before the loop blocks in poll() (after Idle found nothing to do).
    virtual void BeforeBlock() {}
    // Called after each dispatched message, once the window procedure has returned.
    virtual void AfterDispatch() {}
};

void AddEventSource(EventSource* source);
void RemoveEventSource(EventSource* source);

}  // namespace platform
