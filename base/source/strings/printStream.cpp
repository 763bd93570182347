#include "kiv/base/printStream.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <limits>
#include <mutex>
#include <new>
#include <type_traits>

#include <fmt/format.h>

namespace kiv::io {
namespace {

constexpr uint64 kSmallestBlock = 32;
constexpr uint64 kBlockAfterReset = 1024;
constexpr uint64 kLargestBlock = std::numeric_limits<std::ptrdiff_t>::max();

static_assert(offsetof(ostream::Buffer, buffer) < offsetof(ostream::Buffer, curr) &&
              offsetof(ostream::Buffer, curr) < offsetof(ostream::Buffer, size) &&
              offsetof(ostream::Buffer, size) < offsetof(ostream::Buffer, capacity));

}  // namespace

struct ostreamPrivate {
    std::mutex mutex;  // guards buffer
    ostream::Buffer buffer;
    // Not under the mutex, so that a print need not take it while it formats.
    std::atomic<bool> showHex = false;

    // Makes room for a print of `length` characters and its null character that does not fit: at
    // least half of the block, so that many small prints don't move the text each time.
    void MakeRoom(uint64 length) { buffer.grow(std::max(length + 1, buffer.capacity / 2)); }

    // Two lists of the same arguments, since a pass of the formatter uses one up.
    void Print(const char* format, va_list args, va_list again) {
        std::lock_guard lock(mutex);
        // Most prints fit, so the measuring pass writes to the free bytes at once.
        const int length = std::vsnprintf(buffer.curr, buffer.size, format, args);
        if (length < 0 || static_cast<uint64>(length) >= buffer.size) {
            // Its first characters may stand behind the text, which ends where it did until the
            // print has come through.
            if (buffer.size > 0)
                *buffer.curr = '\0';
            if (length < 0)
                return;
            MakeRoom(length);
            std::vsnprintf(buffer.curr, buffer.size, format, again);
        }
        buffer.advance(length);
    }
};

ostream::Buffer::~Buffer() {
    std::free(buffer);
}

std::pair<char*, uint64> ostream::Buffer::grow(uint64 needed) {
    if (size < needed) {
        const uint64 used = capacity - size;
        // Compared before it is computed: half as much again of a large number would wrap.
        if (needed > 2 * (kLargestBlock - used) / 3)
            throw std::bad_alloc();
        reserve(std::max((3 * needed + 1) / 2 + used, kSmallestBlock));
    }
    return {curr, size};
}

void ostream::Buffer::reserve(uint64 newCapacity) {
    const uint64 used = capacity - size;
    char* const block = static_cast<char*>(std::realloc(buffer, newCapacity));
    if (!block)
        throw std::bad_alloc();
    buffer = block;
    curr = block + used;
    size = newCapacity - used;
    capacity = newCapacity;
}

void ostream::Buffer::advance(int64 count) {
    if (count <= 0)
        return;
    const uint64 step = std::min(static_cast<uint64>(count), size);
    curr += step;
    size -= step;
}

void ostream::Buffer::reset() {
    if (capacity > kBlockAfterReset) {
        std::free(std::exchange(buffer, nullptr));
        curr = nullptr;
        size = capacity = 0;
        reserve(kBlockAfterReset);
    }
    curr = buffer;
    size = capacity;
}

ostream::ostream() : private_(new ostreamPrivate) {}

ostream::~ostream() {
    delete private_;
}

ostream& ostream::operator<<(short value) {
    return _PrintInteger(value);
}
ostream& ostream::operator<<(unsigned short value) {
    return _PrintInteger(value);
}
ostream& ostream::operator<<(int value) {
    return _PrintInteger(value);
}
ostream& ostream::operator<<(unsigned int value) {
    return _PrintInteger(value);
}
ostream& ostream::operator<<(long value) {
    return _PrintInteger(value);
}
ostream& ostream::operator<<(unsigned long value) {
    return _PrintInteger(value);
}
ostream& ostream::operator<<(long long value) {
    return _PrintInteger(value);
}
ostream& ostream::operator<<(unsigned long long value) {
    return _PrintInteger(value);
}

ostream& ostream::operator<<(char value) {
    return _Append(&value, 1);
}

ostream& ostream::operator<<(unsigned char value) {
    return *this << static_cast<char>(value);
}

ostream& ostream::operator<<(double value) {
    return print("%f", value);
}

ostream& ostream::operator<<(long double value) {
    return print("%Lf", value);
}

ostream& ostream::operator<<(bool value) {
    return *this << (value ? "true" : "false");
}

ostream& ostream::operator<<(const char* text) {
    return _PrintText(text, std::numeric_limits<uint64>::max());
}

ostream& ostream::operator<<(const unsigned char* text) {
    return *this << reinterpret_cast<const char*>(text);
}

ostream& ostream::operator<<(const std::string& text) {
    return _PrintText(text.data(), text.size());
}

ostream& ostream::operator<<(const basic_string_view<char>& text) {
    return _PrintText(text.data(), text.size());
}

ostream& ostream::operator<<(const void* address) {
    return print("%p", address);
}

ostream& ostream::hex() {
    private_->showHex.store(true, std::memory_order_relaxed);
    return *this;
}

ostream& ostream::dec() {
    private_->showHex.store(false, std::memory_order_relaxed);
    return *this;
}

ostream& ostream::print(const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    try {
        private_->Print(format, args, again);
    } catch (...) {
        va_end(again);
        va_end(args);
        throw;
    }
    va_end(again);
    va_end(args);
    return *this;
}

ostream::Buffer& ostream::getBuffer() {
    return private_->buffer;
}

const ostream::Buffer& ostream::getBuffer() const {
    return private_->buffer;
}

template <class Integer>
ostream& ostream::_PrintInteger(Integer value) {
    if (!private_->showHex.load(std::memory_order_relaxed)) {
        const fmt::format_int digits(value);
        return _Append(digits.data(), digits.size());
    }
    char digits[2 + 2 * sizeof value] = {'0', 'x'};
    const auto bits = static_cast<std::make_unsigned_t<Integer>>(value);
    return _Append(digits, std::to_chars(digits + 2, std::end(digits), bits, 16).ptr - digits);
}

ostream& ostream::_PrintText(const char* text, uint64 maxLength) {
    if (!text)
        return _Append("(null)", 6);
    return _Append(text, strnlen(text, maxLength));
}

ostream& ostream::_Append(const char* text, uint64 length) {
    std::lock_guard lock(private_->mutex);
    Buffer& buffer = private_->buffer;
    if (buffer.size <= length) {
        // A piece of the stream's own text moves with the block.
        const std::less<const char*> before;
        const bool own = !before(text, buffer.buffer) && before(text, buffer.curr);
        const std::ptrdiff_t offset = own ? text - buffer.buffer : 0;
        private_->MakeRoom(length);
        if (own)
            text = buffer.buffer + offset;
    }
    std::memcpy(buffer.curr, text, length);
    buffer.curr[length] = '\0';
    buffer.advance(static_cast<int64>(length));
    return *this;
}

sstream::sstream() = default;

sstream::~sstream() = default;

ostream& sstream::flush() {
    return *this;
}

const char* sstream::c_str() const {
    const Buffer& text = getBuffer();
    return text.curr == text.buffer ? "" : text.buffer;
}

}  // namespace kiv::io
