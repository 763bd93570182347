#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include "platform/stackRoom.h"

namespace kiv::internal {
namespace {

constexpr std::size_t kReserve = 128 * 1024;
// Assumed below the frame at hand where the system doesn't tell, and in a stack of unknown extent.
constexpr std::size_t kAssumedSize = 256 * 1024;

struct StackBounds {
    std::uintptr_t low = 0;
    std::uintptr_t high = 0;

    bool Contains(std::uintptr_t frame) const { return frame >= low && frame < high; }
    bool HasRoomBelow(std::uintptr_t frame) const {
        // A small stack gives up a quarter of itself and not all that it has.
        return frame - low > std::min<std::size_t>(kReserve, (high - low) / 4);
    }
};

StackBounds BoundsOfThisThread() {
    StackBounds bounds;
    pthread_attr_t attributes;
    if (::pthread_getattr_np(::pthread_self(), &attributes) != 0)
        return bounds;
    void* low = nullptr;
    std::size_t size = 0;
    if (::pthread_attr_getstack(&attributes, &low, &size) == 0) {
        bounds.low = reinterpret_cast<std::uintptr_t>(low);
        bounds.high = bounds.low + size;
    }
    ::pthread_attr_destroy(&attributes);
    return bounds;
}

// Reads the process's list of mappings, lines of "low-high rest", byte by byte: whoever asks may
// have no room for more, nor a heap to lean on.
class MappingList {
public:
    explicit MappingList(int file) : file_(file) {}
    ~MappingList() { ::close(file_); }
    MappingList(const MappingList&) = delete;
    MappingList& operator=(const MappingList&) = delete;

    bool Next(StackBounds& mapping) {
        mapping.low = _Number();
        mapping.high = _Number();
        while (last_ != '\n' && last_ != kEnd)
            _Take();
        return last_ != kEnd;
    }

private:
    static constexpr int kEnd = -1;

    int _Take() {
        if (next_ == filled_) {
            ssize_t count = 0;
            do
                count = ::read(file_, buffer_, sizeof(buffer_));
            while (count < 0 && errno == EINTR);
            next_ = 0;
            filled_ = static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        }
        last_ = next_ == filled_ ? kEnd : static_cast<unsigned char>(buffer_[next_++]);
        return last_;
    }
    // A hexadecimal number and the byte behind it.
    std::uintptr_t _Number() {
        std::uintptr_t number = 0;
        for (;;) {
            const int c = _Take();
            if (c >= '0' && c <= '9')
                number = number * 16 + static_cast<std::uintptr_t>(c - '0');
            else if (c >= 'a' && c <= 'f')
                number = number * 16 + static_cast<std::uintptr_t>(c - 'a' + 10);
            else
                return number;
        }
    }

    int file_;
    int last_ = 0;
    std::size_t next_ = 0;
    std::size_t filled_ = 0;
    char buffer_[512];
};

// Good for deeper frames only: the next one that is not may belong to another stack, which has
// taken the place of this one.
StackBounds BoundsBelow(std::uintptr_t frame) {
    int file = -1;
    do
        file = ::open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
    while (file < 0 && errno == EINTR);
    if (file >= 0) {
        MappingList list(file);
        StackBounds mapping;
        while (list.Next(mapping))
            if (mapping.Contains(frame))
                return StackBounds{mapping.low, frame};
    }
    return StackBounds{frame - kAssumedSize, frame};
}

struct KnownStacks {
    bool asked = false;
    StackBounds own;
    StackBounds other;            // of the last stack that was not the thread's own,
    std::uintptr_t asked_at = 0;  // and the frame for which it was looked up
};

// A stack that was given back may have another in its place, with a guard page where there was
// room. What is known of such a stack holds for frames near the one that asked, since less than
// this is left in reserve.
constexpr std::size_t kNear = kReserve / 4;

// Asked once a level and more: reached without a call, and small enough for the room that is kept
// for that in a library that is loaded late.
[[gnu::tls_model("initial-exec")]] constinit thread_local KnownStacks known_stacks;

}  // namespace

bool HasStackRoom() {
    // The real frame: under the address sanitizer local variables may live on a stack of its own.
    const auto frame = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    KnownStacks& known = known_stacks;
    if (known.own.Contains(frame))
        return known.own.HasRoomBelow(frame);
    if (!known.asked) {
        known.own = BoundsOfThisThread();
        known.asked = true;
        if (known.own.Contains(frame))
            return known.own.HasRoomBelow(frame);
    }
    const std::size_t distance =
        frame > known.asked_at ? frame - known.asked_at : known.asked_at - frame;
    if (!known.other.Contains(frame) || distance > kNear) {
        known.other = BoundsBelow(frame);
        known.asked_at = frame;
    }
    return known.other.HasRoomBelow(frame);
}

}  // namespace kiv::internal
