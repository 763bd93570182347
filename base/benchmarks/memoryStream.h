// Streams of the standard library over memory, without the copies of std::stringstream, for the
// peers that know no other source and target.
#ifndef KIV_BASE_BENCHMARKS_MEMORYSTREAM_H_
#define KIV_BASE_BENCHMARKS_MEMORYSTREAM_H_

#include <istream>
#include <ostream>
#include <streambuf>
#include <string>

namespace kiv::bench {

/// Replaces what `bytes` holds, and keeps its room.
class MemoryWriter : public std::streambuf {
public:
    explicit MemoryWriter(std::string& bytes) : bytes_(bytes) { bytes_.clear(); }

private:
    std::streamsize xsputn(const char* data, std::streamsize count) override {
        bytes_.append(data, static_cast<std::size_t>(count));
        return count;
    }
    int_type overflow(int_type byte) override {
        bytes_.push_back(traits_type::to_char_type(byte));
        return byte;
    }

    std::string& bytes_;
};

/// Reads `bytes` in place.
class MemoryReader : public std::streambuf {
public:
    explicit MemoryReader(const std::string& bytes) {
        char* begin = const_cast<char*>(bytes.data());  // a streambuf has no read-only pointers
        setg(begin, begin, begin + bytes.size());
    }
};

}  // namespace kiv::bench

#endif  // KIV_BASE_BENCHMARKS_MEMORYSTREAM_H_
