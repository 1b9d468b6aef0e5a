#include "platform/send_gather.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <utility>

#include "platform/clock.h"
#include "platform/event_source.h"
#include "platform/sys_sockets.h"

namespace platform {

namespace {
constexpr size_t kFirstRoom = 4096;
}

void SendGather::Add(const char* data, size_t length) {
    if (taken_ > 0) {
        bytes_.erase(bytes_.begin(), bytes_.begin() + (ptrdiff_t)taken_);
        taken_ = 0;
    }
    // A server's answer is gathered in a few pieces: room for a page or so is made at once.
    if (bytes_.empty()) bytes_.reserve(std::max(length, kFirstRoom));
    bytes_.insert(bytes_.end(), data, data + length);
}

SendGather::Given SendGather::GiveTo(int fd, bool closing) {
    while (Owes()) {
        long sent = sys::Send(fd, bytes_.data() + taken_, Owed(), closing ? sys::kMore : 0);
        if (sent > 0) {
            taken_ += (size_t)sent;
            continue;
        }
        if (sent < 0 && errno == EINTR) continue;
        if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return Given::Part;
        int error = errno;
        Forget();
        errno = error;
        return Given::Failed;
    }
    Forget();  // an idle connection holds no buffer
    return Given::All;
}

void SendGather::Forget() {
    std::vector<char>().swap(bytes_);
    taken_ = 0;
}

}  // namespace platform

namespace {

struct Lingering {
    int fd;
    platform::SendGather owed;
    int64_t deadline;
};

// What a graceful close of the Winsock layer does: input nobody read is dropped first, since
// closing a socket with unread input would reset the connection and lose what was sent.
void FinishClose(int fd) {
    sys::DiscardInput(fd, platform::kDiscardAtClose);
    sys::Close(fd);
}

class LingeringCloses : public platform::EventSource {
public:
    void Add(int fd, platform::SendGather owed) {
        if (waiting_.size() >= (size_t)platform::kMostLingering) return FinishClose(fd);
        if (waiting_.empty()) platform::AddEventSource(this);
        waiting_.push_back(Lingering{fd, std::move(owed), platform::MonotonicMs() + platform::kLingerLimitMs});
    }

    void CloseAll() {
        for (Lingering& l : waiting_) FinishClose(l.fd);
        waiting_.clear();
        platform::RemoveEventSource(this);
    }

    int Count() const { return (int)waiting_.size(); }

    void AddDescriptors(std::vector<pollfd>& fds) override {
        for (const Lingering& l : waiting_) fds.push_back(pollfd{l.fd, POLLOUT, 0});
    }

    void HandleEvents(const pollfd* fds, size_t count) override {
        int64_t now = platform::MonotonicMs();
        for (size_t i = 0; i < count && i < waiting_.size(); ++i) {
            Lingering& l = waiting_[i];
            bool done = now >= l.deadline;
            if (!done && fds[i].revents != 0) done = l.owed.GiveTo(l.fd) != platform::SendGather::Given::Part;
            if (done) {
                FinishClose(l.fd);
                l.fd = -1;
            }
        }
        waiting_.erase(std::remove_if(waiting_.begin(), waiting_.end(), [](const Lingering& l) { return l.fd < 0; }),
                       waiting_.end());
        if (waiting_.empty()) platform::RemoveEventSource(this);
    }

    int WakeAfterMs() override {
        int64_t first = INT64_MAX;
        for (const Lingering& l : waiting_) first = std::min(first, l.deadline);
        if (first == INT64_MAX) return -1;
        return (int)std::clamp<int64_t>(first - platform::MonotonicMs(), 0, platform::kLingerLimitMs);
    }

private:
    std::vector<Lingering> waiting_;
};

LingeringCloses lingering;

}  // namespace

namespace platform {

void CloseWhenGiven(int fd, SendGather owed) { lingering.Add(fd, std::move(owed)); }
void CloseLingeringNow() { lingering.CloseAll(); }
int LingeringCount() { return lingering.Count(); }

}  // namespace platform
