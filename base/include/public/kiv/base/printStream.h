// A small text stream without locales: each `<<` adds one printf-style print to a growing block.
//
//     io::sstream text;
//     text << "id " << 17 << ", flags ";
//     text.hex() << flags;
//     send(text.c_str());
//
// Prints from several threads into one stream interleave only whole. `c_str` reads without a lock:
// whoever calls it knows that nobody prints meanwhile.
#ifndef KIV_BASE_PRINT_STREAM_H_
#define KIV_BASE_PRINT_STREAM_H_

#include <cstdarg>
#include <string>
#include <utility>

#include "kiv/base/export.h"
#include "kiv/base/integers.h"
#include "kiv/base/stringView.h"

namespace kiv::io {

struct ostreamPrivate;

class KIV_BASE_API ostream {
public:
    /// The text and the room behind it, one block from `malloc`. It takes no lock.
    struct KIV_BASE_API Buffer {
        Buffer() = default;
        ~Buffer();
        Buffer(const Buffer&) = delete;
        Buffer& operator=(const Buffer&) = delete;

        /// Makes room for `needed` more bytes and half as much again. Gives the place of the next
        /// write and the bytes left there. Throws `std::bad_alloc`, also for a block that would be
        /// too large to count, and changes nothing then.
        std::pair<char*, uint64> grow(uint64 needed);
        /// Counts `count` bytes as written, at most those that are left; 0 or less does nothing.
        void advance(int64 count);
        /// Forgets the text, and gives back all but 1024 bytes of a larger block.
        void reset();

        char* buffer = nullptr;  ///< the start of the block
        char* curr = nullptr;    ///< the place of the next write
        uint64 size = 0;         ///< the bytes left behind `curr`
        uint64 capacity = 0;     ///< the length of the block

    private:
        void reserve(uint64 size);
    };

    ostream();
    virtual ~ostream();
    ostream(const ostream&) = delete;
    ostream& operator=(const ostream&) = delete;

    virtual ostream& flush() = 0;

    ostream& operator<<(short value);
    ostream& operator<<(unsigned short value);
    ostream& operator<<(char value);
    ostream& operator<<(unsigned char value);
    ostream& operator<<(int value);
    ostream& operator<<(unsigned int value);
    ostream& operator<<(long value);
    ostream& operator<<(unsigned long value);
    ostream& operator<<(long long value);
    ostream& operator<<(unsigned long long value);
    /// Six digits behind the point, as "%f" prints them.
    ostream& operator<<(double value);
    ostream& operator<<(long double value);
    ostream& operator<<(bool value);

    /// A text ends at its first null character, a view at its size at the latest; a null pointer
    /// prints "(null)". The text may be the stream's own.
    ostream& operator<<(const char* text);
    ostream& operator<<(const unsigned char* text);
    ostream& operator<<(const std::string& text);
    ostream& operator<<(const basic_string_view<char>& text);
    ostream& operator<<(const void* address);

    ostream& operator<<(ostream& (*manipulator)(ostream&)) { return manipulator(*this); }

    /// Integers from now on: hexadecimal with "0x" in front and in the width of their type, or
    /// decimal. Any thread.
    ostream& hex();
    ostream& dec();

protected:
    /// Adds what the format gives; one that the C formatter rejects adds nothing, and so does one
    /// that finds no memory, which throws `std::bad_alloc`.
    [[gnu::format(printf, 2, 3)]] ostream& print(const char* format, ...);
    Buffer& getBuffer();
    const Buffer& getBuffer() const;
    Buffer* operator->() { return &getBuffer(); }

private:
    template <class Integer>
    ostream& _PrintInteger(Integer value);
    ostream& _PrintText(const char* text, uint64 maxLength);
    ostream& _Append(const char* text, uint64 length);

    ostreamPrivate* const private_;
};

static_assert(sizeof(ostream::Buffer) == 2 * sizeof(char*) + 2 * sizeof(uint64));
static_assert(sizeof(ostream) == 2 * sizeof(void*));

/// The stream whose text can be read back.
class KIV_BASE_API sstream : public ostream {
public:
    sstream();
    ~sstream() override;

    /// Does nothing.
    ostream& flush() override;

    /// The text so far, null-terminated and never null. It is good until the next print.
    const char* c_str() const;
};

}  // namespace kiv::io

#endif  // KIV_BASE_PRINT_STREAM_H_
